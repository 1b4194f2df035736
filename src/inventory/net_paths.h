// Where the network code finds its interfaces and its tools, and the one place that runs
// ethtool against an adapter's EEPROM.
#ifndef NASHAL_INVENTORY_NET_PATHS_H
#define NASHAL_INVENTORY_NET_PATHS_H

#include <cstdint>

namespace nashal::inventory {

constexpr const char *kNetClass = "/sys/class/net";
constexpr const char *kEthtool = "/usr/sbin/ethtool";
constexpr const char *kIfconfig = "/sbin/ifconfig";

// EEPROM places that are the same on every adapter.
constexpr int kSerialOffset = 3072;  // "SN:" and the serial number
constexpr int kSerialReadLength = 23;
constexpr int kSerialWriteLength = 24;
constexpr int kMacLength = 6;
// Intel X540: words at these offsets point at the MAC of port 0 (18), port 1 (20), and at the
// alternate MAC block (110).
constexpr int kX540MacPointerPort0 = 18;
constexpr int kX540MacPointerPort1 = 20;
constexpr int kX540AlternatePointer = 110;
// Broadcom: the MAC begins at byte 2.
constexpr int kBroadcomMacOffset = 2;
// Pause between byte writes of a MAC, so the EEPROM finishes each write cycle.
constexpr unsigned kMacWritePauseUs = 100000;

// Reads `length` bytes of eth<port>'s EEPROM at `offset` into out (room for 32 bytes). True
// when the tool gave at least `length` bytes.
bool eeprom_read(int port, int offset, int length, unsigned char (&out)[32]);
// Writes one byte with ethtool -E; the tool's result is not examined (nothing reports a failed
// EEPROM write cycle either).
void eeprom_write(int port, uint32_t magic, int offset, unsigned value);

}  // namespace nashal::inventory

#endif  // NASHAL_INVENTORY_NET_PATHS_H
