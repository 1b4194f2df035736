// Settings the BIOS reads from battery-backed CMOS at power-on: what to do after a power loss,
// the EuP mode, and the C2F memory reservation. The model file says where each byte lives
// ("PWR_RECOVERY_CMOS_STORE", "C2F_CMOS_STORE": I/O port and CMOS index); the byte is reached
// through the classic index/data pair, the index to the port and the data at the port plus 1.
#include <sys/sysinfo.h>

#include <cstdlib>
#include <cstring>

#include "foundation/text.h"
#include "nashal/comm_port.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "os/os_seam.h"
#include "topology/cmos_settings.h"
#include "topology/model_file.h"

namespace {

constexpr const char *kPowerStoreKey = "PWR_RECOVERY_CMOS_STORE";
constexpr const char *kC2fStoreKey = "C2F_CMOS_STORE";

constexpr int kNoMode = -1;

// Recovery code (bits 7, 6 of the power byte) to the system's mode, in the two forms a BIOS
// may use. The initialised form belongs to BIOSes that mark the byte with 1 in its low bits.
constexpr int kModeOfCodeInitialised[4] = {0, kNoMode, 1, 2};
constexpr int kModeOfCodePlain[4] = {2, 1, 0, kNoMode};

struct CmosStore {
    uint16_t port = 0;
    uint8_t index = 0;
};

// "70,7E": port and index, hexadecimal. A missing key or a value without "," is no store, and
// so is a port pair or an index that doesn't fit the I/O space or the CMOS: cut down to 16 and
// 8 bits, such a value would land on some other port or byte (10070 on the real CMOS at 70).
bool read_cmos_store(const char *key, CmosStore &store) {
    char value[HAL_ID_LEN] = {};
    if (!nashal::topology::model_text(nashal::topology::kSystemEnclosure, key, value))
        return false;
    const char *comma = std::strchr(value, ',');
    if (!comma)
        return false;
    unsigned long port = std::strtoul(value, nullptr, 16);
    unsigned long index = std::strtoul(comma + 1, nullptr, 16);
    if (port > 0xFFFEul || index > 0xFFul)
        return false;
    store.port = static_cast<uint16_t>(port);
    store.index = static_cast<uint8_t>(index);
    // Permission for the index and the data port. Its result is not looked at: the library
    // runs with the privilege to reach the ports, and the byte is then read or written anyway.
    os_ioperm(store.port, 2, 1);
    return true;
}

uint8_t cmos_read(const CmosStore &store) {
    os_outb(store.index, store.port);
    return os_inb(static_cast<uint16_t>(store.port + 1));
}

void cmos_write(const CmosStore &store, uint8_t value) {
    os_outb(store.index, store.port);
    os_outb(value, static_cast<uint16_t>(store.port + 1));
}

bool power_byte_initialised(uint8_t byte) {
    return (byte & CMOS_PWR_INIT_MASK) == CMOS_PWR_INIT_VALUE;
}

// Which table applies: the initialised one only when the caller asks for it and the BIOS has
// marked the byte.
bool initialised_form_applies(const CmosStore &store, int initialised_form) {
    return initialised_form && power_byte_initialised(cmos_read(store));
}

// The recovery code for a mode; a mode with no code of its own leaves the code 0.
uint8_t recovery_code_of_mode(int mode, bool initialised) {
    if (initialised) {
        if (mode == 1)
            return 2;
        if (mode == 2)
            return 3;
        return 0;
    }
    if (mode == 1)
        return 1;
    if (mode == 0)
        return 2;
    return 0;
}

int32_t c2f_bitmap_of_memory_mb(unsigned long long mb) {
    if (mb < 2048)
        return 0;
    if (mb < 4096)
        return 2;
    if (mb < 8192)
        return 6;
    if (mb < 16384)
        return 22;
    return 30;
}

}  // namespace

namespace nashal {

bool cmos_read_setting_byte(const char *store_key, uint8_t *byte) {
    CmosStore store;
    if (!store_key || !byte || !read_cmos_store(store_key, store))
        return false;
    *byte = cmos_read(store);
    return true;
}

}  // namespace nashal

extern "C" {

int comm_sys_get_power_recovery_mode_from_cmos(int32_t *mode, int initialised_form) {
    CmosStore store;
    if (!mode || !read_cmos_store(kPowerStoreKey, store))
        return -1;
    bool initialised = initialised_form_applies(store, initialised_form);
    int code = (cmos_read(store) & CMOS_PWR_RECOVERY_MASK) >> CMOS_PWR_RECOVERY_SHIFT;
    int found = initialised ? kModeOfCodeInitialised[code] : kModeOfCodePlain[code];
    if (found != kNoMode)
        *mode = found;
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d): mode = %d from CMOS\n", __func__, __LINE__, *mode);
    return 0;
}

