// The I/O controller hub at 00:1f.0: its GPIO block, found through the GPIO base in its PCI
// configuration space and driven by I/O ports, and the power-failure bit of GEN_PMCON_3, which
// is written back into the configuration space.
#include <cstdio>

#include "drivers/soc_hub_layout.h"
#include "foundation/byte_order.h"
#include "foundation/raii.h"
#include "foundation/shell_command.h"
#include "nashal/comm_port.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/soc_sys.h"
#include "os/os_seam.h"

using namespace nashal::drivers;

namespace {

// Room for the whole configuration space a reader expects (256 bytes) and more, so that a
// longer one (a PCIe device's 4096 bytes) is refused as a read error rather than cut.
constexpr int kConfigReadRoom = 512;
// Less than this and the GPIO base and control words aren't there.
constexpr int kConfigMinimum = 80;

void set_port_bit(uint16_t port, uint32_t mask) {
    os_outl(os_inl(port) | mask, port);
}

}  // namespace

extern "C" {

int ich_sys_get_gpio_val(int pin, int *value) {
    const HubGpioBank *bank = hub_gpio_bank(pin);
    if (!bank || pin - bank->first_pin > 31) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): no hub pin %d\n", __func__, __LINE__, pin);
        return -1;
    }
    char command[80];
    if (nashal::hal_build_command(__func__, command, sizeof command, "cat %s/config", kHubDevice) <
        0)
        return -1;
    char config[kConfigReadRoom];
    int count = comm_sys_read_from_popen(command, config, sizeof config);
    if (count < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    if (count < kConfigMinimum) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Read error:count = %d\n", __func__, __LINE__, count);
        return -1;
    }
    const auto *bytes = reinterpret_cast<const uint8_t *>(config);
    const uint16_t base =
        static_cast<uint16_t>(nashal::load_le32(bytes + kHubGpioBase) & kHubGpioBaseMask);
    if (!(nashal::load_le32(bytes + kHubGpioControl) & kHubGpioEnable)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):GPIO Control is disable\n", __func__, __LINE__);
        return -1;
    }
    if (os_ioperm(base, kHubGpioPortSpan, 1) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):ioperm 0x%x failed\n", __func__, __LINE__, base);
        return -1;
    }
    const uint32_t mask = 1u << (pin - bank->first_pin);
    set_port_bit(static_cast<uint16_t>(base + bank->use_select), mask);  // a GPIO, not native
    set_port_bit(static_cast<uint16_t>(base + bank->io_select), mask);   // an input
    const uint32_t level = os_inl(static_cast<uint16_t>(base + bank->level));
    if (value)
        *value = (level & mask) ? 1 : 0;
    return 0;
}

int write_power_recovery_mode_to_ich(int on) {
    char command[80];
    if (nashal::hal_build_command(__func__, command, sizeof command, "cat %s/config", kHubDevice) <
        0)
        return -1;
    uint8_t config[kHubConfigSize];
    size_t count = 0;
    {
        nashal::PipeHandle pipe(popen(command, "r"));
        if (!pipe) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
            return -1;
        }
        // Read to the end, but store no more than the buffer holds: a longer space is counted
        // on and refused below.
        int c;
        while ((c = getc(pipe.get())) != EOF) {
            if (count < sizeof config)
                config[count] = static_cast<uint8_t>(c);
            ++count;
        }
    }
    if (count != kHubConfigSize) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):count = %d\n", __func__, __LINE__, static_cast<int>(count));
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):GEN_PMCON_3 = 0x%02x\n", __func__, __LINE__,
              config[kHubGenPmcon3]);
    if (on)
        config[kHubGenPmcon3] = static_cast<uint8_t>(config[kHubGenPmcon3] & ~kHubAfterG3);
    else
        config[kHubGenPmcon3] = static_cast<uint8_t>(config[kHubGenPmcon3] | kHubAfterG3);
    char path[64];
    std::snprintf(path, sizeof path, "%s/config", kHubDevice);
    nashal::FileHandle out(std::fopen(path, "w"));
    if (!out) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    for (uint8_t byte : config)
        std::fputc(byte, out.get());
    return 0;
}

int ich_sys_set_power_recovery_mode(int mode) {
    // Mode 0 powers up like mode 1 while CMOS keeps the 0; 3 and 4 leave CMOS alone.
    int on = 0;
    bool tell_cmos = true;
    switch (mode) {
        case 0:
        case 1:
            on = 1;
            break;
        case 3:
            tell_cmos = false;
            break;
        case 4:
            on = 1;
            tell_cmos = false;
            break;
        default:
            break;
    }
    if (write_power_recovery_mode_to_ich(on) != 0)
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d): the hub kept its power-failure setting\n", __func__,
                  __LINE__);
    if (tell_cmos)
        comm_sys_set_power_recovery_mode_to_cmos(mode, 0);
    return 0;
}

}  // extern "C"
