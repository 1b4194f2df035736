// The SATA fill: a PD_INFO from the drive's IDENTIFY DEVICE data. Parsing only; the data comes
// from get_sata_ident_resp (or from captured bytes in tests).
#include <cstring>

#include "disk/ata_layout.h"
#include "disk/disk_info.h"
#include "nashal/pd_smart.h"
#include "foundation/text.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"

using namespace nashal::ata;

namespace {

// The model whose SCT error recovery control must never be used.
constexpr const char *kNoErcModel = "ST95005620AS";

// An ATA text field, each word's two bytes swapped into reading order and trimmed, into `out`
// (`size` bytes, at least 2 * words + 1). A drive's bytes are its own: a NUL (some drives pad
// with it) counts as a blank, and a control character, which would break a line of the
// configuration files, becomes "?".
void identify_text(const unsigned char *identify, size_t first_word, size_t words, char *out,
                   int size) {
    for (size_t i = 0; i < words; ++i) {
        uint16_t w = identify_word(identify, first_word + i);
        out[2 * i] = static_cast<char>(w >> 8);
        out[2 * i + 1] = static_cast<char>(w & 0xff);
    }
    out[2 * words] = '\0';
    for (size_t i = 0; i < 2 * words; ++i) {
        auto c = static_cast<unsigned char>(out[i]);
        if (c == 0)
            out[i] = ' ';
        else if (c < 0x20 || c == 0x7f)
            out[i] = '?';
    }
    comm_sys_remove_prefix_postfix_space(out, size);
}

void parse_sata_vendor_model(const unsigned char *identify, PD_INFO *info) {
    char text[kIdModelWords * 2 + 1];
    identify_text(identify, kIdModel, kIdModelWords, text, sizeof text);
    if (const char *blank = strchr(text, ' ')) {
        nashal::hal_copy(info->vendor, sizeof info->vendor, text,
                         static_cast<size_t>(blank - text));
        nashal::hal_copy(info->model, blank + 1);
        if (strncmp(info->model, "INTEL", 5) == 0) {
            char vendor[sizeof info->vendor];
            nashal::hal_copy(vendor, info->vendor);
            nashal::hal_copy(info->vendor, info->model);
            nashal::hal_copy(info->model, vendor);
        }
        return;
    }
    // One word: the drive gave no vendor, and its model number's first letters tell the maker.
    nashal::hal_copy(info->model, text);
    const char *vendor = "ATA";
    static const char *const kHitachi[] = {"IC", "HT", "HD", "DK"};
    for (const char *prefix : kHitachi) {
        if (strncmp(text, prefix, 2) == 0)
            vendor = "Hitachi";
    }
    if (strncmp(text, "ST", 2) == 0)
        vendor = "Seagate";
    nashal::hal_copy(info->vendor, vendor);
}

// Major version: the position (from 1) of the lowest clear bit of word 80 with its four low
// bits forced on, less 2; the minor version is word 81.
uint32_t parse_sata_protocol_version(const unsigned char *identify) {
    uint16_t w = identify_word(identify, kIdMajorVersion) | 0x000F;
    uint32_t position = 1;
    while (position <= 16 && (w & (1u << (position - 1))))
        ++position;
    return ((position - 2) << 16) | identify_word(identify, kIdMinorVersion);
}

bool support_smart_sata_drive(const unsigned char *identify, const char *pd_ctrl_name) {
    if (!(identify_word(identify, kIdCommandSet1) & kCmdSet1Smart))
        return false;
    if (identify_word(identify, kIdEnabled1) & kEnabled1Smart)
        return true;
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):SMART support but not enable, enable it.\n", __func__,
              __LINE__);
    return enable_ata_smart(pd_ctrl_name, 1) == 0;
}

bool support_self_test_sata_drive(const unsigned char *identify) {
    uint16_t supported = identify_word(identify, kIdCommandSetExt);
    uint16_t enabled = identify_word(identify, kIdEnabledExt);
    if (!(supported & kCmdSetExtSelfTest))
        return false;
    if (!(enabled & kCmdSetExtSelfTest)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Internal Error:0x84 = 0x%x, 0x87=0x%x\n", __func__,
                  __LINE__, supported, enabled);
        return false;
    }
    return true;
}

