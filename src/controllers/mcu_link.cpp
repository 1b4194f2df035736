// The MCU's entry points. Everything the PIC does holds here with the MCU's own link, lock,
// line speed and EEPROM places; on top come the table of five-byte commands (disk error LEDs,
// EuP) and the chassis locate LEDs built on them.
#include <cstdio>
#include <cstring>

#include "controllers/controller_frames.h"
#include "controllers/controller_link.h"
#include "nashal/hal_trace.h"
#include "nashal/mcu_sys.h"
#include "nashal/pd_sys.h"
#include "topology/model_file.h"

using namespace nashal::controllers;

#define MCU_ROW(code, name, text, x) \
    { code, name, {text[0], text[1], text[2], text[3], x}, static_cast<int>(kMcuCommandLen) }
extern "C" const MCU_CMD mcu_cmds[MCU_CMD_COUNT] = {
    MCU_ROW(0x1000, "HDD_ERROR1_ON", "@R00", 0x12),
    MCU_ROW(0x1001, "HDD_ERROR1_OFF", "@R01", 0x13),
    MCU_ROW(0x1002, "HDD_ERR1_BLINK_1HZ", "@R02", 0x10),
    MCU_ROW(0x1003, "HDD_ERR1_BLINK_5HZ", "@R03", 0x11),
    MCU_ROW(0x1004, "HDD_ERROR2_ON", "@R10", 0x13),
    MCU_ROW(0x1005, "HDD_ERROR2_OFF", "@R11", 0x12),
    MCU_ROW(0x1006, "HDD_ERR2_BLINK_1HZ", "@R12", 0x11),
    MCU_ROW(0x1007, "HDD_ERR2_BLINK_5HZ", "@R13", 0x10),
    MCU_ROW(0x1008, "HDD_ERROR3_ON", "@R20", 0x10),
    MCU_ROW(0x1009, "HDD_ERROR3_OFF", "@R21", 0x11),
    MCU_ROW(0x100A, "HDD_ERR3_BLINK_1HZ", "@R22", 0x12),
    MCU_ROW(0x100B, "HDD_ERR3_BLINK_5HZ", "@R23", 0x13),
    MCU_ROW(0x100C, "HDD_ERROR4_ON", "@R30", 0x11),
    MCU_ROW(0x100D, "HDD_ERROR4_OFF", "@R31", 0x10),
    MCU_ROW(0x100E, "HDD_ERR4_BLINK_1HZ", "@R32", 0x13),
    MCU_ROW(0x100F, "HDD_ERR4_BLINK_5HZ", "@R33", 0x12),
    MCU_ROW(0x1010, "LAN_PHY_ERP_ON", "@O41", 0x0A),
    MCU_ROW(0x1011, "LAN_PHY_ERP_OFF", "@O40", 0x0B),
};
#undef MCU_ROW

extern "C" int mcu_sys_start_monitor(const char *enc_sys_id, int no_fan_poll) {
    return start_monitor(kMcuLink, __func__, enc_sys_id, no_fan_poll);
}

extern "C" int mcu_sys_check_daemon_exist(const char *mcu_id) {
    return mcu_id && monitor_alive(kMcuLink, mcu_id) == 0 ? 1 : 0;
}

extern "C" int mcu_sys_send_cmd(const char *, const char *mcu_id, int command) {
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): mcu_sys_send_cmd, mcu_id = %s, cmd = 0x%x\n", __func__,
              __LINE__, mcu_id ? mcu_id : "(null)", command);
    return send_request(kMcuLink, __func__, mcu_id, command);
}

extern "C" int mcu_sys_access_eeprom(const char *mcu_id, int write, int offset, int length,
                                     unsigned char *buffer) {
    return access_eeprom(kMcuLink, __func__, mcu_id, write, offset, length, buffer);
}

extern "C" int mcu_sys_get_sn(const char *mcu_id, char *buffer, int size) {
    return get_serial(kMcuLink, __func__, mcu_id, buffer, size);
}

extern "C" int mcu_sys_set_sn(const char *mcu_id, const char *serial) {
    return set_serial(kMcuLink, __func__, mcu_id, serial);
}

extern "C" int mcu_sys_get_mac(int index, char *buffer, int buffer_length) {
    if (index < 0 || !buffer)
        return -1;
    const int offset = index * kMcuMacStride + kMcuMacBase;
    auto *bytes = reinterpret_cast<unsigned char *>(buffer);
    if (mcu_sys_check_daemon_exist("root")) {
        if (buffer_length <= kMcuMacLen ||
            mcu_sys_access_eeprom("root", 0, offset, kMcuMacLen, bytes) <= 0)
            return -1;
        buffer[kMcuMacLen] = '\0';
        return 0;
    }
    // The checksum comes behind the 17 bytes: a buffer without room for it can't be read into.
    if (buffer_length < kMcuMacLen + 1) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error, buffer length %d < %d\n", __func__,
                  __LINE__, buffer_length, kMcuMacLen + 1);
        return -1;
    }
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d): Run when mcu_thead not exist.\n", __func__, __LINE__);
    return direct_eeprom_read(kMcuLink, __func__, offset, kMcuMacLen, bytes, buffer_length);
}

extern "C" int mcu_sys_set_mac(int index, const char *text, int) {
    if (index < 0 || index > 8 || !text)
        return -1;
    char mac[32];
    mac_text(text, mac);
    return mcu_sys_access_eeprom("root", 1, index * kMcuMacStride + kMcuMacBase,
                                 static_cast<int>(std::strlen(mac)) + 1,
                                 reinterpret_cast<unsigned char *>(mac));
}

