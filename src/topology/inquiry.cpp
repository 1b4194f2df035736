// Inquiry through sg_inq: the standard answer with vendor and model, the unit serial number
// (VPD 0x80) and the SAS target port address (VPD 0x83). Device texts are copied, never passed
// to a shell.
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "foundation/byte_order.h"
#include "foundation/raii.h"
#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "topology/ses_layout.h"
#include "topology/ses_pages.h"

namespace nashal::topology {

void vpd_decode_serial(const unsigned char *page, size_t length, char *serial) {
    auto at = [&](size_t i) -> size_t { return i < length ? page[i] : 0; };
    size_t len = (at(kVpdPageLengthOffset) << 8) | at(kVpdPageLengthOffset + 1);
    if (len > kVpdSerialMaxLen)
        len = kVpdSerialMaxLen;
    for (size_t i = 0; i < len; ++i)
        serial[i] = static_cast<char>(at(kVpdHeaderLen + i));
    serial[len] = '\0';
}

bool vpd_decode_target_port_address(const unsigned char *designators, size_t length,
                                    unsigned char *address) {
    size_t pos = 0;
    while (pos + kDesigHeaderLen <= length) {
        const unsigned char *d = designators + pos;
        unsigned flags = d[kDesigFlagsByte];
        if ((flags & kDesigAssocMask) == kDesigAssocTargetPort && (flags & kDesigPiv) &&
            (d[kDesigProtocolByte] >> 4) == kDesigProtocolSas) {
            if (pos + kDesigHeaderLen + kSasAddressLen > length)
                return false;  // a cut designator is no address
            memcpy(address, d + kDesigHeaderLen, kSasAddressLen);
            return true;
        }
        pos += kDesigHeaderLen + d[kDesigLengthByte];
    }
    return false;
}

}  // namespace nashal::topology

using namespace nashal::topology;

extern "C" {

int comm_sys_get_sas_inquiry_resp(const char *device, char *buffer, int size) {
    if (!device || !buffer)
        return -1;
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s -r %s", "/sbin/sg_inq",
                                  device) < 0)
        return -1;
    return comm_sys_read_from_popen(command, buffer, size) > 0 ? 0 : -1;
}

int comm_sys_parse_sas_vendor_model(const char *inquiry, char *vendor, char *model) {
    if (!inquiry || !vendor || !model)
        return 0;  // nothing to fill; the result is 0 whatever the input
    memcpy(vendor, inquiry + kInquiryVendorOffset, kInquiryVendorLen);
    vendor[kInquiryVendorLen] = '\0';
    memcpy(model, inquiry + kInquiryModelOffset, kInquiryModelLen);
    model[kInquiryModelLen] = '\0';
    return 0;
}

int comm_sys_get_sas_serial_resp(const char *device, char *serial) {
    if (!device || !serial)
        return -1;
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s -p 0x80 -r %s",
                                  "/sbin/sg_inq", device) < 0)
        return -1;
    char answer[kVpdSerialAnswerLen];
    int n = comm_sys_read_from_popen(command, answer, sizeof answer);
    if (n <= 0)
        return -1;
    vpd_decode_serial(reinterpret_cast<unsigned char *>(answer), static_cast<size_t>(n), serial);
    comm_sys_remove_prefix_postfix_space(serial, HAL_SERIAL_LEN);
    return 0;
}

int comm_sys_get_sas_target_port_address(const char *sg_name, unsigned char *address) {
    if (!sg_name || !address)
        return -1;
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s --page=0x83 -rr /dev/%s",
                                  "/sbin/sg_inq", sg_name) < 0)
        return -1;
    nashal::PipeHandle pipe(popen(command, "r"));
    if (!pipe)
        return -1;
    unsigned char header[kVpdHeaderLen];
    if (fread(header, 1, sizeof header, pipe.get()) != sizeof header)
        return -1;
    size_t length = nashal::load_be16(header + kVpdPageLengthOffset);
    std::unique_ptr<unsigned char[]> data(new (std::nothrow) unsigned char[length + 1]);
    if (!data) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    if (fread(data.get(), 1, length, pipe.get()) != length) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    vpd_decode_target_port_address(data.get(), length, address);
    return 0;
}

int comm_sys_remove_prefix_postfix_space(char *text, int size) {
    if (!text || size <= 0)
        return 0;
    std::unique_ptr<char[]> copy(new (std::nothrow) char[static_cast<size_t>(size)]);
    if (!copy) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Internal Error\n", __func__, __LINE__);
        return static_cast<int>(strnlen(text, static_cast<size_t>(size)));
    }
    memcpy(copy.get(), text, static_cast<size_t>(size));
    copy[static_cast<size_t>(size) - 1] = '\0';
    const char *start = copy.get();
    while (*start == ' ')
        ++start;
    int length = static_cast<int>(strlen(start));
    int end = length;
    while (end > 0 && start[end - 1] == ' ')
        --end;
    memcpy(text, start, static_cast<size_t>(end));
    text[end] = '\0';
    return length;
}

}  // extern "C"
