// debug, trace: the trace log as a field engineer switches it on a running box. Every process
// re-reads /var/log/hal_lib.log.conf on each trace, so writing its one line takes effect at once
// everywhere, with no restart.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "halctl.h"
#include "nashal/hal_trace.h"

namespace {

using halctl::Output;

constexpr const char *kConf = "/var/log/hal_lib.log.conf";
constexpr const char *kDefaultLog = "/var/log/hal_lib.log";

std::string conf_line() {
    FILE *f = fopen(kConf, "r");
    if (!f)
        return {};
    char line[64] = "";
    if (!fgets(line, sizeof line, f))
        line[0] = '\0';
    fclose(f);
    std::string s = line;
    if (!s.empty() && s.back() == '\n')
        s.pop_back();
    return s;
}

long long file_size(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? static_cast<long long>(st.st_size) : -1;
}

int show(halctl::Context &ctx) {
    std::string line = conf_line();
    bool has_conf = file_size(kConf) >= 0;
    // What the next trace of any process will do, as the library reads the line.
    std::string mask = "0xb (default)", to = kDefaultLog;
    if (has_conf) {
        // The library reads 31 characters and splits them on ":" as strtok does: empty tokens
        // are skipped and the path ends at the next ":".
        std::string head = line.substr(0, 31);
        char *save = nullptr;
        char *m = strtok_r(&head[0], ":", &save);
        char *path = m ? strtok_r(nullptr, ":", &save) : nullptr;
        char buf[32];
        snprintf(buf, sizeof buf, "0x%lx", m ? strtoul(m, nullptr, 16) : 0UL);
        mask = m ? buf : "unchanged";
        to = path ? path : "standard output";
    }
    Output::Record r = {Output::text("configuration", has_conf ? "\"" + line + "\"" : "none"),
                        Output::text("mask", mask), Output::text("output", to)};
    if (to != "standard output") {
        r.push_back(Output::number("log size", file_size(to)));
        r.push_back(Output::number("rotated copy size", file_size(to + ".bak")));
    }
    ctx.out.record(r);
    return halctl::kOk;
}

bool write_conf(const std::string &line) {
    FILE *f = fopen(kConf, "w");
    if (!f)
        return false;
    bool ok = fprintf(f, "%s\n", line.c_str()) > 0;
    return fclose(f) == 0 && ok;
}

}  // namespace

HALCTL_COMMAND(cmd_debug, "debug", "[MASK [PATH|-] | default]",
               "show or set the trace mask of every process (- sends traces to stdout)") {
    if (ctx.args.empty())
        return show(ctx);
    if (ctx.args.size() > 2)
        return halctl::usage_error(ctx, "debug takes a mask and a path at most");
    std::string line;
    if (ctx.args[0] == "default") {
        if (ctx.args.size() != 1)
            return halctl::usage_error(ctx, "debug default takes nothing more");
        line = std::string("b:") + kDefaultLog;
    } else {
        long long mask = 0;
        if (!halctl::parse_int(ctx.args[0], mask) || mask < 0 || mask > 0xffffffffLL)
            return halctl::usage_error(ctx, "MASK is a number such as 0x1f or 31");
        char buf[16];
        snprintf(buf, sizeof buf, "%llx", mask);
        std::string path = ctx.args.size() == 2 ? ctx.args[1] : kDefaultLog;
        line = path == "-" ? buf : std::string(buf) + ":" + path;
        if (line.size() > 31)
            return halctl::usage_error(
                ctx, "the line \"" + line + "\" is longer than the 31 characters read");
    }
    if (!write_conf(line))
        return halctl::failure(std::string("can't write ") + kConf);
    return show(ctx);
}

HALCTL_COMMAND(cmd_trace, "trace", "LEVEL TEXT...", "write one entry through the trace log") {
    if (ctx.args.size() < 2)
        return halctl::usage_error(ctx, "trace needs a level and a text");
    long long level = 0;
    if (!halctl::parse_int(ctx.args[0], level) || level <= 0 || level > 65535)
        return halctl::usage_error(ctx, "LEVEL is 1, 2, 4, 8, 16 or 65535");
    std::string text;
    for (size_t i = 1; i < ctx.args.size(); ++i)
        text += (i > 1 ? " " : "") + ctx.args[i];
    int r = ERR_TRACE(static_cast<int>(level), "%s: %s\n", "halctl", text.c_str());
    if (r < 0)
        return halctl::failure("the trace lock could not be taken");
    return halctl::kOk;
}
