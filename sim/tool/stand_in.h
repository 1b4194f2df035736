// The stand-ins for outside programs. One executable, linked into the appliance under every
// program name the library runs (/sbin/sg_ses, /sbin/udevadm, ...), dispatches on the name it
// was started under. Each run is appended to /sim/invocations.log; then a program-specific
// answerer (registered with NASHAL_STAND_IN) or the scripted answers in /sim/answers/<name>
// decide what it prints and how it exits.
#ifndef NASHAL_SIM_TOOL_STAND_IN_H
#define NASHAL_SIM_TOOL_STAND_IN_H

#include <string>
#include <vector>

namespace nashal::sim::tool {

// Arguments without the program name. Returns the exit status.
using StandInFn = int (*)(const std::vector<std::string> &args);

struct StandInRegistrar {
    StandInRegistrar(const char *name, StandInFn fn);
};

// Answers from /sim/answers/<name> (see docs/virtual-appliance.md); exit 0 with no output when
// the file or a matching record is missing. Program-specific answerers fall back to it.
// `matched` (optional) tells whether a record matched the arguments.
int scripted_answer(const std::string &name, const std::vector<std::string> &args,
                    bool *matched = nullptr);

// Writes bytes to standard output, all of them.
void write_out(const std::string &bytes);

// The node a device argument names, as the descriptions under /sim are keyed ("/dev/sg3": "sg3").
inline std::string device_node(const std::string &device) {
    return device.substr(device.rfind('/') + 1);
}

// The sg3_utils page option at args[i], "-p N" or "--page=N" (any base): sets `page` and steps
// `i` over the value; false for any other argument.
inline bool page_option(const std::vector<std::string> &args, size_t &i, int &page) {
    if (args[i] == "-p" && i + 1 < args.size())
        page = std::stoi(args[++i], nullptr, 0);
    else if (args[i].rfind("--page=", 0) == 0)
        page = std::stoi(args[i].substr(7), nullptr, 0);
    else
        return false;
    return true;
}

}  // namespace nashal::sim::tool

#define NASHAL_STAND_IN(prog, fn) \
    static ::nashal::sim::tool::StandInRegistrar nashal_stand_in_##fn(prog, fn)

#endif  // NASHAL_SIM_TOOL_STAND_IN_H
