// net: the Ethernet ports, where each sits on the PCI tree, its link and its EEPROM's MAC and
// serial number; renaming them to the labels on the case.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "halctl.h"
#include "nashal/net_sys.h"

namespace {

using halctl::Output;

std::string mac_text(const unsigned char *mac) {
    char text[24];
    snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
             mac[4], mac[5]);
    return text;
}

bool parse_mac(const std::string &text, unsigned char *mac) {
    unsigned b[6];
    char tail = 0;
    if (sscanf(text.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%c", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5],
               &tail) != 6)
        return false;
    for (int i = 0; i < 6; ++i)
        mac[i] = static_cast<unsigned char>(b[i]);
    return true;
}

// The number of an "eth<N>" name, -1 for a name the EEPROM calls can't address (eth1_tmp).
int port_of(const char *name) {
    char *end = nullptr;
    long n = strtol(name + 3, &end, 10);
    return end != name + 3 && *end == '\0' ? static_cast<int>(n) : -1;
}

std::string speed_text(int port) {
    static const char *const kSpeeds[] = {"unknown", "10M", "100M", "1G", "10G"};
    int code = 0;
    if (port < 0 || net_sys_get_speed(port, &code) != 0)
        return "down";
    return code >= 0 && code <= NET_SPEED_10G ? kSpeeds[code] : "unknown";
}

int list(halctl::Context &ctx) {
    NET_CB table[NET_MAX_PORTS] = {};
    int count = net_dev_init(table, NET_MAX_PORTS);
    if (count < 0)
        return halctl::failure("can't read /sys/class/net");
    std::vector<Output::Record> rows;
    for (int i = 0; i < count && i < NET_MAX_PORTS; ++i) {
        const NET_CB &cb = table[i];
        int port = port_of(cb.name);
        unsigned char mac[6] = {};
        bool have_mac = port >= 0 && net_sys_get_mac(port, mac, sizeof mac) == 0;
        rows.push_back({Output::text("name", cb.name), Output::number("domain", cb.domain),
                        Output::text("dev_bus", cb.dev_bus),
                        Output::text("bridge_bus", cb.bridge_bus[0] ? cb.bridge_bus : "-"),
                        Output::number("pci_switch_port", cb.pci_switch_port),
                        Output::number("port", cb.port), Output::text("speed", speed_text(port)),
                        Output::text("mac", have_mac ? mac_text(mac) : "?")});
    }
    ctx.out.table(rows);
    if (count > NET_MAX_PORTS)
        fprintf(stderr, "halctl: %d interfaces, only %d are renamed\n", count, NET_MAX_PORTS);
    return halctl::kOk;
}

bool port_argument(const std::string &text, int &port) {
    long long n = 0;
    if (!halctl::parse_int(text, n) || n < 0 || n > 99)
        return false;
    port = static_cast<int>(n);
    return true;
}

int mac(halctl::Context &ctx) {
    int port = 0;
    if (ctx.args.size() < 2 || ctx.args.size() > 3 || !port_argument(ctx.args[1], port))
        return halctl::usage_error(ctx, "net mac takes PORT and optionally AA:BB:CC:DD:EE:FF");
    unsigned char bytes[6] = {};
    if (ctx.args.size() == 3) {
        if (!parse_mac(ctx.args[2], bytes))
            return halctl::usage_error(ctx, "a MAC is six hexadecimal bytes joined by \":\"");
        if (net_sys_set_mac(port, bytes, sizeof bytes) != 0)
            return halctl::failure("the MAC of eth" + ctx.args[1] + " can't be written");
    } else if (net_sys_get_mac(port, bytes, sizeof bytes) != 0) {
        return halctl::failure("the MAC of eth" + ctx.args[1] + " can't be read");
    }
    ctx.out.record(
        {Output::text("name", "eth" + ctx.args[1]), Output::text("mac", mac_text(bytes))});
    return halctl::kOk;
}

int serial(halctl::Context &ctx) {
    int port = 0;
    if (ctx.args.size() < 2 || ctx.args.size() > 3 || !port_argument(ctx.args[1], port))
        return halctl::usage_error(ctx, "net sn takes PORT and optionally TEXT");
    if (ctx.args.size() == 3 && net_sys_set_sn(port, ctx.args[2].c_str()) != 0)
        return halctl::failure("the serial number of eth" + ctx.args[1] + " can't be written");
    char text[HAL_SERIAL_LEN] = {};
    if (net_sys_get_sn(port, text, sizeof text) != 0)
        return halctl::failure("eth" + ctx.args[1] + " holds no serial number");
    ctx.out.record({Output::text("name", "eth" + ctx.args[1]), Output::text("sn", text)});
    return halctl::kOk;
}

}  // namespace

HALCTL_COMMAND(cmd_net, "net", "[rename | mac PORT [MAC] | sn PORT [TEXT]]",
               "network ports: PCI position, speed, MAC; rename to the case's labels") {
    if (ctx.args.empty())
        return list(ctx);
    const std::string &what = ctx.args[0];
    if (what == "rename") {
        if (ctx.args.size() != 1)
            return halctl::usage_error(ctx, "net rename takes no arguments");
        int count = net_sys_enumerate();
        if (count < 0)
            return halctl::failure("renaming refused: see the trace log");
        ctx.out.message(std::to_string(count) + " interfaces named by the model file");
        return halctl::kOk;
    }
    if (what == "mac")
        return mac(ctx);
    if (what == "sn")
        return serial(ctx);
    return halctl::usage_error(ctx, "unknown net command " + what);
}
