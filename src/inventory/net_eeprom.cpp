// What the adapter's EEPROM holds: the MAC address (whose place depends on the adapter, told by
// its magic) and the serial number, read and written one byte at a time through ethtool; and
// the link speed from sysfs.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "inventory/net_paths.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/net_sys.h"
#include "os/os_seam.h"
#include "topology/model_file.h"
#include "topology/sysfs_read.h"

using nashal::hal_build_command;
using nashal::inventory::kEthtool;
using nashal::inventory::kMacLength;
using nashal::inventory::kNetClass;

namespace {

// "MAC_MASK" and "DEV_PORT" of the port's "System Network" row: the EEPROM holds one base
// address and each port puts its number into the masked bits of the last byte.
struct MacMask {
    bool present = false;
    int32_t mask = 0;
    int32_t port = 0;
};

MacMask mac_mask(int port) {
    char section[HAL_NAME_LEN];
    snprintf(section, sizeof section, "System Network %d", port + 1);
    MacMask m;
    m.present = nashal::topology::model_int(section, "MAC_MASK", &m.mask, INI_CONF_HEX) &&
                nashal::topology::model_int(section, "DEV_PORT", &m.port);
    return m;
}

// A sysfs attribute of eth<port> as a number, base 0 as the kernel writes "0x8086".
bool net_attribute(int port, const char *attribute, long *value) {
    char path[HAL_SYSFS_PATH_LEN];
    snprintf(path, sizeof path, "%s/eth%d/%s", kNetClass, port, attribute);
    char text[32] = {};
    if (nashal::topology::read_attribute(path, text, sizeof text - 1) <= 0)
        return false;
    char *end = nullptr;
    *value = strtol(text, &end, 0);
    return end != text;
}

// The `port` field of eth<port>'s NET_CB: which port of a dual-port adapter it is.
int port_field(int port, int32_t *value) {
    NET_CB cb = {};
    char name[NET_NAME_LEN];
    snprintf(name, sizeof name, "eth%d", port);
    if (net_dev_getinfo(&cb, name) != 0)
        return -1;
    *value = cb.port;
    return 0;
}

int read_word(int port, int offset, int *word) {
    unsigned char bytes[32];
    if (!nashal::inventory::eeprom_read(port, offset, 2, bytes))
        return -1;
    *word = bytes[0] + bytes[1] * 256;
    return 0;
}

void write_mac(int port, uint32_t magic, int offset, const unsigned char *mac) {
    for (int i = 0; i < kMacLength; ++i) {
        nashal::inventory::eeprom_write(port, magic, offset + i, mac[i]);
        os_usleep(nashal::inventory::kMacWritePauseUs);
    }
}

}  // namespace

namespace nashal::inventory {

bool eeprom_read(int port, int offset, int length, unsigned char (&out)[32]) {
    char cmd[HAL_CMD_LEN];
    if (length > static_cast<int>(sizeof out) - 1 ||
        hal_build_command(__func__, cmd, sizeof cmd, "%s -e eth%d raw on offset 0x%x length 0x%x",
                          kEthtool, port, offset, length) < 0)
        return false;
    char buffer[32];
    int n = comm_sys_read_from_popen(cmd, buffer, sizeof buffer);
    if (n < length) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):ethtool gave %d of %d bytes, cmd = %s\n", __func__,
                  __LINE__, n, length, cmd);
        return false;
    }
    memcpy(out, buffer, sizeof out);
    return true;
}

void eeprom_write(int port, uint32_t magic, int offset, unsigned value) {
    char cmd[HAL_CMD_LEN];
    if (hal_build_command(__func__, cmd, sizeof cmd,
                          "%s -E eth%d magic 0x%x offset 0x%x value 0x%x", kEthtool, port, magic,
                          offset, value) < 0)
        return;
    if (system(cmd) != 0)
        ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):cmd = %s\n", __func__, __LINE__, cmd);
}

}  // namespace nashal::inventory

extern "C" {

int get_net_magic(int port, uint32_t *magic) {
    long vendor = 0;
    long device = 0;
    if (!magic || !net_attribute(port, "device/vendor", &vendor) ||
        !net_attribute(port, "device/device", &device)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):can't read the PCI ids of eth%d\n", __func__, __LINE__,
                  port);
        return -1;
    }
    *magic = (static_cast<uint32_t>(device) << 16) | (static_cast<uint32_t>(vendor) & 0xffffu);
    return 0;
}

int get_mac_start_offset(int port, uint32_t magic, int *offset) {
    if (!offset)
        return -1;
    if (magic == NET_MAGIC_INTEL_X540) {
        int32_t function = 0;
        int word = 0;
        if (port_field(port, &function) != 0 ||
            read_word(port,
                      function ? nashal::inventory::kX540MacPointerPort1
                               : nashal::inventory::kX540MacPointerPort0,
                      &word) != 0)
            return -1;
        *offset = (word + 1) * 2;
        return 0;
    }
    if (magic == NET_MAGIC_BROADCOM_5720) {
        *offset = nashal::inventory::kBroadcomMacOffset;
        return 0;
    }
    if (magic == NET_MAGIC_INTEL_I354) {
        // Each port of this controller has its own MAC block.
        static const int kBlock[] = {0, 256, 384, 512};
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof section, "System Network %d", port + 1);
        int32_t dev_port = 0;
        nashal::topology::model_int(section, "DEV_PORT", &dev_port);
        *offset = dev_port >= 0 && dev_port < 4 ? kBlock[dev_port] : 0;
        return 0;
    }
    *offset = 0;
    return 0;
}

