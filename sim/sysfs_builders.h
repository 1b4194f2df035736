// Builders of kernel-shaped sysfs trees for virtual appliances: PCI root buses, functions,
// bridges and PCIe switches; AHCI and SAS controllers with their SCSI hosts; SAS phys, ports,
// expanders and end devices; SCSI targets and devices with their generic and block nodes; USB
// root hubs, hubs, devices and interfaces; device nodes in /dev.
//
// Every builder takes and returns real paths of the box ("/sys/devices/pci0000:00/..."). A
// SysfsTree writes them under its root: "" while an appliance is active, or an appliance
// directory (Appliance::dir(), an example board) before activation. Links are relative, as the
// kernel makes them, so a tree built before activation resolves the same inside it.
//
//   SysfsTree t(app.dir());
//   auto root = t.pci_root(0, 0);
//   auto ahci = t.pci_function(root, 0, 0, 0x1f, 2, 0x010601);
//   auto host = t.ahci_port(ahci, 1, 0);                      // .../0000:00:1f.2/ata1/host0
//   t.scsi_device(host, {0, 0, 0, 0}, ScsiDesc::disk(0, "sda", "ATA", "WDC WD40EFRX"));
//   // /sys/class/scsi_generic/sg0 -> ../../devices/pci0000:00/0000:00:1f.2/ata1/host0/
//   //                                 target0:0:0/0:0:0:0/scsi_generic/sg0
#ifndef NASHAL_SIM_SYSFS_BUILDERS_H
#define NASHAL_SIM_SYSFS_BUILDERS_H

#include <cstdint>
#include <string>
#include <vector>

namespace nashal::sim {

// PCI class codes (the 24-bit "class" attribute).
constexpr uint32_t kPciClassAhci = 0x010601;
constexpr uint32_t kPciClassSas = 0x010700;
constexpr uint32_t kPciClassRaid = 0x010400;
constexpr uint32_t kPciClassBridge = 0x060400;
constexpr uint32_t kPciClassXhci = 0x0c0330;
constexpr uint32_t kPciClassEhci = 0x0c0320;
constexpr uint32_t kPciClassEthernet = 0x020000;

// SCSI peripheral device types.
constexpr int kScsiTypeDisk = 0;
constexpr int kScsiTypeEnclosure = 13;

// Address of a SCSI device: host, channel, target, lun.
struct ScsiAddress {
    int host = 0;
    int channel = 0;
    int target = 0;
    int lun = 0;
};

// What a SCSI device shows in sysfs.
struct ScsiDesc {
    int type = kScsiTypeDisk;
    int sg = -1;         // N of /dev/sgN and /sys/class/scsi_generic/sgN; -1: no generic node
    std::string block;   // "sdb": block/sdb with dev "8:16", /sys/block/sdb, /dev/sdb; "": none
    std::string vendor;  // written padded to 8 characters, as the kernel shows it
    std::string model;   // padded to 16
    std::string rev = "0001";
    uint64_t sas_address = 0;  // non-zero: a "sas_address" attribute "0x%016llx"
    // The block device: "size" in 512-byte units (whatever the sector), "queue/logical_block_size"
    // and "removable", as the kernel shows them.
    uint64_t size_512 = 7814037168ull;
    uint32_t logical_block_size = 512;
    bool removable = false;
    // "iorequest_cnt" and "iodone_cnt" of the device: a disk that answers has served requests.
    unsigned io_requests = 0x40;
    unsigned io_done = 0x40;

