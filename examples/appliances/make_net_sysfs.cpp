// Writes the network and printer part of the example boards' sysfs trees with the virtual
// appliance's builders. Run once after changing a layout and commit the result:
//
//   g++ -std=c++17 -I. examples/appliances/make_net_sysfs.cpp sim/sysfs_builders.cpp
//       sim/fs.cpp -o /tmp/make_net_sysfs && /tmp/make_net_sysfs examples/appliances
//
// The interfaces are made in the order the kernel probes them, which on x86-8bay is not the
// order of the labels on the case: the board's "System Network" rows say where each label is,
// and renaming puts the names right (tests/inventory/net_ports_test.cpp). The disk part of the
// trees is make_disk_sysfs.cpp's and is left alone.
#include <cstdio>
#include <string>

#include "sim/fs.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

namespace {

void clear(const std::string &board) {
    for (const char *sub : {"/sys/class/net", "/sys/class/usbmisc", "/sim/net.conf"})
        remove_tree(board + sub);
}

// Two on-board gigabit ports behind root ports 00:1c.4 (LAN 1) and 00:1c.5 (LAN 2); the kernel
// finds LAN 2 first and calls it eth0. A laser printer in front port 2 (root port 2 of the
// high-speed root hub, which "Usb Port 2" names for devices slower than SuperSpeed).
void x86_8bay(const std::string &dir) {
    clear(dir);
    SysfsTree t(dir);
    const std::string root = "/sys/devices/pci0000:00";
    auto lan1_port = t.pci_bridge(root, 0, 0, 0x1c, 4, 4);
    auto lan1 = t.pci_function(lan1_port, 0, 4, 0, 0, kPciClassEthernet, 0x8086, 0x1533);
    auto lan2_port = t.pci_bridge(root, 0, 0, 0x1c, 5, 5);
    auto lan2 = t.pci_function(lan2_port, 0, 5, 0, 0, kPciClassEthernet, 0x8086, 0x1533);
    NetDesc first;
    first.mac = "00:08:9b:c4:10:21";
    t.net_interface(lan2, "eth0", first);
    NetDesc second;
    second.mac = "00:08:9b:c4:10:20";
    second.up = false;
    t.net_interface(lan1, "eth1", second);
    t.net_interface("", "lo");

    // The adapter EEPROMs: each holds its MAC at byte 0 and a serial number at 3072.
    auto eeprom = [&](const char *adapter, const std::string &mac_bytes, const char *serial) {
        std::string bytes(4096, '\xff');
        bytes.replace(0, mac_bytes.size(), mac_bytes);
        std::string sn = std::string("SN:") + serial;
        sn.resize(24, '\0');
        bytes.replace(3072, sn.size(), sn);
        write_file(dir + "/sim/eeprom/" + adapter + ".bin", bytes);
    };
    eeprom("0000:04:00", std::string("\x00\x08\x9b\xc4\x10\x20", 6), "NX800L1A0001");
    eeprom("0000:05:00", std::string("\x00\x08\x9b\xc4\x10\x21", 6), "NX800L2A0001");

    UsbDesc printer;
    printer.vendor = 0x2d3c;
    printer.product = 0x0102;
    printer.product_name = "Inkline 500";
    printer.speed = "12";
    auto dev = t.usb_device(root + "/0000:00:14.0/usb1", 2, printer);
    t.usb_printer(t.usb_interface(dev, 0, 7), 0,
                  "MFG:Acme Imaging;CMD:PJL,PCL,PCLXL;MDL:Inkline 500;CLS:PRINTER;"
                  "DES:Acme Imaging Inkline 500;");
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s EXAMPLES_DIR\n", argv[0]);
        return 2;
    }
    x86_8bay(std::string(argv[1]) + "/x86-8bay");
    return 0;
}
