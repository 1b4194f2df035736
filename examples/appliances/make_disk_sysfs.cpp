// Writes the disk part of the example boards' sysfs trees (controllers, hosts, disks, USB ports)
// with the virtual appliance's builders. Run once after changing a layout and commit the result:
//
//   g++ -std=c++17 -I. -Isrc examples/appliances/make_disk_sysfs.cpp sim/sysfs_builders.cpp
//       sim/ata_identify_image.cpp sim/sata_smart_model.cpp sim/clock.cpp sim/fs.cpp
//       src/os/os_seam.cpp -o /tmp/make_disk_sysfs &&
//       /tmp/make_disk_sysfs examples/appliances
//
// It writes the drives' own answers too: the IDENTIFY and SMART data of each SATA drive
// (sim/ata/sgN/identify, smart_data, smart_thresholds) and the inquiry and capacity description of
// each SAS drive (sim/inq/sgN).
//
// Other parts of a board's sysfs (network, sensors) are written by their own owners and are
// left alone; only the all-disk boards x86-pcie-sas and x86-12bay-sas are cleared first (but for
// their hand-written sensors).
//
// The layouts here and the slot sections of each board's model file (etc/model.conf, or the
// etc/model_*.conf that the model selection links it to) describe the same hardware;
// tests/disk/example_boards_test.cpp checks that they agree.
#include <cstdio>
#include <string>
#include <vector>

#include "sim/ata_identify_image.h"
#include "sim/fs.h"
#include "sim/sata_smart_model.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

