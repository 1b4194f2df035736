#include "sim/sata_smart_model.h"

#include <cstdlib>
#include <cstring>

#include "foundation/byte_order.h"
#include "sim/clock.h"
#include "sim/fs.h"

namespace nashal::sim {
namespace {

using Sector = std::array<uint8_t, smart::kSectorSize>;

std::string trimmed(std::string s) {
    while (!s.empty() && (s.back() == '\n' || s.back() == ' '))
        s.pop_back();
    return s;
}

std::string state(const AtaExchange &x, const char *file) {
    return trimmed(read_file(x.disk_dir + "/" + file));
}

void set_state(const AtaExchange &x, const char *file, const std::string &value) {
    write_file(x.disk_dir + "/" + file, value + "\n");
}

bool has_smart(const AtaExchange &x) {
    return exists(x.disk_dir + "/smart_data");
}

// ATA's answer to a command the drive refuses: ABORT in the error register.
bool aborted(AtaExchange &x) {
    x.registers.error = ata::kErrorAbort;
    x.registers.status |= ata::kStatusError;
    return false;
}

void seal(uint8_t *sector) {
    uint8_t sum = 0;
    for (size_t i = 0; i < smart::kChecksumOffset; ++i)
        sum = static_cast<uint8_t>(sum + sector[i]);
    sector[smart::kChecksumOffset] = static_cast<uint8_t>(-sum);
}

int64_t now_seconds() {
    return clock_now_us() / 1000000;
}

// The self-test status byte as the drive would report it now: a test started here runs for its
// polling time on the virtual clock, counting down in tenths, then reports success.
bool self_test_byte(const AtaExchange &x, const uint8_t *data, uint8_t *byte) {
    std::string test = state(x, "self_test");
    if (test.empty())
        return false;
    if (test == "aborted") {
        *byte = smart::kSelfTestAborted << 4;
        return true;
    }
    bool extended = test.rfind("extended", 0) == 0;
    int64_t start = atoll(test.c_str() + test.find(' ') + 1);
    int64_t duration =
        60 * int64_t{data[extended ? smart::kExtendedPollMinutes : smart::kShortPollMinutes]};
    int64_t left = duration - (now_seconds() - start);
    if (left <= 0 || duration == 0) {
        *byte = smart::kSelfTestDone;
        return true;
    }
    int64_t tenths = (left * 10 + duration - 1) / duration;
    *byte = static_cast<uint8_t>((smart::kSelfTestInProgress << 4) | (tenths > 9 ? 9 : tenths));
    return true;
}

bool test_running(const AtaExchange &x) {
    std::string image = read_file(x.disk_dir + "/smart_data");
    if (image.size() < smart::kSectorSize)
        return false;
    uint8_t byte = 0;
    return self_test_byte(x, reinterpret_cast<const uint8_t *>(image.data()), &byte) &&
           (byte >> 4) == smart::kSelfTestInProgress;
}

bool answer_sector(AtaExchange &x, const char *file, bool live_status) {
    if (!has_smart(x))
        return aborted(x);
    std::string image = read_file(x.disk_dir + "/" + file);
    Sector sector{};
    std::memcpy(sector.data(), image.data(), std::min(image.size(), sector.size()));
    uint8_t byte;
    if (live_status && self_test_byte(x, sector.data(), &byte)) {
        sector[smart::kSelfTestStatus] = byte;
        seal(sector.data());
    }
    x.transferred = std::min(image.size(), x.data_len);
    std::memcpy(x.data, sector.data(), x.transferred);
    // Reading the media's SMART sectors spins a sleeping drive up.
    set_state(x, "power", "active");
    return true;
}

}  // namespace

bool answer_smart_read_data(AtaExchange &x) {
    return answer_sector(x, "smart_data", true);
}

bool answer_smart_read_thresholds(AtaExchange &x) {
    return answer_sector(x, "smart_thresholds", false);
}

bool answer_smart_return_status(AtaExchange &x) {
    if (!has_smart(x))
        return aborted(x);
    bool exceeded = state(x, "verdict") == "exceeded";
    x.registers.lba_mid = exceeded ? ata::kSmartExceededLbaMid : ata::kSmartLbaMid;
    x.registers.lba_high = exceeded ? ata::kSmartExceededLbaHigh : ata::kSmartLbaHigh;
    return true;
}

bool answer_smart_enable(AtaExchange &x) {
    return has_smart(x) ? true : aborted(x);
}

bool answer_smart_execute_offline(AtaExchange &x) {
    if (!has_smart(x))
        return aborted(x);
    switch (x.block.lba_low) {
        case 1:
        case 2:
            set_state(x, "self_test",
                      std::string(x.block.lba_low == 1 ? "short " : "extended ") +
                          std::to_string(now_seconds()));
            set_state(x, "power", "active");
            return true;
        case 127:
            if (test_running(x))
                set_state(x, "self_test", "aborted");
            return true;
        default:
            return aborted(x);
    }
}

bool answer_check_power_mode(AtaExchange &x) {
    std::string mode = state(x, "power");
    x.registers.count = mode == "standby" ? 0x00 : mode == "idle" ? 0x80 : 0xFF;
    return true;
}

bool answer_standby_immediate(AtaExchange &x) {
    set_state(x, "power", "standby");
    return true;
}

bool answer_sct_command(AtaExchange &x) {
    std::string identify = read_file(x.disk_dir + "/identify");
    bool erc = identify.size() >= ata::kIdentifyLen &&
               (ata::identify_word(reinterpret_cast<const uint8_t *>(identify.data()),
                                   ata::kIdSctTransport) &
                ata::kSctErrorRecoveryControl);
    if (!erc || x.block.lba_low != 0xE0)
        return aborted(x);
    uint16_t action = load_le16(x.data + smart::kSctActionCode);
    uint16_t function = load_le16(x.data + smart::kSctFunction);
    uint16_t selector = load_le16(x.data + smart::kSctSelector);
    uint16_t extended_status = 0;
    unsigned timers[2] = {0, 0};  // read, write
    std::string kept = state(x, "erc");
    if (!kept.empty())
        sscanf(kept.c_str(), "%u %u", &timers[0], &timers[1]);
    if (action != smart::kSctErrorRecoveryControl)
        extended_status = 0x0001;  // invalid function code
    else if (selector != smart::kSctReadTimer && selector != smart::kSctWriteTimer)
        extended_status = 0x0005;  // invalid selection code
    else if (function == smart::kSctSet) {
        timers[selector - 1] = load_le16(x.data + smart::kSctValue);
        set_state(x, "erc", std::to_string(timers[0]) + " " + std::to_string(timers[1]));
    } else if (function == smart::kSctGet) {
        x.registers.count = static_cast<uint8_t>(timers[selector - 1]);
        x.registers.lba_low = static_cast<uint8_t>(timers[selector - 1] >> 8);
    } else {
        extended_status = 0x0004;  // invalid function code of error recovery control
    }
    if (extended_status) {
        // SCT failures carry their extended status in sector count (low) and LBA low (high).
        x.registers.count = static_cast<uint8_t>(extended_status);
        x.registers.lba_low = static_cast<uint8_t>(extended_status >> 8);
        return aborted(x);
    }
    x.transferred = x.data_len;
    return true;
}

namespace {

// A sector of either kind: revision, one entry a described attribute, then the caller's rest.
template <typename FillEntry, typename FillRest>
Sector table_image(const SmartDesc &d, FillEntry entry, FillRest rest) {
    Sector s{};
    store_le16(s.data(), 0x0010);  // data structure revision
    for (size_t i = 0; i < d.attributes.size() && i < smart::kEntryCount; ++i)
        entry(d.attributes[i], s.data() + smart::kTableOffset + i * smart::kEntrySize);
    rest(s.data());
    seal(s.data());
    return s;
}

}  // namespace

Sector smart_data_image(const SmartDesc &d) {
    return table_image(
        d,
        [](const SmartAttrDesc &a, uint8_t *e) {
            e[smart::kAttrId] = a.id;
            store_le16(e + smart::kAttrFlags, a.flags);
            e[smart::kAttrValue] = a.value;
            e[smart::kAttrWorst] = a.worst;
            store_le(e + smart::kAttrRaw, smart::kAttrRawSize, a.raw);
        },
        [&d](uint8_t *s) {
            s[smart::kOfflineStatus] = 0x82;  // off-line collection completed, auto on
            s[smart::kSelfTestStatus] = d.self_test_status;
            s[367] = 0x7B;                // off-line capabilities: self tests, conveyance
            store_le16(s + 368, 0x0003);  // SMART capabilities: saves data over power cycles
            s[370] = 0x01;                // error logging supported
            s[smart::kShortPollMinutes] = d.short_minutes;
            s[smart::kExtendedPollMinutes] = d.extended_minutes;
        });
}

Sector smart_thresholds_image(const SmartDesc &d) {
    return table_image(
        d,
        [](const SmartAttrDesc &a, uint8_t *e) {
            e[smart::kThreshId] = a.id;
            e[smart::kThreshValue] = a.threshold;
        },
        [](uint8_t *) {});
}

SmartDesc typical_hdd_smart() {
    SmartDesc d;
    d.attributes = {
        {1, 0x000F, 117, 99, 0x0000075C3C28ull, 6},
        {3, 0x0003, 91, 91, 0, 0},
        {4, 0x0032, 100, 100, 412, 20},
        {5, 0x0033, 100, 100, 0, 10},
        {7, 0x000F, 88, 60, 0x0000A1B2C3D4ull, 30},
        {9, 0x0032, 72, 72, 24713, 0},
        {10, 0x0013, 100, 100, 0, 97},
        {12, 0x0032, 100, 100, 398, 20},
        {183, 0x0032, 100, 100, 0, 0},
        {184, 0x0032, 100, 100, 0, 99},
        {187, 0x0032, 100, 100, 0, 0},
        {188, 0x0032, 100, 99, 0x000100010002ull, 0},
        {189, 0x003A, 100, 100, 0, 0},
        {190, 0x0022, 64, 52, 0x00002A1D0024ull, 45},
        {191, 0x0032, 100, 100, 7, 0},
        {192, 0x0032, 100, 100, 211, 0},
        {193, 0x0032, 96, 96, 8872, 0},
        {194, 0x0022, 36, 48, 0x001500000024ull, 0},
        {195, 0x001A, 117, 99, 0x0000075C3C28ull, 0},
        {196, 0x0032, 100, 100, 0, 0},
        {197, 0x0012, 100, 100, 8, 0},
        {198, 0x0010, 100, 100, 8, 0},
        {199, 0x003E, 200, 200, 3, 0},
        {200, 0x0023, 100, 253, 0, 0},
        {240, 0x0000, 100, 253, 0x5A3C00000E22ull, 0},
        {241, 0x0000, 100, 253, 0x0000FFFFFFFFFFFFull, 0},
        {242, 0x0000, 100, 253, 0x00009B3A1C22ull, 0},
        {220, 0x0002, 100, 100, 0, 0},
        {222, 0x0032, 100, 100, 1234, 0},
        {254, 0x0032, 100, 100, 0, 0},
    };
    return d;
}

bool describe_ata_smart(const std::string &root, const std::string &node, const SmartDesc &d) {
    auto data = smart_data_image(d);
    auto thresholds = smart_thresholds_image(d);
    std::string dir = root + "/sim/ata/" + node;
    return write_file(dir + "/smart_data",
                      std::string(reinterpret_cast<const char *>(data.data()), data.size())) &&
           write_file(
               dir + "/smart_thresholds",
               std::string(reinterpret_cast<const char *>(thresholds.data()), thresholds.size()));
}

bool set_ata_state(const std::string &root, const std::string &node, const std::string &file,
                   const std::string &value) {
    return write_file(root + "/sim/ata/" + node + "/" + file, value + "\n");
}

std::string ata_state(const std::string &root, const std::string &node, const std::string &file) {
    return trimmed(read_file(root + "/sim/ata/" + node + "/" + file));
}

}  // namespace nashal::sim
