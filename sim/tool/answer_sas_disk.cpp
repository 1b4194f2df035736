// Stand-ins for the sg3_utils tools a SAS disk is managed with (see sas_disk.h): LOG SENSE pages
// with sg_logs -p PAGE -r, fixed-format sense data with sg_requests -r, self tests with
// sg_senddiag -s, power conditions with sg_start -p, and the Informational Exceptions Control
// mode page with sginfo -IX and -IXR. Pages and sense data are laid out with the records the
// library's decoders use (disk/scsi_log_layout.h), in the bytes a disk sends: -r prints them in
// binary, as the real tools do.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "../fs.h"
#include "disk/scsi_log_layout.h"
#include "foundation/byte_order.h"
#include "inq_description.h"
#include "sas_disk.h"
#include "stand_in.h"
#include "wire_bytes.h"

namespace {

using namespace nashal::scsi_log;
using nashal::sim::exists;
using nashal::sim::read_file;
using nashal::sim::write_file;
using nashal::sim::tool::bytes_of;

// sg3_utils' exit status when the device refuses a request as illegal.
constexpr int kExitIllegalRequest = 5;

const char *const kDefaultPages = "00 02 03 05 06 0d 0e 10 1a 2f";
const char *const kDefaultIec = "0 0 0 0 0 0 0 4 6000 0";

struct Disk {
    std::string node;
    std::map<std::string, std::string> state;