namespace {

// A SATA drive answers IDENTIFY and SMART: a typical attribute set, so that `halctl smart` and
// the SMART pages have something to show on every example board.
void describe_sata_drive(const std::string &dir, const std::string &node, const AtaDiskDesc &d) {
    describe_ata_disk(dir, node, d);
    describe_ata_smart(dir, node, typical_hdd_smart());
}

std::string sd(int n) {
    std::string name = "sd";
    if (n >= 26)
        name += static_cast<char>('a' + n / 26 - 1);
    name += static_cast<char>('a' + n % 26);
    return name;
}

// A SATA drive of a family: a 4 TB NAS disk with a WWN, a 1 TB SSD with TRIM, a 2 TB desktop
// disk; serial numbers count up per board.
AtaDiskDesc nas_hdd(int n) {
    AtaDiskDesc d;
    d.model = "WDC WD40EFRX-68N32N0";
    d.serial = "WD-WCC7K000000" + std::to_string(n);
    d.firmware = "82.00A82";
    d.sectors = 7814037168ull;
    d.physical_per_logical_log2 = 3;
    d.wwn = 0x50014ee2b0000000ull + static_cast<uint64_t>(n);
    d.rotation = 5400;
    d.erc = true;
    return d;
}

AtaDiskDesc sata_ssd(int n) {
    AtaDiskDesc d;
    d.model = "Samsung SSD 860 EVO 1TB";
    d.serial = "S3Z9NB0K00000" + std::to_string(n) + "X";
    d.firmware = "RVT02B6Q";
    d.sectors = 1953525168ull;
    d.wwn = 0x5002538e40000000ull + static_cast<uint64_t>(n);
    d.rotation = 1;
    d.trim = true;
    return d;
}

AtaDiskDesc desktop_hdd(const char *model, int n, uint64_t sectors) {
    AtaDiskDesc d;
    d.model = model;
    d.serial = "ZFL0000" + std::to_string(n);
    d.firmware = "0001";
    d.sectors = sectors;
    d.rotation = 7200;
    return d;
}

// A SAS drive's answers to sg_inq and sg_readcap (format in docs/virtual-appliance.md).
void sas_drive(const std::string &dir, int sg, const char *model, int n, uint64_t sectors) {
    char text[512];
    snprintf(text, sizeof text,
             "vendor SEAGATE\nmodel %s\nrev E004\nserial ZJV0%04d\n"
             "sas_address 5000c50000%06x\nrotation 7200\nsectors %llu\nblock_size 512\n",
             model, n, 0x100000 + n, static_cast<unsigned long long>(sectors));
    write_file(dir + "/sim/inq/sg" + std::to_string(sg), text);
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
    // libata shows "ATA" and the first 16 characters of the IDENTIFY model.
    auto disk = [&](const std::string &host, ScsiAddress a, const AtaDiskDesc &ata) {
        ScsiDesc d = ScsiDesc::disk(sg, sd(block++), "ATA", ata.model.substr(0, 16));
        d.size_512 = ata.sectors * (ata.logical_sector_bytes / 512);
        t.scsi_device(host, a, d);
        describe_sata_drive(dir, "sg" + std::to_string(sg++), ata);
    };
    auto root = t.pci_root(0, 0);

    // Bays 1-7: NAS disks, but bay 5 holds an SSD (cacheable by the model's bitmap).
    auto ahci = t.pci_function(root, 0, 0, 0x1f, 2, kPciClassAhci, 0x8086, 0xa102);
    for (int port = 0; port < 8; ++port) {
        auto host = t.ahci_port(ahci, port + 1, port, port < 7 ? "6.0 Gbps" : "<unknown>");
        if (port < 7)
            disk(host, {port, 0, 0, 0}, port == 4 ? sata_ssd(1) : nas_hdd(port + 1));
    }

    auto cache_port = t.pci_bridge(root, 0, 0, 0x1c, 0, 2);
    auto cache = t.pci_function(cache_port, 0, 2, 0, 0, kPciClassAhci, 0x1b4b, 0x9215);
    AtaDiskDesc m2 = sata_ssd(2);
    m2.model = "Samsung SSD 970 EVO 500GB";
    m2.sectors = 976773168ull;
    disk(t.ahci_port(cache, 9, 8), {8, 0, 0, 0}, m2);

    auto esata_port = t.pci_bridge(root, 0, 0, 0x1c, 1, 3);
    auto esata = t.pci_function(esata_port, 0, 3, 0, 0, kPciClassAhci, 0x1b21, 0x0612);
    auto pmp_host = t.ahci_port(esata, 10, 9);
    t.ata_device_class(esata, 10, "pmp");
    disk(pmp_host, {9, 0, 0, 0}, desktop_hdd("ST2000DM008-2FR102", 1, 3907029168ull));
    disk(pmp_host, {9, 1, 0, 0}, desktop_hdd("ST2000DM008-2FR102", 2, 3907029168ull));
    auto direct_host = t.ahci_port(esata, 11, 10);
    t.ata_device_class(esata, 11, "ata");
    disk(direct_host, {10, 0, 0, 0}, desktop_hdd("ST4000VN008-2DR166", 3, 7814037168ull));

    auto xhci = t.pci_function(root, 0, 0, 0x14, 0, kPciClassXhci, 0x8086, 0xa12f);
    auto hs = t.usb_root_hub(xhci, 1, 4, "480");
    auto ss = t.usb_root_hub(xhci, 2, 2, "5000");
    UsbDesc hub_desc;
    hub_desc.vendor = 0x05e3;
    hub_desc.product = 0x0608;
    hub_desc.maxchild = 4;
    auto hub = t.usb_device(hs, 1, hub_desc);
    // A USB device: its descriptor and the SCSI description of each LUN behind its bridge.
    auto storage = [&](const std::string &parent, int port, const UsbDesc &usb, int host,
                       std::vector<ScsiDesc> luns) {
        auto dev = t.usb_device(parent, port, usb);
        auto h = t.scsi_host(t.usb_interface(dev, 0, 8), host);
        for (size_t lun = 0; lun < luns.size(); ++lun) {
            luns[lun].sg = sg++;
            if (luns[lun].type == 0)
                luns[lun].block = sd(block++);
            t.scsi_device(h, {host, 0, 0, static_cast<int>(lun)}, luns[lun]);
        }
    };
    UsbDesc reader{0x0bda, 0x0129, "USB2.0-CRW", "Generic", "20100201396000000", "480"};
    ScsiDesc empty_slot = ScsiDesc::disk(0, "", "Generic-", "SD/MMC/MS PRO");
    empty_slot.size_512 = 0;  // no card: the slot has no medium
    empty_slot.removable = true;
    storage(hub, 1, reader, 11, {empty_slot, empty_slot, empty_slot, empty_slot});
    // Rear port A: a USB stick on the SuperSpeed pair of root port 2, bus-powered, removable.
    UsbDesc stick{0x0781, 0x5581, "Ultra", "SanDisk", "4C530001230101117143", "5000"};
    ScsiDesc stick_lun = ScsiDesc::disk(0, "", "SanDisk", "Ultra");
    stick_lun.size_512 = 60063744;
    stick_lun.removable = true;
    storage(ss, 1, stick, 12, {stick_lun});
    // Rear port B: a 2.5" disk in a USB-to-SATA bridge enclosure with its own power.
    UsbDesc bridge{0x174c, 0x55aa, "ASM1153E", "ASMedia", "00000000000000000001", "480"};
    bridge.self_powered = true;
    ScsiDesc bridge_lun = ScsiDesc::disk(0, "", "ASMT", "2115");
    bridge_lun.size_512 = 1953525168ull;
    storage(hs, 3, bridge, 13, {bridge_lun});
    describe_sata_drive(dir, "sg16", desktop_hdd("ST1000LM035-1RK172", 4, 1953525168ull));
    // Internal header: the USB boot module, 512 MB.
    UsbDesc module{0x1005, 0xb113, "USB DISK MODULE", "", "0720000000001FD4", "480"};
    ScsiDesc module_lun = ScsiDesc::disk(0, "", "USB DISK", "MODULE");
    module_lun.size_512 = 1015808;
    storage(hs, 4, module, 14, {module_lun});
    // Front port 2: a CD-ROM.
    ScsiDesc dvd = ScsiDesc::disk(0, "", "Generic", "DVD-RW");
    dvd.type = 5;
    storage(hub, 2, UsbDesc{0x0bda, 0x0129, "", "", "", "480"}, 15, {dvd});
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
        if (port != 2) {
            AtaDiskDesc ata = desktop_hdd("HGST HUS726T4TALA6L4", 10 + port, 7814037168ull);
            ata.wwn = 0x5000cca000000000ull + static_cast<uint64_t>(port);
            describe_sata_drive(dir, "sg" + std::to_string(sg), ata);
            t.scsi_device(host, {port, 0, 0, 0},
                          ScsiDesc::disk(sg++, sd(block++), "ATA", "HGST HUS726T4TAL"));
        }
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
        if (!ses)
            sas_drive(dir, sg, "ST8000NM0075", sg, 15628053168ull);
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
        if (bay != 6 && bay != 11) {
            sas_drive(dir, sg, "ST12000NM0027", bay, 23437770752ull);
            end_device(bay + 7, ScsiDesc::disk(sg++, sd(block++), "SEAGATE", "ST12000NM0027"));
        }
    }
    end_device(27, ScsiDesc::enclosure(sg++, "VIRTUAL", "SAS EXPANDER"));

