// The vendor diagnostic pages of the expansion enclosure firmware (heartbeat, reboot, SAS
// address, nickname) and the link state of its in and out ports from the expander's phys.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "enclosure/sas_expander.h"
#include "foundation/byte_order.h"
#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "os/os_seam.h"
#include "topology/ses_layout.h"
#include "topology/ses_pages.h"
#include "topology/sysfs_read.h"

using namespace nashal::topology;

namespace {

constexpr int kMaxTries = 11;
constexpr int kVendorAnswerBufLen = 512;
constexpr int kNicknameAnswerBufLen = 1024;

// Phys of the in port and of the out port of the enclosure's expander.
constexpr int kInPortFirstPhy = 4;
constexpr int kOutPortFirstPhy = 8;
constexpr int kPortPhys = 4;

}  // namespace

namespace nashal::enclosure {

int send_with_retries(const char *who, const char *enc_sys_id, const char *what,
                      const char *command) {
    int result = 0;
    for (int retry = 0; retry < kMaxTries; ++retry) {
        result = system(command);
        if (result == 0)
            return 0;
        ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):enc_sys_id = %s,send %s:%s fail ,ret = %d,retry %d\n",
                  who, __LINE__, enc_sys_id, what, command, result, retry + 1);
        if (retry + 1 < kMaxTries)
            os_sleep(1);
    }
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):enc_sys_id = %s,send %s:%s fail ,Please add more retries\n",
              who, __LINE__, enc_sys_id, what, command);
    return result;
}

// The 8-byte command page with a sub-command and no data, as sg_senddiag's raw argument.
int command_page_text(const char *who, char *command, size_t size, const char *enc_sys_id,
                      uint8_t subcommand) {
    VendorCommandPage page{};
    page.header.page_code = kVendorCommandPage;
    store_be16(page.header.length_be, kVendorCommandLength);
    page.subcommand = subcommand;
    const auto *b = reinterpret_cast<const unsigned char *>(&page);
    return hal_build_command(who, command, size, "%s -p -r %x,%x,%x,%x,%x,%x,%x,%x /dev/%s",
                             "/sbin/sg_senddiag", b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7],
                             enc_sys_id);
}

int sas_expander_heartbeat(const char *enc_sys_id) {
    char command[HAL_CMD_LEN];
    if (command_page_text("se_sys_set_heartbeat", command, sizeof command, enc_sys_id,
                          kVendorHeartbeat) < 0)
        return -1;
    return send_with_retries("se_sys_set_heartbeat", enc_sys_id, "heartbeat", command);
}

int sas_expander_reboot(const char *enc_sys_id) {
    char command[HAL_CMD_LEN];
    if (command_page_text("se_sys_set_reboot", command, sizeof command, enc_sys_id, kVendorReboot) <
        0)
        return -1;
    errno = 0;
    int result = system(command);
    if (result < 0 && errno != ECHILD)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Internal Error:error = 0x%x\n",
                  "se_sys_set_reboot", __LINE__, errno);
    return result;
}

bool is_sas_address_text(const char *address) {
    if (!address || strlen(address) != 16)
        return false;
    for (const char *p = address; *p; ++p)
        if (!((*p >= '0' && *p <= '9') || (*p >= 'a' && *p <= 'f') || (*p >= 'A' && *p <= 'F')))
            return false;
    return true;
}

}  // namespace nashal::enclosure

using namespace nashal::enclosure;

extern "C" {

int sas_expander_set_nickname(const char *enc_sys_id, const char *name) {
    unsigned char page[kNicknameSendLen] = {};
    page[0] = kVendorNicknamePage;
    nashal::store_be16(page + kVendorPageLengthOffset, kNicknameSendLength);
    // The name field is fixed width: zero-padded, and unterminated when the name fills it.
    if (name)
        memcpy(page + kNicknameSendName, name, strnlen(name, kNicknameMaxLen));
    char text[kNicknameSendLen * 3 + 1] = {};
    size_t used = 0;
    for (unsigned char b : page)
        used += static_cast<size_t>(snprintf(text + used, sizeof text - used, "%02x,", b));
    text[used - 1] = '\0';  // no comma after the last byte
    char command[256];
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s -p -r %s /dev/%s",
                                  "/sbin/sg_senddiag", text, enc_sys_id) >= 0)
        system(command);
    // The firmware confirms nothing; a name that didn't take shows in the next read.
    return 0;
}

