// halctl [--root DIR] [--json] COMMAND [ARGS]
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "halctl.h"
#include "sim/appliance.h"
#include "sim/clock.h"
#include "sim/recording.h"
#include "topology/model_file.h"

namespace halctl {
namespace {

std::vector<Command> &registry() {
    static std::vector<Command> r;
    return r;
}

const Command *running = nullptr;

void print_usage(FILE *to) {
    fprintf(to,
            "usage: halctl [--root DIR] [--json] COMMAND [ARGS]\n"
            "  --root DIR  run against the virtual appliance in DIR (its state stays in DIR); DIR\n"
            "              must hold one: an etc/model.conf, as in examples/appliances/*\n"
            "  --json      machine-readable output\n"
            "commands:\n");
    for (const auto &c : commands()) {
        std::string head = std::string(c.name) + (c.usage[0] ? " " : "") + c.usage;
        if (head.size() > 34)
            fprintf(to, "  %s\n  %-34s %s\n", head.c_str(), "", c.help);
        else
            fprintf(to, "  %-34s %s\n", head.c_str(), c.help);
    }
}

// A directory holds an appliance when it has the board's description, etc/model.conf: every
// query starts there, and a directory without one would only be made into an empty box that
// answers nothing. On a board that has booted it is the link the model selection made, whose
// target ("/etc/model_....conf") resolves only inside the appliance: the link itself counts.
bool holds_appliance(const std::string &dir) {
    struct stat st;
    return ::lstat((dir + nashal::topology::kModelConf).c_str(), &st) == 0 &&
           (S_ISREG(st.st_mode) || S_ISLNK(st.st_mode));
}

}  // namespace

CommandRegistrar::CommandRegistrar(const Command &c) {
    auto &r = registry();
    auto at = r.begin();
    while (at != r.end() && std::strcmp(at->name, c.name) < 0)
        ++at;
    r.insert(at, c);
}

const std::vector<Command> &commands() {
    return registry();
}

int usage_error(const Context &, const std::string &why) {
    fprintf(stderr, "halctl: %s\n", why.c_str());
    if (running)
        fprintf(stderr, "usage: halctl %s %s\n", running->name, running->usage);
    return kUsage;
}

int failure(const std::string &why) {
    fprintf(stderr, "halctl: %s\n", why.c_str());
    return kFailed;
}

}  // namespace halctl

HALCTL_COMMAND(cmd_help, "help", "", "list the commands") {
    if (!ctx.out.json()) {
        halctl::print_usage(stdout);
        return halctl::kOk;
    }
    std::vector<halctl::Output::Record> rows;
    for (const auto &c : halctl::commands())
        rows.push_back({halctl::Output::text("name", c.name),
                        halctl::Output::text("usage", c.usage),
                        halctl::Output::text("help", c.help)});
    ctx.out.table(rows);
    return halctl::kOk;
}

int main(int argc, char **argv) {
    using namespace halctl;
    std::string root;
    bool json = false;
    int i = 1;
    for (; i < argc && argv[i][0] == '-'; ++i) {
        std::string opt = argv[i];
        if (opt == "--json") {
            json = true;
        } else if (opt == "--root" && i + 1 < argc) {
            root = argv[++i];
        } else if (opt.rfind("--root=", 0) == 0) {
            root = opt.substr(7);
        } else if (opt == "-h" || opt == "--help") {
            print_usage(stdout);
            return kOk;
        } else {
            fprintf(stderr, "halctl: unknown option %s\n", opt.c_str());
            print_usage(stderr);
            return kUsage;
        }
    }
    if (i >= argc) {
        print_usage(stderr);
        return kUsage;
    }
    std::string name = argv[i++];
    const Command *cmd = nullptr;
    for (const auto &c : commands())
        if (name == c.name)
            cmd = &c;
    if (!cmd) {
        fprintf(stderr, "halctl: unknown command '%s'\n", name.c_str());
        print_usage(stderr);
        return kUsage;
    }
    running = cmd;

    std::optional<nashal::sim::Appliance> appliance;
    if (!root.empty()) {
        // A recording is checked whole before it is entered: a lost file would otherwise only
        // look like a box without that device, and a link out of it would reach the laptop.
        std::string problem;
        if (nashal::sim::is_recording(root) && !nashal::sim::check_recording(root, problem)) {
            fprintf(stderr, "halctl: the recording in %s %s\n", root.c_str(), problem.c_str());
            return kFailed;
        }
        if (!holds_appliance(root)) {
            fprintf(stderr,
                    "halctl: no appliance at %s\n"
                    "halctl: make one from an example board: cp -a "
                    "examples/appliances/x86-8bay/. %s/\n",
                    root.c_str(), root.c_str());
            return kFailed;
        }
        appliance.emplace(nashal::sim::Appliance::open(root));
        if (!appliance->activate())
            return failure("can't enter the virtual appliance in " + root);
        // A blink started here outlives this call: it must toggle in real time, not spin.
        nashal::sim::clock_pace_background(true);
        appliance->keep_background_processes();
    }
    Output out(json);
    Context ctx{std::vector<std::string>(argv + i, argv + argc), out};
    fflush(stdout);
    int rc = cmd->fn(ctx);
    out.finish();
    fflush(stdout);
    return rc;
}
