// The disks of a SAS expansion enclosure, found by walking the expander's ports in sysfs, and
// the bay of one of them, found by its SAS address in the enclosure's Additional Element Status
// page.
#include "disk/sas_expander_disks.h"

#include <dirent.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "foundation/byte_order.h"
#include "foundation/raii.h"
#include "foundation/shell_command.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "topology/ses_layout.h"
#include "topology/sysfs_read.h"

using namespace nashal::topology;

namespace {

constexpr size_t kPathLen = 512;

// Reads exactly `length` bytes of a tool's output; false on a short read.
bool read_whole(FILE *stream, unsigned char *buffer, size_t length) {
    return fread(buffer, 1, length, stream) == length;
}

// A page whose 16-bit big-endian length sits at `length_offset` of a `header_len`-byte header:
// the bytes behind the header (`header_len` - `length_bias` less than the length) into
// `body`. False on a short answer or no memory.
bool read_page(const char *who, const char *command, size_t header_len, size_t length_offset,
               size_t length_bias, std::unique_ptr<unsigned char[]> &body, size_t &body_len) {
    nashal::PipeHandle pipe(popen(command, "r"));
    if (!pipe)
        return false;
    unsigned char header[8] = {};
    if (!read_whole(pipe.get(), header, header_len))
        return false;
    size_t length = nashal::load_be16(header + length_offset);
    body_len = length >= length_bias ? length - length_bias : 0;
    body.reset(new (std::nothrow) unsigned char[body_len + 1]);
    if (!body) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", who, __LINE__);
        return false;
    }
    return read_whole(pipe.get(), body.get(), body_len);
}

}  // namespace

namespace nashal::disk {

int decode_additional_status_port(const unsigned char *descriptors, size_t length,
                                  const unsigned char *sas_address) {
    size_t pos = 0;
    while (pos + kAesProtocolPartNoEip <= length) {
        const unsigned char *d = descriptors + pos;
        const size_t size = d[kAesLengthByte] + kAesLengthBias;
        // A descriptor cut short by the page is not looked into: its address would be read
        // past the bytes the enclosure sent.
        if (pos + size > length)
            break;
        if (!(d[0] & kAesInvalid) && (d[0] & kAesProtocolMask) == kAesProtocolSas) {
            const bool eip = d[0] & kAesEip;
            const size_t part = eip ? kAesProtocolPartEip : kAesProtocolPartNoEip;
            const int index = eip && size > kAesElementIndexByte ? d[kAesElementIndexByte] : 0;
            if (part + kAesSasAddressInPart + kSasAddressLen <= size &&
                memcmp(d + part + kAesSasAddressInPart, sas_address, kSasAddressLen) == 0)
                return index + 1;
        }
        pos += size;
    }
    return 0;
}

bool decode_target_device_address(const unsigned char *designators, size_t length,
                                  unsigned char *wwn) {
    size_t pos = 0;
    while (pos + kDesigHeaderLen <= length) {
        const unsigned char *d = designators + pos;
        const size_t size = kDesigHeaderLen + d[kDesigLengthByte];
        if ((d[kDesigFlagsByte] & kDesigAssocMask) == kDesigAssocTargetDevice) {
            if (pos + kDesigHeaderLen + kSasAddressLen > length)
                return false;
            memcpy(wwn, d + kDesigHeaderLen, kSasAddressLen);
            return true;
        }
        pos += size;
    }
    return false;
}

}  // namespace nashal::disk

extern "C" {

int lookup_disk_in_sas_enclosure(const char *expander_name, char **list, int room) {
    if (!expander_name)
        return -1;
    char device[kPathLen];
    snprintf(device, sizeof device, "%s/%s/device", kSasExpanderClass, expander_name);
    nashal::DirHandle dir(opendir(device));
    if (!dir)
        return 0;
    int count = 0;
    while (struct dirent *entry = readdir(dir.get())) {
        if (strncmp(entry->d_name, "port", 4) != 0)
            continue;
        const char *dash = strchr(entry->d_name, '-');
        const char *suffix = dash ? dash + 1 : "";
        char end[kPathLen];
        char target[HAL_ID_LEN] = {};
        if (snprintf(end, sizeof end, "%s/%s/end_device-%s", device, entry->d_name, suffix) >=
                static_cast<int>(sizeof end) ||
            comm_sys_get_sdev_target_bus(end, target) != 0)
            continue;  // an expander's port, or the way on to the next shelf
        char lun[kPathLen];
        if (snprintf(lun, sizeof lun, "%s/target%s/%s:0", end, target, target) >=
                static_cast<int>(sizeof lun) ||
            comm_sys_get_sdev_type(lun) != 0)
            continue;  // the enclosure services device of the shelf
        char id[HAL_ID_LEN] = {};
        if (comm_sys_get_sdev_sysid(lun, id) != 0) {
            // The shelf is going away under the scan: what was found so far stands.
            ERR_TRACE(HAL_TRACE_ERROR, "%s%d:System Internal Error\n", __func__, __LINE__);
            break;
        }
        if (list && count < room)
            list[count] = strdup(id);
        ++count;
    }
    return count;
}

int enumerate_pd_in_sas_expander(const char *enc_sys_id, char **list, int list_size) {
    char path[kPathLen] = {};
    char *expander = nullptr;
    if (!enc_sys_id || comm_sys_get_sg_path_info(enc_sys_id, path, sizeof path) < 0 ||
        comm_sys_get_sas_bus(path, nullptr, &expander) != 0 || !expander) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", __func__, __LINE__);
        return -1;
    }
    return lookup_disk_in_sas_enclosure(expander, list, list_size);
}

int get_sas_target_device_address(const char *pd_ctrl_name, unsigned char *wwn_out) {
    char command[HAL_CMD_LEN];
    if (!pd_ctrl_name || !wwn_out ||
        nashal::hal_build_command(__func__, command, sizeof command, "%s --page=0x83 -rr %s",
                                  "/sbin/sg_inq", pd_ctrl_name) < 0)
        return -1;
    std::unique_ptr<unsigned char[]> body;
    size_t body_len = 0;
    if (!read_page(__func__, command, kVpdHeaderLen, kVpdPageLengthOffset, 0, body, body_len))
        return -1;
    // Found or not, the answer was read: the caller counts the address as known.
    nashal::disk::decode_target_device_address(body.get(), body_len, wwn_out);
    return 0;
}

int get_port_in_sas_enclosure(const char *enclosure_sys_id, const unsigned char *sas_address,
                              PD_INFO *pd_info) {
    char command[HAL_CMD_LEN];
    if (!enclosure_sys_id || !sas_address || !pd_info ||
        nashal::hal_build_command(__func__, command, sizeof command, "%s -p 0xa -rr /dev/%s",
                                  "/sbin/sg_ses", enclosure_sys_id) < 0)
        return -1;
    std::unique_ptr<unsigned char[]> body;
    size_t body_len = 0;
    // The page length counts from byte 4; the descriptors start at byte 8.
    if (!read_page(__func__, command, sizeof(SesPageHeader), offsetof(SesPageHeader, length_be),
                   sizeof(SesPageHeader) - offsetof(SesPageHeader, generation_be), body, body_len))
        return -1;
    int port = nashal::disk::decode_additional_status_port(body.get(), body_len, sas_address);
    if (port > 0)
        pd_info->port_id = port;
    return 0;
}

}  // extern "C"
