// The SAS fill: identity from the standard inquiry, serial from VPD 0x80, solid state from VPD
// 0xb1, and the capacity from READ CAPACITY, all through the sg3_utils tools.
#include <cstring>

#include "disk/disk_info.h"
#include "foundation/byte_order.h"
#include "foundation/shell_command.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_smart.h"
#include "topology/ses_layout.h"

using namespace nashal::topology;

namespace {

constexpr const char *kSgInq = "/sbin/sg_inq";
constexpr const char *kSgReadcap = "/sbin/sg_readcap";
constexpr int kInquiryBufLen = 256;
constexpr int kBlockCharacteristicsBufLen = 66;  // up to 65 bytes of the 64-byte page
constexpr int kReadCapBufLen = 33;

bool is_sas_ssd(const char *pd_ctrl_name) {
    char command[HAL_CMD_LEN];
    char page[kBlockCharacteristicsBufLen];
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s -p 0xb1 -r %s", kSgInq,
                                  pd_ctrl_name) < 0)
        return false;
    int n = comm_sys_read_from_popen(command, page, sizeof page);
    if (n < static_cast<int>(kVpdRotationRateOffset + 2))
        return false;
    return nashal::load_be16(reinterpret_cast<unsigned char *>(page) + kVpdRotationRateOffset) ==
           kVpdRotationNonRotating;
}

// The last LBA plus one is the count; the plus one works on the low 32 bits only, as the
// system always counted it.
uint64_t count_from_last_lba(uint64_t last_lba) {
    return (last_lba & 0xFFFFFFFF00000000ull) | static_cast<uint32_t>(last_lba + 1);
}

void get_sas_capacity(const char *pd_ctrl_name, PD_INFO *info) {
    char command[HAL_CMD_LEN];
    char answer[kReadCapBufLen];
    const auto *bytes = reinterpret_cast<const unsigned char *>(answer);
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s -l -r %s 2> /dev/null",
                                  kSgReadcap, pd_ctrl_name) < 0)
        return;
    if (comm_sys_read_from_popen(command, answer, sizeof answer) >=
        static_cast<int>(kReadCap16MinLen)) {
        info->capacity = count_from_last_lba(nashal::load_be64(bytes));
        info->sector_size = nashal::load_be32(bytes + kReadCap16BlockLenOffset);
        return;
    }
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s -r %s 2> /dev/null",
                                  kSgReadcap, pd_ctrl_name) < 0)
        return;
    if (comm_sys_read_from_popen(command, answer, sizeof answer) >=
        static_cast<int>(kReadCap10MinLen)) {
        info->capacity = count_from_last_lba(nashal::load_be32(bytes));
        info->sector_size = nashal::load_be32(bytes + kReadCap10BlockLenOffset);
    }
}

}  // namespace

namespace nashal::disk {

void fill_sas_info(const char *enc_sys_id, PD_INFO *info, bool test_ssd) {
    info->type = PD_TYPE_SAS;
    // The reader zero-fills the whole buffer, so a short answer gives empty texts, never stale
    // bytes.
    char inquiry[kInquiryBufLen];
    if (comm_sys_get_sas_inquiry_resp(info->pd_ctrl_name, inquiry, sizeof inquiry) == 0) {
        comm_sys_parse_sas_vendor_model(inquiry, info->vendor, info->model);
        memcpy(info->revision, inquiry + kInquiryRevisionOffset, kInquiryRevisionLen);
        info->revision[kInquiryRevisionLen] = '\0';
        info->protocol_version =
            static_cast<uint32_t>(static_cast<unsigned char>(inquiry[kInquiryVersionOffset])) << 16;
    }
    if (comm_sys_get_sas_serial_resp(info->pd_ctrl_name, info->serial_no) == 0)
        info->capabilities |= PD_CAP_SERIAL;
    else
        info->capabilities &= ~PD_CAP_SERIAL;
    info->capabilities |= PD_CAP_SMART | PD_CAP_SELF_TEST;
    if (test_ssd) {
        if (is_sas_ssd(info->pd_ctrl_name))
            info->capabilities |= PD_CAP_SSD;
        else
            info->capabilities &= ~PD_CAP_SSD;
    }
    info->capabilities &= ~PD_CAP_WWN;
    if (get_sas_target_device_address(info->pd_ctrl_name, info->wwn) == 0)
        info->capabilities |= PD_CAP_WWN;
    info->capabilities &= ~PD_CAP_STANDBY;
    if (get_sas_pwr_standby_support(info->pd_ctrl_name) == 0)
        info->capabilities |= PD_CAP_STANDBY;
    get_sas_capacity(info->pd_ctrl_name, info);
    if (pd_sys_set_sas_warning(enc_sys_id, info->pd_sys_id) < 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): pd_sys_id = %s,Set SAS WARNING function fail\n",
                  __func__, __LINE__, info->pd_sys_id);
}

}  // namespace nashal::disk
