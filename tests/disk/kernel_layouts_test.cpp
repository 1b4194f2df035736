// Controller layouts as the kernel shows them on real boards, one board per case: every disk
// that enumeration lists for an enclosure must come back, through the reverse lookups a
// hot-plug handler uses, to that enclosure and to the bay the model file gives it. A case that
// fails here is a disk missing from its enclosure or the wrong bay's LED lit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "disk/round_trip.h"
#include "disk/disk_model.h"
#include "nashal/comm_path.h"
#include "nashal/pd_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

namespace {

ScsiDesc disk(int sg) {
    return ScsiDesc::disk(sg, "", "ATA", "D");
}

// A USB mass storage device on `port` of `hub` with one host and `luns` disk LUNs.
void usb_disk(SysfsTree &t, const std::string &hub, int port, const char *speed, int host,
              int first_sg, int luns = 1) {
    UsbDesc d;
    d.speed = speed;
    auto intf = t.usb_interface(t.usb_device(hub, port, d), 0, 8);
    auto h = t.scsi_host(intf, host);
    for (int lun = 0; lun < luns; ++lun)
        t.scsi_device(h, {host, 0, 0, lun}, ScsiDesc::disk(first_sg + lun, "", "Generic", "SD"));
}

struct Layout {
    const char *name;
    std::function<void(SysfsTree &)> build;
    const char *model;
    const char *enclosure;
    std::vector<std::pair<std::string, int>> disks;  // sg name, bay (-1: no bay of its own)
};

const Layout kLayouts[] = {
    {"AhciBehindRootPortOnBusAbove0x1f",
     [](SysfsTree &t) {
         auto rp = t.pci_bridge(t.pci_root(0, 0), 0, 0, 0x1c, 4, 0x2a);
         auto ahci = t.pci_function(rp, 0, 0x2a, 0, 0, kPciClassAhci);
         for (int p = 0; p < 4; ++p) {
             auto host = t.ahci_port(ahci, p + 1, p + 2);
             if (p == 0 || p == 2)
                 t.scsi_device(host, {p + 2, 0, 0, 0}, disk(p / 2));
         }
     },
     "[System Enclosure]\nMAX_DISK_NUM = 4\n"
     "[System Disk 1]\nDEV_BUS = B00:D28:F4\nDEV_PORT = 0\n"
     "[System Disk 2]\nDEV_BUS = B00:D28:F4\nDEV_PORT = 1\n"
     "[System Disk 3]\nDEV_BUS = B00:D28:F4\nDEV_PORT = 2\n"
     "[System Disk 4]\nDEV_BUS = B00:D28:F4\nDEV_PORT = 3\n",
     "root",
     {{"sg0", 1}, {"sg1", 3}}},

    {"AhciOnRootBus0x20OfDomainOne",
     [](SysfsTree &t) {
         auto ahci = t.pci_function(t.pci_root(1, 0x20), 1, 0x20, 0x1f, 2, kPciClassAhci);
         for (int p = 0; p < 2; ++p)
             t.scsi_device(t.ahci_port(ahci, p + 1, p + 11), {p + 11, 0, 0, 0}, disk(p + 4));
     },
     "[System Enclosure]\nMAX_DISK_NUM = 2\n"
     "[System Disk 1]\nDEV_BUS = B32:D31:F2\nDEV_DOMAIN = 1\nDEV_PORT = 0\n"
     "[System Disk 2]\nDEV_BUS = B32:D31:F2\nDEV_DOMAIN = 1\nDEV_PORT = 1\n",
     "root",
     {{"sg4", 1}, {"sg5", 2}}},

    {"PlatformAhciOfASoc",
     [](SysfsTree &t) {
         auto ahci = std::string("/sys/devices/platform/ahci.0");
         for (int p = 0; p < 2; ++p)
             t.scsi_device(t.ahci_port(ahci, p + 1, p), {p, 0, 0, 0}, disk(p));
     },
     "[System Enclosure]\nMAX_DISK_NUM = 2\n"
     "[System Disk 1]\nDEV_BUS = B-1:ahci.0\nDEV_PORT = 0\n"
     "[System Disk 2]\nDEV_BUS = B-1:ahci.0\nDEV_PORT = 1\n",
     "root",
     {{"sg0", 1}, {"sg1", 2}}},

    {"SataPortMultiplierOnEsataBehindRootPort",
     [](SysfsTree &t) {
         auto rp = t.pci_bridge(t.pci_root(0, 0), 0, 0, 0x1c, 1, 0x10);
         auto ahci = t.pci_function(rp, 0, 0x10, 0, 0, kPciClassAhci);
         auto pmp = t.ahci_port(ahci, 5, 4);
         t.ata_device_class(ahci, 5, "pmp");
         t.scsi_device(pmp, {4, 0, 0, 0}, disk(0));
         t.scsi_device(pmp, {4, 1, 0, 0}, disk(1));
         auto direct = t.ahci_port(ahci, 6, 5);
         t.ata_device_class(ahci, 6, "ata");
         t.scsi_device(direct, {5, 0, 0, 0}, disk(2));
     },
     "[Esata Enclosure]\nMAX_DISK_NUM = 2\n"
     "[Esata Disk 1]\nDEV_BUS = B00:D28:F1\nDEV_PORT = 0\n"
     "[Esata Disk 2]\nDEV_BUS = B00:D28:F1\nDEV_PORT = 1\n",
     "root_esata",
     {{"sg0", -1}, {"sg1", -1}, {"sg2", 2}}},

    {"SasHbaWithOneHostForAllPhys",
     [](SysfsTree &t) {
         auto rp = t.pci_bridge(t.pci_root(0, 0), 0, 0, 3, 0, 0x1f);
         auto hba = t.pci_function(rp, 0, 0x1f, 0, 0, kPciClassSas);
         auto host = t.sas_host(hba, 6, 8);
         // The first disk probed gets target 0; bays are phys, not targets.
         const int phys[] = {0, 5, 3};
         for (int i = 0; i < 3; ++i) {
             auto port = t.sas_port(host, "port-6:" + std::to_string(i));
             t.sas_wire(host + "/phy-6:" + std::to_string(phys[i]), port);
             auto end = t.sas_end_device(port, 0x5000c50000000000ull + i, phys[i]);
             t.scsi_device(end, {6, 0, i, 0}, disk(i));
         }
     },
     "[System Enclosure]\nMAX_DISK_NUM = 8\n"
     "[System Disk 1]\nDEV_BUS = B00:D03:F0\nDEV_PORT = 0\n"
     "[System Disk 2]\nDEV_BUS = B00:D03:F0\nDEV_PORT = 1\n"
     "[System Disk 3]\nDEV_BUS = B00:D03:F0\nDEV_PORT = 2\n"
     "[System Disk 4]\nDEV_BUS = B00:D03:F0\nDEV_PORT = 3\n"
     "[System Disk 5]\nDEV_BUS = B00:D03:F0\nDEV_PORT = 4\n"
     "[System Disk 6]\nDEV_BUS = B00:D03:F0\nDEV_PORT = 5\n"
     "[System Disk 7]\nDEV_BUS = B00:D03:F0\nDEV_PORT = 6\n"
     "[System Disk 8]\nDEV_BUS = B00:D03:F0\nDEV_PORT = 7\n",
     "root",
     {{"sg0", 1}, {"sg1", 6}, {"sg2", 4}}},

    {"SasHbaWhoseBaysSitBehindTheBoardsExpander",
     [](SysfsTree &t) {
         auto hba = t.pci_function(t.pci_root(0, 0), 0, 0, 2, 0, kPciClassSas);
         auto host = t.sas_host(hba, 7, 4);
         auto wide = t.sas_port(host, "port-7:0");
         for (int phy = 0; phy < 4; ++phy)
             t.sas_wire(host + "/phy-7:" + std::to_string(phy), wide);
         auto exp = t.sas_expander(wide, "expander-7:0", 17, 0x500304800000007full);
         // Bays on expander phys 8, 9 and 11; the enclosure services device on phy 16.
         const int phys[] = {8, 9, 11, 16};
         for (int i = 0; i < 4; ++i) {
             auto port = t.sas_port(exp, "port-7:0:" + std::to_string(i));
             t.sas_wire(exp + "/phy-7:0:" + std::to_string(phys[i]), port);
             auto end = t.sas_end_device(port, 0x5000c50000000100ull + i, phys[i]);
             t.scsi_device(end, {7, 0, i, 0},
                           i == 3 ? ScsiDesc::enclosure(3, "VIRTUAL", "SAS EXPANDER") : disk(i));
         }
     },
     "[System Enclosure]\nCAP = 0x400\nMAX_DISK_NUM = 4\n"
     "[System Internal SAS]\nDEV_BUS = B00:D02:F0\n"
     "[System Disk 1]\nDEV_BUS = B00:D02:F0\nDEV_PORT = 8\n"
     "[System Disk 2]\nDEV_BUS = B00:D02:F0\nDEV_PORT = 9\n"
     "[System Disk 3]\nDEV_BUS = B00:D02:F0\nDEV_PORT = 10\n"
     "[System Disk 4]\nDEV_BUS = B00:D02:F0\nDEV_PORT = 11\n",
     "root",
     {{"sg0", 1}, {"sg1", 2}, {"sg2", 4}}},

    {"Usb3RootHubWithSuperSpeedAndHighSpeedTwins",
     [](SysfsTree &t) {
         auto xhci = t.pci_function(t.pci_root(0, 0), 0, 0, 0x14, 0, kPciClassXhci);
         auto hs = t.usb_root_hub(xhci, 1, 4, "480");
         auto ss = t.usb_root_hub(xhci, 2, 4, "5000");
         usb_disk(t, ss, 2, "5000", 3, 0);  // chassis port 1, SuperSpeed lanes
         usb_disk(t, hs, 3, "480", 4, 1);   // chassis port 2, a USB 2 disk
     },
     "[Usb Enclosure]\nMAX_PORT_NUM = 2\n"
     "[Usb Port 1]\nDEV_BUS = B00:D20:F0\nDEV_PORT_SS = 2\nDEV_PORT_NS = 2\n"
     "[Usb Port 2]\nDEV_BUS = B00:D20:F0\nDEV_PORT_SS = 3\nDEV_PORT_NS = 3\n",
     "root_usb",
     {{"sg0", 1}, {"sg1", 2}}},

    {"CardReaderWithFourLunsBehindTheBoardsHub",
     [](SysfsTree &t) {
         auto ehci = t.pci_function(t.pci_root(0, 0), 0, 0, 0x1d, 0, kPciClassEhci);
         auto rh = t.usb_root_hub(ehci, 3, 2, "480");
         UsbDesc hub;
         hub.maxchild = 4;
         usb_disk(t, t.usb_device(rh, 1, hub), 2, "480", 5, 0, 4);
     },
     "[Usb Enclosure]\nMAX_PORT_NUM = 1\n"
     "[Usb Port 1]\nDEV_BUS = B00:D29:F0\nIN_HUB = 1\nDEV_PORT = 2\n",
     "root_usb",
     {{"sg0", 1}, {"sg1", 1}, {"sg2", 1}, {"sg3", 1}}},

    {"TwoHubLevelsBehindAControllerOnBus59",
     [](SysfsTree &t) {
         auto rp = t.pci_bridge(t.pci_root(0, 0), 0, 0, 0x1c, 0, 0x3b);
         auto xhci = t.pci_function(rp, 0, 0x3b, 0, 0, kPciClassXhci);
         auto rh = t.usb_root_hub(xhci, 4, 2, "480");
         UsbDesc hub;
         hub.maxchild = 4;
         auto h2 = t.usb_device(t.usb_device(rh, 1, hub), 1, hub);
         usb_disk(t, h2, 3, "480", 6, 7);
         usb_disk(t, h2, 4, "480", 8, 9);
     },
     "[Usb Enclosure]\nMAX_PORT_NUM = 2\n"
     "[Usb Port 1]\nDEV_BUS = B00:D28:F0\nDEV_BRIDGE_BUS = B59:D00:F0\nIN_HUB = 2\nDEV_PORT = 3\n"
     "[Usb Port 2]\nMULTI_DEVICE = 1\n"
     "[Usb Port 2-1]\nDEV_BUS = B00:D28:F0\nDEV_BRIDGE_BUS = B59:D00:F0\nIN_HUB = 2\n"
     "DEV_PORT = 4\n",
     "root_usb",
     {{"sg7", 1}, {"sg9", 2}}},
};

void PrintTo(const Layout &l, std::ostream *os) {
    *os << l.name;
}

class KernelLayout : public ::testing::TestWithParam<Layout> {};

TEST_P(KernelLayout, EnumerationAndReverseLookupAgree) {
    const Layout &l = GetParam();
    auto app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    SysfsTree t;
    l.build(t);
    write_file("/etc/model.conf", l.model);

    std::vector<std::string> got = disk_test::enumerate(l.enclosure);
    std::vector<std::string> want;
    for (const auto &d : l.disks)
        want.push_back(d.first);
    std::sort(got.begin(), got.end());
    std::sort(want.begin(), want.end());
    EXPECT_EQ(got, want) << l.enclosure << " lists other disks than its bays hold";

    for (const auto &[sg, bay] : l.disks) {
        char enc[HAL_ID_LEN] = "";
        EXPECT_EQ(PD_Sys_Get_SE_Sys_Id(sg.c_str(), enc), 0) << sg;
        EXPECT_STREQ(enc, l.enclosure) << sg << " is listed in one enclosure, mapped to another";
        EXPECT_EQ(disk_test::reverse_bay(l.enclosure, sg), bay) << sg << " would get the wrong bay";
    }
}

INSTANTIATE_TEST_SUITE_P(Boards, KernelLayout, ::testing::ValuesIn(kLayouts),
                         [](const ::testing::TestParamInfo<Layout> &info) {
                             return std::string(info.param.name);
                         });

}  // namespace