    std::string dir() const { return "/sim/sas/" + node + "/"; }
    std::string text(const std::string &key, const std::string &fallback) const {
        auto it = state.find(key);
        return it == state.end() ? fallback : it->second;
    }
    uint64_t number(const std::string &key, uint64_t fallback) const {
        auto it = state.find(key);
        return it == state.end() ? fallback : std::stoull(it->second, nullptr, 0);
    }
    std::string file(const std::string &name) const { return read_file(dir() + name); }
    void set_file(const std::string &name, const std::string &content) const {
        write_file(dir() + name, content);
    }
};

// The disk of a device argument, when its inquiry description says it is a disk.
bool load_disk(const std::string &device, Disk &disk) {
    disk.node = nashal::sim::tool::device_node(device);
    nashal::sim::tool::InqDescription inq;
    if (disk.node.empty() || !nashal::sim::tool::load_inq_description(disk.node, inq) ||
        inq.type != 0)
        return false;
    disk.state = nashal::sim::text_settings(disk.file("state"));
    return true;
}

std::vector<std::string> words(const std::string &text) {
    std::istringstream in(text);
    std::vector<std::string> out;
    std::string w;
    while (in >> w)
        out.push_back(w);
    return out;
}

std::vector<int> iec_fields(const Disk &disk) {
    std::string text = disk.file("iec");
    std::vector<int> fields;
    for (const auto &w : words(text.empty() ? kDefaultIec : text))
        fields.push_back(std::atoi(w.c_str()));
    fields.resize(kIecFieldCount, 0);
    return fields;
}

// ---- Self tests ----

struct RunningTest {
    bool running = false;
    std::string kind;
    uint32_t progress = 0;  // of 65536
};

int test_code(const std::string &kind) {
    return kind == "extended" ? kSelfTestBackgroundExtended : kSelfTestBackgroundShort;
}

void log_result(const Disk &disk, const std::string &kind, int result) {
    std::string line = kind + " " + std::to_string(result) + " " +
                       std::to_string(disk.number("power_on_hours", 1000)) + "\n";
    disk.set_file("self_test_log", line + disk.file("self_test_log"));
}

// The running test, moved to the log once its time is over.
RunningTest running_test(const Disk &disk) {
    RunningTest t;
    auto w = words(disk.file("self_test"));
    if (w.size() < 2)
        return t;
    t.kind = w[0];
    if (w[1] == "progress" && w.size() >= 3) {
        t.progress = static_cast<uint32_t>(std::stoul(w[2], nullptr, 0)) & 0xFFFF;
        t.running = true;
        return t;
    }
    const int64_t minutes = static_cast<int64_t>(
        disk.number(t.kind == "extended" ? "extended_minutes" : "short_minutes",
                    t.kind == "extended" ? 600 : 2));
    const int64_t elapsed = static_cast<int64_t>(time(nullptr)) - std::stoll(w[1]);
    if (elapsed >= minutes * 60) {
        log_result(disk, t.kind, static_cast<int>(disk.number("self_test_outcome", 0)));
        remove((disk.dir() + "self_test").c_str());
        return t;
    }
    t.running = true;
    t.progress = static_cast<uint32_t>((elapsed < 0 ? 0 : elapsed) * kProgressScale /
                                       static_cast<uint64_t>(minutes * 60));
    return t;
}

// ---- The condition the disk reports ----

struct Condition {
    uint8_t asc = 0, ascq = 0;
};

// The informational exception: failure predicted by too many reassigned blocks, or (with
// warnings enabled) the temperature at or above the reference.
Condition informational_exception(const Disk &disk) {
    const auto iec = iec_fields(disk);
    if (disk.number("grown_defects", 0) >= disk.number("defect_threshold", 100))
        return {kAscFailurePrediction, kAscqTooManyBlockReassigns};
    if (iec[kIecEwasc] &&
        disk.number("temperature", 35) >= disk.number("reference_temperature", 65))
        return {kAscWarning, kAscqTemperatureExceeded};
    return {};
}

// ---- Log pages ----

std::string param(unsigned code, uint8_t control, const std::string &value) {
    LogParamHeader h{};
    nashal::store_be16(h.code_be, static_cast<uint16_t>(code));
    h.control = control;
    h.length = static_cast<uint8_t>(value.size());
    return bytes_of(h) + value;
}

std::string be(uint64_t v, size_t n) {
    std::string out(n, '\0');
    for (size_t i = 0; i < n; ++i)
        out[n - 1 - i] = static_cast<char>((v >> (8 * i)) & 0xff);
    return out;
}

std::string page(uint8_t code, const std::string &params) {
    LogPageHeader h{};
    h.page_code = code;
    nashal::store_be16(h.length_be, static_cast<uint16_t>(params.size()));
    return bytes_of(h) + params;
}

std::string error_counters(const Disk &disk, uint8_t code) {
    const char *key = code == 0x02   ? "write_errors"
                      : code == 0x03 ? "read_errors"
                                     : "verify_errors";
    auto w = words(disk.text(key, "0 0 0 0 0 1099511627776 0"));
    w.resize(kErrorParamCount, "0");
    std::string params;
    for (int i = 0; i < kErrorParamCount; ++i)
        params += param(static_cast<unsigned>(i), kControlCounter,
                        be(std::stoull(w[i], nullptr, 0), i == kErrorBytesProcessed ? 8 : 4));
    return params;
}

std::string date(const std::string &text) {
    auto w = words(text);
    w.resize(2, "");
    std::string year = (w[0] + "    ").substr(0, kDateYearLen);
    std::string week = (w[1] + "  ").substr(0, kDateWeekLen);
    return year + week;
}

std::string self_test_results(const Disk &disk, const RunningTest &running) {
    std::vector<std::vector<std::string>> entries;
    if (running.running)
        entries.push_back({running.kind, std::to_string(kSelfTestInProgress),
                           std::to_string(disk.number("power_on_hours", 1000))});
    std::istringstream in(disk.file("self_test_log"));
    std::string line;
    while (std::getline(in, line))
        if (auto w = words(line); w.size() >= 3)
            entries.push_back(w);
    std::string params;
    for (int i = 0; i < kSelfTestParams; ++i) {
        SelfTestParam p{};
        nashal::store_be16(p.code_be, static_cast<uint16_t>(i + 1));
        p.control = kControlBinary;
        p.length = kSelfTestParamLength;
        if (static_cast<size_t>(i) < entries.size()) {
            const auto &e = entries[static_cast<size_t>(i)];
            const int result = std::stoi(e[1]) & kSelfTestResultMask;
            p.code_result = static_cast<uint8_t>(test_code(e[0]) << kSelfTestCodeShift | result);
            p.number = 0;
            nashal::store_be16(p.hours_be, static_cast<uint16_t>(std::stoul(e[2])));
            // A failed segment names its first failing block; the others none.
            nashal::store_be64(p.first_failure_be,
                               e.size() > 3 ? std::stoull(e[3], nullptr, 0) : ~0ull);
            if (e.size() > 3) {
                p.sense_key = 0x03;  // MEDIUM ERROR
                p.asc = 0x11;        // unrecovered read error
            }
        }
        params += bytes_of(p);
    }
    return params;
}

int answer_sg_logs(const std::vector<std::string> &args) {
    int code = -1;
    bool raw = false;
    std::string device;
    for (size_t i = 0; i < args.size(); ++i) {
        if (nashal::sim::tool::page_option(args, i, code))
            continue;
        if (args[i] == "-r" || args[i] == "--raw")
            raw = true;
        else if (!args[i].empty() && args[i][0] != '-')
            device = args[i];
    }
    Disk disk;
    if (!raw || code < 0 || !load_disk(device, disk))
        return nashal::sim::tool::scripted_answer("sg_logs", args);
    std::string listed;
    for (const auto &w : words(disk.text("pages", kDefaultPages)))
        listed += static_cast<char>(std::stoi(w, nullptr, 16));
    if (listed.find(static_cast<char>(code)) == std::string::npos) {
        fprintf(stderr, "log_sense: Illegal request, Invalid field in cdb\n");
        return kExitIllegalRequest;
    }
    const RunningTest running = running_test(disk);
    std::string params;
    switch (code) {
        case 0x00:
            params = listed;
            break;
        case 0x02:
        case 0x03:
        case 0x05:
            params = error_counters(disk, static_cast<uint8_t>(code));
            break;
        case 0x06:
            params = param(0, kControlCounter, be(disk.number("non_medium_errors", 0), 4));
            break;
        case 0x0d:
            params = param(kTemperatureParam, kControlBinary,
                           be(disk.number("temperature", 35), kTemperatureValueLen)) +
                     param(kReferenceTemperatureParam, kControlBinary,
                           be(disk.number("reference_temperature", 65), kTemperatureValueLen));
            break;
        case 0x0e:
            params = param(kDateOfManufactureParam, kControlAscii,
                           date(disk.text("manufactured", "2019 05"))) +
                     param(kAccountingDateParam, kControlAscii,
                           date(disk.text("accounting", "2019 06")));
            params += param(3, kControlBinary, be(disk.number("specified_start_stops", 50000), 4));
            params += param(4, kControlBinary, be(disk.number("start_stops", 20), 4));
            params +=
                param(5, kControlBinary, be(disk.number("specified_load_unloads", 600000), 4));
            params += param(6, kControlBinary, be(disk.number("load_unloads", 40), 4));
            break;
        case 0x10:
            params = self_test_results(disk, running);
            break;
        case 0x1a:
            // Power condition transitions: to active, idle_a, idle_b, idle_c, standby_z,
            // standby_y.
            for (unsigned p : {1u, 2u, 3u, 4u, 8u, 9u})
                params += param(p, kControlBinary, be(0, 4));
            break;
        case 0x2f: {
            Condition c = informational_exception(disk);
            params = param(kIeGeneralParam, kControlBinary,
                           std::string{static_cast<char>(c.asc), static_cast<char>(c.ascq),
                                       static_cast<char>(disk.number("temperature", 35)), '\0'});
            break;
        }
        default:
            fprintf(stderr, "log_sense: page 0x%x not described\n", code);
            return kExitIllegalRequest;
    }
    nashal::sim::tool::write_out(page(static_cast<uint8_t>(code), params));
    return 0;
}

// ---- REQUEST SENSE ----

int answer_sg_requests(const std::vector<std::string> &args) {
    bool raw = false;
    std::string device;
    for (const auto &a : args) {
        if (a == "-r" || a == "--raw")
            raw = true;
        else if (!a.empty() && a[0] != '-')
            device = a;
    }
    Disk disk;
    if (!raw || !load_disk(device, disk))
        return nashal::sim::tool::scripted_answer("sg_requests", args);
    FixedSense s{};
    s.response_code = kSenseCurrent;
    s.sense_key = kSenseKeyNoSense;
    s.additional_length = static_cast<uint8_t>(kSenseFollowingLen);
    const RunningTest running = running_test(disk);
    const auto iec = iec_fields(disk);
    const Condition ie = informational_exception(disk);
    if (running.running) {
        s.asc = kAscNotReady;
        s.ascq = kAscqSelfTestInProgress;
        s.sks = kSenseKeySpecificValid;
        nashal::store_be16(s.progress_be, static_cast<uint16_t>(running.progress));
    } else if (words(disk.file("power")) == std::vector<std::string>{"standby"}) {
        s.asc = kAscLowPowerCondition;
        s.ascq = kAscqStandbyByCommand;
    } else if (!iec[kIecDexcpt] && iec[kIecMrie] == kMrieOnRequest && ie.asc) {
        s.asc = ie.asc;
        s.ascq = ie.ascq;
    }
    nashal::sim::tool::write_out(bytes_of(s));
    return 0;
}

// ---- START STOP UNIT ----

int answer_sg_start(const std::vector<std::string> &args) {
    int condition = -1;
    bool start = false, stop = false;
    std::string device;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "-p" && i + 1 < args.size())
            condition = std::stoi(args[++i]);
        else if (args[i].rfind("--pc=", 0) == 0)
            condition = std::stoi(args[i].substr(5));
        else if (args[i] == "-m" && i + 1 < args.size())
            ++i;
        else if (args[i] == "-s" || args[i] == "--start")
            start = true;
        else if (args[i] == "-S" || args[i] == "--stop")
            stop = true;
        else if (!args[i].empty() && args[i][0] != '-')
            device = args[i];
    }
    Disk disk;
    if (!load_disk(device, disk))
        return nashal::sim::tool::scripted_answer("sg_start", args);
    if (condition == 3 || stop) {
        // Spinning down ends a background self test, which then reads as aborted otherwise than
        // by SEND DIAGNOSTIC.
        if (const RunningTest running = running_test(disk); running.running) {
            log_result(disk, running.kind, kSelfTestAbortedOtherwise);
            remove((disk.dir() + "self_test").c_str());
        }
        disk.set_file("power", "standby\n");
    } else if (condition == 1 || condition == 2 || start || condition == -1)
        disk.set_file("power", "active\n");
    else {
        fprintf(stderr, "start stop unit: Illegal request, Invalid field in cdb\n");
        return kExitIllegalRequest;
    }
    return 0;
}

