#include "sim/thunderbolt_box.h"

#include <cstdarg>
#include <cstdio>

#include "sim/sas_shelf.h"

namespace nashal::sim {

namespace {

std::string fmt(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string fmt(const char *format, ...) {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int size = vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string text(static_cast<size_t>(size > 0 ? size : 0) + 1, '\0');
    vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    text.resize(text.size() - 1);
    return text;
}

}  // namespace

ThunderboltHost::ThunderboltHost(SysfsTree &t, const std::string &pci_root,
                                 const ThunderboltHostDesc &d)
    : t_(t), domain_(d.domain), next_bus_(d.first_bus) {
    const int upstream_bus = next_bus_++;
    root_port_ = t_.pci_bridge(pci_root, domain_, 0, d.root_port_device, 0, upstream_bus);
    const int internal = next_bus_++;
    std::string upstream = t_.pci_bridge(root_port_, domain_, upstream_bus, 0, 0, internal);
    const int ports[] = {d.port1, d.port2};
    for (int i = 0; i < 2; ++i) {
        const int secondary = next_bus_++;
        tails_[i] = {t_.pci_bridge(upstream, domain_, internal, ports[i], 0, secondary), secondary};
    }
}

ThunderboltBox ThunderboltHost::add_box(int port, const ThunderboltBoxDesc &d) {
    Tail &tail = tails_[port == 2 ? 1 : 0];
    ThunderboltBox box;
    const int internal = next_bus_++;
    box.upstream = t_.pci_bridge(tail.bridge, domain_, tail.secondary_bus, 0, 0, internal);
    const int tunnel_bus = next_bus_++;
    box.tunnel = t_.pci_bridge(box.upstream, domain_, internal, d.tunnel_port, 0, tunnel_bus);
    const int sata_bus = next_bus_++;
    std::string sata = t_.pci_bridge(box.upstream, domain_, internal, d.sata_port, 0, sata_bus);
    box.controller =
        t_.pci_function(sata, domain_, sata_bus, 0, 0, kPciClassAhci, d.sata_vendor, d.sata_device);
    // The controller's I2C adapter, as the kernel shows an adapter of a PCI device.
    const std::string adapter = fmt("%s/i2c-%d", box.controller.c_str(), d.i2c_bus);
    t_.attribute(adapter, "name", "SMBus adapter\n");
    t_.attribute(adapter + "/i2c-dev/" + fmt("i2c-%d", d.i2c_bus), "dev",
                 fmt("89:%d\n", d.i2c_bus));
    int sg = d.first_sg;
    std::string block = d.first_block;
    for (int p = 0; p < d.ata_ports; ++p) {
        const int host = d.first_host + p;
        std::string h = t_.ahci_port(box.controller, d.first_ata + p, host);
        bool populated = false;
        for (int q : d.disk_ports)
            populated = populated || q == p;
        if (!populated)
            continue;
        t_.scsi_device(h, {host, 0, 0, 0}, ScsiDesc::disk(sg, block, "ATA", "TB Disk"));
        box.disk_sgs.push_back(sg++);
        block = next_block_name(block);
    }
    tail = {box.tunnel, tunnel_bus};
    return box;
}

std::string thunderbolt_host_model(const ThunderboltHostDesc &d) {
    return fmt(
        "[Thunderbolt Enclosure]\nDEV_BUS = B00:D%02d:F0\nTHUNDERBOLT_SWITCH_PORT1 = 0x%x\n"
        "THUNDERBOLT_SWITCH_PORT2 = 0x%x\n",
        d.root_port_device, d.port1, d.port2);
}

std::string thunderbolt_box_model(const ThunderboltBoxDesc &d, int bays) {
    std::string text =
        fmt("[System Enclosure]\nVENDOR = Vornix\nMODEL = TB-%d\nCAP = 0x8\nMAX_DISK_NUM = %d\n"
            "MAX_FAN_NUM = 1\nMAX_TEMP_NUM = 3\nDISK_DRV_TYPE = ATA\n"
            "DISK_DEFAULT_MAX_LINK_SPEED = PD_SATA_SAS_6G\nTHUNDERBOLT_SWITCH_PORT = 0x%x\n"
            "[Sata Controller 1]\nPCI_SWITCH_PORT = 0x%x\nVENDOR = 0x%04x\nPRODUCT_ID = 0x%04x\n"
            "[System IO]\nHWM_UNIT = I2C:2c\nMB_TEMP = I2C:2c:I04\nBP_TEMP1 = I2C:2c:I01\n"
            "BP_TEMP2 = I2C:2c:I02\nSTATUS_LED = I2C:20:I10\nFANERROR_LED = I2C:20:I11\n"
            "OVERHEAT_LED = I2C:20:I12\n7S_LED = I2C:20:I13\nLOCATE_LED = I2C:20:31:30\n"
            "[System FAN]\nFAN_UNIT = I2C:2c\nFAN_1 = I1\n",
            bays, bays, d.tunnel_port, d.sata_port, d.sata_vendor, d.sata_device);
    for (int n = 1; n <= bays; ++n)
        text +=
            fmt("[System Disk %d]\nDEV_PORT = %d\nPCI_SWITCH_PORT = 0x%x\n"
                "ERR_LED = I2C:20:%02x:%02x\nLOCATE_LED = I2C:20:%02x:%02x\n"
                "PRESENT_LED = I2C:20:%02x:%02x\n",
                n, n - 1, d.sata_port, 0x40 + n, 0x50 + n, 0x60 + n, 0x70 + n, 0x80 + n, 0x90 + n);
    return text;
}

}  // namespace nashal::sim
