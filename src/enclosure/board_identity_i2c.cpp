// The board identity routes that end on I2C: the two VPD ROMs and the display EDIDs. The model
// file says where each device sits ("VPD_MB", "VPD_BP", "EDID_%d" of "System IO").
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "nashal/comm_model.h"
#include "nashal/edid.h"
#include "nashal/hal_trace.h"
#include "nashal/i2c_sys.h"
#include "nashal/vpd.h"
#include "topology/model_file.h"

namespace {

// The ROM address of a position, read once per process into `cache` (0 = not read yet).
int vpd_address(const char *who, int position, int (&cache)[2]) {
    if (position != 0 && position != 1) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Interanl Error, vpd_pos = %d\n", who, __LINE__,
                  position);
        return -1;
    }
    if (cache[position] != 0)
        return cache[position];
    char value[32] = {};
    int32_t addr = 0;
    if (!nashal::topology::model_text("System IO", position == 0 ? "VPD_MB" : "VPD_BP", value) ||
        comm_sys_parse_c_i2c(value, &addr) < 0)
        return -1;
    cache[position] = addr;
    return addr;
}

}  // namespace

extern "C" int se_sys_read_vpd(int position, int offset, int length, uint8_t *buffer, int limit) {
    static int cache[2];
    int addr = vpd_address(__func__, position, cache);
    if (addr < 0)
        return -1;
    return i2c_sys_read_vpd(addr, offset, length, buffer, limit);
}

extern "C" int se_sys_write_vpd(int position, int offset, const uint8_t *buffer, int length) {
    static int cache[2];
    int addr = vpd_address(__func__, position, cache);
    if (addr < 0)
        return -1;
    return i2c_sys_write_vpd(addr, offset, buffer, length);
}

extern "C" int se_sys_read_edid(int edid_id, uint8_t *buffer, int size) {
    ERR_TRACE(HAL_TRACE_ALWAYS, "%s(%d) called: edid_id=%d\n", __func__, __LINE__, edid_id);
    char key[32];
    snprintf(key, sizeof key, "EDID_%d", edid_id);
    char value[32] = {};
    int bus = -1, addr = -1, length = 128, ret;
    if (!nashal::topology::model_text("System IO", key, value)) {
        ret = -3;
    } else {
        // "I2C-3:50[:100]": bus behind the "-", address behind the ":", an optional length.
        const char *dash = std::strchr(value, '-');
        const char *colon = dash ? std::strchr(dash, ':') : nullptr;
        char *end = nullptr;
        if (dash && colon) {
            bus = static_cast<int>(std::strtol(dash + 1, &end, 16));
            addr = static_cast<int>(std::strtol(colon + 1, &end, 16));
            if (end == colon + 1)
                addr = -1;
            const char *more = std::strchr(colon + 1, ':');
            if (more)
                length = static_cast<int>(std::strtol(more + 1, nullptr, 16));
        }
        if (bus < 0 || addr < 0 || length <= 0)
            ret = -4;
        else if (size < length)
            ret = -2;
        else
            ret = i2c_sys_read_edid(bus, addr, length, buffer);
    }
    ERR_TRACE(HAL_TRACE_ALWAYS, "%s(%d): i2c_bus=%d, edid_addr=0x%x, edid_length=%d, ret=%d\n",
              __func__, __LINE__, bus, static_cast<unsigned int>(addr), length, ret);
    return ret;
}