int comm_sys_set_power_recovery_mode_to_cmos(int mode, int initialised_form) {
    // Modes 3 and 4 are kept by other means (the Super I/O); the CMOS byte has no code for them.
    if (mode == 3 || mode == 4)
        return 0;
    CmosStore store;
    if (!read_cmos_store(kPowerStoreKey, store))
        return -1;
    bool initialised = initialised_form_applies(store, initialised_form);
    uint8_t byte = cmos_read(store) & static_cast<uint8_t>(~CMOS_PWR_RECOVERY_MASK);
    byte |=
        static_cast<uint8_t>(recovery_code_of_mode(mode, initialised) << CMOS_PWR_RECOVERY_SHIFT);
    cmos_write(store, byte);
    return 0;
}

int comm_sys_set_eup_mode_to_cmos(int enable) {
    CmosStore store;
    if (!read_cmos_store(kPowerStoreKey, store))
        return -1;
    uint8_t byte = cmos_read(store);
    if (enable)
        byte |= CMOS_PWR_EUP_BIT;
    else
        byte &= static_cast<uint8_t>(~CMOS_PWR_EUP_BIT);
    cmos_write(store, byte);
    return 0;
}

int comm_sys_check_CMOS_is_initialized_by_BIOS(void) {
    CmosStore store;
    if (!read_cmos_store(kPowerStoreKey, store))
        return -1;
    return power_byte_initialised(cmos_read(store)) ? 1 : 0;
}

int comm_sys_get_c2f_support_mem_reserved(int32_t *bitmap) {
    if (!bitmap)
        return -1;
    *bitmap = 0;
    struct sysinfo info;
    std::memset(&info, 0, sizeof(info));
    if (os_sysinfo(&info) != 0)
        return -1;
    unsigned long long bytes =
        static_cast<unsigned long long>(info.totalram) * (info.mem_unit ? info.mem_unit : 1u);
    *bitmap = c2f_bitmap_of_memory_mb(bytes >> 20);
    return 0;
}

int comm_sys_set_c2f_to_cmos(int enable, int size) {
    ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):enable = %d,size = 0x%x\n", __func__, __LINE__, enable,
              static_cast<unsigned>(size));
    int32_t bitmap = 0;
    if (comm_sys_get_c2f_support_mem_reserved(&bitmap) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    if (size != -1) {
        // Bit n of the bitmap admits size n; a size outside the word can't be admitted (and a
        // shift by it would be undefined).
        bool admitted = size >= 0 && size < 32 && ((bitmap >> size) & 1) != 0;
        if (!admitted) {
            ERR_TRACE(HAL_TRACE_ERROR,
                      "%s(%d):Support reserved memory bitmap = 0x%x, request size = %d\n", __func__,
                      __LINE__, static_cast<unsigned>(bitmap), size);
            return -1;
        }
    }
    CmosStore store;
    if (!read_cmos_store(kC2fStoreKey, store)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):c2f_ioport = 0x%x,c2f_index = 0x%x\n", __func__, __LINE__,
              static_cast<unsigned>(store.port), static_cast<unsigned>(store.index));
    uint8_t byte = cmos_read(store) & CMOS_C2F_SIZE_MASK;
    if (enable)
        byte |= CMOS_C2F_ENABLE_BIT;
    if (size != -1) {
        uint8_t code = 0;
        switch (size) {
            case 1:
                code = 0;
                break;
            case 2:
                code = 1;
                break;
            case 4:
                code = 2;
                break;
            case 8:
                code = 3;
                break;
            default:
                ERR_TRACE(HAL_TRACE_ERROR,
                          "%s(%d):System Error,size = %d, recovery to C2F_RSVD_1G\n", __func__,
                          __LINE__, size);
                break;
        }
        byte = static_cast<uint8_t>((byte & ~CMOS_C2F_SIZE_MASK) | (code << CMOS_C2F_SIZE_SHIFT));
    }
    byte |= CMOS_C2F_WRITTEN_BIT | CMOS_C2F_VALID_VALUE;
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Write c2f_cmos = 0x%x\n", __func__, __LINE__,
              static_cast<unsigned>(byte));
    cmos_write(store, byte);
    return 0;
}

int comm_sys_get_c2f_from_cmos(int32_t *enable, int32_t *size) {
    CmosStore store;
    if (!read_cmos_store(kC2fStoreKey, store)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    uint8_t byte = cmos_read(store);
    ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):c2f_cmos = 0x%x\n", __func__, __LINE__,
              static_cast<unsigned>(byte));
    if ((byte & CMOS_C2F_VALID_MASK) != CMOS_C2F_VALID_VALUE) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Invalid C2F setting.\n", __func__, __LINE__);
        return -1;
    }
    if (enable)
        *enable = (byte & CMOS_C2F_ENABLE_BIT) ? 1 : 0;
    if (size)
        *size = 1 << ((byte & CMOS_C2F_SIZE_MASK) >> CMOS_C2F_SIZE_SHIFT);
    return 0;
}

}  // extern "C"
