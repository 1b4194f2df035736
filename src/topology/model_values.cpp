// Parsers of the short texts a model file uses to say where a feature lives. They take fields
// apart by the characters the file format promises ("B", "D", "F", "I", "P", ":", ","), read the
// numbers as strtol would, and know nothing about what the numbers mean.
#include "nashal/comm_model.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "foundation/text.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"

namespace {

// A number as strtol reads it from `text` (stopping at the first character that is not part of
// it), clamped to 32 bits so that an over-long run of digits can't wrap into a plausible value.
int32_t read_number(const char *text, int base) {
    errno = 0;
    long v = std::strtol(text, nullptr, base);
    if (v > INT32_MAX)
        return INT32_MAX;
    if (v < INT32_MIN)
        return INT32_MIN;
    return static_cast<int32_t>(v);
}

int32_t read_dec(const char *text) {
    return read_number(text, 10);
}

int32_t read_hex(const char *text) {
    return read_number(text, 16);
}

}  // namespace

extern "C" {

int comm_sys_parse_c_dev_bus(const char *value, int32_t *bus, int32_t *device, int32_t *function) {
    if (!value || !device || !function)
        return -1;
    // The fields end at ":" and strtol stops there by itself, so the value needs no cutting and
    // stays exactly as the caller gave it.
    const char *rest = value;
    if (const char *b = std::strchr(value, 'B')) {
        const char *colon = std::strchr(b, ':');
        if (!colon)
            return -1;
        if (bus)
            *bus = read_dec(b + 1);
        rest = colon + 1;
    } else if (bus) {
        *bus = 0;
    }
    const char *d = std::strchr(rest, 'D');
    if (!d)
        return -1;
    const char *colon = std::strchr(d, ':');
    if (!colon)
        return -1;
    *device = read_dec(d + 1);
    const char *f = std::strchr(colon + 1, 'F');
    if (!f)
        return -1;
    *function = read_dec(f + 1);
    return 0;
}

int comm_sys_parse_c_internal_driver(const char *value, char *name, int size) {
    if (!value)
        return -1;
    const char *b = std::strchr(value, 'B');
    if (!b)
        return -1;
    const char *colon = std::strchr(b, ':');
    if (!colon)
        return -1;
    if (read_dec(b + 1) != -1)
        return -1;
    if (name && size > 0)
        nashal::hal_copy(name, static_cast<size_t>(size), colon + 1);
    return 0;
}

int comm_sys_parse_c_gpio(const char *value, int32_t *index, int32_t *bit) {
    if (!value || !index)
        return -1;
    // The "I" is searched from the first ":" on, so that an I in the method word can't match.
    const char *colon = std::strchr(value, ':');
    if (!colon)
        return -1;
    const char *i = std::strchr(colon, 'I');
    if (!i)
        return -1;
    const char *after_index = std::strchr(i, ':');
    if (!after_index) {
        *index = read_hex(i + 1);
        return 0;
    }
    *index = read_hex(i + 1);
    const char *rest = after_index + 1;
    if (const char *b = std::strchr(rest, 'B')) {
        const char *after_bit = std::strchr(b, ':');
        // A caller without a bit must not be given a "B" field; if it is, the bit is dropped
        // rather than written through a null pointer.
        if (bit)
            *bit = read_hex(b + 1);
        if (!after_bit)
            return 0;
        rest = after_bit + 1;
    }
    return std::strchr(rest, 'P') ? 1 : 0;
}

int comm_sys_parse_c_i2c(const char *value, int32_t *address) {
    if (!value || !address)
        return -1;
    const char *colon = std::strchr(value, ':');
    if (!colon)
        return -1;
    *address = read_hex(colon + 1);
    return 0;
}

namespace {

// Cuts `value` in place at its colons into the n fields "<method>:<f1>:...", the last holding all
// that follows; false when it has fewer than n - 1 colons.
bool cut_fields(char *value, char **fields, size_t n) {
    fields[0] = value;
    for (size_t k = 1; k < n; ++k) {
        char *colon = std::strchr(fields[k - 1], ':');
        if (!colon)
            return false;
        *colon = '\0';
        fields[k] = colon + 1;
    }
    return true;
}

}  // namespace

int comm_sys_parse_c_i2c_start_stop(char *value, int32_t *address, int32_t *start, int32_t *stop) {
    char *f[4];
    if (!value || !address || !start || !stop || !cut_fields(value, f, std::size(f)))
        return -1;
    *address = read_hex(f[1]);
    *start = read_hex(f[2]);
    *stop = read_hex(f[3]);
    return 0;
}

int comm_sys_parse_c_i2c_index(char *value, int32_t *address, int32_t *index) {
    char *f[3];
    if (!value || !address || !index || !cut_fields(value, f, std::size(f)))
        return -1;
    char *i = std::strchr(f[2], 'I');
    if (!i)
        return -1;
    *address = read_hex(f[1]);
    *index = read_hex(i + 1);
    return 0;
}

int comm_sys_parse_c_i2c_index_write(char *value, int32_t *address, int32_t *index, int32_t *data) {
    char *f[4];
    if (!value || !address || !index || !data || !cut_fields(value, f, std::size(f)))
        return -1;
    char *i = std::strchr(f[2], 'I');
    if (!i)
        return -1;
    *address = read_hex(f[1]);
    *index = read_hex(i + 1);
    *data = read_hex(f[3]);
    return 0;
}

int comm_sys_get_each_usb_port(char *list) {
    if (!list || list[0] == '\0')
        return 0;
    int32_t port = read_dec(list);
    if (char *comma = std::strchr(list, ',')) {
        std::memmove(list, comma + 1, std::strlen(comma + 1) + 1);
    } else {
        list[0] = '\0';
    }
    return port;
}

const char *common_sys_get_thunderbolt_conf(const char *enc_sys_id) {
    if (enc_sys_id && std::strncmp(enc_sys_id, "i2c", 3) == 0)
        return COMM_MODEL_JBOD_CONF;
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): ERROR at enc_sys_id %s\n", __func__, __LINE__,
              enc_sys_id ? enc_sys_id : "(null)");
    return nullptr;
}

int common_sys_get_thunderbolt_i2c_num(const char *enc_sys_id) {
    // The number stands behind a four-character prefix; a shorter id has none, and reading at
    // the fifth character would run past its end.
    if (!enc_sys_id || strnlen(enc_sys_id, 4) < 4)
        return -1;
    return read_dec(enc_sys_id + 4);
}

int comm_sys_get_c_ext_enclosure_string(int type, const char *key, char *value, int size) {
    char section[HAL_NAME_LEN];
    std::snprintf(section, sizeof(section), "External Type %d", type);
    if (Ini_Conf_Get_Field(COMM_MODEL_EXT_CONF, section, key, value, size) < 0)
        return -1;
    return 0;
}

int comm_sys_get_c_ext_enclosure_integer(int type, const char *key, int32_t *value,
                                         int hexadecimal) {
    char section[HAL_NAME_LEN];
    std::snprintf(section, sizeof(section), "External Type %d", type);
    if (Ini_Conf_Get_Field_Int(COMM_MODEL_EXT_CONF, section, key, value,
                               hexadecimal ? INI_CONF_HEX : INI_CONF_DEC) < 0)
        return -1;
    return 0;
}

}  // extern "C"
