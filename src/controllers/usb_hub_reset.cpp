// USB expansion enclosures with a PIC: the enclosure's own hub sometimes comes up without one
// of its ports. The monitor looks for the ports its model lists for a while after it starts and
// resets the hub of the first one missing.
#include <fcntl.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pic_sys.h"
#include "os/os_seam.h"

namespace {

// A function of the appliance's own hub driver, passed through usbfs to the hub's interface 0.
constexpr int kHubResetCode = static_cast<int>(0x8080551Bu);
constexpr size_t kHubResetBuffer = 128;

bool node_exists(const char *path) {
    struct stat st;
    return ::lstat(path, &st) == 0;
}

}  // namespace

extern "C" int check_usb_expander_all_ports_exist(const char *enc_sys_id, int *bus, int *dev) {
    const char *usb = enc_sys_id ? std::strstr(enc_sys_id, "usb_") : nullptr;
    if (!usb)
        return 1;
    char port_path[HAL_SYSFS_PATH_LEN];
    nashal::hal_copy(port_path, usb + 4);
    int type = 0;
    if (comm_sys_check_usb_expander_type(port_path, &type) != USB_EXPANDER_TYPE_PIC)
        return 1;
    int32_t ports = 0;
    if (comm_sys_get_c_ext_enclosure_integer(type, "MAX_PORT_NUM", &ports, 0) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error.\n", __func__, __LINE__);
        return 1;
    }
    for (int port = 1; port <= ports; ++port) {
        char key[16], text[HAL_ID_LEN] = {};
        std::snprintf(key, sizeof key, "Port%d", port);
        if (comm_sys_get_c_ext_enclosure_string(type, key, text, sizeof text) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error.\n", __func__, __LINE__);
            return 1;
        }
        char node[HAL_SYSFS_PATH_LEN];
        if (std::snprintf(node, sizeof node, "%s/%s.%s", "/sys/bus/usb/devices", port_path, text) >=
                static_cast<int>(sizeof node) ||
            node_exists(node))
            continue;
        // A port that was missing at the first look counts as missing whatever the second
        // look says: the hub needs its reset either way.
        os_sleep(1);
        if (!node_exists(node))
            os_sleep(1);
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):usb node = %s not exist\n", __func__, __LINE__, node);
        char hub[HAL_SYSFS_PATH_LEN];
        const char *dot = std::strrchr(text, '.');
        if (dot) {
            if (std::snprintf(hub, sizeof hub, "%s.%.*s", port_path, static_cast<int>(dot - text),
                              text) >= static_cast<int>(sizeof hub))
                return 1;
        } else
            nashal::hal_copy(hub, port_path);
        char value[16];
        if (bus && comm_sys_get_usb_attribute(hub, "busnum", value, sizeof value) == 0)
            *bus = std::atoi(value);
        if (dev && comm_sys_get_usb_attribute(hub, "devnum", value, sizeof value) == 0)
            *dev = std::atoi(value);
        return 0;
    }
    return 1;
}

// The kernel may not know the inner code; then the ioctl fails and that is no failure here.
extern "C" int reset_usb_hub(int bus, int dev) {
    char path[HAL_NAME_LEN];
    std::snprintf(path, sizeof path, "/proc/bus/usb/%03d/%03d", bus, dev);
    nashal::FileDescriptor fd(::open(path, O_RDWR | O_CLOEXEC));
    if (!fd) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): open %d/%d fail.\n", __func__, __LINE__, bus, dev);
        return -1;
    }
    unsigned char buffer[kHubResetBuffer] = {};
    struct usbdevfs_ioctl request = {};
    request.ifno = 0;
    request.ioctl_code = kHubResetCode;
    request.data = buffer;
    // USBDEVFS_IOCTL is 0xC00C5512 on the appliance's 32-bit ABI; the header gives the value
    // of the ABI this is built for.
    os_ioctl(fd.get(), USBDEVFS_IOCTL, &request);
    return 0;
}