    static ScsiDesc disk(int sg, const std::string &block, const std::string &vendor,
                         const std::string &model);
    static ScsiDesc enclosure(int sg, const std::string &vendor, const std::string &model);
};

// Paths of a built SCSI device.
struct ScsiDevice {
    std::string target;   // .../targetH:C:T
    std::string device;   // .../H:C:T:L
    std::string generic;  // .../H:C:T:L/scsi_generic/sgN, or empty
    std::string block;    // .../H:C:T:L/block/sdX, or empty
};

// A PCIe switch below a root port: the upstream port and its downstream ports.
struct PcieSwitch {
    std::string upstream;                 // bridge on the root port's secondary bus
    std::vector<std::string> downstream;  // bridges on the switch's internal bus, device 0, 1, ...
    std::vector<int> downstream_bus;      // secondary bus of each downstream port
};

// What a USB device shows in sysfs.
struct UsbDesc {
    uint16_t vendor = 0x0000;
    uint16_t product = 0x0000;
    std::string product_name;  // "product"; empty: no attribute (as for devices without one)
    std::string manufacturer;
    std::string serial;
    std::string speed = "480";  // "1.5", "12", "480", "5000"
    int maxchild = 0;           // > 0 makes it a hub (bDeviceClass 09)
    bool self_powered = false;  // bit 6 of "bmAttributes" (80 bus-powered, c0 self-powered)
};

// What a network interface shows in sysfs, and how the network emulator starts it.
struct NetDesc {
    std::string mac = "00:08:9b:00:00:01";  // "address"
    bool up = true;                         // IFF_UP; "operstate" up or down
    int speed = 1000;                       // "speed", Mb/s
    int phy = 0;                            // PHY address ETHTOOL_GSET reports
};

// Character major of the USB class devices (usbmisc: printers are lp0, lp1, ...).
constexpr int kUsbMiscMajor = 180;

class SysfsTree {
  public:
    explicit SysfsTree(std::string root = "");

    // --- PCI ---
    // /sys/devices/pciDDDD:BB, and /sys/class/pci_bus/DDDD:BB.
    std::string pci_root(int domain, int bus);
    // parent/DDDD:BB:dd.f with class, vendor, device; /sys/bus/pci/devices link.
    std::string pci_function(const std::string &parent, int domain, int bus, int device,
                             int function, uint32_t pci_class, uint16_t vendor = 0x8086,
                             uint16_t device_id = 0x0000);
    // A bridge function with pci_bus/DDDD:SS for its secondary bus; functions on that bus are
    // built with pci_function(bridge, domain, secondary, ...).
    std::string pci_bridge(const std::string &parent, int domain, int bus, int device, int function,
                           int secondary_bus);
    // The function's "config" file: a 256-byte configuration header whose capability list (power
    // management at 0x40, MSI at 0x50, PCI Express at 0x70) carries a Link Status of
    // `speed_code` (1 2.5 GT/s, 2 5 GT/s, 3 8 GT/s, ...) and `width` lanes.
    void pcie_link(const std::string &function, int speed_code, int width);
    // Below a root port whose secondary bus is `upstream_bus`: the upstream port
    // (upstream_bus:00.0, internal bus upstream_bus+1) and `ports` downstream ports
    // (upstream_bus+1:dd.0, secondary buses upstream_bus+2+dd).
    PcieSwitch pcie_switch(const std::string &root_port, int domain, int upstream_bus, int ports);

    // --- SCSI hosts ---
    // parent/hostH with scsi_host/hostH and /sys/class/scsi_host/hostH.
    std::string scsi_host(const std::string &parent, int host);
    // An AHCI port: controller/ataN/hostH (with ata_port/ataN). Returns the host path.
    // With /sys/class/ata_link/linkN: "sata_spd" link_speed ("6.0 Gbps"; "<unknown>" for an
    // empty port) and "hw_sata_spd_limit" "6.0 Gbps".
    std::string ahci_port(const std::string &controller, int ata_port, int host,
                          const std::string &link_speed = "6.0 Gbps");
    // A SAS HBA host: controller/hostH with `phys` phys phy-H:i (sas_phy class).
    std::string sas_host(const std::string &controller, int host, int phys,
                         uint64_t sas_address = 0x500605b000000000ull);

