// The PIC's entry points: monitor start and sign of life, orders, EEPROM (serial number, MAC
// addresses), the readers of the monitor's files, and the fan and power recovery commands.
#include <cstdio>
#include <cstring>

#include "controllers/controller_frames.h"
#include "controllers/controller_link.h"
#include "nashal/hal_trace.h"
#include "nashal/pic_sys.h"

using namespace nashal::controllers;

extern "C" int pic_sys_start_monitor(const char *enc_sys_id, int no_fan_poll) {
    return start_monitor(kPicLink, __func__, enc_sys_id, no_fan_poll);
}

extern "C" int pic_sys_check_daemon_exist(const char *pic_id) {
    return pic_id && monitor_alive(kPicLink, pic_id) == 0 ? 1 : 0;
}

extern "C" int pic_sys_send_cmd(const char *, const char *pic_id, int command) {
    return send_request(kPicLink, __func__, pic_id, command);
}

extern "C" int pic_sys_access_eeprom(const char *pic_id, int write, int offset, int length,
                                     unsigned char *buffer) {
    return access_eeprom(kPicLink, __func__, pic_id, write, offset, length, buffer);
}

extern "C" int pic_sys_get_sn(const char *pic_id, char *buffer, int size) {
    return get_serial(kPicLink, __func__, pic_id, buffer, size);
}

extern "C" int pic_sys_set_sn(const char *pic_id, const char *serial) {
    return set_serial(kPicLink, __func__, pic_id, serial);
}

extern "C" int pic_sys_get_mac(int index, char *buffer, int length) {
    if (index < 0 || index > 1 || !buffer || length <= 0)
        return -1;
    const int offset = index * kPicMacStride + kPicMacBase;
    auto *bytes = reinterpret_cast<unsigned char *>(buffer);
    if (pic_sys_check_daemon_exist("root"))
        return pic_sys_access_eeprom("root", 0, offset, length, bytes) > 0 ? 0 : -1;
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d): Run when pic_thead not exist.\n", __func__, __LINE__);
    return direct_eeprom_read(kPicLink, __func__, offset, length, bytes, length + 1);
}

extern "C" int pic_sys_set_mac(int index, const char *text, int) {
    if (index < 0 || index > 1 || !text)
        return -1;
    char mac[32];
    mac_text(text, mac);
    return pic_sys_access_eeprom("root", 1, index * kPicMacStride + kPicMacBase,
                                 static_cast<int>(std::strlen(mac)) + 1,
                                 reinterpret_cast<unsigned char *>(mac));
}

extern "C" int pic_sys_get_temp(const char *, const char *pic_id, double *temperature) {
    long value = 0;
    if (!temperature || !read_value_file(__func__, pic_id, "sys_temp", &value))
        return -1;
    *temperature = static_cast<signed char>(value);
    return 0;
}

namespace {
// Files "fan%d_err", "pwr%d_err", "fan%d_speed" of the number.
int read_numbered(const char *who, const char *id, const char *word, const char *what, int number,
                  long *value) {
    char name[24];
    std::snprintf(name, sizeof name, "%s%d_%s", word, number, what);
    return read_value_file(who, id, name, value) ? 0 : -1;
}
}  // namespace

extern "C" int pic_sys_get_fan_status(const char *, const char *pic_id, int fan, int *status) {
    long value = 0;
    if (!status || read_numbered(__func__, pic_id, "fan", "err", fan, &value) != 0)
        return -1;
    *status = static_cast<int>(value);
    return 0;
}

extern "C" int pic_sys_get_fan_speed(const char *, const char *pic_id, int fan, int *speed) {
    long value = 0;
    if (!speed || read_numbered(__func__, pic_id, "fan", "speed", fan, &value) != 0)
        return -1;
    *speed = static_cast<int>(value);
    return 0;
}

extern "C" int pic_sys_get_pwr_status(const char *, const char *pic_id, int supply, int *status) {
    long value = 0;
    if (!status || read_numbered(__func__, pic_id, "pwr", "err", supply, &value) != 0)
        return -1;
    *status = value != 0 ? -1 : 0;
    return 0;
}

// The PIC has six speeds for eight levels: 4 and 5 share one, 6 and 7 another.
extern "C" int pic_sys_set_fan_speed(const char *enc_sys_id, const char *pic_id, int level) {
    static const int kLevelByte[8] = {0x30, 0x31, 0x32, 0x33, 0x34, 0x34, 0x35, 0x35};
    if (level < 0 || level > 7)
        return -1;
    return pic_sys_send_cmd(enc_sys_id, pic_id, kLevelByte[level]);
}

// The controller keeps the mode itself; what it answers is never known here, so the call
// reports success as the callers expect.
extern "C" int pic_sys_set_power_recovery_mode(const char *enc_sys_id, int mode) {
    char id[HAL_ID_LEN];
    if (mode >= 0 && mode <= 2 && controller_id_of(enc_sys_id, id))
        pic_sys_send_cmd(enc_sys_id, id, mode == 2 ? kRecoveryMode2 : kRecoveryLastState);
    return 0;
}

extern "C" int pic_init_uart(const char *device) {
    return device ? open_line(kPicLink, device, __func__) : -1;
}

extern "C" int pic_wait_data(int fd, int timeout_ms, unsigned char *out) {
    return out ? wait_byte(fd, timeout_ms, out, __func__) : -1;
}

extern "C" unsigned char pic_checksum(const unsigned char *data, int length) {
    return data && length > 0 ? frame_checksum(data, static_cast<size_t>(length)) : 0;
}

extern "C" int pic_handle_cmd(int fd, const char *pic_id, int command, int offset, int length,
                              unsigned char *buffer) {
    unsigned char scratch[kEepromDataMax] = {};
    return handle_command(kPicLink, fd, pic_id ? pic_id : "root", command, offset, length,
                          buffer ? buffer : scratch, __func__);
}

extern "C" int pic_parse_data_in(int fd, const char *pic_id) {
    return parse_data_in(kPicLink, fd, pic_id ? pic_id : "root", __func__);
}
