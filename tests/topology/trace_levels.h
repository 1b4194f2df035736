// Whether a public call leaves its trace text at its level, as a field engineer reading the log
// sees it: at the default mask (only errors, warnings and information), with the mask set to that
// level alone, and with every other level on.
#ifndef NASHAL_TESTS_TOPOLOGY_TRACE_LEVELS_H
#define NASHAL_TESTS_TOPOLOGY_TRACE_LEVELS_H

#include <unistd.h>

#include <functional>
#include <regex>
#include <sstream>
#include <string>

#include "nashal/hal_trace.h"
#include "sim/fs.h"

namespace nashal::test {

constexpr const char *kTraceLog = "/var/log/hal_lib.log";
constexpr int kDefaultTraceMask = 11;

// Whether a line of the log matches the pattern whole (an ECMAScript regular expression).
inline bool log_has_line(const std::string &pattern) {
    std::istringstream log(nashal::sim::read_file(kTraceLog));
    std::regex re(pattern);
    for (std::string line; std::getline(log, line);)
        if (std::regex_match(line, re))
            return true;
    return false;
}

// What went wrong, or "" when `call` logs a line matching `pattern` exactly when `level` is in
// the mask. The first run is at the mask the process starts with, which must be the default.
inline std::string trace_level_fault(int level, const std::string &pattern,
                                     const std::function<void()> &call) {
    std::string fault;
    auto run = [&](int mask, bool set, const char *what) {
        unlink(kTraceLog);
        if (set)
            HAL_Set_Debug(mask, kTraceLog);
        call();
        bool seen = log_has_line(pattern);
        if (seen != ((mask & level) != 0))
            fault += std::string(seen ? " appears" : " is missing") + " " + what + ";";
    };
    run(kDefaultTraceMask, false, "at the default mask");
    run(level, true, "with its level alone");
    run(0xffff & ~level, true, "with every other level");
    HAL_Set_Debug(kDefaultTraceMask, kTraceLog);
    return fault.empty() ? fault : "\"" + pattern + "\"" + fault;
}

}  // namespace nashal::test

#endif  // NASHAL_TESTS_TOPOLOGY_TRACE_LEVELS_H
