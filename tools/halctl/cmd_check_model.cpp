// check-model: a hand-written model file checked line by line before it goes on a board. Every
// key the library reads is checked against the form its reader parses, with the library's own
// parsers; what the library would silently skip (an unknown key, a value cut at 31 characters, a
// slot beyond the enclosure's count, two bays on one port) is told with its line number.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/ini_document.h"
#include "foundation/ini_number.h"
#include "halctl.h"
#include "nashal/comm_model.h"
#include "topology/model_file.h"

namespace {

// The forms of the values, each checked by the parser its reader uses.
enum class Form {
    Text,       // any text of at most 31 characters
    LongText,   // at most 40 characters (model names)
    Dec,        // decimal integer
    Hex,        // hexadecimal integer, "0x" optional
    DevBus,     // "B02:D00:F0", "D28:F2" or "B-1:name"
    PortList,   // "1,2,3"
    Method,     // a method word and its fields: LEDs, buttons, GPIOs
    ModelBit,   // "ICH:GP22", "ICH:GP22:N", "SOC:REV"
    CmosStore,  // "70,7E"
    Edid,       // "I2C-3:50", "I2C-3:50:100"
    Fan,        // "I2"
    DrvType,    // "USB", "ATA", "SCSI", "SAS", "FLASH"
};

struct KeyRule {
    const char *key;  // "#" stands for a decimal number
    Form form;
};

struct SectionRule {
    const char *section;  // "#" stands for a decimal number
    std::vector<KeyRule> keys;
};

const std::vector<KeyRule> kBusKeys = {
    {"DEV_BUS", Form::DevBus},        {"DEV_DOMAIN", Form::Dec},      {"DEV_PORT", Form::Dec},
    {"DEV_BRIDGE_BUS", Form::DevBus}, {"PCI_SWITCH_PORT", Form::Dec},
};

const std::vector<KeyRule> kUsbKeys = {
    {"MULTI_DEVICE", Form::Dec},     {"DEV_BUS", Form::DevBus},    {"DEV_BRIDGE_BUS", Form::DevBus},
    {"DEV_DOMAIN", Form::Dec},       {"DEV_PORT", Form::PortList}, {"DEV_PORT_SS", Form::PortList},
    {"DEV_PORT_NS", Form::PortList}, {"IN_HUB", Form::Dec},        {"PCI_SWITCH_PORT", Form::Dec},
};

std::vector<KeyRule> join(std::vector<KeyRule> a, const std::vector<KeyRule> &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// The keys of /etc/model.conf that anything in the library reads, by section.
const std::vector<SectionRule> &main_rules() {
    static const std::vector<SectionRule> rules = {
        {"System Enclosure",
         {{"VENDOR", Form::Text},
          {"MODEL", Form::LongText},
          {"DISPLAY_MODEL_NAME", Form::LongText},
          {"CAP", Form::Hex},
          {"MAX_DISK_NUM", Form::Dec},
          {"MAX_FAN_NUM", Form::Dec},
          {"MAX_TEMP_NUM", Form::Dec},
          {"MAX_PCIE_SLOT", Form::Dec},
          {"INTERNAL_NET_PORT_NUM", Form::Dec},
          {"MAX_NET_PORT_NUM", Form::Dec},
          {"SYSTEM_DISK_CACHEABLE_BITMAP", Form::Hex},
          {"SS_MAX_CHANNELS", Form::Dec},
          {"SS_FREE_CHANNELS", Form::Dec},
          {"MULTI_CONF", Form::Hex},
          {"MULTI_CONF_FORMAT", Form::Dec},
          {"MODEL_BIT#", Form::ModelBit},
          {"BOARD_SN_DEVICE", Form::Text},
          {"ETH_MAC_DEVICE", Form::Text},
          {"LCM_DEV", Form::Text},
          {"PIC_DEV", Form::Text},
          {"MCU_DEV", Form::Text},
          {"BOOT_PARTITION", Form::Dec},
          {"PWR_RECOVERY_UNIT", Form::Text},
          {"PWR_RECOVERY_CMOS_STORE", Form::CmosStore},
          {"C2F_CMOS_STORE", Form::CmosStore},
          {"CPU_TEMP_UNIT", Form::Text},
          {"SYSTEM_TEMP_UNIT", Form::Text},
          {"SIO_DEVICE", Form::Text},
          {"SOC_PHY_REG_BASE", Form::Hex},
          {"DISK_DRV_TYPE", Form::DrvType},
          {"DISK_DEFAULT_MAX_LINK_SPEED", Form::Text}}},
        {"System IO",
         {{"STATUS_RED_LED", Form::Method},
          {"STATUS_GREEN_LED", Form::Method},
          {"FRONT_USB_LED", Form::Method},
          {"POWER_LED", Form::Method},
          {"10G_LED", Form::Method},
          {"JBOD_CONNECT_LED", Form::Method},
          {"LOCATE_LED", Form::Method},
          {"FULL_LOCATE_LED", Form::Method},
          {"PWM_LED", Form::Method},
          {"USB_COPY_BUTTON", Form::Method},
          {"RESET_BUTTON", Form::Method},
          {"REDUNDANT_POWER_#", Form::Method},
          {"STATUS_LED_LIGHT_CTL", Form::Method},
          {"GENERAL_LED_LIGHT_CTL", Form::Method},
          {"VPD_MB", Form::Text},
          {"VPD_BP", Form::Text},
          {"BBU_GPIO", Form::Method},
          {"BBU_GAUGE", Form::Text},
          {"EDID_COUNT", Form::Dec},
          {"EDID_#", Form::Edid}}},
        {"System FAN",
         {{"FAN_UNIT", Form::Text}, {"FAN_#", Form::Fan}, {"FAN_LEVEL_#", Form::Dec}}},
        {"Usb Enclosure",
         {{"VENDOR", Form::Text},
          {"MODEL", Form::LongText},
          {"MAX_PORT_NUM", Form::Dec},
          {"USB3_PORT_BITMAP", Form::Hex}}},
        {"Esata Enclosure",
         {{"VENDOR", Form::Text},
          {"MODEL", Form::LongText},
          {"CAP", Form::Hex},
          {"MAX_DISK_NUM", Form::Dec},
          {"DISK_DRV_TYPE", Form::DrvType},
          {"DISK_DEFAULT_MAX_LINK_SPEED", Form::Text},
          {"BLINK_LED", Form::Method}}},
        {"Cache Enclosure",
         {{"VENDOR", Form::Text},
          {"MODEL", Form::LongText},
          {"MAX_DISK_NUM", Form::Dec},
          {"SYSTEM_DISK_CACHEABLE_BITMAP", Form::Hex},
          {"DISK_DRV_TYPE", Form::DrvType},
          {"DISK_DEFAULT_MAX_LINK_SPEED", Form::Text}}},
        {"Boot Enclosure",
         {{"VENDOR", Form::Text},
          {"MODEL", Form::LongText},
          {"MAX_DISK_NUM", Form::Dec},
          {"BOOT_RECOVERY_MODE", Form::Dec},
          {"DISK_DRV_TYPE", Form::DrvType},
          {"DISK_DEFAULT_MAX_LINK_SPEED", Form::Text}}},
        {"Thunderbolt Enclosure",
         {{"DEV_BUS", Form::DevBus},
          {"THUNDERBOLT_SWITCH_PORT1", Form::Hex},
          {"THUNDERBOLT_SWITCH_PORT2", Form::Hex}}},
        {"System Internal SAS",
         {{"DEV_BUS", Form::DevBus},
          {"DEV_DOMAIN", Form::Dec},
          {"EXT_CONNECTOR_COUNT", Form::Dec},
          {"EXT_PORTS_IN_CONNECTOR", Form::Dec},
          {"EXT_PORT_#", Form::Text}}},
        {"System PCIE SLOT #",
         {{"DEV_BUS", Form::DevBus},
          {"DEV_DOMAIN", Form::Dec},
          {"PCI_SWITCH_PORT", Form::Dec},
          {"MAX_PCIE_LINK_WIDTH", Form::Dec}}},
        {"Usb Port #", kUsbKeys},
        {"Usb Port #-#", kUsbKeys},
        {"System Disk #", join(kBusKeys, {{"ERR_LED", Form::Method},
                                          {"PRESENT_LED", Form::Method},
                                          {"BLINK_LED", Form::Method},
                                          {"LOCATE_LED", Form::Method},
                                          {"LOCATE_ENCLOSURE_LED", Form::Method},
                                          {"POWER_SUPPLY", Form::Method}})},
        {"Esata Disk #", join(kBusKeys, {{"PRESENT_LED", Form::Method}})},
        {"Cache Disk #", kBusKeys},
        {"Boot Disk #", join(join(kBusKeys, kUsbKeys), {{"FLASH_SYS_NAME", Form::Text},
                                                        {"FLASH_SYS_ID_PREFIX", Form::Text},
                                                        {"FLASH_SIZE_M", Form::Dec}})},
        {"Boot Disk #-#", kUsbKeys},
        {"System Network #",
         {{"DEV_BUS", Form::DevBus},
          {"DEV_DOMAIN", Form::Dec},
          {"DEV_PORT", Form::Dec},
          {"PCI_SWITCH_PORT", Form::Dec},
          {"MAC_MASK", Form::Hex}}},
    };
    return rules;
}

const std::vector<SectionRule> &ext_rules() {
    static const std::vector<SectionRule> rules = {
        {"External Enclosure", {{"MAX_SUPPORT_TYPE_COUNT", Form::Dec}}},
        {"External Type #",
         {{"PRODUCT_ID", Form::Hex},
          {"MODEL", Form::LongText},
          {"CAP", Form::Hex},
          {"MAX_FAN_NUM", Form::Dec},
          {"MAX_TEMP_NUM", Form::Dec},
          {"MAX_PORT_NUM", Form::Dec},
          {"FAN_#", Form::Text},
          {"Port#", Form::Text},
          {"Port_LCM", Form::Text},
          {"Port_PIC", Form::Text}}},
    };
    return rules;
}

const std::vector<SectionRule> &jbod_rules() {
    static const std::vector<SectionRule> rules = {
        {"System Enclosure",
         {{"VENDOR", Form::Text},
          {"MODEL", Form::LongText},
          {"CAP", Form::Hex},
          {"MAX_DISK_NUM", Form::Dec},
          {"MAX_FAN_NUM", Form::Dec},
          {"MAX_TEMP_NUM", Form::Dec},
          {"DISK_DRV_TYPE", Form::DrvType},
          {"DISK_DEFAULT_MAX_LINK_SPEED", Form::Text},
          {"THUNDERBOLT_SWITCH_PORT", Form::Hex}}},
        {"System IO",
         {{"STATUS_LED", Form::Text},
          {"7S_LED", Form::Text},
          {"FANERROR_LED", Form::Text},
          {"OVERHEAT_LED", Form::Text},
          {"LOCATE_LED", Form::Text},
          {"HWM_UNIT", Form::Text},
          {"MB_TEMP", Form::Text},
          {"BP_TEMP1", Form::Text},
          {"BP_TEMP2", Form::Text}}},
        {"System FAN",
         {{"FAN_UNIT", Form::Text}, {"FAN_#", Form::Fan}, {"FAN_LEVEL_#", Form::Dec}}},
        {"Sata Controller 1",
         {{"PCI_SWITCH_PORT", Form::Hex}, {"VENDOR", Form::Text}, {"PRODUCT_ID", Form::Text}}},
        // A box's bays: where each disk is found and its lights' start and stop bytes.
        {"System Disk #",
         {{"DEV_PORT", Form::Dec},
          {"PCI_SWITCH_PORT", Form::Hex},
          {"DEV_DOMAIN", Form::Dec},
          {"DEV_BRIDGE_BUS", Form::DevBus},
          {"ERR_LED", Form::Text},
          {"LOCATE_LED", Form::Text},
          {"PRESENT_LED", Form::Text}}},
    };
    return rules;
}

// Matches name against a pattern in which "#" stands for a run of decimal digits; the numbers
// met are handed back in order.
bool matches(const char *pattern, const std::string &name, std::vector<int> *numbers = nullptr) {
    size_t i = 0;
    for (const char *p = pattern; *p; ++p) {
        if (*p != '#') {
            if (i >= name.size() || name[i] != *p)
                return false;
            ++i;
            continue;
        }
        size_t start = i;
        while (i < name.size() && isdigit(static_cast<unsigned char>(name[i])))
            ++i;
        if (i == start)
            return false;
        if (numbers)
            numbers->push_back(atoi(name.c_str() + start));
    }
    return i == name.size();
}

bool is_number(const std::string &t, int base) {
    std::string s = t;
    if (base == 16 && (s.rfind("0x", 0) == 0 || s.rfind("0X", 0) == 0))
        s = s.substr(2);
    else if (base == 10 && !s.empty() && s[0] == '-')
        s = s.substr(1);
    if (s.empty())
        return false;
    for (unsigned char c : s)
        if (base == 16 ? !isxdigit(c) : !isdigit(c))
            return false;
    return true;
}

bool starts_nocase(const std::string &value, const char *prefix) {
    return strncasecmp(value.c_str(), prefix, strlen(prefix)) == 0;
}

// Why a value does not have its form; empty when it does. The store and the model parsers are
// lenient (strtol stops at the first stray character), so a value they accept may still not be
// what its writer meant: trailing text is reported too.
std::string form_problem(Form form, const std::string &v) {
    char buf[HAL_ID_LEN];
    int32_t a = 0, b = 0, c = 0;
    switch (form) {
        case Form::Text:
        case Form::LongText:
            return "";
        case Form::Dec:
            return is_number(v, 10) && nashal::ini::parse_int32(v.c_str(), INI_CONF_DEC, &a)
                       ? ""
                       : "not a decimal number";
        case Form::Hex:
            return is_number(v, 16) && nashal::ini::parse_int32(v.c_str(), INI_CONF_HEX, &a)
                       ? ""
                       : "not a hexadecimal number";
        case Form::DevBus:
            if (comm_sys_parse_c_dev_bus(v.c_str(), &a, &b, &c) == 0 ||
                comm_sys_parse_c_internal_driver(v.c_str(), buf, sizeof buf) == 0)
                return "";
            return "not a bus text (B02:D00:F0, D28:F2 or B-1:name)";
        case Form::PortList: {
            for (unsigned char ch : v)
                if (!isdigit(ch) && ch != ',')
                    return "not a list of port numbers (1,2,3)";
            snprintf(buf, sizeof buf, "%s", v.c_str());
            int ports = 0;
            while (comm_sys_get_each_usb_port(buf) != 0)
                ++ports;
            // A port 0 or an empty entry ends the walk early: later ports are never looked at.
            if (ports != static_cast<int>(std::count(v.begin(), v.end(), ',')) + 1)
                return "port list ends early (a 0 or an empty entry stops the walk)";
            return "";
        }
        case Form::Method: {
            static const char *const gpio_like[] = {"SIO", "SOC", "ICH", "PCH", "GPIO", "IOPORT"};
            for (const char *m : gpio_like)
                if (starts_nocase(v, m))
                    return comm_sys_parse_c_gpio(v.c_str(), &a, &b) < 0
                               ? std::string("not a ") + m + " GPIO (" + m + ":I3A[:B2][:P])"
                               : "";
            if (starts_nocase(v, "I2C")) {
                snprintf(buf, sizeof buf, "%s", v.c_str());
                return comm_sys_parse_c_i2c(buf, &a) == 0 && v.find(':') != std::string::npos
                           ? ""
                           : "not an I2C address (I2C:2E...)";
            }
            if (starts_nocase(v, "UART"))
                return v.find(':') != std::string::npos ? ""
                                                        : "not a serial command (UART1:CPLD:4A:4B)";
            for (const char *m : {"PIC", "MCU", "SAS"})
                if (starts_nocase(v, m))
                    return "";
            return "unknown method word \"" + v.substr(0, v.find(':')) + "\"";
        }
        case Form::ModelBit: {
            size_t colon = v.find(':');
            if (colon == std::string::npos)
                return "needs a method word and \":\" (ICH:GP22)";
            std::string rest = v.substr(colon + 1);
            if (rest.rfind("REV", 0) == 0)
                return "";
            if (rest.rfind("GP", 0) == 0 && rest.size() > 2 &&
                isdigit(static_cast<unsigned char>(rest[2])))
                return "";
            return "not GP and a GPIO number, or REV";
        }
        case Form::CmosStore: {
            size_t comma = v.find(',');
            return comma != std::string::npos && is_number(v.substr(0, comma), 16) &&
                           is_number(v.substr(comma + 1), 16)
                       ? ""
                       : "not an I/O port and a CMOS index (70,7E)";
        }
        case Form::Edid: {
            size_t dash = v.find('-');
            if (dash == std::string::npos)
                return "needs a \"-\" before the I2C bus (I2C-3:50)";
            std::string rest = v.substr(dash + 1);
            std::stringstream parts(rest);
            std::string part;
            int n = 0;
            while (std::getline(parts, part, ':'))
                if (!is_number(part, 16) || ++n > 3)
                    return "not bus:address[:length] in hexadecimal";
            return n >= 2 ? "" : "not bus:address[:length] in hexadecimal";
        }
        case Form::Fan: {
            size_t i = v.find('I');
            return i != std::string::npos && i + 1 < v.size() &&
                           isdigit(static_cast<unsigned char>(v[i + 1]))
                       ? ""
                       : "not a fan index (I2)";
        }
        case Form::DrvType:
            for (const char *t : {"USB", "ATA", "SCSI", "SAS", "FLASH"})
                if (strcasecmp(v.c_str(), t) == 0)
                    return "";
            return "not a drive type (USB, ATA, SCSI, SAS, FLASH)";
    }
    return "";
}

struct Finding {
    int line;
    std::string section;
    std::string key;
    std::string problem;
    bool error;
};

struct Field {
    int line;
    std::string value;
};

struct Section {
    int line;
    std::string name;
    std::map<std::string, Field> fields;
};

class Checker {
  public:
    explicit Checker(const std::vector<SectionRule> &rules) : rules_(rules) {}

    void line(int number, const std::string &text) {
        nashal::ini::LineView v = nashal::ini::scan_line(text);
        if (v.kind == nashal::ini::LineKind::Section) {
            std::string name(v.name);
            for (auto &s : sections_)
                if (s.name == name) {
                    // The library looks a key up through every block of the name in file order
                    // but adds a new key to the first block: one section, written twice, is a
                    // trap for whoever edits it next. Its keys are checked as the first block's.
                    add(number, name, "",
                        "section again (first at line " + std::to_string(s.line) +
                            "): its keys are read with the first block's, the first of a key "
                            "wins, and a key set later goes into the first block",
                        true);
                    current_ = &s;
                    rule_ = find_rule(name);
                    return;
                }
            sections_.push_back({number, name, {}});
            current_ = &sections_.back();
            rule_ = find_rule(name);
            if (!rule_)
                add(number, name, "", "unknown section: nothing reads it", true);
            return;
        }
        if (v.kind == nashal::ini::LineKind::Other) {
            add(number, current_ ? current_->name : "", "", "not a section, a key or a comment",
                true);
            return;
        }
        if (v.kind != nashal::ini::LineKind::Field || !current_)
            return field_outside(number, v);
        std::string key(v.name);
        std::string value(v.value);
        auto had = current_->fields.find(key);
        if (had != current_->fields.end()) {
            add(number, current_->name, key,
                "key again (first at line " + std::to_string(had->second.line) +
                    "): the library reads only the first",
                true);
            return;
        }
        current_->fields[key] = {number, value};
        if (!rule_)
            return;
        const KeyRule *k = find_key(key);
        if (!k) {
            add(number, current_->name, key, "unknown key: nothing reads it", true);
            return;
        }
        check_value(number, key, value, k->form);
    }

    // The checks across sections, once the whole file is read.
    void finish() {
        check_counts("System Disk #", "System Enclosure", "MAX_DISK_NUM");
        check_counts("Esata Disk #", "Esata Enclosure", "MAX_DISK_NUM");
        check_counts("Cache Disk #", "Cache Enclosure", "MAX_DISK_NUM");
        check_counts("Boot Disk #", "Boot Enclosure", "MAX_DISK_NUM");
        check_counts("Usb Port #", "Usb Enclosure", "MAX_PORT_NUM");
        check_counts("External Type #", "External Enclosure", "MAX_SUPPORT_TYPE_COUNT");
        check_multi_device();
        for (const char *kind : {"System Disk #", "Esata Disk #", "Cache Disk #"})
            check_duplicate_slots(kind);
    }

    // In the order of the file.
    std::vector<Finding> findings() const {
        std::vector<Finding> sorted = findings_;
        std::stable_sort(sorted.begin(), sorted.end(),
                         [](const Finding &a, const Finding &b) { return a.line < b.line; });
        return sorted;
    }

  private:
    void add(int line, const std::string &section, const std::string &key,
             const std::string &problem, bool error) {
        findings_.push_back({line, section, key, problem, error});
    }

    void field_outside(int number, const nashal::ini::LineView &v) {
        if (v.kind == nashal::ini::LineKind::Field && !current_)
            add(number, "", std::string(v.name), "key outside any section: nothing reads it", true);
    }

    const SectionRule *find_rule(const std::string &name) const {
        for (const auto &r : rules_)
            if (matches(r.section, name))
                return &r;
        return nullptr;
    }

    const KeyRule *find_key(const std::string &key) const {
        for (const auto &k : rule_->keys)
            if (matches(k.key, key))
                return &k;
        return nullptr;
    }

    void check_value(int number, const std::string &key, const std::string &value, Form form) {
        // Values are read into 32 bytes (41 for model names): anything longer arrives cut.
        size_t limit = form == Form::LongText ? HAL_MODEL_LEN - 1 : HAL_ID_LEN - 1;
        if (value.size() > limit) {
            add(number, current_->name, key,
                "longer than " + std::to_string(limit) + " characters: the library reads it cut",
                true);
            return;
        }
        std::string why = form_problem(form, value);
        if (!why.empty())
            add(number, current_->name, key, "\"" + value + "\" " + why, true);
    }

    const Section *section(const std::string &name) const {
        for (const auto &s : sections_)
            if (s.name == name)
                return &s;
        return nullptr;
    }

    bool int_of(const Section *s, const char *key, int32_t *out) const {
        if (!s)
            return false;
        auto f = s->fields.find(key);
        return f != s->fields.end() &&
               nashal::ini::parse_int32(f->second.value.c_str(), INI_CONF_DEC, out);
    }

    // Slots numbered beyond their enclosure's count are enumerated but never mapped back to a
    // bay; bays within the count that have no section are empty for ever.
    void check_counts(const char *pattern, const char *owner, const char *count_key) {
        int32_t count = 0;
        const Section *o = section(owner);
        bool have = int_of(o, count_key, &count);
        std::vector<bool> seen(count > 0 && count < 1000 ? count + 1 : 1, false);
        bool any = false;
        for (const auto &s : sections_) {
            std::vector<int> n;
            if (!matches(pattern, s.name, &n))
                continue;
            any = true;
            if (n[0] >= 1 && n[0] < static_cast<int>(seen.size()))
                seen[n[0]] = true;
            else
                add(s.line, s.name, "",
                    std::string("slot ") + std::to_string(n[0]) + " beyond " + count_key + " " +
                        (have ? std::to_string(count) : std::string("(missing)")) + " of [" +
                        owner + "]",
                    true);
        }
        if (!any || !o)
            return;
        for (size_t i = 1; i < seen.size(); ++i)
            if (!seen[i]) {
                std::string name = pattern;
                name.replace(name.find('#'), 1, std::to_string(i));
                add(o->line, owner, count_key,
                    count_key + std::string(" counts ") + std::to_string(count) + " but [" + name +
                        "] is missing: that bay stays empty",
                    false);
            }
    }

    // "Usb Port N" with MULTI_DEVICE k is read as its entries "Usb Port N-1" to "-k" only.
    void check_multi_device() {
        for (const auto &s : sections_) {
            std::vector<int> n;
            if (!matches("Usb Port #-#", s.name, &n))
                continue;
            int32_t multi = 0;
            int_of(section("Usb Port " + std::to_string(n[0])), "MULTI_DEVICE", &multi);
            if (n[1] < 1 || n[1] > multi)
                add(s.line, s.name, "",
                    "entry " + std::to_string(n[1]) + " beyond MULTI_DEVICE " +
                        std::to_string(multi) + " of [Usb Port " + std::to_string(n[0]) + "]",
                    true);
        }
    }

    // Two bays that name the same controller port would both show the one disk there.
    void check_duplicate_slots(const char *pattern) {
        std::map<std::string, const Section *> place;
        for (const auto &s : sections_) {
            if (!matches(pattern, s.name))
                continue;
            auto get = [&](const char *k, const char *fallback) {
                auto f = s.fields.find(k);
                return f == s.fields.end() || f->second.value.empty() ? std::string(fallback)
                                                                      : f->second.value;
            };
            auto port = s.fields.find("DEV_PORT");
            if (port == s.fields.end() || get("DEV_BUS", "").empty())
                continue;
            std::string key = get("DEV_DOMAIN", "0") + "|" + get("DEV_BUS", "") + "|" +
                              get("DEV_BRIDGE_BUS", "") + "|" + get("PCI_SWITCH_PORT", "-1") + "|" +
                              std::to_string(atoi(port->second.value.c_str()));
            auto first = place.emplace(key, &s);
            if (!first.second)
                add(port->second.line, s.name, "DEV_PORT",
                    "same controller port as [" + first.first->second->name + "] (line " +
                        std::to_string(first.first->second->line) +
                        "): both bays would show one disk",
                    true);
        }
    }

    const std::vector<SectionRule> &rules_;
    std::deque<Section> sections_;  // a deque: current_ stays valid as sections are added
    Section *current_ = nullptr;
    const SectionRule *rule_ = nullptr;
    std::vector<Finding> findings_;
};

const std::vector<SectionRule> &rules_for(const std::string &path) {
    std::string base = path.substr(path.rfind('/') + 1);
    if (base == "model_ext.conf")
        return ext_rules();
    if (base == "model_jbod.conf")
        return jbod_rules();
    return main_rules();
}

}  // namespace

HALCTL_COMMAND(cmd_check_model, "check-model", "[FILE]",
               "check a model file: unknown keys, values that don't parse, duplicated slots, "
               "counts that disagree with the slots, by line") {
    if (ctx.args.size() > 1)
        return halctl::usage_error(ctx, "check-model takes at most one file");
    std::string path = ctx.args.empty() ? nashal::topology::kModelConf : ctx.args[0];
    std::ifstream in(path);
    if (!in)
        return halctl::failure("can't read " + path);
    Checker checker(rules_for(path));
    std::string text;
    for (int number = 1; std::getline(in, text); ++number)
        checker.line(number, text);
    checker.finish();

    using halctl::Output;
    std::vector<Output::Record> rows;
    int errors = 0;
    const std::vector<Finding> findings = checker.findings();
    for (const auto &f : findings) {
        errors += f.error;
        rows.push_back({Output::number("line", f.line),
                        Output::text("level", f.error ? "error" : "warning"),
                        Output::text("section", f.section), Output::text("key", f.key),
                        Output::text("problem", f.problem)});
    }
    if (ctx.out.json()) {
        ctx.out.record({Output::text("file", path), Output::number("errors", errors)});
        ctx.out.table(rows);
    } else {
        for (const auto &f : findings)
            printf("%s:%d: %s: [%s]%s%s %s\n", path.c_str(), f.line, f.error ? "error" : "warning",
                   f.section.c_str(), f.key.empty() ? "" : " ", f.key.c_str(), f.problem.c_str());
        printf("%s: %d error%s\n", path.c_str(), errors, errors == 1 ? "" : "s");
    }
    return errors ? halctl::kFailed : halctl::kOk;
}
