// smart, smart-test, standby, power-mode: a disk's health and power as the disk itself answers
// now (these wake a sleeping disk; the management pages read the SMART cache instead). A disk is
// named by its enclosure id and slot, as the registry knows it, or by its generic node
// /dev/sgN, which reaches a SATA disk that no registry lists yet.
#include <string>
#include <vector>

#include <cstdlib>
#include <cstring>

#include "halctl.h"
#include "nashal/hal_pd.h"
#include "nashal/pd_smart.h"

namespace {

using halctl::Output;

// Where a command goes: the registry's (enc_id, port_id), or a node straight to the ATA backend.
struct Disk {
    bool by_node = false;
    std::string node;  // "sg3"
    int enc_id = 0;
    int port_id = 0;
    std::string label() const {
        return by_node ? "/dev/" + node
                       : "enclosure " + std::to_string(enc_id) + " slot " + std::to_string(port_id);
    }
};

// Parses "ENC_ID PORT" or "/dev/sgN" from the front of args; the number of args taken, or 0.
size_t parse_disk(const std::vector<std::string> &args, Disk &disk) {
    if (!args.empty() && args[0].rfind("/dev/sg", 0) == 0 && args[0].size() > 7 &&
        args[0].find_first_not_of("0123456789", 7) == std::string::npos) {
        disk.by_node = true;
        disk.node = args[0].substr(5);
        return 1;
    }
    long long enc = 0, port = 0;
    if (args.size() >= 2 && halctl::parse_int(args[0], enc) && halctl::parse_int(args[1], port) &&
        enc >= 0 && port >= 0 && enc < 65536 && port < 65536) {
        disk.enc_id = static_cast<int>(enc);
        disk.port_id = static_cast<int>(port);
        return 2;
    }
    return 0;
}

const char *verdict_text(int status) {
    switch (status) {
        case ATA_SMART_STATUS_GOOD:
            return "good";
        case ATA_SMART_STATUS_THRESHOLD_EXCEEDED:
            return "threshold exceeded";
        default:
            return "unknown";
    }
}

std::string hex_flags(unsigned flags) {
    char buf[8];
    snprintf(buf, sizeof buf, "0x%04x", flags);
    return buf;
}

// A SAS disk's log pages in the shape of SMART attributes: one row per value a page reports,
// its id the page code and its raw value the number (a date as YYYYWW).
int sas_rows(const SAS_LOG_PAGE *pages, int n, SMART_ATTR *attrs, int room, int &verdict) {
    int count = 0;
    auto add = [&](uint32_t page, const char *name, uint64_t raw) {
        if (!name || count >= room)
            return;
        SMART_ATTR &a = attrs[count++];
        a.id = static_cast<int32_t>(page);
        snprintf(a.name, sizeof a.name, "%s", name);
        a.raw = raw;
    };
    for (int i = 0; i < n; ++i) {
        const SAS_LOG_PAGE &p = pages[i];
        switch (p.page) {
            case SAS_LOG_PAGE_WRITE_ERROR:
            case SAS_LOG_PAGE_READ_ERROR:
            case SAS_LOG_PAGE_VERIFY_ERROR:
                for (const auto &c : p.body.error_count.counter)
                    add(p.page, c.name, c.value);
                add(p.page, p.body.error_count.uncorrected.name,
                    p.body.error_count.uncorrected.value);
                break;
            case SAS_LOG_PAGE_NON_MEDIUM_ERROR:
                add(p.page, p.body.non_medium_error.count.name,
                    p.body.non_medium_error.count.value);
                break;
            case SAS_LOG_PAGE_TEMPERATURE:
                add(p.page, p.body.temperature.temperature.name,
                    p.body.temperature.temperature.value);
                add(p.page, p.body.temperature.reference.name, p.body.temperature.reference.value);
                break;
            case SAS_LOG_PAGE_START_STOP:
                for (const auto &d : p.body.start_stop.date)
                    add(p.page, d.name,
                        static_cast<uint64_t>(atoi(d.value)) * 100 +
                            static_cast<uint64_t>(atoi(d.value + (strlen(d.value) > 5 ? 5 : 0))));
                for (const auto &c : p.body.start_stop.counter)
                    add(p.page, c.name, c.value);
                break;
            case SAS_LOG_PAGE_INFORMATIONAL_EXCEPTION: {
                const auto &ie = p.body.informational_exception;
                add(p.page, ie.asc.name, ie.asc.value);
                add(p.page, ie.ascq.name, ie.ascq.value);
                // A predicted failure (ASC 5Dh) is the SAS disk's exceeded threshold.
                verdict = ie.asc.value == 0x5D ? ATA_SMART_STATUS_THRESHOLD_EXCEEDED
                                               : ATA_SMART_STATUS_GOOD;
                break;
            }
            default:
                break;
        }
    }
    return count;
}

bool is_sas(const Disk &disk) {
    PD_INFO info = {};
    return !disk.by_node && PD_Get_Info(disk.enc_id, disk.port_id, &info) == 0 &&
           info.type == PD_TYPE_SAS;
}

}  // namespace

