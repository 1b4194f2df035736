// See bay_lights.h. The value forms are read here as the board's wiring defines them (method
// word, "I" index, "B" bit, "P" for a reversed sense), not through the library's parsers.
#include "sim/bay_lights.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <vector>

#include "sim/controller_emulator.h"
#include "sim/devices.h"
#include "sim/fs.h"
#include "sim/gpiolib_pins.h"
#include "sim/sas_shelf.h"
#include "sim/superio_model.h"

namespace nashal::sim {

namespace {

// SES array device slot (and device slot) elements: IDENT is byte 2 bit 1, the requested fault
// byte 3 bit 5.
constexpr int kArrayDeviceSlot = 0x17, kDeviceSlot = 0x01;

// One key of a section of an INI-like file, "" when missing.
std::string ini_value(const std::string &file, const std::string &section, const std::string &key) {
    std::istringstream in(read_file(file));
    std::string line;
    bool inside = false;
    while (std::getline(in, line)) {
        const auto first = line.find_first_not_of(" \t");
        if (first == std::string::npos || line[first] == '#')
            continue;
        if (line[first] == '[') {
            inside = line.substr(first + 1, line.find(']') - first - 1) == section;
            continue;
        }
        const auto eq = line.find('=');
        if (!inside || eq == std::string::npos)
            continue;
        auto trim = [](std::string s) {
            const auto b = s.find_first_not_of(" \t\r");
            const auto e = s.find_last_not_of(" \t\r");
            return b == std::string::npos ? std::string() : s.substr(b, e - b + 1);
        };
        if (trim(line.substr(0, eq)) == key)
            return trim(line.substr(eq + 1));
    }
    return "";
}

std::vector<std::string> fields(const std::string &value) {
    std::vector<std::string> out;
    std::istringstream in(value);
    std::string f;
    while (std::getline(in, f, ':'))
        out.push_back(f);
    return out;
}

bool word_is(const std::string &value, const char *word) {
    return strncasecmp(value.c_str(), word, std::strlen(word)) == 0;
}

// The hexadecimal number of the first field after the method that starts with `letter`, or -1.
long lettered(const std::vector<std::string> &f, char letter) {
    for (size_t i = 1; i < f.size(); ++i)
        if (!f[i].empty() && f[i][0] == letter)
            return std::strtol(f[i].c_str() + 1, nullptr, 16);
    return -1;
}

bool reversed(const std::vector<std::string> &f) {
    for (size_t i = 2; i < f.size(); ++i)
        if (f[i].find('P') != std::string::npos)
            return true;
    return false;
}

// A view of the described chip's shared state, opened afresh: the chip's pins live in a file
// that every process of the appliance maps, blinkers included.
std::shared_ptr<SuperIoModel> superio_view() {
    return open_described_superio();
}

// The bytes an I2C chip on bus 0 took with "send byte", oldest first.
std::vector<long> sent_bytes(long address) {
    for (const DescriptionEntry &e : read_description("/sim/i2c.conf", 4)) {
        if (e[0] != "i2c-0" || static_cast<long>(hex_word(e[1])) != address)
            continue;
        std::vector<long> bytes;
        std::istringstream sent(read_file(e[3] + ".sent"));
        std::string b;
        while (sent >> b)
            bytes.push_back(std::strtol(b.c_str(), nullptr, 16));
        return bytes;
    }
    return {};
}

// The MCU's last LED command for the bay: "ON", "OFF", "BLINK_1HZ", "BLINK_5HZ", or "".
std::string mcu_bay_command(int slot) {
    ControllerEmulator *mcu = described_controller();
    if (!mcu)
        return "";
    const std::string error = "HDD_ERROR" + std::to_string(slot) + "_";
    const std::string blink = "HDD_ERR" + std::to_string(slot) + "_";
    std::string last;
    for (const std::string &name : mcu->table_commands()) {
        if (name.rfind(error, 0) == 0)
            last = name.substr(error.size());
        else if (name.rfind(blink, 0) == 0)
            last = name.substr(blink.size());
    }
    return last;
}

// One light of the main unit from its model value; `locate` tells the MCU's blinking error
// lamp (the locate light) from its steady one.
int root_light(const std::string &value, int slot, bool locate) {
    if (value.empty())
        return -1;
    const std::vector<std::string> f = fields(value);
    if (word_is(value, "SIO")) {
        // The boards' Super I/O LED pins are active low.
        auto chip = superio_view();
        long index = lettered(f, 'I'), bit = lettered(f, 'B');
        if (!chip || index < 0 || bit < 0)
            return -1;
        return chip->pin_active(static_cast<int>(index), static_cast<int>(bit)) ? 1 : 0;
    }
    if (word_is(value, "IOPORT")) {
        // A cleared bit lights an LED on a plain port, unless the sense is reversed.
        long port = lettered(f, 'I'), bit = lettered(f, 'B');
        if (port < 0 || bit < 0)
            return -1;
        const bool low = !((port_value(static_cast<uint16_t>(port)) >> bit) & 1);
        return low != reversed(f) ? 1 : 0;
    }
    if (word_is(value, "GPIO")) {
        long pin = lettered(f, 'I');
        int level = pin < 0 ? -1 : gpio_pin_value(static_cast<int>(pin));
        if (level < 0)
            return -1;
        return (level != 0) != reversed(f) ? 1 : 0;
    }
    if (word_is(value, "I2C")) {
        if (f.size() < 4)
            return -1;
        const long address = std::strtol(f[1].c_str(), nullptr, 16);
        const long on = std::strtol(f[2].c_str(), nullptr, 16) & 0xff;
        const long off = std::strtol(f[3].c_str(), nullptr, 16) & 0xff;
        int lit = 0;
        for (long b : sent_bytes(address))
            if (b == on || b == off)
                lit = b == on ? 1 : 0;
        return lit;
    }
    if (word_is(value, "MCU")) {
        const std::string last = mcu_bay_command(slot);
        return last == (locate ? "BLINK_1HZ" : "ON") ? 1 : 0;
    }
    return -1;
}

int shelf_sg(const std::string &enc_sys_id) {
    if (enc_sys_id.rfind("sg", 0) != 0 || enc_sys_id.size() < 3)
        return -1;
    return std::atoi(enc_sys_id.c_str() + 2);
}

// The slot element type of a shelf: array device slots, or plain device slots.
int shelf_slot_type(int sg) {
    std::istringstream in(read_file("/sim/ses/sg" + std::to_string(sg)));
    std::string key, type;
    int fallback = -1;
    while (in >> key) {
        if (key == "type" && in >> type) {
            int t = std::stoi(type, nullptr, 0);
            if (t == kArrayDeviceSlot)
                return t;
            if (t == kDeviceSlot)
                fallback = t;
        }
        std::string rest;
        std::getline(in, rest);
    }
    return fallback;
}

}  // namespace

BayLights bay_lights(const std::string &enc_sys_id, int slot) {
    BayLights lights;
    if (enc_sys_id == "root") {
        const std::string section = "System Disk " + std::to_string(slot);
        auto value = [&](const char *key) { return ini_value("/etc/model.conf", section, key); };
        lights.error = root_light(value("ERR_LED"), slot, false);
        lights.locate = root_light(value("LOCATE_LED"), slot, true);
        lights.present = root_light(value("PRESENT_LED"), slot, false);
        lights.active = root_light(value("BLINK_LED"), slot, false);
        return lights;
    }
    const int sg = shelf_sg(enc_sys_id);
    const int type = sg < 0 ? -1 : shelf_slot_type(sg);
    if (type < 0)
        return lights;
    const std::vector<int> e = ses_element("", sg, type, slot);
    lights.locate = (e[2] & 0x02) ? 1 : 0;
    lights.error = (e[3] & 0x20) ? 1 : 0;
    return lights;
}

int bay_count(const std::string &enc_sys_id) {
    if (enc_sys_id == "root")
        return std::atoi(ini_value("/etc/model.conf", "System Enclosure", "MAX_DISK_NUM").c_str());
    const int sg = shelf_sg(enc_sys_id);
    if (sg < 0)
        return 0;
    const int type = shelf_slot_type(sg);
    std::istringstream in(read_file("/sim/ses/sg" + std::to_string(sg)));
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string key, t;
        int count = 0;
        if (words >> key >> t >> count && key == "type" && std::stoi(t, nullptr, 0) == type)
            return count;
    }
    return 0;
}

}  // namespace nashal::sim