extern "C" int mcu_sys_get_temp(const char *enc_sys_id, const char *mcu_id, double *temperature) {
    return pic_sys_get_temp(enc_sys_id, mcu_id, temperature);
}

extern "C" int mcu_sys_get_fan_status(const char *enc_sys_id, const char *mcu_id, int fan,
                                      int *status) {
    return pic_sys_get_fan_status(enc_sys_id, mcu_id, fan, status);
}

extern "C" int mcu_sys_get_fan_speed(const char *enc_sys_id, const char *mcu_id, int fan,
                                     int *speed) {
    return pic_sys_get_fan_speed(enc_sys_id, mcu_id, fan, speed);
}

extern "C" int mcu_sys_get_pwr_status(const char *enc_sys_id, const char *mcu_id, int supply,
                                      int *status) {
    return pic_sys_get_pwr_status(enc_sys_id, mcu_id, supply, status);
}

extern "C" int mcu_sys_set_fan_speed(const char *enc_sys_id, const char *mcu_id, int level) {
    if (level < 0 || level > 7)
        return -1;
    return mcu_sys_send_cmd(enc_sys_id, mcu_id, kFanLevel0 + level);
}

extern "C" int mcu_sys_set_power_recovery_mode(const char *enc_sys_id, int mode) {
    char id[HAL_ID_LEN];
    if (mode >= 0 && mode <= 2 && controller_id_of(enc_sys_id, id))
        mcu_sys_send_cmd(enc_sys_id, id, mode == 2 ? kRecoveryMode2 : kRecoveryLastState);
    return 0;
}

namespace {
// Port n's command is the port-1 code plus 4 * (n - 1).
int port_led(const char *who, const char *enc_sys_id, int port, int code) {
    if (port < 1 || port > 4) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", who, __LINE__);
        return -1;
    }
    return mcu_sys_send_cmd(enc_sys_id, enc_sys_id, code + 4 * (port - 1));
}
}  // namespace

extern "C" int mcu_sys_set_hdd_err_led(const char *enc_sys_id, int port, int on) {
    return port_led(__func__, enc_sys_id, port,
                    on ? MCU_CMD_HDD_ERROR1_ON : MCU_CMD_HDD_ERROR1_OFF);
}

extern "C" int mcu_sys_set_blink_hdd_err_led(const char *enc_sys_id, int port, int on) {
    return port_led(__func__, enc_sys_id, port,
                    on ? MCU_CMD_HDD_ERR1_BLINK_1HZ : MCU_CMD_HDD_ERROR1_OFF);
}

extern "C" int mcu_set_enclosure_port_led(const char *enc_sys_id, int port, int on) {
    return port_led(__func__, enc_sys_id, port,
                    on ? MCU_CMD_HDD_ERR1_BLINK_5HZ : MCU_CMD_HDD_ERROR1_OFF);
}

extern "C" int mcu_sys_set_enclosure_led(const char *enc_sys_id, int on) {
    int32_t count = 0;
    if (enc_sys_id && std::strcmp(enc_sys_id, "root") == 0 &&
        !nashal::topology::model_int(nashal::topology::kSystemEnclosure, "MAX_DISK_NUM", &count))
        return -1;
    // A count of 32 or more would shift past the word; such a chassis lights its first 31.
    if (count > 31)
        count = 31;
    const unsigned bitmap = (1u << count) - 1;
    ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):se_active = %d, port_active_bitmap = 0x%x\n", __func__,
              __LINE__, on, bitmap);
    for (int port = 1; port <= count; ++port)
        pd_sys_set_err_led(enc_sys_id, port, 0);
    for (int port = 1; port <= count; ++port) {
        if (!(bitmap & (1u << (port - 1))))
            continue;
        char section[HAL_NAME_LEN], value[HAL_ID_LEN];
        std::snprintf(section, sizeof section, "System Disk %d", port);
        if (nashal::topology::model_text(section, "LOCATE_LED", value) &&
            strncasecmp(value, "MCU", 3) == 0)
            mcu_set_enclosure_port_led(enc_sys_id, port, on);
        else
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", __func__, __LINE__);
    }
    return 0;
}

extern "C" int mcu_init_uart(const char *device) {
    return device ? open_line(kMcuLink, device, __func__) : -1;
}

extern "C" int mcu_wait_data(int fd, int timeout_ms, unsigned char *out) {
    return out ? wait_byte(fd, timeout_ms, out, __func__) : -1;
}

extern "C" int mcu_wait_data_with_len(int fd, int timeout_ms, unsigned char *buffer, int length) {
    if (!buffer || length <= 0)
        return -1;
    buffer[0] = 0xFF;
    return wait_bytes(fd, timeout_ms, buffer, length, __func__);
}

extern "C" int mcu_handle_cmd(int fd, const char *mcu_id, int command, int offset, int length,
                              unsigned char *buffer) {
    unsigned char scratch[kEepromDataMax] = {};
    return handle_command(kMcuLink, fd, mcu_id ? mcu_id : "root", command, offset, length,
                          buffer ? buffer : scratch, __func__);
}

extern "C" int mcu_parse_data_in(int fd, const char *mcu_id) {
    return parse_data_in(kMcuLink, fd, mcu_id ? mcu_id : "root", __func__);
}

extern "C" int mcu_check_usb_expander_all_ports_exist(const char *enc_sys_id, int *bus, int *dev) {
    return check_usb_expander_all_ports_exist(enc_sys_id, bus, dev);
}
