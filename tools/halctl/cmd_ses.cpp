// ses ENC_ID: the elements of an attached SAS shelf as its enclosure services device reports
// them now, one row per element, decoded as the library reads them.
#include <climits>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "halctl.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_se.h"
#include "topology/ses_layout.h"

namespace {

using halctl::Output;
using namespace nashal::topology;

const char *type_name(uint32_t type) {
    switch (type) {
        case kSesTypeDeviceSlot:
            return "device slot";
        case kSesTypePowerSupply:
            return "power supply";
        case kSesTypeCooling:
            return "cooling";
        case kSesTypeTemperature:
            return "temperature";
        case kSesTypeDisplay:
            return "display";
        case kSesTypeEnclosure:
            return "enclosure";
        case kSesTypeArrayDeviceSlot:
            return "array device slot";
        case kSesTypeSasConnector:
            return "SAS connector";
        default:
            return "other";
    }
}

// What the element says, in the terms the library gives it.
std::string decoded(uint32_t type, const unsigned char *e) {
    char text[64] = "";
    switch (type) {
        case kSesTypeTemperature:
            snprintf(text, sizeof text, "%d C",
                     static_cast<int8_t>(e[kSesTemperatureByte] - kSesTemperatureOffset));
            break;
        case kSesTypeCooling:
            snprintf(text, sizeof text, "%d rpm",
                     (((e[kSesCoolingSpeedHighByte] & kSesCoolingSpeedHighMask) << 8) |
                      e[kSesCoolingSpeedLowByte]) *
                         kSesCoolingSpeedUnit);
            break;
        case kSesTypeDisplay:
            if (e[kSesDisplayModeByte] == kSesDisplayModeCharacter &&
                e[kSesDisplayCharacterByte] >= 0x20 && e[kSesDisplayCharacterByte] < 0x7f)
                snprintf(text, sizeof text, "shows '%c'", e[kSesDisplayCharacterByte]);
            break;
        case kSesTypeEnclosure:
            snprintf(text, sizeof text, "locate %s",
                     (e[kSesEnclosureLocateByte] & kSesEnclosureLocate) ? "on" : "off");
            break;
        case kSesTypeSasConnector:
            snprintf(text, sizeof text, "connector type %d%s",
                     e[kSesConnectorTypeByte] & kSesConnectorTypeMask,
                     (e[kSesConnectorTypeByte] & kSesConnectorTypeMask) == kSesConnectorExternal
                         ? " (external)"
                         : "");
            break;
        default:
            break;
    }
    return text;
}

}  // namespace

HALCTL_COMMAND(cmd_ses, "ses", "ENC_ID", "decode the SES elements of an attached SAS shelf") {
    long long id = 0;
    if (ctx.args.size() != 1 || !halctl::parse_int(ctx.args[0], id) || id < 0 || id > INT_MAX)
        return halctl::usage_error(ctx, "ses takes one numeric ENC_ID");
    char sys_id[32] = {};
    if (se_lookup_sys_id(static_cast<int>(id), sys_id, sizeof sys_id) != 0)
        return halctl::failure("enclosure " + ctx.args[0] + " is not attached");
    if (comm_sys_check_is_sas_expander(sys_id) != 0)
        return halctl::failure(std::string(sys_id) + " is no SAS shelf");
    uint32_t types[SES_MAX_ELEMENT_TYPES][2] = {};
    // Larger than the library's 256-byte control buffer: a 60-bay shelf's status page is
    // longer, and an engineer should still see all of it here.
    unsigned char page[1024] = {};
    int count = comm_sys_get_ses_enc_conf(sys_id, types, SES_MAX_ELEMENT_TYPES);
    int length = count < 0 ? -1 : comm_sys_get_ses_enc_status(sys_id, page, sizeof page);
    if (length < 0)
        return halctl::failure(std::string("the SES pages of ") + sys_id + " can't be read");
    std::vector<Output::Record> rows;
    for (int t = 0; t < count; ++t) {
        // Index 1 is the overall element, as the library counts; the rows keep SES's own
        // numbering (0 overall) for the engineer comparing with sg_ses.
        for (int index = 1; index <= static_cast<int>(types[t][1]) + 1; ++index) {
            int offset = 0;
            if (comm_sys_get_ses_control_element_offset(types[t][0], index, types, count,
                                                        &offset) != 0 ||
                offset + static_cast<int>(kSesElementLen) > length)
                break;
            const unsigned char *e = page + offset;
            char bytes[16];
            snprintf(bytes, sizeof bytes, "%02x %02x %02x %02x", e[0], e[1], e[2], e[3]);
            rows.push_back(
                {Output::hex("type", types[t][0]), Output::text("kind", type_name(types[t][0])),
                 Output::number("element", index - 1),
                 Output::number("status", e[kSesElementStatusByte] & kSesStatusCodeMask),
                 Output::text("value", decoded(types[t][0], e)), Output::text("bytes", bytes)});
        }
    }
    ctx.out.table(rows);
    return halctl::kOk;
}