    // --- SAS transport ---
    // parent/<name> ("port-2:0" on a host, "port-2:0:5" on an expander), sas_port class with
    // num_phys 1.
    std::string sas_port(const std::string &parent, const std::string &name);
    // port/<name> ("expander-2:0") with `phys` phys phy-2:0:i, sas_expander and sas_device
    // classes.
    std::string sas_expander(const std::string &port, const std::string &name, int phys,
                             uint64_t sas_address, const std::string &vendor = "VIRTUAL",
                             const std::string &product = "SAS EXPANDER");
    // port/end_device-<suffix of the port> with sas_end_device and sas_device classes.
    std::string sas_end_device(const std::string &port, uint64_t sas_address, int phy_identifier);
    // The number behind "port-" / "expander-" / "end_device-" of a path's last component.
    static std::string sas_suffix(const std::string &path);

    // A phy's port link and the port's phy link, as libsas makes them when the phy joins the
    // port (phy and port both built already).
    void sas_wire(const std::string &phy, const std::string &port);

    // --- SCSI devices ---
    // parent/targetH:C:T/H:C:T:L with type, vendor, model, rev, generic -> scsi_generic/sgN
    // (dev "21:N"), block/sdX (dev "8:M", "65:M" from sdq on, as sd numbers them), class links, and
    // the /dev nodes.
    ScsiDevice scsi_device(const std::string &parent, const ScsiAddress &address,
                           const ScsiDesc &desc);

    // --- USB ---
    // controller/usbB: a root hub (maxchild `ports`, vendor 1d6b), /sys/bus/usb/devices/usbB.
    std::string usb_root_hub(const std::string &controller, int bus, int ports,
                             const std::string &speed = "480");
    // A device on `port` of `parent_hub` (root hub or hub): name "B-P" or "<hub>.P".
    std::string usb_device(const std::string &parent_hub, int port, const UsbDesc &desc);
    // device/<name>:1.<number> with bInterfaceClass; /sys/bus/usb/devices link.
    std::string usb_interface(const std::string &device, int number, int interface_class);
    // A USB serial adapter's port on an interface (usb_interface(dev, 0, 0xff)):
    // interface/ttyUSB<n>/tty/ttyUSB<n>, as usb-serial shows it. The node /dev/ttyUSB<n> is the
    // emulator's to serve (ControllerEmulator::attach(kind, "/dev/ttyUSB<n>")).
    std::string usb_serial(const std::string &interface, int index);

    // libata's class of the device on an AHCI port's host link ("pmp" for a port multiplier,
    // "ata" for a disk): controller/ataN/linkN/devN.0/ata_device/devN.0/class, with its
    // /sys/class/ata_device link.
    void ata_device_class(const std::string &controller, int ata_port, const std::string &cls);

    // --- Network ---
    // device/net/<name> with address, operstate, speed, flags, type and a device link, and
    // /sys/class/net/<name>; with an empty device a virtual interface,
    // /sys/devices/virtual/net/<name>. Adds the interface's line to /sim/net.conf (see
    // sim/net_model.h). Returns the interface's folder.
    std::string net_interface(const std::string &device, const std::string &name,
                              const NetDesc &desc = {});

    // --- Printers ---
    // A USB printer class device on a printer interface (usb_interface(dev, 0, 7)):
    // interface/usbmisc/lp<minor> (dev "180:<minor>"), /sys/class/usbmisc/lp<minor>,
    // /dev/usb/lp<minor>, and the interface's ieee1284_id (the id without its two length
    // bytes, as the printer driver shows it). Returns the class device's folder.
    std::string usb_printer(const std::string &interface, int minor, const std::string &device_id);

    // --- Device nodes ---
    // /dev/<name> as a plain file (the appliance's stand-in for a node).
    void dev_node(const std::string &name);

    // Attribute file under a built path (a real path), e.g. to change "speed" later.
    void attribute(const std::string &dir, const std::string &name, const std::string &value);
    // The root prefix applied to a real path.
    std::string at(const std::string &real_path) const { return root_ + real_path; }

  private:
    void link(const std::string &target, const std::string &link_path);
    void sas_phys(const std::string &parent, const std::string &prefix, int phys,
                  uint64_t sas_address);
    std::string root_;
};

}  // namespace nashal::sim

#endif  // NASHAL_SIM_SYSFS_BUILDERS_H
