#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>

#include "../fs.h"
#include "stand_in.h"

namespace nashal::sim::tool {
namespace {

std::map<std::string, StandInFn> &answerers() {
    static std::map<std::string, StandInFn> m;
    return m;
}

std::string joined(const std::vector<std::string> &args) {
    std::string s;
    for (size_t i = 0; i < args.size(); ++i)
        s += (i ? " " : "") + args[i];
    return s;
}

// One write per line with O_APPEND, so that lines of concurrent runs never mix.
void log_invocation(const std::string &argv0, const std::vector<std::string> &args) {
    std::string line = argv0;
    if (!args.empty())
        line += " " + joined(args);
    line += "\n";
    int fd = ::open("/sim/invocations.log", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    ssize_t n = ::write(fd, line.data(), line.size());
    (void)n;
    ::close(fd);
}

}  // namespace

StandInRegistrar::StandInRegistrar(const char *name, StandInFn fn) {
    answerers()[name] = fn;
}

void write_out(const std::string &bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(1, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        done += static_cast<size_t>(n);
    }
}

int scripted_answer(const std::string &name, const std::vector<std::string> &args,
                    bool *matched_out) {
    std::string text = read_file("/sim/answers/" + name);
    const std::string want = joined(args);
    bool in_match = false, matched = false;
    int status = 0;
    std::string out;
    size_t i = 0;
    while (i <= text.size()) {
        size_t j = text.find('\n', i);
        if (j == std::string::npos)
            j = text.size();
        std::string line = text.substr(i, j - i);
        i = j + 1;
        if (line.rfind("== ", 0) == 0) {
            if (matched)
                break;  // the first matching record wins
            std::string pattern = line.substr(3);
            in_match = pattern == "*" || pattern == want;
            matched = in_match;
            continue;
        }
        if (!in_match)
            continue;
        if (line.rfind("exit ", 0) == 0) {
            status = std::atoi(line.c_str() + 5);
        } else if (line.rfind("stdout-file ", 0) == 0) {
            out += read_file(line.substr(12));
        } else if (line.rfind("stdout ", 0) == 0) {
            out += line.substr(7) + "\n";
        } else if (line == "stdout") {
            out += "\n";
        }
        if (j >= text.size())
            break;
    }
    if (matched_out)
        *matched_out = matched;
    write_out(out);
    return status;
}

}  // namespace nashal::sim::tool

int main(int argc, char **argv) {
    using namespace nashal::sim::tool;
    std::string argv0 = argc > 0 ? argv[0] : "stand-in";
    std::string name = argv0.substr(argv0.find_last_of('/') + 1);
    std::vector<std::string> args(argv + 1, argv + argc);
    log_invocation(argv0, args);
    // In a recording only what the box's own program answered counts: a run it never saw is
    // named, so that whoever replays knows what the recording lacks.
    if (::access("/sim/recording/manifest", F_OK) == 0) {
        bool matched = false;
        int status = scripted_answer(name, args, &matched);
        if (matched)
            return status;
        std::string line = "nashal-sim-tool: the recording holds no answer of " + argv0;
        for (const auto &a : args)
            line += " " + a;
        line += "\n";
        ssize_t n = ::write(2, line.data(), line.size());
        (void)n;
        return 127;
    }
    auto it = answerers().find(name);
    if (it != answerers().end())
        return it->second(args);
    return scripted_answer(name, args);
}