int sas_expander_get_nickname(const char *enc_sys_id, char *buffer, int size) {
    if (!buffer || size <= 0)
        return -1;
    memset(buffer, 0, static_cast<size_t>(size));
    std::unique_ptr<char[]> answer(new (std::nothrow) char[kNicknameAnswerBufLen]);
    char command[HAL_CMD_LEN];
    if (!answer ||
        nashal::hal_build_command(__func__, command, sizeof command, "%s -p 0xf --raw /dev/%s",
                                  "/sbin/sg_ses", enc_sys_id) < 0)
        return -1;
    int n = comm_sys_read_from_popen(command, answer.get(), kNicknameAnswerBufLen);
    if (n <= 0)
        return -1;
    unsigned char page[kNicknameReceiveBufLen] = {};
    if (ses_decode_raw_text(answer.get(), static_cast<size_t>(n), page, sizeof page) < 0)
        return -1;
    if (page[kNicknameReceiveFlag] != 0)
        return -1;
    size_t limit =
        static_cast<size_t>(size) < kNicknameMaxLen ? static_cast<size_t>(size) : kNicknameMaxLen;
    memcpy(buffer, page + kNicknameReceiveName, limit);
    buffer[size - 1] = '\0';
    return 0;
}

int sas_expander_get_sas_addr(const char *enc_sys_id, char *buffer, int size) {
    if (!buffer || size <= 0)
        return -1;
    std::unique_ptr<char[]> answer(new (std::nothrow) char[kVendorAnswerBufLen]);
    char command[HAL_CMD_LEN];
    if (!answer ||
        nashal::hal_build_command(__func__, command, sizeof command, "%s -p 0x82 -rr /dev/%s",
                                  "/sbin/sg_ses", enc_sys_id) < 0)
        return -1;
    int n = comm_sys_read_from_popen(command, answer.get(), kVendorAnswerBufLen);
    if (n <= 0)
        return -1;
    return decode_sas_address_page(reinterpret_cast<unsigned char *>(answer.get()),
                                   static_cast<size_t>(n), buffer, size);
}

int sas_expander_set_sas_addr(const char *enc_sys_id, const char *address) {
    if (!is_sas_address_text(address))
        return -1;
    VendorCommandPage page{};
    page.header.page_code = kVendorCommandPage;
    nashal::store_be16(page.header.length_be, kVendorSetSasAddressLength);
    page.subcommand = kVendorSetSasAddress;
    char data[128] = {};
    size_t used = 0;
    for (unsigned char b : std::string_view(reinterpret_cast<const char *>(&page), sizeof page))
        used += static_cast<size_t>(snprintf(data + used, sizeof data - used, "%x,", b));
    for (int i = 0; i < 16; i += 2)
        used += static_cast<size_t>(snprintf(data + used, sizeof data - used, "%s%c%c",
                                             i ? "," : "", address[i], address[i + 1]));
    char command[HAL_CMD_LEN * 2];
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s -p -r %s /dev/%s",
                                  "/sbin/sg_senddiag", data, enc_sys_id) < 0)
        return -1;
    return send_with_retries("se_sys_set_sas_addr", enc_sys_id, "sas addr", command);
}

int sas_expander_get_link_state(int direction, const char *expander, const char *suffix,
                                int *link_num, int *speed) {
    if (!expander || !suffix || !link_num || !speed)
        return -1;
    const int first = direction == 0 ? kInPortFirstPhy : kOutPortFirstPhy;
    *link_num = 0;
    *speed = -1;
    for (int phy = first; phy < first + kPortPhys; ++phy) {
        char path[512];
        char rate[32] = {};
        snprintf(path, sizeof path, "%s/%s/device/phy-%s:%d/sas_phy:phy-%s:%d/negotiated_linkrate",
                 kSasExpanderClass, expander, suffix, phy, suffix, phy);
        if (read_attribute(path, rate, sizeof rate) < 0) {
            // Kernels since the class directories lost their "class:" prefix keep the phy's
            // attributes under sas_phy/; the older layout is tried first.
            char current[512];
            snprintf(current, sizeof current,
                     "%s/%s/device/phy-%s:%d/sas_phy/phy-%s:%d/negotiated_linkrate",
                     kSasExpanderClass, expander, suffix, phy, suffix, phy);
            if (read_attribute(current, rate, sizeof rate) < 0) {
                ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error,Can't open %s\n", __func__,
                          __LINE__, path);
                continue;
            }
        }
        if (strncmp(rate, "6.0 Gbit", 8) == 0) {
            ++*link_num;
            *speed = 6;
        } else if (strncmp(rate, "3.0 Gbit", 8) == 0) {
            ++*link_num;
            *speed = 3;
        }
    }
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d): JBOD %s link state:link_num = %d,speed = %d\n", __func__,
              __LINE__, direction == 1 ? "outport" : "inport", *link_num, *speed);
    return 0;
}

}  // extern "C"
