// The example boards a test runs on: every one there is, so that a board added later is covered
// without an edit to the test, and the test-case name each board stands under.
#ifndef NASHAL_TESTS_SIM_EXAMPLE_BOARDS_H
#define NASHAL_TESTS_SIM_EXAMPLE_BOARDS_H

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <string>
#include <vector>

#include "sim/fs.h"

namespace nashal::test {

// The folders of the examples that hold a board ("etc/model.conf"), sorted, but those named in
// `except`.
inline std::vector<std::string> example_boards(std::initializer_list<const char *> except = {}) {
    std::vector<std::string> boards;
    for (const std::string &name : nashal::sim::list_dir(NASHAL_EXAMPLES_DIR)) {
        const bool left_out =
            std::any_of(except.begin(), except.end(), [&](const char *e) { return name == e; });
        if (!left_out &&
            nashal::sim::exists(std::string(NASHAL_EXAMPLES_DIR "/") + name + "/etc/model.conf"))
            boards.push_back(name);
    }
    return boards;
}

// A board's folder as a test-case name, which takes letters, digits and '_' only ("x86-8bay":
// "x86_8bay").
inline std::string board_case_name(std::string board) {
    for (char &c : board)
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    return board;
}

// The name generator of a suite instantiated over board folders.
struct BoardCaseName {
    template <typename Info>
    std::string operator()(const Info &info) const {
        return board_case_name(info.param);
    }
};

}  // namespace nashal::test

#endif  // NASHAL_TESTS_SIM_EXAMPLE_BOARDS_H