bool parse_sata_wwn(const unsigned char *identify, unsigned char *wwn) {
    if (!(identify_word(identify, kIdCommandSetExt) & kCmdSetExtWwn) ||
        !(identify_word(identify, kIdEnabledExt) & kCmdSetExtWwn))
        return false;
    // Most significant word first, each word's high byte first: the name's own byte order.
    for (size_t i = 0; i < kIdWwnWords; ++i)
        nashal::store_be16(wwn + 2 * i, identify_word(identify, kIdWwn + i));
    return true;
}

}  // namespace

extern "C" int parse_sata_capacity(const unsigned char *identify, uint64_t *capacity_out,
                                   uint32_t *sector_size_out) {
    if (!identify || !capacity_out || !sector_size_out)
        return -1;
    *sector_size_out = 512;
    uint16_t sector_word = identify_word(identify, kIdSectorSize);
    if ((sector_word & kSectorSizeValidMask) == kSectorSizeValid) {
        if (sector_word & kSectorSizeMultiple)
            ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Physical sector = %d * Logical sector.\n", __func__,
                      __LINE__, 1 << (sector_word & kSectorSizeExponentMask));
        if (sector_word & kSectorSizeLarge) {
            uint32_t words =
                identify_word(identify, kIdLogicalSectorWords) |
                (static_cast<uint32_t>(identify_word(identify, kIdLogicalSectorWords + 1)) << 16);
            *sector_size_out = words * 2;
            ERR_TRACE(HAL_TRACE_INFO, "%s(%d):sector = %d bytes\n", __func__, __LINE__,
                      static_cast<int>(*sector_size_out));
        }
    }
    // 48 bits: word 103, the top of the four, is not part of the count.
    *capacity_out = nashal::load_le(identify + 2 * kIdSectors48, 6);
    if (*capacity_out == 0 && !(identify_word(identify, kIdCommandSet2) & kCmdSet2Lba48))
        *capacity_out = nashal::load_le32(identify + 2 * kIdSectors28);
    return 0;
}

namespace nashal::disk {

void fill_sata_info(const unsigned char *identify, PD_INFO *info, SataFillRules rules) {
    info->type = PD_TYPE_SATA;
    parse_sata_vendor_model(identify, info);
    identify_text(identify, kIdFirmware, kIdFirmwareWords, info->revision, sizeof info->revision);
    info->protocol_version = parse_sata_protocol_version(identify);
    identify_text(identify, kIdSerial, kIdSerialWords, info->serial_no, sizeof info->serial_no);
    info->capabilities |= PD_CAP_SERIAL;
    if (identify_word(identify, kIdRotationRate) == kRotationNonRotating)
        info->capabilities |= PD_CAP_SSD;
    if (support_smart_sata_drive(identify, info->pd_ctrl_name)) {
        info->capabilities |= PD_CAP_SMART;
        if (rules.standby == SataStandby::kWithSmart)
            info->capabilities |= PD_CAP_STANDBY;
    }
    if (rules.standby == SataStandby::kAlways)
        info->capabilities |= PD_CAP_STANDBY;
    if (support_self_test_sata_drive(identify))
        info->capabilities |= PD_CAP_SELF_TEST;
    if ((identify_word(identify, kIdSctTransport) & kSctErrorRecoveryControl) &&
        strcmp(info->model, kNoErcModel) != 0)
        info->capabilities |= PD_CAP_ERC;
    if (rules.test_trim && (identify_word(identify, kIdDataSetManagement) & kDataSetManagementTrim))
        info->capabilities |= PD_CAP_TRIM;
    if (parse_sata_wwn(identify, info->wwn))
        info->capabilities |= PD_CAP_WWN;
    parse_sata_capacity(identify, &info->capacity, &info->sector_size);
}

}  // namespace nashal::disk
