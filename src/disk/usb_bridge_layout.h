// Vendor SCSI commands of the USB-to-SATA bridges in USB enclosures, as sg_raw sends them: a
// READ (0xE4) or WRITE (0xE5) of one byte of the bridge's register space, the register's high
// and low address bytes in CDB bytes 3 and 4 ("E4 01 00 HH LL 00": read one byte).
#ifndef NASHAL_DISK_USB_BRIDGE_LAYOUT_H
#define NASHAL_DISK_USB_BRIDGE_LAYOUT_H

namespace nashal::disk {

constexpr unsigned kBridgeReadOpcode = 0xE4;
constexpr unsigned kBridgeWriteOpcode = 0xE5;

// The link register (0xB004): current speed in the high nibble, the highest in the low one, 1
// to 3 for 1.5, 3 and 6 Gb/s.
constexpr unsigned kBridgeLinkRegister = 0xB004;

// The GPIO that drives a bay's error light, by bridge (USB vendor and product id): a direction
// register (bit set: output), a data register, and the pin's bit in both.
struct BridgeLedGpio {
    unsigned vendor, product;
    unsigned direction_register, data_register;
    unsigned bit;
};
constexpr BridgeLedGpio kBridgeLedGpios[] = {
    {0x174C, 0x55AA, 0xC880, 0xC882, 3},
    {0x174C, 0x55BB, 0xCA30, 0xCA32, 2},
};

constexpr unsigned register_high(unsigned reg) {
    return (reg >> 8) & 0xFF;
}
constexpr unsigned register_low(unsigned reg) {
    return reg & 0xFF;
}

}  // namespace nashal::disk

#endif  // NASHAL_DISK_USB_BRIDGE_LAYOUT_H
