// Kernel-shaped sysfs trees. Names, attribute formats and link targets follow what the kernel
// writes, because the library compares them byte for byte.
#include "sim/sysfs_builders.h"

#include <cstdarg>
#include <cstdio>

#include "sim/fs.h"

namespace nashal::sim {

namespace {

std::string fmt(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string fmt(const char *format, ...) {
    char buf[512];
    va_list ap;
    va_start(ap, format);
    vsnprintf(buf, sizeof buf, format, ap);
    va_end(ap);
    return buf;
}

std::string base_name(const std::string &path) {
    auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string padded(const std::string &text, size_t width) {
    std::string out = text.substr(0, width);
    out.resize(width, ' ');
    return out + "\n";
}

// "major:minor" of a whole disk as the sd driver numbers it: sixteen disks to a major (8, then
// 65 to 71, then 128 to 135), sixteen minors to a disk. sda is 8:0, sdp 8:240, sdq 65:0.
std::string sd_dev(const std::string &block) {
    int index = 0;
    for (size_t i = 2; i < block.size(); ++i)
        index = index * 26 + (block[i] - 'a' + 1);
    --index;
    int group = (index & 0xf0) >> 4;
    int major = group == 0 ? 8 : group < 8 ? 64 + group : 120 + group;
    int minor = ((index & 0xf) << 4) | ((index & 0xfff00) << 12);
    return std::to_string(major) + ":" + std::to_string(minor) + "\n";
}

}  // namespace

ScsiDesc ScsiDesc::disk(int sg, const std::string &block, const std::string &vendor,
                        const std::string &model) {
    ScsiDesc d;
    d.type = kScsiTypeDisk;
    d.sg = sg;
    d.block = block;
    d.vendor = vendor;
    d.model = model;
    return d;
}

ScsiDesc ScsiDesc::enclosure(int sg, const std::string &vendor, const std::string &model) {
    ScsiDesc d;
    d.type = kScsiTypeEnclosure;
    d.sg = sg;
    d.vendor = vendor;
    d.model = model;
    return d;
}

SysfsTree::SysfsTree(std::string root) : root_(std::move(root)) {}

void SysfsTree::attribute(const std::string &dir, const std::string &name,
                          const std::string &value) {
    write_file(at(dir + "/" + name), value);
}

void SysfsTree::sas_wire(const std::string &phy, const std::string &port) {
    link(port, phy + "/port");
    link(phy, port + phy.substr(phy.rfind('/')));
}

void SysfsTree::ata_device_class(const std::string &controller, int ata_port,
                                 const std::string &cls) {
    std::string name = "dev" + std::to_string(ata_port) + ".0";
    std::string dev = controller + "/ata" + std::to_string(ata_port) + "/link" +
                      std::to_string(ata_port) + "/" + name + "/ata_device/" + name;
    attribute(dev, "class", cls + "\n");
    link(dev, "/sys/class/ata_device/" + name);
}

void SysfsTree::link(const std::string &target, const std::string &link_path) {
    symlink_relative(at(target), at(link_path));
}

void SysfsTree::dev_node(const std::string &name) {
    if (!exists(at("/dev/" + name)))
        write_file(at("/dev/" + name), "");
}

// --- PCI ---

std::string SysfsTree::pci_root(int domain, int bus) {
    std::string path = fmt("/sys/devices/pci%04x:%02x", domain, bus);
    make_dirs(at(path));
    std::string bus_dir = fmt("%s/pci_bus/%04x:%02x", path.c_str(), domain, bus);
    attribute(bus_dir, "cpuaffinity", "ff\n");
    link(bus_dir, fmt("/sys/class/pci_bus/%04x:%02x", domain, bus));
    return path;
}

std::string SysfsTree::pci_function(const std::string &parent, int domain, int bus, int device,
                                    int function, uint32_t pci_class, uint16_t vendor,
                                    uint16_t device_id) {
    std::string name = fmt("%04x:%02x:%02x.%d", domain, bus, device, function);
    std::string path = parent + "/" + name;
    attribute(path, "class", fmt("0x%06x\n", pci_class));
    attribute(path, "vendor", fmt("0x%04x\n", vendor));
    attribute(path, "device", fmt("0x%04x\n", device_id));
    link(path, "/sys/bus/pci/devices/" + name);
    return path;
}

std::string SysfsTree::pci_bridge(const std::string &parent, int domain, int bus, int device,
                                  int function, int secondary_bus) {
    std::string path = pci_function(parent, domain, bus, device, function, kPciClassBridge);
    std::string bus_dir = fmt("%s/pci_bus/%04x:%02x", path.c_str(), domain, secondary_bus);
    // The kernel's bus folder holds attributes; one keeps the folder in a board kept in git.
    attribute(bus_dir, "cpuaffinity", "ff\n");
    link(bus_dir, fmt("/sys/class/pci_bus/%04x:%02x", domain, secondary_bus));
    return path;
}

void SysfsTree::pcie_link(const std::string &function, int speed_code, int width) {
    // The configuration space as a PCI Express function lays it out: status, capability list,
    // then the PCI Express capability with its link status.
    std::string config(256, '\0');
    config[0x06] = 0x10;  // Status: capabilities list present
    config[0x34] = 0x40;  // Capabilities Pointer
    config[0x40] = 0x01;  // Power Management
    config[0x41] = 0x50;
    config[0x50] = 0x05;  // MSI
    config[0x51] = 0x70;
    config[0x70] = 0x10;  // PCI Express, the last entry
    config[0x71] = 0x00;
    const unsigned status =
        (static_cast<unsigned>(speed_code) & 0xf) | ((static_cast<unsigned>(width) & 0x3f) << 4);
    config[0x70 + 0x12] = static_cast<char>(status & 0xff);  // Link Status, little-endian
    config[0x70 + 0x13] = static_cast<char>(status >> 8);
    attribute(function, "config", config);
}

PcieSwitch SysfsTree::pcie_switch(const std::string &root_port, int domain, int upstream_bus,
                                  int ports) {
    PcieSwitch sw;
    int internal = upstream_bus + 1;
    sw.upstream = pci_bridge(root_port, domain, upstream_bus, 0, 0, internal);
    for (int i = 0; i < ports; ++i) {
        int secondary = upstream_bus + 2 + i;
        sw.downstream.push_back(pci_bridge(sw.upstream, domain, internal, i, 0, secondary));
        sw.downstream_bus.push_back(secondary);
    }
    return sw;
}

// --- SCSI hosts ---

std::string SysfsTree::scsi_host(const std::string &parent, int host) {
    std::string path = fmt("%s/host%d", parent.c_str(), host);
    std::string cls = fmt("%s/scsi_host/host%d", path.c_str(), host);
    attribute(cls, "unique_id", fmt("%d\n", host + 1));
    link(path, cls + "/device");
    link(cls, fmt("/sys/class/scsi_host/host%d", host));
    return path;
}

std::string SysfsTree::ahci_port(const std::string &controller, int ata_port, int host,
                                 const std::string &link_speed) {
    std::string ata = fmt("%s/ata%d", controller.c_str(), ata_port);
    std::string cls = fmt("%s/ata_port/ata%d", ata.c_str(), ata_port);
    attribute(cls, "port_no", fmt("%d\n", ata_port));
    link(cls, fmt("/sys/class/ata_port/ata%d", ata_port));
    // The port's host link, as libata shows it: negotiated speed and the controller's limit.
    std::string link_cls = fmt("%s/link%d/ata_link/link%d", ata.c_str(), ata_port, ata_port);
    attribute(link_cls, "sata_spd", link_speed + "\n");
    attribute(link_cls, "hw_sata_spd_limit", "6.0 Gbps\n");
    link(link_cls, fmt("/sys/class/ata_link/link%d", ata_port));
    return scsi_host(ata, host);
}

void SysfsTree::sas_phys(const std::string &parent, const std::string &prefix, int phys,
                         uint64_t sas_address) {
    for (int i = 0; i < phys; ++i) {
        std::string name = fmt("phy-%s:%d", prefix.c_str(), i);
        std::string path = parent + "/" + name;
        std::string cls = path + "/sas_phy/" + name;
        attribute(cls, "phy_identifier", fmt("%d\n", i));
        attribute(cls, "sas_address", fmt("0x%016llx\n", (unsigned long long)sas_address));
        attribute(cls, "negotiated_linkrate", "6.0 Gbit\n");
        attribute(cls, "maximum_linkrate_hw", "12.0 Gbit\n");
        attribute(cls, "maximum_linkrate", "12.0 Gbit\n");
        link(path, cls + "/device");
        link(cls, "/sys/class/sas_phy/" + name);
    }
}

std::string SysfsTree::sas_host(const std::string &controller, int host, int phys,
                                uint64_t sas_address) {
    std::string path = scsi_host(controller, host);
    sas_phys(path, std::to_string(host), phys, sas_address);
    link(path, fmt("/sys/class/sas_host/host%d", host));
    return path;
}

// --- SAS transport ---

std::string SysfsTree::sas_suffix(const std::string &path) {
    std::string name = base_name(path);
    auto dash = name.find('-');
    return dash == std::string::npos ? "" : name.substr(dash + 1);
}

std::string SysfsTree::sas_port(const std::string &parent, const std::string &name) {
    std::string path = parent + "/" + name;
    std::string cls = path + "/sas_port/" + name;
    attribute(cls, "num_phys", "1\n");
    link(path, cls + "/device");
    link(cls, "/sys/class/sas_port/" + name);
    return path;
}

std::string SysfsTree::sas_expander(const std::string &port, const std::string &name, int phys,
                                    uint64_t sas_address, const std::string &vendor,
                                    const std::string &product) {
    std::string path = port + "/" + name;
    std::string cls = path + "/sas_expander/" + name;
    attribute(cls, "vendor_id", padded(vendor, 8));
    attribute(cls, "product_id", padded(product, 16));
    attribute(cls, "product_rev", "0001\n");
    attribute(cls, "level", "0\n");
    link(path, cls + "/device");
    link(cls, "/sys/class/sas_expander/" + name);
    std::string dev_cls = path + "/sas_device/" + name;
    attribute(dev_cls, "sas_address", fmt("0x%016llx\n", (unsigned long long)sas_address));
    attribute(dev_cls, "device_type", "edge expander\n");
    link(dev_cls, "/sys/class/sas_device/" + name);
    sas_phys(path, sas_suffix(path), phys, sas_address);
    return path;
}

std::string SysfsTree::sas_end_device(const std::string &port, uint64_t sas_address,
                                      int phy_identifier) {
    std::string name = "end_device-" + sas_suffix(port);
    std::string path = port + "/" + name;
    std::string cls = path + "/sas_end_device/" + name;
    attribute(cls, "bay_identifier", "-1\n");
    attribute(cls, "enclosure_identifier", "0x0000000000000000\n");
    link(path, cls + "/device");
    link(cls, "/sys/class/sas_end_device/" + name);
    std::string dev_cls = path + "/sas_device/" + name;
    attribute(dev_cls, "sas_address", fmt("0x%016llx\n", (unsigned long long)sas_address));
    attribute(dev_cls, "phy_identifier", fmt("%d\n", phy_identifier));
    attribute(dev_cls, "device_type", "end device\n");
    link(dev_cls, "/sys/class/sas_device/" + name);
    return path;
}

// --- SCSI devices ---

ScsiDevice SysfsTree::scsi_device(const std::string &parent, const ScsiAddress &a,
                                  const ScsiDesc &desc) {
    ScsiDevice d;
    d.target = fmt("%s/target%d:%d:%d", parent.c_str(), a.host, a.channel, a.target);
    std::string hctl = fmt("%d:%d:%d:%d", a.host, a.channel, a.target, a.lun);
    d.device = d.target + "/" + hctl;
    attribute(d.device, "type", fmt("%d\n", desc.type));
    attribute(d.device, "vendor", padded(desc.vendor, 8));
    attribute(d.device, "model", padded(desc.model, 16));
    attribute(d.device, "rev", padded(desc.rev, 4));
    attribute(d.device, "state", "running\n");
    // The kernel's request counters, in hexadecimal as it prints them.
    attribute(d.device, "iorequest_cnt", fmt("0x%x\n", desc.io_requests));
    attribute(d.device, "iodone_cnt", fmt("0x%x\n", desc.io_done));
    if (desc.sas_address)
        attribute(d.device, "sas_address",
                  fmt("0x%016llx\n", (unsigned long long)desc.sas_address));
    std::string sdev_cls = d.device + "/scsi_device/" + hctl;
    link(d.device, sdev_cls + "/device");
    link(sdev_cls, "/sys/class/scsi_device/" + hctl);
    // The bus view, where lsscsi and udev look for SCSI devices.
    link(d.device, "/sys/bus/scsi/devices/" + hctl);
    if (desc.sg >= 0) {
        std::string sg = fmt("sg%d", desc.sg);
        d.generic = d.device + "/scsi_generic/" + sg;
        attribute(d.generic, "dev", fmt("21:%d\n", desc.sg));
        link(d.device, d.generic + "/device");
        link(d.generic, d.device + "/generic");
        link(d.generic, "/sys/class/scsi_generic/" + sg);
        dev_node(sg);
    }
    if (!desc.block.empty()) {
        d.block = d.device + "/block/" + desc.block;
        attribute(d.block, "dev", sd_dev(desc.block));
        attribute(d.block, "size", fmt("%llu\n", static_cast<unsigned long long>(desc.size_512)));
        attribute(d.block + "/queue", "logical_block_size", fmt("%u\n", desc.logical_block_size));
        attribute(d.block, "removable", desc.removable ? "1\n" : "0\n");
        link(d.device, d.block + "/device");
        link(d.block, "/sys/block/" + desc.block);
        link(d.block, "/sys/class/block/" + desc.block);
        dev_node(desc.block);
    }
    return d;
}

// --- USB ---

std::string SysfsTree::usb_root_hub(const std::string &controller, int bus, int ports,
                                    const std::string &speed) {
    std::string name = fmt("usb%d", bus);
    std::string path = controller + "/" + name;
    attribute(path, "idVendor", "1d6b\n");
    attribute(path, "idProduct", speed == "5000" ? "0003\n" : "0002\n");
    attribute(path, "product",
              speed == "5000" ? "xHCI Host Controller\n" : "EHCI Host Controller\n");
    attribute(path, "manufacturer", "Linux xhci-hcd\n");
    attribute(path, "bDeviceClass", "09\n");
    attribute(path, "maxchild", fmt("%d\n", ports));
    attribute(path, "speed", speed + "\n");
    attribute(path, "busnum", fmt("%d\n", bus));
    attribute(path, "devnum", "1\n");
    attribute(path, "devpath", "0\n");
    link(path, "/sys/bus/usb/devices/" + name);
    usb_interface(path, 0, 9);
    return path;
}

std::string SysfsTree::usb_device(const std::string &parent_hub, int port, const UsbDesc &desc) {
    std::string parent = base_name(parent_hub);
    std::string name;
    std::string devpath;
    if (parent.rfind("usb", 0) == 0) {
        name = parent.substr(3) + "-" + std::to_string(port);
        devpath = std::to_string(port);
    } else {
        name = parent + "." + std::to_string(port);
        devpath = name.substr(name.find('-') + 1);
    }
    std::string path = parent_hub + "/" + name;
    attribute(path, "idVendor", fmt("%04x\n", desc.vendor));
    attribute(path, "idProduct", fmt("%04x\n", desc.product));
    if (!desc.product_name.empty())
        attribute(path, "product", desc.product_name + "\n");
    if (!desc.manufacturer.empty())
        attribute(path, "manufacturer", desc.manufacturer + "\n");
    if (!desc.serial.empty())
        attribute(path, "serial", desc.serial + "\n");
    attribute(path, "speed", desc.speed + "\n");
    attribute(path, "maxchild", fmt("%d\n", desc.maxchild));
    attribute(path, "bDeviceClass", desc.maxchild > 0 ? "09\n" : "00\n");
    attribute(path, "bmAttributes", desc.self_powered ? "c0\n" : "80\n");
    attribute(path, "busnum", name.substr(0, name.find('-')) + "\n");
    attribute(path, "devpath", devpath + "\n");
    link(path, "/sys/bus/usb/devices/" + name);
    if (desc.maxchild > 0)
        usb_interface(path, 0, 9);
    return path;
}

std::string SysfsTree::usb_interface(const std::string &device, int number, int interface_class) {
    std::string name = fmt("%s:1.%d", base_name(device).c_str(), number);
    if (name.rfind("usb", 0) == 0)  // a root hub's interface is "B-0:1.0"
        name = fmt("%s-0:1.%d", base_name(device).substr(3).c_str(), number);
    std::string path = device + "/" + name;
    attribute(path, "bInterfaceClass", fmt("%02x\n", interface_class));
    attribute(path, "bInterfaceNumber", fmt("%02x\n", number));
    link(path, "/sys/bus/usb/devices/" + name);
    return path;
}

std::string SysfsTree::usb_serial(const std::string &interface, int index) {
    std::string name = fmt("ttyUSB%d", index);
    std::string path = interface + "/" + name;
    attribute(path + "/tty/" + name, "dev", fmt("188:%d\n", index));
    return path;
}

// --- Network ---

std::string SysfsTree::net_interface(const std::string &device, const std::string &name,
                                     const NetDesc &desc) {
    std::string path =
        device.empty() ? "/sys/devices/virtual/net/" + name : device + "/net/" + name;
    attribute(path, "address", desc.mac + "\n");
    attribute(path, "operstate", desc.up ? "up\n" : "down\n");
    attribute(path, "speed", fmt("%d\n", desc.speed));
    attribute(path, "flags", desc.up ? "0x1003\n" : "0x1002\n");
    attribute(path, "type", "1\n");
    // The kernel's own link text, which names the device.
    if (!device.empty())
        symlink_exact("../../../" + base_name(device), at(path + "/device"));
    link(path, "/sys/class/net/" + name);
    make_dirs(at("/sim"));
    append_file(at("/sim/net.conf"),
                fmt("%s %s phy %d\n", name.c_str(), desc.up ? "up" : "down", desc.phy));
    return path;
}

// --- Printers ---

std::string SysfsTree::usb_printer(const std::string &interface, int minor,
                                   const std::string &device_id) {
    attribute(interface, "ieee1284_id", device_id + "\n");
    std::string name = fmt("lp%d", minor);
    std::string path = interface + "/usbmisc/" + name;
    attribute(path, "dev", fmt("%d:%d\n", kUsbMiscMajor, minor));
    symlink_exact("../../../" + base_name(interface), at(path + "/device"));
    link(path, "/sys/class/usbmisc/" + name);
    dev_node("usb/" + name);
    return path;
}

}  // namespace nashal::sim
