// Runs the built halctl as a field engineer does, against a board directory of its own.
#ifndef NASHAL_TESTS_HALCTL_RUNNER_H
#define NASHAL_TESTS_HALCTL_RUNNER_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "sim/fs.h"

namespace halctl_test {

struct Result {
    int status;  // exit status, -1 when halctl didn't exit normally
    std::string out;
};

// halctl ARGS, standard error dropped (or kept after standard output).
inline Result run_halctl(const std::string &args, bool keep_errors = false) {
    std::string cmd =
        std::string(HALCTL_PATH) + " " + args + (keep_errors ? " 2>&1" : " 2>/dev/null");
    Result r{-1, {}};
    FILE *p = popen(cmd.c_str(), "r");
    if (!p)
        return r;
    char buf[512];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0)
        r.out.append(buf, n);
    int st = pclose(p);
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return r;
}

// A scratch board directory: empty, or a copy of an example board; removed at the end.
class Board {
  public:
    explicit Board(const std::string &example = "") {
        char tmpl[] = "/tmp/halctl-board-XXXXXX";
        dir_ = mkdtemp(tmpl);
        if (!example.empty()) {
            std::string cmd = "cp -a " NASHAL_EXAMPLES_DIR "/" + example + "/. " + dir_ + "/";
            EXPECT_EQ(system(cmd.c_str()), 0);
        }
    }
    ~Board() { nashal::sim::remove_tree(dir_); }
    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;

    const std::string &dir() const { return dir_; }
    std::string root() const { return "--root " + dir_; }
    // halctl --root DIR ARGS.
    Result run(const std::string &args) const { return run_halctl(root() + " " + args); }

  private:
    std::string dir_;
};

}  // namespace halctl_test

#endif  // NASHAL_TESTS_HALCTL_RUNNER_H