int get_alternate_mac_start_offset(int port, uint32_t magic, int *offset) {
    if (!offset || magic != NET_MAGIC_INTEL_X540)
        return -1;
    int32_t function = 0;
    int word = 0;
    if (port_field(port, &function) != 0 ||
        read_word(port, nashal::inventory::kX540AlternatePointer, &word) != 0)
        return -1;
    *offset = word * 2 + (function ? kMacLength : 0);
    return 0;
}

int net_sys_get_speed(int port, int *code) {
    if (!code)
        return -1;
    char path[HAL_SYSFS_PATH_LEN];
    snprintf(path, sizeof path, "%s/eth%d/operstate", kNetClass, port);
    char state[32] = {};
    if (nashal::topology::read_attribute(path, state, sizeof state - 1) <= 0 ||
        strncmp(state, "down", 4) == 0)
        return -1;
    long speed = 0;
    if (!net_attribute(port, "speed", &speed))
        return -1;
    switch (speed) {
        case 10:
            *code = NET_SPEED_10M;
            break;
        case 100:
            *code = NET_SPEED_100M;
            break;
        case 1000:
            *code = NET_SPEED_1G;
            break;
        case 10000:
            *code = NET_SPEED_10G;
            break;
        default:
            *code = NET_SPEED_UNKNOWN;
            break;
    }
    return 0;
}

int net_sys_get_mac(int port, unsigned char *buffer, int length) {
    if (!buffer || length < kMacLength)
        return -1;
    uint32_t magic = 0;
    int offset = 0;
    if (get_net_magic(port, &magic) != 0 || get_mac_start_offset(port, magic, &offset) != 0)
        return -1;
    unsigned char bytes[32];
    if (!nashal::inventory::eeprom_read(port, offset, kMacLength, bytes))
        return -1;
    // Only the read buffer's bytes exist to be copied, whatever length the caller gave.
    memcpy(buffer, bytes,
           static_cast<size_t>(length) < sizeof bytes ? static_cast<size_t>(length) : sizeof bytes);
    MacMask m = mac_mask(port);
    if (m.present)
        buffer[5] = static_cast<unsigned char>((buffer[5] & ~m.mask) | m.port);
    return 0;
}

int net_sys_set_mac(int port, unsigned char *mac, int length) {
    if (!mac || length != kMacLength)
        return -1;
    uint32_t magic = 0;
    if (get_net_magic(port, &magic) != 0 || magic == NET_MAGIC_BROADCOM_5720) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):the MAC of eth%d can't be written\n", __func__, __LINE__,
                  port);
        return -1;
    }
    int offset = 0;
    if (get_mac_start_offset(port, magic, &offset) != 0)
        return -1;
    MacMask m = mac_mask(port);
    if (m.present)
        mac[5] = static_cast<unsigned char>(mac[5] & ~m.mask);
    write_mac(port, magic, offset, mac);
    if (m.present)
        mac[5] = static_cast<unsigned char>(mac[5] | m.port);
    char cmd[HAL_CMD_LEN];
    if (hal_build_command(__func__, cmd, sizeof cmd, "%s  eth%d hw ether  %02x%02x%02x%02x%02x%02x",
                          nashal::inventory::kIfconfig, port, mac[0], mac[1], mac[2], mac[3],
                          mac[4], mac[5]) >= 0 &&
        system(cmd) != 0)
        ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):cmd = %s\n", __func__, __LINE__, cmd);
    int alternate = 0;
    if (magic == NET_MAGIC_INTEL_X540 &&
        get_alternate_mac_start_offset(port, magic, &alternate) == 0)
        write_mac(port, magic, alternate, mac);
    return 0;
}

int net_sys_get_sn(int port, char *buffer, int size) {
    if (!buffer || size <= 0)
        return -1;
    unsigned char bytes[32];
    if (!nashal::inventory::eeprom_read(port, nashal::inventory::kSerialOffset,
                                        nashal::inventory::kSerialReadLength, bytes))
        return -1;
    bytes[nashal::inventory::kSerialReadLength] = '\0';
    if (memcmp(bytes, "SN:", 3) != 0) {
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d):eth%d holds no serial number\n", __func__, __LINE__,
                  port);
        return -1;
    }
    // An erased EEPROM reads 0xff: the serial ends at the first byte that is no ASCII.
    size_t n = 0;
    const unsigned char *text = bytes + 3;
    while (text[n] != 0 && text[n] <= 127)
        ++n;
    nashal::hal_copy(buffer, static_cast<size_t>(size), reinterpret_cast<const char *>(text), n);
    return 0;
}

int net_sys_set_sn(int port, const char *text) {
    if (!text)
        return -1;
    uint32_t magic = 0;
    if (get_net_magic(port, &magic) != 0)
        return -1;
    unsigned char record[nashal::inventory::kSerialWriteLength] = {'S', 'N', ':'};
    // The serial goes to the EEPROM as numbers, one byte per command: whatever it holds, no
    // text of it ever reaches a shell.
    memcpy(record + 3, text, strnlen(text, sizeof record - 3));
    for (int i = 0; i < nashal::inventory::kSerialWriteLength; ++i)
        nashal::inventory::eeprom_write(port, magic, nashal::inventory::kSerialOffset + i,
                                        record[i]);
    return 0;
}

}  // extern "C"
