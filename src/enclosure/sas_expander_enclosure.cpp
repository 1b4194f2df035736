// A SAS expansion enclosure as a whole: which expanders are enclosures, the ENC_INFO of one
// (from SES page 1 and the serial number page), and its external connectors (vendor page 0x81).
#include <dirent.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "enclosure/sas_expander.h"
#include "foundation/byte_order.h"
#include "foundation/raii.h"
#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "os/os_seam.h"
#include "topology/model_file.h"
#include "topology/ses_layout.h"
#include "topology/ses_pages.h"
#include "topology/sysfs_read.h"

using namespace nashal::topology;

namespace {

constexpr int kSesPageBufLen = 512;
constexpr int kMaxConnectors = 8;

// Models whose power supplies carry no fan or sensor of their own: they keep the full count.
constexpr const char *kFullCountModels[] = {"VEXP-3120U-RP", "VEXP-3520U-RP", "VEXP-4320U-RP"};

bool keeps_full_count(const char *model) {
    for (const char *m : kFullCountModels)
        if (strcmp(model, m) == 0)
            return true;
    return false;
}

// A fixed-width text of the enclosure descriptor, terminated and trimmed.
void take_text(char *dst, size_t size, const unsigned char *src, size_t width) {
    size_t n = width < size - 1 ? width : size - 1;
    memcpy(dst, src, n);
    dst[n] = '\0';
    comm_sys_remove_prefix_postfix_space(dst, static_cast<int>(size));
}

}  // namespace

namespace nashal::enclosure {

int decode_connector_page(const unsigned char *page, size_t length, const int *wanted,
                          int wanted_count, uint32_t *status, int max) {
    const int count = static_cast<int>(length) - static_cast<int>(kVendorPageHeaderLen);
    if (length < kVendorPageHeaderLen || page[0] != kVendorConnectorPage ||
        load_be16(page + kVendorPageLengthOffset) != count) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.page_code = 0x%x,count = %d\n",
                  "sas_expander_get_connector_status", __LINE__, length ? page[0] : 0, count);
        return -1;
    }
    int delivered = 0;
    int next = 0;
    size_t pos = kVendorPageHeaderLen;
    // A record must fit whole up to its status byte; one cut short by the answer ends the walk
    // rather than being read past the bytes the tool printed.
    while (pos + sizeof(ConnectorRecord) <= length) {
        const unsigned char *record = page + pos;
        if (record[0] != kSesTypeSasConnector) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.element_type = 0x%x\n",
                      "sas_expander_get_connector_status", __LINE__, record[0]);
            return -1;
        }
        if (next < wanted_count && record[1] == wanted[next] && delivered < max) {
            status[delivered++] = record[kConnectorRecordStatus];
            ++next;
        }
        pos += kConnectorRecordHeaderLen + load_be16(record + kConnectorRecordLengthOffset);
    }
    return delivered;
}

int bounded_element_offset(uint8_t type, int index, const uint32_t (*types)[2], int type_count,
                           int page_len) {
    int offset = 0;
    if (comm_sys_get_ses_control_element_offset(type, index, types, type_count, &offset) != 0 ||
        offset < 0 || page_len < 0 ||
        static_cast<size_t>(offset) + kSesElementLen > static_cast<size_t>(page_len))
        return -1;
    return offset;
}

int decode_sas_address_page(const unsigned char *page, size_t length, char *buffer, int size) {
    const int count = static_cast<int>(length) - static_cast<int>(kVendorPageHeaderLen);
    if (length < kVendorSasAddressOffset + kSasAddressLen || page[0] != kVendorSasAddressPage ||
        load_be16(page + kVendorPageLengthOffset) != count) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.page_code = 0x%x,count = %d\n",
                  "sas_expander_get_sas_addr", __LINE__, length ? page[0] : 0, count);
        return -1;
    }
    const unsigned char *a = page + kVendorSasAddressOffset;
    snprintf(buffer, static_cast<size_t>(size), "%02x%02x%02x%02x%02x%02x%02x%02x", a[0], a[1],
             a[2], a[3], a[4], a[5], a[6], a[7]);
    return 0;
}

}  // namespace nashal::enclosure

using namespace nashal::enclosure;