    auto ahci = t.pci_function(root, 0, 0, 0x1f, 2, kPciClassAhci, 0x8086, 0xa102);
    for (int p = 0; p < 4; ++p) {
        auto h = t.ahci_port(ahci, p + 1, p + 1, p == 3 ? "6.0 Gbps" : "<unknown>");
        if (p == 3) {
            AtaDiskDesc ssd = sata_ssd(3);
            ssd.sectors = 976773168ull;
            ssd.model = "Samsung SSD 860 EVO 500GB";
            describe_sata_drive(dir, "sg" + std::to_string(sg), ssd);
            ScsiDesc d = ScsiDesc::disk(sg++, sd(block++), "ATA", "Samsung SSD 860");
            d.size_512 = ssd.sectors;
            t.scsi_device(h, {p + 1, 0, 0, 0}, d);
        }
    }

    auto xhci = t.pci_function(root, 0, 0, 0x14, 0, kPciClassXhci, 0x8086, 0xa12f);
    auto hs = t.usb_root_hub(xhci, 1, 4, "480");
    auto ss = t.usb_root_hub(xhci, 2, 2, "5000");
    auto storage = [&](const std::string &hub, int p, const UsbDesc &d, int h, ScsiDesc lun) {
        auto usb = t.scsi_host(t.usb_interface(t.usb_device(hub, p, d), 0, 8), h);
        lun.sg = sg++;
        lun.block = sd(block++);
        t.scsi_device(usb, {h, 0, 0, 0}, lun);
    };
    // Internal header: the USB boot module, 512 MB.
    ScsiDesc module = ScsiDesc::disk(0, "", "USB DISK", "MODULE");
    module.size_512 = 1015808;
    storage(hs, 4, UsbDesc{0x1005, 0xb113, "USB DISK MODULE", "", "0720000000001FD5", "480"}, 5,
            module);
    // Rear port 1, SuperSpeed: a self-powered 2 TB disk behind a USB-to-SATA bridge.
    UsbDesc bridge{0x174c, 0x55aa, "ASM1153E", "ASMedia", "00000000000000000002", "5000"};
    bridge.self_powered = true;
    ScsiDesc disk = ScsiDesc::disk(0, "", "ASMT", "2115");
    disk.size_512 = 3907029168ull;
    storage(ss, 1, bridge, 6, disk);
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s EXAMPLES_DIR\n", argv[0]);
        return 2;
    }
    std::string base = argv[1];
    // The sensors under sys/class/hwmon are written by hand, not here: they stay.
    for (const char *board : {"/x86-pcie-sas", "/x86-12bay-sas"}) {
        const std::string sys = base + board + "/sys";
        for (const std::string &entry : list_dir(sys))
            if (entry != "class")
                remove_tree(sys + "/" + entry);
        for (const std::string &entry : list_dir(sys + "/class"))
            if (entry != "hwmon")
                remove_tree(sys + "/class/" + entry);
        remove_tree(base + board + "/dev");
    }
    for (const char *board : {"/x86-8bay", "/x86-pcie-sas", "/x86-12bay-sas"}) {
        for (const char *sub : {"/sim/ata", "/sim/inq"})
            remove_tree(base + board + sub);
    }
    x86_8bay(base + "/x86-8bay");
    x86_pcie_sas(base + "/x86-pcie-sas");
    x86_12bay_sas(base + "/x86-12bay-sas");
    return 0;
}