HALCTL_COMMAND(cmd_smart, "smart", "ENC_ID PORT | /dev/sgN",
               "read a disk's SMART attributes, thresholds, verdict and self-test state from the "
               "disk (a SAS disk by enclosure and slot: its log pages)") {
    Disk disk;
    if (parse_disk(ctx.args, disk) != ctx.args.size() || ctx.args.empty())
        return halctl::usage_error(ctx, "smart takes an enclosure id and slot, or /dev/sgN");
    SMART_ATTR attrs[SMART_ATTR_MAX] = {};
    int verdict = -1, test_status = -1, percent = -1, short_min = -1, ext_min = -1;
    int count;
    if (is_sas(disk)) {
        SAS_LOG_PAGE pages[16];
        int sense = 0;
        int n = PD_Get_SCSI_Log_Pages(disk.enc_id, disk.port_id, &sense, pages, 16);
        count = n < 0 ? -1 : sas_rows(pages, n, attrs, SMART_ATTR_MAX, verdict);
        if (count >= 0 &&
            PD_Get_SCSI_Self_Test_Status(disk.enc_id, disk.port_id, &test_status, &percent) != 0)
            test_status = percent = -1;
    } else {
        count =
            disk.by_node
                ? pd_sys_get_ata_smart("", disk.node.c_str(), &verdict, attrs, SMART_ATTR_MAX,
                                       &test_status, &percent, &short_min, &ext_min)
                : PD_SMART_Get_ATA_Info(disk.enc_id, disk.port_id, &verdict, attrs, SMART_ATTR_MAX,
                                        &test_status, &percent, &short_min, &ext_min);
    }
    if (count < 0)
        return halctl::failure("no SMART data from " + disk.label() +
                               " (a USB disk, no SMART, or no answer; see the trace log)");
    ctx.out.record({Output::text("disk", disk.label()),
                    Output::text("verdict", verdict_text(verdict)),
                    Output::number("self_test_status", test_status),
                    Output::number("self_test_percent", percent),
                    Output::number("short_test_minutes", short_min),
                    Output::number("extended_test_minutes", ext_min)});
    std::vector<Output::Record> rows;
    for (int i = 0; i < count; ++i)
        rows.push_back({Output::number("id", attrs[i].id), Output::text("name", attrs[i].name),
                        Output::text("flags", hex_flags(attrs[i].status_flag)),
                        Output::number("value", attrs[i].value),
                        Output::number("worst", attrs[i].worst),
                        Output::number("threshold", attrs[i].thresh),
                        // Unsigned: a SAS counter may use all 64 bits.
                        Output::Field{"raw", std::to_string(attrs[i].raw), true}});
    ctx.out.table(rows);
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_smart_test, "smart-test", "ENC_ID PORT | /dev/sgN  short|long|abort",
               "start a short or extended self test on a disk, or abort the running one") {
    Disk disk;
    size_t used = parse_disk(ctx.args, disk);
    if (used == 0 || ctx.args.size() != used + 1)
        return halctl::usage_error(ctx, "smart-test takes a disk and short, long or abort");
    const std::string &what = ctx.args[used];
    int mode = what == "short"   ? PD_SELF_TEST_SHORT
               : what == "long"  ? PD_SELF_TEST_EXTENDED
               : what == "abort" ? PD_SELF_TEST_ABORT
                                 : -1;
    if (mode < 0)
        return halctl::usage_error(ctx, "the test is short, long or abort, not " + what);
    int rc = disk.by_node ? pd_sys_set_ata_self_test("", disk.node.c_str(), mode)
                          : PD_Set_Self_Test_Mode(disk.enc_id, disk.port_id, mode);
    if (rc != 0)
        return halctl::failure("the self test request to " + disk.label() + " failed");
    ctx.out.message(what == "abort" ? "self test aborted on " + disk.label()
                                    : what + " self test started on " + disk.label());
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_standby, "standby", "ENC_ID PORT | /dev/sgN",
               "put a disk into standby (spun down) now") {
    Disk disk;
    if (ctx.args.empty() || parse_disk(ctx.args, disk) != ctx.args.size())
        return halctl::usage_error(ctx, "standby takes an enclosure id and slot, or /dev/sgN");
    int rc = disk.by_node ? pd_sys_set_ata_standby("", disk.node.c_str())
                          : PD_Set_Power_Standby(disk.enc_id, disk.port_id);
    if (rc != 0)
        return halctl::failure("standby of " + disk.label() + " failed");
    ctx.out.message(disk.label() + " is going to standby");
    return halctl::kOk;
}

HALCTL_COMMAND(
    cmd_power_mode, "power-mode", "ENC_ID PORT | /dev/sgN",
    "tell whether a disk is spinning (active or idle) or in standby, without waking it") {
    Disk disk;
    if (ctx.args.empty() || parse_disk(ctx.args, disk) != ctx.args.size())
        return halctl::usage_error(ctx, "power-mode takes an enclosure id and slot, or /dev/sgN");
    int power = -1;
    int rc = disk.by_node ? pd_sys_get_ata_power("", disk.node.c_str(), &power)
                          : PD_Get_Power_Status(disk.enc_id, disk.port_id, &power);
    if (rc != 0)
        return halctl::failure("the power mode of " + disk.label() + " is unknown");
    ctx.out.record({Output::text("disk", disk.label()),
                    Output::text("power_mode", power ? "active or idle" : "standby"),
                    Output::number("awake", power)});
    return halctl::kOk;
}
