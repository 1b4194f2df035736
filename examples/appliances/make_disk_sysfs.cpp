// Writes the disk part of the example boards' sysfs trees (controllers, hosts, disks, USB ports)
// with the virtual appliance's builders. Run once after changing a layout and commit the result:
//
//   g++ -std=c++17 -I. examples/appliances/make_disk_sysfs.cpp sim/sysfs_builders.cpp
//       sim/fs.cpp -o /tmp/make_disk_sysfs && /tmp/make_disk_sysfs examples/appliances
//
// Other parts of a board's sysfs (network, sensors) are written by their own owners and are
// left alone; only the all-disk boards x86-pcie-sas and x86-12bay-sas are cleared first.
//
// The layouts here and the slot sections of each board's model file (etc/model.conf, or the
// etc/model_*.conf that the model selection links it to) describe the same hardware;
// tests/disk/example_boards_test.cpp checks that they agree.
#include <cstdio>
#include <string>

#include "sim/fs.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

namespace {

std::string sd(int n) {
    std::string name = "sd";
    if (n >= 26)
        name += static_cast<char>('a' + n / 26 - 1);
    name += static_cast<char>('a' + n % 26);
    return name;
}

// Eight SATA bays on the chipset's AHCI controller (bay 8 empty), an M.2 cache bay on an AHCI
// controller behind a root port, two eSATA ports on a controller behind another root port (a
// port multiplier with two disks on the first), and the USB ports: an on-board hub at root port
// 1 feeding the front ports (a four-slot card reader and a CD-ROM), two rear ports with a
// SuperSpeed disk and a high-speed disk, and the USB boot device on root port 4.
void x86_8bay(const std::string &dir) {
    SysfsTree t(dir);
    int sg = 0;
    int block = 0;
    auto disk = [&](const std::string &host, ScsiAddress a, const char *model) {
        t.scsi_device(host, a, ScsiDesc::disk(sg++, sd(block++), "ATA", model));
    };
    auto root = t.pci_root(0, 0);

    auto ahci = t.pci_function(root, 0, 0, 0x1f, 2, kPciClassAhci, 0x8086, 0xa102);
    for (int port = 0; port < 8; ++port) {
        auto host = t.ahci_port(ahci, port + 1, port);
        if (port < 7)
            disk(host, {port, 0, 0, 0}, "WDC WD40EFRX-68N");
    }

    auto cache_port = t.pci_bridge(root, 0, 0, 0x1c, 0, 2);
    auto cache = t.pci_function(cache_port, 0, 2, 0, 0, kPciClassAhci, 0x1b4b, 0x9215);
    disk(t.ahci_port(cache, 9, 8), {8, 0, 0, 0}, "Samsung SSD 970");

    auto esata_port = t.pci_bridge(root, 0, 0, 0x1c, 1, 3);
    auto esata = t.pci_function(esata_port, 0, 3, 0, 0, kPciClassAhci, 0x1b21, 0x0612);
    auto pmp_host = t.ahci_port(esata, 10, 9);
    t.ata_device_class(esata, 10, "pmp");
    disk(pmp_host, {9, 0, 0, 0}, "ST2000DM008-2FR1");
    disk(pmp_host, {9, 1, 0, 0}, "ST2000DM008-2FR1");
    auto direct_host = t.ahci_port(esata, 11, 10);
    t.ata_device_class(esata, 11, "ata");
    disk(direct_host, {10, 0, 0, 0}, "ST4000VN008-2DR1");

    auto xhci = t.pci_function(root, 0, 0, 0x14, 0, kPciClassXhci, 0x8086, 0xa12f);
    auto hs = t.usb_root_hub(xhci, 1, 4, "480");
    auto ss = t.usb_root_hub(xhci, 2, 2, "5000");
    UsbDesc hub_desc;
    hub_desc.vendor = 0x05e3;
    hub_desc.product = 0x0608;
    hub_desc.maxchild = 4;
    auto hub = t.usb_device(hs, 1, hub_desc);
    auto storage = [&](const std::string &parent, int port, const char *speed, int host, int luns,
                       int type) {
        UsbDesc d;
        d.vendor = 0x0bda;
        d.product = 0x0129;
        d.speed = speed;
        auto dev = t.usb_device(parent, port, d);
        auto h = t.scsi_host(t.usb_interface(dev, 0, 8), host);
        for (int lun = 0; lun < luns; ++lun) {
            ScsiDesc desc = ScsiDesc::disk(sg++, type == 0 ? sd(block++) : "", "Generic",
                                           type == 0 ? "USB Storage" : "DVD-RW");
            desc.type = type;
            t.scsi_device(h, {host, 0, 0, lun}, desc);
        }
    };
    storage(hub, 1, "480", 11, 4, 0);  // front port 1: card reader, four slots
    storage(ss, 1, "5000", 12, 1, 0);  // rear port A, SuperSpeed pair of root port 2
    storage(hs, 3, "480", 13, 1, 0);   // rear port B, a high-speed disk
    storage(hs, 4, "480", 14, 1, 0);   // internal header: the USB boot device
    storage(hub, 2, "480", 15, 1, 5);  // front port 2: a CD-ROM
}

// Twelve bays behind a PCIe switch on root port 00:01.0. Downstream port 0: a SAS HBA that
// registers one SCSI host per port (bays 1-4, bay 3 empty). Downstream port 1: a SAS HBA with
// one host and eight phys: phys 4-7 reach bays 5-8 directly, phys 0-3 form a wide port to the
// board's own expander, whose phys 8-11 reach bays 9-12 and whose phy 12 has a disk that no bay
// lists (a service port); the expander's enclosure services device is on its virtual phy 16.
void x86_pcie_sas(const std::string &dir) {
    SysfsTree t(dir);
    int sg = 0;
    int block = 0;
    auto root = t.pci_root(0, 0);
    auto root_port = t.pci_bridge(root, 0, 0, 1, 0, 1);
    auto sw = t.pcie_switch(root_port, 0, 1, 2);

    auto hba1 = t.pci_function(sw.downstream[0], 0, 3, 0, 0, kPciClassSas, 0x1000, 0x0097);
    for (int port = 0; port < 4; ++port) {
        auto host = t.scsi_host(hba1, port);
        if (port != 2)
            t.scsi_device(host, {port, 0, 0, 0},
                          ScsiDesc::disk(sg++, sd(block++), "ATA", "HGST HUS726T4TAL"));
    }

    const uint64_t hba_addr = 0x500605b000000400ull;
    auto hba2 = t.pci_function(sw.downstream[1], 0, 4, 0, 0, kPciClassSas, 0x1000, 0x0097);
    auto host = t.sas_host(hba2, 4, 8, hba_addr);
    auto wide = t.sas_port(host, "port-4:0");
    for (int phy = 0; phy < 4; ++phy)
        t.sas_wire(host + "/phy-4:" + std::to_string(phy), wide);
    auto exp = t.sas_expander(wide, "expander-4:0", 17, 0x500304800000007full);
    int target = 0;
    auto end_disk = [&](const std::string &port, int phy, bool ses) {
        auto end = t.sas_end_device(port, 0x5000c50000000000ull + phy, phy);
        ScsiDesc d = ses ? ScsiDesc::enclosure(sg++, "VIRTUAL", "SAS EXPANDER")
                         : ScsiDesc::disk(sg++, sd(block++), "SEAGATE", "ST8000NM0075");
        t.scsi_device(end, {4, 0, target++, 0}, d);
    };
    for (int i = 0; i < 5; ++i) {
        auto port = t.sas_port(exp, "port-4:0:" + std::to_string(i));
        t.sas_wire(exp + "/phy-4:0:" + std::to_string(8 + i), port);
        end_disk(port, 8 + i, false);
    }
    auto ses_port = t.sas_port(exp, "port-4:0:5");
    t.sas_wire(exp + "/phy-4:0:16", ses_port);
    end_disk(ses_port, 16, true);
    for (int i = 0; i < 4; ++i) {
        auto port = t.sas_port(host, "port-4:" + std::to_string(1 + i));
        t.sas_wire(host + "/phy-4:" + std::to_string(4 + i), port);
        end_disk(port, 4 + i, false);
    }
}

// Twelve front bays behind the unit's own SAS controller and expander, two M.2 SATA cache bays
// on the chipset AHCI, the USB boot module and two rear USB ports.
//
// The controller (01:00.0, behind root port 00:01.0) registers one SCSI host, host0, with eight
// phys: phys 0-3 form a wide port to the expander, phys 4-7 are not wired. The expander's phys
// 0-3 are its upstream link; the bays are wired to its phys 8-19 (bay n on phy n+7), so that no
// bay's phy number is also a phy of the controller: a slot whose DEV_PORT names a phy the
// controller has is taken for a disk cabled straight to that controller phy. Bays 6 and 11 are
// empty. The expander's enclosure services device sits on its virtual phy 27; without it a
// disk behind the expander can't be traced back to the main unit.
//
// The chipset AHCI (00:1f.2) has four ports, one SCSI host each (hosts 1-4); the M.2 bays are
// wired to ports 2 and 3, and only the second holds an SSD. xHCI 00:14.0 as on x86-8bay: usb1
// (480, 4 ports) and usb2 (5000, 2 ports); the boot module on usb1 port 4, a SuperSpeed disk in
// rear port 1 (2-1), rear port 2 empty.
void x86_12bay_sas(const std::string &dir) {
    SysfsTree t(dir);
    int sg = 0;
    int block = 0;
    auto root = t.pci_root(0, 0);

    auto root_port = t.pci_bridge(root, 0, 0, 1, 0, 1);
    auto sas = t.pci_function(root_port, 0, 1, 0, 0, kPciClassSas, 0x1000, 0x0087);
    auto host = t.sas_host(sas, 0, 8, 0x500605b000001200ull);
    auto wide = t.sas_port(host, "port-0:0");
    for (int phy = 0; phy < 4; ++phy)
        t.sas_wire(host + "/phy-0:" + std::to_string(phy), wide);
    auto exp = t.sas_expander(wide, "expander-0:0", 28, 0x500304800000127full);
    int port = 0;
    int target = 0;
    auto end_device = [&](int phy, const ScsiDesc &desc) {
        auto p = t.sas_port(exp, "port-0:0:" + std::to_string(port++));
        t.sas_wire(exp + "/phy-0:0:" + std::to_string(phy), p);
        auto end = t.sas_end_device(p, 0x5000c50000001200ull + phy, phy);
        t.scsi_device(end, {0, 0, target++, 0}, desc);
    };
    for (int bay = 1; bay <= 12; ++bay) {
        if (bay != 6 && bay != 11)
            end_device(bay + 7, ScsiDesc::disk(sg++, sd(block++), "SEAGATE", "ST12000NM0027"));
    }
    end_device(27, ScsiDesc::enclosure(sg++, "VIRTUAL", "SAS EXPANDER"));

    auto ahci = t.pci_function(root, 0, 0, 0x1f, 2, kPciClassAhci, 0x8086, 0xa102);
    for (int p = 0; p < 4; ++p) {
        auto h = t.ahci_port(ahci, p + 1, p + 1);
        if (p == 3)
            t.scsi_device(h, {p + 1, 0, 0, 0},
                          ScsiDesc::disk(sg++, sd(block++), "ATA", "Samsung SSD 860"));
    }

    auto xhci = t.pci_function(root, 0, 0, 0x14, 0, kPciClassXhci, 0x8086, 0xa12f);
    auto hs = t.usb_root_hub(xhci, 1, 4, "480");
    auto ss = t.usb_root_hub(xhci, 2, 2, "5000");
    auto storage = [&](const std::string &hub, int p, const char *speed, int h) {
        UsbDesc d;
        d.vendor = 0x0bda;
        d.product = 0x0129;
        d.speed = speed;
        auto usb = t.scsi_host(t.usb_interface(t.usb_device(hub, p, d), 0, 8), h);
        t.scsi_device(usb, {h, 0, 0, 0},
                      ScsiDesc::disk(sg++, sd(block++), "Generic", "USB Storage"));
    };
    storage(hs, 4, "480", 5);   // internal header: the USB boot module
    storage(ss, 1, "5000", 6);  // rear port 1, SuperSpeed
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s EXAMPLES_DIR\n", argv[0]);
        return 2;
    }
    std::string base = argv[1];
    for (const char *board : {"/x86-pcie-sas", "/x86-12bay-sas"}) {
        for (const char *sub : {"/sys", "/dev"})
            remove_tree(base + board + sub);
    }
    x86_8bay(base + "/x86-8bay");
    x86_pcie_sas(base + "/x86-pcie-sas");
    x86_12bay_sas(base + "/x86-12bay-sas");
    return 0;
}
