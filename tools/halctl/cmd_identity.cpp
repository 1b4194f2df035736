// vpd, vpd-set, edid, model: what the board says it is, and which description it booted with.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "halctl.h"
#include "identity/edid_decode.h"
#include "identity/vpd_layout.h"
#include "nashal/edid.h"
#include "nashal/ini_conf.h"
#include "nashal/se_model.h"
#include "nashal/vpd.h"

namespace {

using halctl::Output;
namespace id = nashal::identity;

// What each entry of the field table holds, by the place it points at.
const char *const kFieldNames[2][id::kVpdFieldsPerRow] = {
    {"manufacturing date", "board manufacturer", "board product name", "board serial number",
     "board part number", "board extra data", "product manufacturer", "product name",
     "product part number", "product version", "product serial number", nullptr, nullptr},
    {"chassis type", "chassis part number", "chassis serial number", "manufacturing date",
     "board manufacturer", "board product name", "board serial number", "board part number",
     "product manufacturer", "product name", "product part number", "board part number tail",
     "product serial number"},
};

std::string field_id(int rom, int index) {
    return std::to_string(rom) + ":" + std::to_string(index);
}

// Each area's zero sum, as a person checks it: the stored bytes, untouched.
void checksum_rows(int rom, const std::vector<uint8_t> &image, bool readable,
                   std::vector<Output::Record> &rows) {
    const id::VpdItem *items = rom == 0 ? id::kMbLayout : id::kBpLayout;
    size_t count = rom == 0 ? std::size(id::kMbLayout) : std::size(id::kBpLayout);
    static const char *const kAreas[2][4] = {
        {"header", "board area", "product area", nullptr},
        {"header", "chassis area", "board area", "product area"}};
    int area = 0;
    for (size_t i = 0; i < count; ++i) {
        if (items[i].kind != id::VpdItemKind::kChecksum)
            continue;
        unsigned sum = 0;
        for (size_t b = items[i].value; b <= items[i].offset; ++b)
            sum += image[b];
        rows.push_back({Output::number("rom", rom), Output::text("id", "-"),
                        Output::text("field", std::string(kAreas[rom][area++]) + " checksum"),
                        Output::text("value", !readable        ? "unreadable"
                                              : sum % 256 == 0 ? "ok"
                                                               : "BAD")});
    }
}

HALCTL_COMMAND(cmd_vpd, "vpd", "[0|1]",
               "decoded fields and checksum state of the motherboard (0) and backplane (1) ROMs") {
    if (ctx.args.size() > 1 || (ctx.args.size() == 1 && ctx.args[0] != "0" && ctx.args[0] != "1"))
        return halctl::usage_error(ctx, "ROM is 0 (motherboard) or 1 (backplane)");
    std::vector<int> roms = {0, 1};
    if (ctx.args.size() == 1)
        roms = {ctx.args[0] == "1" ? 1 : 0};
    std::vector<Output::Record> rows;
    for (int rom : roms) {
        int size = rom == 0 ? VPD_MB_ROM_SIZE : VPD_BP_ROM_SIZE;
        std::vector<uint8_t> image(static_cast<size_t>(size), 0);
        bool readable = VPD_Full_Read(image.data(), size, rom) == size;
        for (size_t i = 0; i < id::kVpdFieldsPerRow; ++i) {
            if (!kFieldNames[rom][i])
                continue;
            char value[80] = {};
            std::string fid = field_id(rom, static_cast<int>(i));
            VPD_Get_Field_By_Id(fid.c_str(), value, sizeof value);
            rows.push_back({Output::number("rom", rom), Output::text("id", fid),
                            Output::text("field", kFieldNames[rom][i]),
                            Output::text("value", value)});
        }
        checksum_rows(rom, image, readable, rows);
    }
    ctx.out.table(rows);
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_vpd_set, "vpd-set", "ROM FIELD VALUE",
               "write one field of a VPD ROM (FIELD is the index in the ROM, 0 to 12)") {
    if (ctx.args.size() != 3)
        return halctl::usage_error(ctx, "vpd-set takes ROM, FIELD and VALUE");
    long long rom = 0, index = 0;
    if (!halctl::parse_int(ctx.args[0], rom) || rom < 0 || rom > 1)
        return halctl::usage_error(ctx, "ROM is 0 (motherboard) or 1 (backplane)");
    if (!halctl::parse_int(ctx.args[1], index) || index < 0 ||
        index >= static_cast<long long>(id::kVpdFieldsPerRow) ||
        id::kVpdFields[rom * id::kVpdFieldsPerRow + index] == 0)
        return halctl::usage_error(ctx, "FIELD is an index of the ROM's field table (see vpd)");
    uint32_t descriptor = id::kVpdFields[rom * id::kVpdFieldsPerRow + index];
    const std::string &value = ctx.args[2];
    uint32_t length = id::descriptor_length(descriptor);
    // The library cuts what doesn't fit, keeps a date it can't read, and leaves wide numbers
    // alone; a person typing a value wants to hear about each of those instead.
    switch (id::descriptor_type(descriptor)) {
        case id::kVpdText:
            if (value.size() > length - 1)
                return halctl::failure("VALUE is " + std::to_string(value.size()) +
                                       " characters; this field holds at most " +
                                       std::to_string(length - 1));
            break;
        case id::kVpdHex: {
            long long number = 0;
            if (length > 4)
                return halctl::failure(
                    "this field is binary data and can't be written as a number");
            if (!halctl::parse_int(value, number) || number < 0 ||
                (length < 4 && number >= (1LL << (8 * length))))
                return halctl::failure("VALUE must be a number that fits in " +
                                       std::to_string(length) + " byte(s)");
            break;
        }
        case id::kVpdDate: {
            uint8_t binary[4];
            if (VPD_MfgDate_To_Binary(value.c_str(), static_cast<int>(value.size()), binary, 4) !=
                0)
                return halctl::failure(
                    "VALUE must be a date YYYY/MM/DD-hh:mm between 2007 and 2037");
            break;
        }
        default:
            return halctl::failure("this field can't be written");
    }
    if (VPD_Set_Field(descriptor, value.c_str()) != 0)
        return halctl::failure("the field was not written");
    char back[80] = {};
    VPD_Get_Field(descriptor, back, sizeof back);
    if (value != back && id::descriptor_type(descriptor) == id::kVpdText)
        return halctl::failure(std::string("the ROM reads back \"") + back + "\"");
    ctx.out.record({Output::number("rom", rom),
                    Output::text("id", field_id(static_cast<int>(rom), static_cast<int>(index))),
                    Output::text("field", kFieldNames[rom][index]), Output::text("value", back)});
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_edid, "edid", "", "the displays' EDIDs, checked and decoded") {
    if (!ctx.args.empty())
        return halctl::usage_error(ctx, "edid takes no arguments");
    std::vector<Output::Record> rows;
    int count = EDID_Get_Count();
    for (int n = 0; n < count && n < 16; ++n) {
        uint8_t edid[EDID_SIZE] = {};
        int result = EDID_Read_and_Validate(n, edid, sizeof edid);
        Output::Record r = {Output::number("edid", n),
                            Output::text("state", result == 0    ? "ok"
                                                  : result == -1 ? "bad or unreadable"
                                                                 : "not described")};
        id::EdidSummary summary;
        if (result == 0 && id::edid_decode(edid, sizeof edid, &summary)) {
            char product[8];
            snprintf(product, sizeof product, "0x%04x", summary.product);
            r.push_back(Output::text("manufacturer", summary.manufacturer));
            r.push_back(Output::text("product", product));
            r.push_back(Output::text("name", summary.name));
            r.push_back(Output::text("serial", summary.serial_text));
            r.push_back(Output::number("year", summary.year));
            r.push_back(Output::text("version", std::to_string(summary.version) + "." +
                                                    std::to_string(summary.revision)));
            r.push_back(Output::number("extensions", summary.extensions));
        }
        rows.push_back(r);
    }
    ctx.out.table(rows);
    return halctl::kOk;
}

HALCTL_COMMAND(cmd_model, "model", "", "which model file the board runs on, and why") {
    if (!ctx.args.empty())
        return halctl::usage_error(ctx, "model takes no arguments");
    Output::Record r;
    char target[128] = {};
    ssize_t n = readlink("/etc/model.conf", target, sizeof target - 1);
    int32_t format = 0, boards = 0;
    bool has_format = Ini_Conf_Get_Field_Int("/etc/model.conf", "System Enclosure",
                                             "MULTI_CONF_FORMAT", &format, INI_CONF_DEC) > 0 &&
                      format >= 1;
    bool has_boards = Ini_Conf_Get_Field_Int("/etc/model.conf", "System Enclosure", "MULTI_CONF",
                                             &boards, INI_CONF_HEX) > 0;
    if (n > 0) {
        r.push_back(Output::text("model file", target));
        r.push_back(Output::text("how", "chosen at start-up, /etc/model.conf links to it"));
    } else {
        r.push_back(Output::text("model file", "/etc/model.conf"));
        r.push_back(Output::text("how", has_format   ? "generic file: no candidate fits the VPD"
                                        : has_boards ? "generic file: board signals not applied"
                                                     : "single-board model, no selection"));
    }
    char mb[40] = {}, bp[40] = {};
    VPD_Get_Field_By_Id(id::kMbIdentityField, mb, sizeof mb);
    VPD_Get_Field_By_Id(id::kBpIdentityField, bp, sizeof bp);
    r.push_back(Output::text("mb part number", mb));
    r.push_back(Output::text("bp part number", bp));
    for (int scheme : {1, 2}) {
        char path[64] = {};
        bool found = root_get_vpd_model_filename(path, sizeof path, scheme) == 0;
        r.push_back(Output::text("vpd format " + std::to_string(scheme) + " candidate",
                                 found ? path : "none"));
    }
    uint32_t board = 0;
    root_get_model_conf_id(&board);
    r.push_back(Output::hex("board id from signals", board));
    ctx.out.record(r);
    return halctl::kOk;
}

}  // namespace
