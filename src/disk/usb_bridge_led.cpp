// The error light of a bay in a USB box: a GPIO pin of the bay's USB-to-SATA bridge, set
// through the bridge's vendor register commands with sg_raw.
#include <cstdio>
#include <cstdlib>

#include "disk/usb_bridge_layout.h"
#include "foundation/shell_command.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

using namespace nashal::disk;

namespace {

// A hexadecimal attribute of the USB device at the port ("idVendor").
bool usb_id(const char *usb_bus, const char *name, unsigned *out) {
    char path[HAL_NAME_LEN * 2];
    if (std::snprintf(path, sizeof path, "/sys/bus/usb/devices/%s/%s", usb_bus, name) >=
        static_cast<int>(sizeof path))
        return false;
    FILE *f = std::fopen(path, "re");
    if (!f)
        return false;
    char text[16] = {};
    bool read = std::fgets(text, sizeof text, f) != nullptr;
    std::fclose(f);
    if (!read)
        return false;
    char *end = nullptr;
    unsigned long v = std::strtoul(text, &end, 16);
    if (end == text)
        return false;
    *out = static_cast<unsigned>(v);
    return true;
}

bool read_register(const char *sys_id, unsigned reg, unsigned *value) {
    char command[HAL_CMD_LEN];
    char answer[HAL_ID_LEN];
    if (nashal::hal_build_command("usb_expander_set_hdd_err_led", command, sizeof command,
                                  "%s -r 1 -b /dev/%s %x 1 0 %x %x 0 2> /dev/null", "/sbin/sg_raw",
                                  sys_id, kBridgeReadOpcode, register_high(reg),
                                  register_low(reg)) < 0 ||
        comm_sys_read_from_popen(command, answer, sizeof answer) <= 0)
        return false;
    *value = static_cast<unsigned char>(answer[0]);
    return true;
}

void write_register(const char *sys_id, unsigned reg, unsigned value) {
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command("usb_expander_set_hdd_err_led", command, sizeof command,
                                  "%s /dev/%s %x %x 0 %x %x 0 2> /dev/null", "/sbin/sg_raw", sys_id,
                                  kBridgeWriteOpcode, value & 0xFF, register_high(reg),
                                  register_low(reg)) < 0)
        return;
    // The bridge acknowledges nothing useful: its exit code is not looked at.
    if (std::system(command) < 0)
        return;
}

}  // namespace

extern "C" int usb_expander_set_hdd_err_led(const char *sys_id, const char *usb_bus, int on) {
    if (!sys_id || !usb_bus)
        return -1;
    unsigned vendor = 0, product = 0;
    if (!usb_id(usb_bus, "idVendor", &vendor) || !usb_id(usb_bus, "idProduct", &product)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System internal error\n", __func__, __LINE__);
        return -1;
    }
    const BridgeLedGpio *gpio = nullptr;
    for (const BridgeLedGpio &row : kBridgeLedGpios)
        if (row.vendor == vendor && row.product == product)
            gpio = &row;
    if (!gpio) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System internal error\n", __func__, __LINE__);
        return -1;
    }
    // No disk was found behind the port: there is no device to send the commands to.
    if (sys_id[0] == '\0') {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): no disk behind %s\n", __func__, __LINE__, usb_bus);
        return -1;
    }
    unsigned direction = 0, data = 0;
    if (!read_register(sys_id, gpio->direction_register, &direction) ||
        !read_register(sys_id, gpio->data_register, &data))
        return -1;
    const unsigned bit = 1u << gpio->bit;
    write_register(sys_id, gpio->direction_register, direction | bit);
    write_register(sys_id, gpio->data_register, on ? (data | bit) : (data & ~bit));
    return 0;
}