// ---- Informational Exceptions Control mode page ----

int answer_sginfo(const std::vector<std::string> &args) {
    std::string options, device;
    std::vector<std::string> values;
    for (const auto &a : args) {
        if (!a.empty() && a[0] == '-')
            options += a.substr(1);
        else if (device.empty())
            device = a;
        else
            values.push_back(a);
    }
    Disk disk;
    if (options.find('I') == std::string::npos || options.find('X') == std::string::npos ||
        !load_disk(device, disk))
        return nashal::sim::tool::scripted_answer("sginfo", args);
    if (options.find('R') == std::string::npos) {
        std::string out;
        for (int f : iec_fields(disk))
            out += std::to_string(f) + " ";
        nashal::sim::tool::write_out(out + "\n");
        return 0;
    }
    if (values.size() != static_cast<size_t>(kIecFieldCount)) {
        fprintf(stderr, "Wrong number of replacement values (%zu instead of %d)\n", values.size(),
                static_cast<int>(kIecFieldCount));
        return 1;
    }
    std::string text;
    for (const auto &v : values)
        text += (text.empty() ? "" : " ") + std::to_string(std::atoi(v.c_str()));
    disk.set_file("iec", text + "\n");
    return 0;
}

}  // namespace

namespace nashal::sim::tool {

int answer_sas_disk_self_test(const std::vector<std::string> &args) {
    int code = -1;
    std::string device;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "-s" && i + 1 < args.size())
            code = std::stoi(args[++i]);
        else if (args[i].rfind("--selftest=", 0) == 0)
            code = std::stoi(args[i].substr(11));
        else if (!args[i].empty() && args[i][0] != '-')
            device = args[i];
    }
    Disk disk;
    if (code < 0 || !load_disk(device, disk))
        return -1;
    const RunningTest running = running_test(disk);
    if (code == kSelfTestAbort) {
        if (running.running) {
            log_result(disk, running.kind, kSelfTestAbortedByCommand);
            remove((disk.dir() + "self_test").c_str());
        }
        return 0;
    }
    if (code != kSelfTestBackgroundShort && code != kSelfTestBackgroundExtended && code != 5 &&
        code != 6) {
        fprintf(stderr, "Send diagnostic: Illegal request, Invalid field in cdb\n");
        return kExitIllegalRequest;
    }
    if (running.running) {
        // A disk takes no second test while one runs.
        fprintf(stderr, "Send diagnostic: Illegal request, Invalid field in cdb\n");
        return kExitIllegalRequest;
    }
    disk.set_file("power", "active\n");  // a self test spins the disk up
    const std::string kind =
        code == kSelfTestBackgroundExtended || code == 6 ? "extended" : "short";
    if (code == 5 || code == 6) {
        // A foreground test returns when it is done.
        log_result(disk, kind, static_cast<int>(disk.number("self_test_outcome", 0)));
        return 0;
    }
    disk.set_file("self_test", kind + " " + std::to_string(time(nullptr)) + "\n");
    return 0;
}

}  // namespace nashal::sim::tool

NASHAL_STAND_IN("sg_logs", answer_sg_logs);
NASHAL_STAND_IN("sg_requests", answer_sg_requests);
NASHAL_STAND_IN("sg_start", answer_sg_start);
NASHAL_STAND_IN("sginfo", answer_sginfo);
