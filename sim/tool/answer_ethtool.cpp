// Stand-ins for /usr/sbin/ethtool (-e and -E on an adapter's EEPROM) and /sbin/ifconfig
// (IF hw ether ADDRESS), answering as the real tools do for the command lines the library runs.
//
// The EEPROM of an adapter is /sim/eeprom/<adapter>.bin, where <adapter> is the PCI name of the
// interface's device without its function ("0000:03:00"), so the ports of a dual-port adapter
// share one EEPROM as on the card, and the EEPROM stays with the card when the interface is
// renamed. A virtual interface's EEPROM is named after the interface. A missing file reads as
// an erased EEPROM of 4096 bytes (all 0xff) and is created by the first write; otherwise the
// file's size is the EEPROM's.
#include <limits.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "../fs.h"
#include "stand_in.h"

namespace {

constexpr size_t kErasedSize = 4096;

bool interface_present(const std::string &name) {
    return !name.empty() && name.find('/') == std::string::npos &&
           nashal::sim::exists("/sys/class/net/" + name);
}

std::string eeprom_path(const std::string &name) {
    char target[512];
    ssize_t n =
        ::readlink(("/sys/class/net/" + name + "/device").c_str(), target, sizeof target - 1);
    if (n <= 0)
        return "/sim/eeprom/" + name + ".bin";
    std::string device(target, static_cast<size_t>(n));
    device = device.substr(device.rfind('/') + 1);
    return "/sim/eeprom/" + device.substr(0, device.rfind('.')) + ".bin";
}

std::string load_eeprom(const std::string &path) {
    if (!nashal::sim::exists(path))
        return std::string(kErasedSize, '\xff');
    return nashal::sim::read_file(path);
}

// The adapter's magic, as its driver checks it: (PCI device id << 16) | vendor id.
unsigned long adapter_magic(const std::string &name) {
    auto id = [&](const char *file) {
        return strtoul(nashal::sim::read_file("/sys/class/net/" + name + "/device/" + file).c_str(),
                       nullptr, 0);
    };
    return (id("device") << 16) | id("vendor");
}

bool number(const std::string &text, unsigned long &out) {
    char *end = nullptr;
    errno = 0;
    out = strtoul(text.c_str(), &end, 0);
    return !text.empty() && *end == '\0' && errno == 0;
}

// "KEY VALUE" pairs behind the interface name.
bool options(const std::vector<std::string> &args, size_t from,
             std::vector<std::pair<std::string, std::string>> &out) {
    for (size_t i = from; i < args.size(); i += 2) {
        if (i + 1 >= args.size())
            return false;
        out.emplace_back(args[i], args[i + 1]);
    }
    return true;
}

using Options = std::vector<std::pair<std::string, std::string>>;

int bad_arguments() {
    fprintf(stderr, "ethtool: bad command line argument(s)\nFor more information run ethtool -h\n");
    return 1;
}

int no_device() {
    fprintf(stderr, "Cannot get driver information: No such device\n");
    return 74;
}

int dump_eeprom(const std::string &name, const Options &opts) {
    bool raw = false;
    unsigned long offset = 0, length = 0;
    bool have_length = false;
    for (const auto &[key, value] : opts) {
        if (key == "raw" && (value == "on" || value == "off"))
            raw = value == "on";
        else if (key == "offset" && number(value, offset))
            continue;
        else if (key == "length" && number(value, length))
            have_length = true;
        else
            return bad_arguments();
    }
    std::string eeprom = load_eeprom(eeprom_path(name));
    if (!have_length)
        length = offset < eeprom.size() ? eeprom.size() - offset : 0;
    if (offset + length > eeprom.size()) {
        fprintf(stderr, "offset & length out of bounds\n");
        return 1;
    }
    std::string bytes = eeprom.substr(offset, length);
    if (raw) {
        nashal::sim::tool::write_out(bytes);
        return 0;
    }
    std::string text = "Offset\t\tValues\n------\t\t------";
    char cell[32];
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i % 16 == 0) {
            snprintf(cell, sizeof cell, "\n0x%04lx:\t\t", offset + i);
            text += cell;
        }
        snprintf(cell, sizeof cell, "%02x ", static_cast<unsigned char>(bytes[i]));
        text += cell;
    }
    nashal::sim::tool::write_out(text + "\n");
    return 0;
}

int change_eeprom(const std::string &name, const Options &opts) {
    unsigned long magic = 0, offset = 0, value = 0;
    bool have_value = false;
    for (const auto &[key, text] : opts) {
        if (key == "magic" && number(text, magic))
            continue;
        else if (key == "offset" && number(text, offset))
            continue;
        else if (key == "value" && number(text, value) && value <= 0xff)
            have_value = true;
        else
            return bad_arguments();
    }
    if (!have_value)  // data from standard input: the library never writes that way
        return bad_arguments();
    std::string path = eeprom_path(name);
    std::string eeprom = load_eeprom(path);
    if (offset + 1 > eeprom.size()) {
        fprintf(stderr, "offset & length out of bounds\n");
        return 1;
    }
    // The driver refuses a write whose magic isn't its adapter's.
    if (magic != adapter_magic(name)) {
        fprintf(stderr, "Cannot set EEPROM data: Bad address\n");
        return 87;
    }
    eeprom[offset] = static_cast<char>(value);
    nashal::sim::write_file(path, eeprom);
    return 0;
}

int answer_ethtool(const std::vector<std::string> &args) {
    if (args.empty() || (args[0] != "-e" && args[0] != "-E"))
        return nashal::sim::tool::scripted_answer("ethtool", args);
    Options opts;
    if (args.size() < 2 || !options(args, 2, opts))
        return bad_arguments();
    if (!interface_present(args[1]))
        return no_device();
    return args[0] == "-e" ? dump_eeprom(args[1], opts) : change_eeprom(args[1], opts);
}

// An Ethernet address as ifconfig takes it: twelve hexadecimal digits, with or without ":"
// between the bytes. Out: the kernel's form, "aa:bb:cc:dd:ee:ff".
bool parse_mac(const std::string &text, std::string &out) {
    std::string digits;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == ':' && i % 3 == 2)
            continue;
        if (!isxdigit(static_cast<unsigned char>(text[i])))
            return false;
        digits += static_cast<char>(tolower(static_cast<unsigned char>(text[i])));
    }
    if (digits.size() != 12)
        return false;
    out.clear();
    for (size_t i = 0; i < 12; i += 2)
        out += (i ? ":" : "") + digits.substr(i, 2);
    return true;
}

int answer_ifconfig(const std::vector<std::string> &args) {
    if (args.size() != 4 || args[1] != "hw" || args[2] != "ether")
        return nashal::sim::tool::scripted_answer("ifconfig", args);
    const std::string &name = args[0];
    if (!interface_present(name)) {
        fprintf(stderr, "%s: ERROR while getting interface flags: No such device\n", name.c_str());
        return 1;
    }
    std::string mac;
    if (!parse_mac(args[3], mac)) {
        fprintf(stderr, "%s: unknown host\nifconfig: `--help' gives usage information.\n",
                args[3].c_str());
        return 1;
    }
    nashal::sim::write_file("/sys/class/net/" + name + "/address", mac + "\n");
    return 0;
}

}  // namespace

NASHAL_STAND_IN("ethtool", answer_ethtool);
NASHAL_STAND_IN("ifconfig", answer_ifconfig);
