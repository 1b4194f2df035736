// Enclosures: the boot scan, what is attached, the hot-plug entries and the persistent map.
#include <climits>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "halctl.h"
#include "nashal/hal_se.h"
#include "nashal/se_sys.h"

namespace {

using halctl::Output;

std::string hex_or_text_wwn(const ENC_INFO &info) {
    // A record read back from the registry holds the WWN as text already.
    return std::string(reinterpret_cast<const char *>(info.wwn),
                       strnlen(reinterpret_cast<const char *>(info.wwn), sizeof info.wwn));
}

Output::Record record_of(const ENC_INFO &info) {
    std::string conn;
    for (int i = 0; i < info.max_conn_num && i < MAX_CONN_NUM; ++i) {
        char word[16];
        snprintf(word, sizeof word, "%s0x%x", i ? "," : "", info.conn_status[i]);
        conn += word;
    }
    return {
        Output::number("enc_id", info.enc_id),
        Output::text("enc_sys_id", info.enc_sys_id),
        Output::text("enc_parent_sys_id", info.enc_parent_sys_id),
        Output::number("enc_parent_port_id", info.enc_parent_port_id),
        Output::number("stack_id", info.stack_id),
        Output::text("wwn", hex_or_text_wwn(info)),
        Output::text("vendor", info.vendor),
        Output::text("model", info.model),
        Output::text("serial", info.serial),
        Output::text("revision", info.revision),
        Output::number("status", info.status),
        Output::hex("capability", info.capability),
        Output::number("protocol", info.protocol),
        Output::number("max_disk_num", info.max_disk_num),
        Output::number("max_fan_num", info.max_fan_num),
        Output::number("max_temp_num", info.max_temp_num),
        Output::number("max_pcie_num", info.max_pcie_num),
        Output::number("max_nic_num", info.max_nic_num),
        Output::number("max_conn_num", info.max_conn_num),
        Output::text("conn_status", conn),
        Output::hex("cache_port_bitmap", info.cache_port_bitmap),
    };
}

bool read_info(int enc_id, ENC_INFO &info) {
    memset(&info, 0, sizeof info);
    return SE_Get_Info(enc_id, &info) == 0;
}

// An enclosure id as the registry takes it: a 32-bit integer. A larger number is refused rather
// than cut, which would name another enclosure (4294967329 would release id 33).
bool parse_enc_id(const std::string &text, int &id) {
    long long value = 0;
    if (!halctl::parse_int(text, value) || value < INT_MIN || value > INT_MAX)
        return false;
    id = static_cast<int>(value);
    return true;
}

int one_sys_id(halctl::Context &ctx, const char *what) {
    if (ctx.args.size() != 1)
        return halctl::usage_error(ctx, std::string(what) + " takes one SYS_ID");
    return 0;
}

}  // namespace

HALCTL_COMMAND(cmd_scan, "scan", "", "rebuild the enclosure registry (SE_Scan)") {
    if (!ctx.args.empty())
        return halctl::usage_error(ctx, "scan takes no arguments");
    SE_Scan();
    int count = SE_Enumerate(nullptr, 0, nullptr, nullptr);
    ctx.out.message("scanned: " + std::to_string(count < 0 ? 0 : count) + " enclosures attached");
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_enclosures, "enclosures", "", "list every attached enclosure") {
    if (!ctx.args.empty())
        return halctl::usage_error(ctx, "enclosures takes no arguments");
    int ids[64];
    int count = SE_Enumerate(ids, 64, nullptr, nullptr);
    if (count < 0)
        return halctl::failure("can't read the registry");
    std::vector<Output::Record> rows;
    for (int i = 0; i < count && i < 64; ++i) {
        ENC_INFO info;
        if (read_info(ids[i], info))
            rows.push_back(record_of(info));
    }
    ctx.out.table(rows);
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_enclosure, "enclosure", "ID", "show one attached enclosure") {
    int id = 0;
    if (ctx.args.size() != 1 || !parse_enc_id(ctx.args[0], id))
        return halctl::usage_error(ctx, "enclosure takes one numeric ID");
    ENC_INFO info;
    if (!read_info(id, info))
        return halctl::failure("enclosure " + ctx.args[0] + " is not attached");
    ctx.out.record(record_of(info));
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_attach, "attach", "SYS_ID [--report-limit]",
               "attach an enclosure as a hot-plug handler does") {
    if (ctx.args.empty() || ctx.args.size() > 2 ||
        (ctx.args.size() == 2 && ctx.args[1] != "--report-limit"))
        return halctl::usage_error(ctx, "attach takes SYS_ID and optionally --report-limit");
    int report_limit = ctx.args.size() == 2 ? 1 : 0;
    if (SE_Sys_Attach(ctx.args[0].c_str(), report_limit) < 0)
        return halctl::failure("attach of " + ctx.args[0] + " refused");
    ctx.out.record({Output::text("enc_sys_id", ctx.args[0]),
                    Output::number("enc_id", se_lookup_id(ctx.args[0].c_str()))});
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_pre_detach, "pre-detach", "SYS_ID",
               "mark an enclosure and its children as being removed") {
    if (int r = one_sys_id(ctx, "pre-detach"))
        return r;
    if (SE_Sys_Pre_Detach(ctx.args[0].c_str()) < 0)
        return halctl::failure(ctx.args[0] + " is not attached");
    ctx.out.message(ctx.args[0] + " is being removed");
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_detach, "detach", "SYS_ID", "take an enclosure, its children and disks out") {
    if (int r = one_sys_id(ctx, "detach"))
        return r;
    if (SE_Sys_Detach(ctx.args[0].c_str()) < 0)
        return halctl::failure(ctx.args[0] + " is not attached");
    ctx.out.message(ctx.args[0] + " detached");
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_release_id, "release-id", "ID|-1",
               "forget an enclosure id in the persistent map (-1: all)") {
    int id = 0;
    if (ctx.args.size() != 1 || !parse_enc_id(ctx.args[0], id) || id < -1)
        return halctl::usage_error(ctx, "release-id takes an ID or -1");
    if (SE_Release_Id(id) != 0)
        return halctl::failure("id " + ctx.args[0] + " is not in the map");
    ctx.out.message("released " + ctx.args[0]);
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_map, "map", "", "show the persistent map: unique id -> enc_id") {
    if (!ctx.args.empty())
        return halctl::usage_error(ctx, "map takes no arguments");
    std::ifstream in(SE_ENC_MAP_FILE);
    std::vector<Output::Record> rows;
    std::string line;
    bool index = false;
    const std::string prefix = "enc_uid_";
    while (std::getline(in, line)) {
        if (!line.empty() && line[0] == '[') {
            index = line.rfind("[Index]", 0) == 0;
            continue;
        }
        auto eq = line.find('=');
        if (!index || eq == std::string::npos)
            continue;
        std::string key = line.substr(0, eq);
        key.erase(key.find_last_not_of(" \t") + 1);
        key.erase(0, key.find_first_not_of(" \t"));
        if (key.rfind(prefix, 0) != 0)
            continue;
        long long id = 0;
        std::string value = line.substr(eq + 1);
        value.erase(0, value.find_first_not_of(" \t"));
        value.erase(value.find_last_not_of(" \t\r") + 1);
        if (!halctl::parse_int(value, id))
            continue;
        rows.push_back(
            {Output::text("unique_id", key.substr(prefix.size())), Output::number("enc_id", id)});
    }
    ctx.out.table(rows);
    return halctl::kOk;
}
