// halctl [--root DIR] [--json] COMMAND [ARGS]
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "halctl.h"
#include "sim/appliance.h"

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
            "  --root DIR  run against the virtual appliance in DIR (its state stays in DIR)\n"
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
    (void)ctx;
    halctl::print_usage(stdout);
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
        appliance.emplace(nashal::sim::Appliance::open(root));
        if (!appliance->activate())
            return failure("can't enter the virtual appliance in " + root);
    }
    Output out(json);
    Context ctx{std::vector<std::string>(argv + i, argv + argc), out};
    fflush(stdout);
    int rc = cmd->fn(ctx);
    out.finish();
    fflush(stdout);
    return rc;
}