extern "C" {

int sas_expander_enumerate(char **enc_sys_ids, unsigned int max_count) {
    nashal::DirHandle dir(opendir(kSasExpanderClass));
    if (!dir)
        return 0;
    int count = 0;
    while (struct dirent *entry = readdir(dir.get())) {
        if (strncmp(entry->d_name, "expander", 8) != 0)
            continue;
        char sysid[HAL_ID_LEN] = {};
        if (comm_sys_get_sysid_of_sas_enclosure(entry->d_name, sysid) != 0 ||
            comm_sys_check_sas_expander_sanity(sysid) != 0)
            continue;
        // Counted even when the array is full, so that the caller sees what didn't fit.
        if (enc_sys_ids && static_cast<unsigned int>(count) < max_count)
            enc_sys_ids[count] = strdup(sysid);
        ++count;
    }
    return count;
}

int sas_expander_get_sn(const char *enc_sys_id, char *buffer, int size) {
    if (!enc_sys_id || !buffer || size <= 0)
        return -1;
    memset(buffer, 0, static_cast<size_t>(size));
    char device[HAL_NAME_LEN];
    snprintf(device, sizeof device, "/dev/%s", enc_sys_id);
    char serial[kVpdSerialMaxLen + 1] = {};
    if (comm_sys_get_sas_serial_resp(device, serial) != 0)
        return -1;
    nashal::hal_copy(buffer, static_cast<size_t>(size), serial);
    return 0;
}

int sas_expander_getinfo(const char *enc_sys_id, ENC_INFO *info) {
    if (!enc_sys_id || !info)
        return -1;
    uint32_t cap = root_capability();
    if (cap & CAP_NO_SAS_EXPANDER)
        return -1;
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s -p 0x1 -rr /dev/%s",
                                  "/sbin/sg_ses", enc_sys_id) < 0)
        return -1;
    unsigned char page[kSesPageBufLen];
    int n = comm_sys_read_from_popen(command, reinterpret_cast<char *>(page), sizeof page);
    if (n <= 0)
        return -1;
    // The answer buffer was cleared, so a short page reads as zeros up to the enclosure
    // descriptor's end (48 bytes), well inside the buffer.
    const unsigned char *enc = page + kSesConfEncDescOffset;

    info->enc_id = -1;
    nashal::hal_copy(info->enc_sys_id, enc_sys_id);
    memcpy(info->wwn, enc + offsetof(SesEnclosureDescriptor, logical_id_be), kSasAddressLen);
    take_text(info->vendor, sizeof info->vendor, enc + offsetof(SesEnclosureDescriptor, vendor),
              sizeof(SesEnclosureDescriptor::vendor));
    take_text(info->model, sizeof info->model, enc + offsetof(SesEnclosureDescriptor, product),
              sizeof(SesEnclosureDescriptor::product));
    const unsigned char *rev = enc + offsetof(SesEnclosureDescriptor, revision);
    snprintf(info->revision, sizeof info->revision, "%c%c.%c%c", rev[0], rev[1], rev[2], rev[3]);
    info->status = 0;
    info->protocol = 3;
    if (strncmp(info->vendor, "VORN", 4) == 0) {
        info->capability |= CAP_INTERNAL;
        if (!strstr(info->model, "Pro"))
            info->capability |= CAP_REDUNDANT_POWER;
    }
    sas_expander_get_sn(enc_sys_id, info->serial, sizeof info->serial);

    uint32_t types[256][2] = {};
    int type_count = ses_decode_config_page(page, static_cast<size_t>(n), types, 255);
    if (type_count < 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error, BUFFER overflow:enc_sys_id = %s\n",
                  __func__, __LINE__, enc_sys_id);
    const bool less_psu =
        !keeps_full_count(info->model) && (info->capability & CAP_REDUNDANT_POWER);
    for (int i = 0; i < type_count; ++i) {
        int possible = static_cast<int>(types[i][1]);
        switch (types[i][0]) {
            case kSesTypeDeviceSlot:
            case kSesTypeArrayDeviceSlot:
                info->max_disk_num = possible;
                break;
            case kSesTypeCooling:
                // The power supplies' own fans and sensors are counted by the page but are not
                // the enclosure's to show.
                info->max_fan_num = less_psu ? possible - 2 : possible;
                break;
            case kSesTypeTemperature:
                info->max_temp_num = less_psu ? possible - 2 : possible;
                break;
            default:
                break;
        }
    }

    os_sleep(1);
    int connectors =
        sas_expander_get_connector_status(enc_sys_id, info->conn_status, kMaxConnectors);
    if (connectors > 0)
        info->max_conn_num = connectors;
    return comm_sys_get_sas_expander_parent_sysid(enc_sys_id, info->enc_parent_sys_id);
}

int sas_expander_get_connector_status(const char *enc_sys_id, uint32_t *status, int max) {
    if (!enc_sys_id || !status) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): SYSTEM ERROR.\n", __func__, __LINE__);
        return -1;
    }
    uint32_t types[SES_MAX_ELEMENT_TYPES][2] = {};
    unsigned char page[SES_STATUS_PAGE_LEN] = {};
    int type_count = comm_sys_get_ses_enc_conf(enc_sys_id, types, SES_MAX_ELEMENT_TYPES);
    int page_len = type_count < 0 ? -1 : comm_sys_get_ses_enc_status(enc_sys_id, page, sizeof page);
    int connectors = 0;
    for (int i = 0; i < type_count; ++i)
        if (types[i][0] == kSesTypeSasConnector)
            connectors = static_cast<int>(types[i][1]);
    int offset = bounded_element_offset(kSesTypeSasConnector, 1, types, type_count, page_len);
    if (page_len < 0 || connectors == 0 || offset < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): SYSTEM ERROR.\n", __func__, __LINE__);
        return -1;
    }
    int wanted[kMaxConnectors];
    int wanted_count = 0;
    // A hostile configuration page can put the connectors past the status bytes read: such
    // elements are not there to be looked at.
    for (int i = 0; i < connectors && wanted_count < kMaxConnectors; ++i) {
        int at = bounded_element_offset(kSesTypeSasConnector, i + 1, types, type_count, page_len);
        if (at < 0)
            break;
        if ((page[at + kSesConnectorTypeByte] & kSesConnectorTypeMask) == kSesConnectorExternal)
            wanted[wanted_count++] = i;
    }

    std::unique_ptr<char[]> answer(new (std::nothrow) char[kSesPageBufLen]);
    char command[HAL_CMD_LEN];
    if (!answer ||
        nashal::hal_build_command(__func__, command, sizeof command, "%s -p 0x81 -rr /dev/%s",
                                  "/sbin/sg_ses", enc_sys_id) < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): SYSTEM ERROR.\n", __func__, __LINE__);
        return -1;
    }
    int n = comm_sys_read_from_popen(command, answer.get(), kSesPageBufLen);
    if (n <= 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): SYSTEM ERROR.\n", __func__, __LINE__);
        return -1;
    }
    return decode_connector_page(reinterpret_cast<unsigned char *>(answer.get()),
                                 static_cast<size_t>(n), wanted, wanted_count, status, max);
}

}  // extern "C"
