// halctl check-model: every example board's model file is clean, and each file of the broken
// corpus fails with exactly the lines that hold its faults.
#include <dirent.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <set>
#include <sstream>
#include <string>

#include "foundation/raii.h"
#include "halctl/halctl_runner.h"

namespace {

// The line numbers of the findings of one run, from the "<file>:<line>: " lines.
std::set<int> lines_of(const std::string &out) {
    std::set<int> lines;
    std::istringstream in(out);
    for (std::string l; std::getline(in, l);) {
        size_t conf = l.find(".conf:");
        if (conf != std::string::npos && l.find(": error:") != std::string::npos)
            lines.insert(std::stoi(l.substr(conf + 6)));
    }
    return lines;
}

TEST(CheckModel, EveryExampleBoardIsClean) {
    // Every board of the examples, those added later included.
    nashal::DirHandle dir(opendir(NASHAL_EXAMPLES_DIR));
    ASSERT_TRUE(dir);
    int boards = 0;
    while (dirent *e = readdir(dir.get())) {
        std::string board = e->d_name;
        std::string etc = std::string(NASHAL_EXAMPLES_DIR "/") + board + "/etc";
        if (board[0] == '.' || access((etc + "/model.conf").c_str(), R_OK) != 0)
            continue;
        ++boards;
        // The family's generic file and every board file the model selection may link to.
        nashal::DirHandle files(opendir(etc.c_str()));
        while (dirent *f = files ? readdir(files.get()) : nullptr) {
            std::string name = f->d_name;
            if (name.rfind("model", 0) != 0 || name.size() < 5 ||
                name.compare(name.size() - 5, 5, ".conf") != 0)
                continue;
            halctl_test::Result r = halctl_test::run_halctl("check-model " + etc + "/" + name);
            EXPECT_EQ(r.status, 0) << board << "/etc/" << name << "\n" << r.out;
            EXPECT_TRUE(lines_of(r.out).empty()) << r.out;
        }
    }
    EXPECT_GE(boards, 4);
}

TEST(CheckModel, BrokenCorpusFailsAtTheFaultyLines) {
    struct Case {
        const char *file;
        std::set<int> lines;
    } cases[] = {
        // Values that don't parse, a value cut at 31 characters, a method nobody drives.
        {"bad_values.conf", {4, 5, 6, 7, 8, 11, 12, 18, 19, 20}},
        // Unknown key, a repeated key and section (whose key repeats the first block's), a slot
        // sharing another's port, slots beyond the counts, an unknown section and a line that
        // is nothing.
        {"structure.conf", {3, 8, 12, 14, 18, 19, 21, 24, 27, 29}},
    };
    for (const Case &c : cases) {
        halctl_test::Result r = halctl_test::run_halctl(
            std::string("check-model " NASHAL_BROKEN_MODELS_DIR "/") + c.file);
        EXPECT_EQ(r.status, 1) << c.file;
        EXPECT_EQ(lines_of(r.out), c.lines) << c.file << "\n" << r.out;
    }
    halctl_test::Result json =
        halctl_test::run_halctl("--json check-model " NASHAL_BROKEN_MODELS_DIR "/structure.conf");
    EXPECT_NE(json.out.find("{\"line\": 12, \"level\": \"error\", \"section\": \"System Disk 2\", "
                            "\"key\": \"DEV_PORT\""),
              std::string::npos)
        << json.out;
    EXPECT_EQ(halctl_test::run_halctl("check-model /nonexistent/model.conf").status, 1);
}

}  // namespace
