// Slot lookups on small boards built for each case: how a port number becomes a SCSI host or
// target, how a PCIe switch is crossed, which slots are skipped, the USB path shapes, the boot
// flash id, the wait for a block device, and sysfs that is not as it should be.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "nashal/pd_sys.h"
#include "sim/appliance.h"
#include "sim/clock.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

namespace {

class RootLookup : public ::testing::Test {
  protected:
    void SetUp() override {
        app_ = std::make_unique<Appliance>(Appliance::fresh());
        ASSERT_TRUE(app_->activate());
        root_ = t_.pci_root(0, 0);
    }
    void model(const std::string &text) { write_file("/etc/model.conf", text); }
    std::vector<std::string> enumerate(const char *enc) {
        char *list[MAX_PD_SYS_ENUM] = {};
        int n = pd_sys_enumerate(enc, list, MAX_PD_SYS_ENUM);
        std::vector<std::string> out;
        for (int i = 0; i < n && i < MAX_PD_SYS_ENUM; ++i) {
            out.push_back(list[i]);
            free(list[i]);
        }
        return out;
    }
    std::string lookup(const char *bus, int port, int switch_port = -1) {
        char id[HAL_ID_LEN] = "";
        return lookup_disk_in_root(0, bus, nullptr, port, switch_port, id) == 0 ? id : "none";
    }

    std::unique_ptr<Appliance> app_;
    SysfsTree t_;
    std::string root_;
};

TEST_F(RootLookup, PortIsAHostOfItsOwnOnAtaControllersAndATargetOnSingleHostOnes) {
    // AHCI: ports 0-3 are ata1-ata4 with hosts 4-7 (another controller took 0-3).
    auto ahci = t_.pci_function(root_, 0, 0, 0x1f, 2, kPciClassAhci);
    for (int p = 0; p < 4; ++p) {
        auto h = t_.ahci_port(ahci, p + 1, p + 4);
        t_.scsi_device(h, {p + 4, 0, 0, 0}, ScsiDesc::disk(p, "", "ATA", "D"));
    }
    // A RAID-style controller: one host, the port is the target.
    auto raid = t_.pci_function(root_, 0, 0, 3, 0, kPciClassRaid);
    auto h = t_.scsi_host(raid, 9);
    t_.scsi_device(h, {9, 0, 2, 0}, ScsiDesc::disk(20, "", "ATA", "D"));
    t_.scsi_device(h, {9, 0, 3, 0}, ScsiDesc::disk(21, "", "ATA", "D"));

    EXPECT_EQ(lookup("B00:D31:F2", 0), "sg0");
    EXPECT_EQ(lookup("B00:D31:F2", 2), "sg2") << "DEV_PORT is added to the lowest host";
    EXPECT_EQ(lookup("B00:D03:F0", 3), "sg21") << "with one host DEV_PORT is the target";
    EXPECT_EQ(lookup("B00:D03:F0", 1), "none") << "an empty bay";

    // A port no controller has, as a model file mistyped by hand gives it: nothing is found,
    // the log says why, and the host number doesn't wrap round to a real host.
    for (int port : {2147483647, 65535 - 4 + 1, -1}) {
        unlink("/var/log/hal_lib.log");
        EXPECT_EQ(lookup("B00:D31:F2", port), "none") << "DEV_PORT = " << port;
        EXPECT_NE(read_file("/var/log/hal_lib.log").find("get_sdev_host("), std::string::npos)
            << "DEV_PORT = " << port << " out of range left no trace";
    }
    EXPECT_EQ(lookup("B00:D03:F0", 2147483647), "none") << "with one host it is a target number";
}

TEST_F(RootLookup, SwitchNeedsTheDownstreamPortOfTheSlot) {
    auto rp = t_.pci_bridge(root_, 0, 0, 1, 0, 1);
    auto sw = t_.pcie_switch(rp, 0, 1, 2);
    for (int d = 0; d < 2; ++d) {
        auto ahci = t_.pci_function(sw.downstream[d], 0, sw.downstream_bus[d], 0, 0, kPciClassAhci);
        auto h = t_.ahci_port(ahci, d + 1, d);
        t_.scsi_device(h, {d, 0, 0, 0}, ScsiDesc::disk(d, "", "ATA", "D"));
    }
    EXPECT_EQ(lookup("B00:D01:F0", 0, 0), "sg0");
    EXPECT_EQ(lookup("B00:D01:F0", 0, 1), "sg1");
    EXPECT_EQ(lookup("B00:D01:F0", 0, -1), "none")
        << "a switch without PCI_SWITCH_PORT can't pick a downstream port";
}

TEST_F(RootLookup, SlotWithoutPortIsSkippedAndLaterSlotsStillCount) {
    auto ahci = t_.pci_function(root_, 0, 0, 0x1f, 2, kPciClassAhci);
    for (int p = 0; p < 2; ++p)
        t_.scsi_device(t_.ahci_port(ahci, p + 1, p), {p, 0, 0, 0},
                       ScsiDesc::disk(p, "", "ATA", "D"));
    model(
        "[System Disk 1]\nDEV_BUS = B00:D31:F2\n"
        "[System Disk 2]\nDEV_BUS = B00:D31:F2\nDEV_PORT = 1\n"
        "[System Disk 3]\nDEV_PORT = 0\n");
    EXPECT_EQ(enumerate("root"), std::vector<std::string>{"sg1"});
}

TEST_F(RootLookup, EsataPortWhoseControllerIsGoneTakesOneOffTheCount) {
    // The eSATA count has always gone down by one for a port whose PCI bus is not there; the
    // disk found on the other port is then not listed, and its text must not leak.
    auto ahci = t_.pci_function(root_, 0, 0, 0x1f, 2, kPciClassAhci);
    t_.scsi_device(t_.ahci_port(ahci, 1, 0), {0, 0, 0, 0}, ScsiDesc::disk(0, "", "ATA", "D"));
    model(
        "[Esata Disk 1]\nDEV_BUS = B05:D00:F0\nDEV_PORT = 0\n"
        "[Esata Disk 2]\nDEV_BUS = B00:D31:F2\nDEV_PORT = 0\n");
    char *list[MAX_PD_SYS_ENUM] = {};
    EXPECT_EQ(pd_sys_enumerate("root_esata", list, MAX_PD_SYS_ENUM), 0);
    EXPECT_EQ(list[0], nullptr)
        << "a text past the count was left in the list: the caller frees only what the count "
           "covers, so it leaks";

    model("[Esata Disk 1]\nDEV_BUS = B00:D31:F2\nDEV_PORT = 0\n");
    EXPECT_EQ(enumerate("root_esata"), std::vector<std::string>{"sg0"});
}

TEST_F(RootLookup, SecondHubLevelLooksTwoHubsDeep) {
    auto xhci = t_.pci_function(root_, 0, 0, 0x14, 0, kPciClassXhci);
    auto rh = t_.usb_root_hub(xhci, 4, 4, "480");
    UsbDesc hub;
    hub.maxchild = 4;
    auto h1 = t_.usb_device(rh, 1, hub);
    auto h2 = t_.usb_device(h1, 1, hub);
    UsbDesc disk;
    auto dev = t_.usb_device(h2, 3, disk);
    auto intf = t_.usb_interface(dev, 0, 8);
    ASSERT_NE(intf.find("/usb4/4-1/4-1.1/4-1.1.3/4-1.1.3:1.0"), std::string::npos);
    t_.scsi_device(t_.scsi_host(intf, 6), {6, 0, 0, 0}, ScsiDesc::disk(3, "", "USB", "D"));
    char *list[4] = {};
    EXPECT_EQ(lookup_disk_in_root_usb_hub(0, "B00:D20:F0", nullptr, 3, 2, -1, 0, list, 4), 1);
    ASSERT_NE(list[0], nullptr);
    EXPECT_STREQ(list[0], "sg3");
    free(list[0]);
    EXPECT_EQ(lookup_disk_in_root_usb_hub(0, "B00:D20:F0", nullptr, 3, 1, -1, 0, list, 4), 0)
        << "one hub level must not find a disk two levels deep";
}

TEST_F(RootLookup, UsbCountsEveryDiskLunButStoresOnlyWhatFits) {
    auto xhci = t_.pci_function(root_, 0, 0, 0x14, 0, kPciClassXhci);
    auto rh = t_.usb_root_hub(xhci, 1, 2, "480");
    auto intf = t_.usb_interface(t_.usb_device(rh, 2, UsbDesc{}), 0, 8);
    auto host = t_.scsi_host(intf, 3);
    for (int lun = 0; lun < 4; ++lun)
        t_.scsi_device(host, {3, 0, 0, lun}, ScsiDesc::disk(lun, "", "Generic", "SD"));
    char *list[2] = {};
    EXPECT_EQ(lookup_disk_in_root_usb_hub(0, "B00:D20:F0", nullptr, 2, 0, -1, 0, list, 2), 4);
    EXPECT_NE(list[0], nullptr);
    EXPECT_NE(list[1], nullptr);
    free(list[0]);
    free(list[1]);
    EXPECT_EQ(lookup_disk_in_root_usb_hub(0, "B00:D20:F0", nullptr, 3, 0, -1, 0, list, 2), 0)
        << "a port beyond the root hub's maxchild is skipped";
}

TEST_F(RootLookup, UsbPortThatGivesUpHandsBackNoTextItDoesNotCount) {
    // A disk on one root hub of the controller, and on its twin a storage device whose LUNs
    // aren't scanned yet (a host, no target): the lookup gives 0, so any id it stored for the
    // first root hub is one the caller never frees. Several controllers, because which root
    // hub the directory lists first is up to the file system.
    for (int c = 0; c < 4; ++c) {
        auto xhci = t_.pci_function(root_, 0, 0, 0x10 + c, 0, kPciClassXhci);
        int disk_bus = 2 * c + 1 + c % 2;
        int bare_bus = 2 * c + 2 - c % 2;
        UsbDesc d;
        auto disk = t_.usb_interface(t_.usb_device(t_.usb_root_hub(xhci, disk_bus, 2), 1, d), 0, 8);
        t_.scsi_device(t_.scsi_host(disk, 20 + c), {20 + c, 0, 0, 0},
                       ScsiDesc::disk(c, "", "USB", "D"));
        auto bare = t_.usb_interface(t_.usb_device(t_.usb_root_hub(xhci, bare_bus, 2), 1, d), 0, 8);
        t_.scsi_host(bare, 30 + c);
    }
    for (int c = 0; c < 4; ++c) {
        char bus[16];
        snprintf(bus, sizeof(bus), "B00:D%02d:F0", 0x10 + c);
        char *list[4] = {};
        int n = lookup_disk_in_root_usb_hub(0, bus, nullptr, 1, 0, -1, 0, list, 4);
        int texts = 0;
        for (char *&text : list) {
            texts += text != nullptr;
            free(text);
        }
        EXPECT_EQ(texts, n) << bus << ": ids beyond the count are never freed by the caller";
    }
}

TEST_F(RootLookup, FailedDescentOrTargetTracesNameTheSlotLookup) {
    // A SAS HBA whose phy 1 leads to a port with no end device yet.
    auto hba = t_.pci_function(root_, 0, 0, 2, 0, kPciClassSas);
    auto host = t_.sas_host(hba, 3, 4);
    auto port = t_.sas_port(host, "port-3:0");
    symlink_relative(port, host + "/phy-3:1/port");
    EXPECT_EQ(lookup("B00:D02:F0", 1), "none");
    // An xHCI function on the internal bus of a PCIe switch, not behind a downstream port.
    auto rp = t_.pci_bridge(root_, 0, 0, 1, 0, 1);
    auto up = t_.pci_bridge(rp, 0, 1, 0, 0, 2);
    auto xhci = t_.pci_function(up, 0, 2, 3, 0, kPciClassXhci);
    auto intf = t_.usb_interface(t_.usb_device(t_.usb_root_hub(xhci, 1, 2), 2, UsbDesc{}), 0, 8);
    t_.scsi_device(t_.scsi_host(intf, 6), {6, 0, 0, 0}, ScsiDesc::disk(6, "", "USB", "D"));
    char *list[2] = {};
    EXPECT_EQ(lookup_disk_in_root_usb_hub(0, "B00:D01:F0", nullptr, 2, 0, 3, 0, list, 2), 1)
        << "a switch port with no bus behind it is traced and the walk goes on";
    free(list[0]);

    std::string log = read_file("/var/log/hal_lib.log");
    EXPECT_NE(log.find("lookup_disk_in_root("), std::string::npos) << log;
    EXPECT_NE(log.find("):System Internal Error"), std::string::npos) << log;
    EXPECT_NE(log.find("lookup_disk_in_root_usb_hub("), std::string::npos)
        << "the log names a helper no engineer can find: " << log;
}

TEST_F(RootLookup, FlashBootDeviceGivesExactlyOneId) {
    model(
        "[Boot Enclosure]\nMAX_DISK_NUM = 2\nDISK_DRV_TYPE = FLASH\n"
        "[Boot Disk 1]\nFLASH_SYS_ID_PREFIX = nand\n"
        "[Boot Disk 2]\nFLASH_SYS_ID_PREFIX = nand\n");
    EXPECT_EQ(enumerate("root_boot"), std::vector<std::string>{"nand_1"});
}

TEST_F(RootLookup, PcieSlotWithoutBusSaysSoOnStandardOutput) {
    model("[System PCIE SLOT 1]\nMAX_PCIE_LINK_WIDTH = 8\n");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(enumerate("root_pcie_1").empty());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Get DEV_BUS Field failed!\n");
}

TEST_F(RootLookup, PcieSlotWithMoreDisksThanTheListCountsAllAndStoresWhatFits) {
    // A card in slot 1 (root port 00:01.0) with 26 disks, and a chipset disk that is no part of
    // the slot. The count says 26 so that the caller sees it lost some; only 24 texts are
    // written, each the caller's to free, and udev hears of none.
    auto rp = t_.pci_bridge(root_, 0, 0, 1, 0, 0x21);
    auto hba = t_.pci_function(rp, 0, 0x21, 0, 0, kPciClassSas);
    auto host = t_.scsi_host(hba, 2);
    for (int i = 0; i < 26; ++i)
        t_.scsi_device(host, {2, 0, i, 0}, ScsiDesc::disk(i, "", "SEAGATE", "D"));
    auto ahci = t_.pci_function(root_, 0, 0, 0x1f, 2, kPciClassAhci);
    t_.scsi_device(t_.ahci_port(ahci, 1, 0), {0, 0, 0, 0}, ScsiDesc::disk(40, "", "ATA", "D"));
    model("[System PCIE SLOT 1]\nDEV_BUS = B00:D01:F0\n");
    clear_invocations();
    char *list[MAX_PD_SYS_ENUM + 1] = {};
    EXPECT_EQ(pd_sys_enumerate("root_pcie_1", list, MAX_PD_SYS_ENUM), 26);
    for (int i = 0; i < MAX_PD_SYS_ENUM; ++i) {
        ASSERT_NE(list[i], nullptr) << i;
        EXPECT_STRNE(list[i], "sg40") << "a disk of another controller listed in the slot";
        free(list[i]);
    }
    EXPECT_EQ(list[MAX_PD_SYS_ENUM], nullptr) << "written past the caller's list";
    EXPECT_TRUE(invocations().empty());
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("pd_sys_enumerate("), std::string::npos);
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("): System error"), std::string::npos);
}

TEST_F(RootLookup, EntryNamedHostWithoutANumberNeverPointsASlotAtAnotherControllersDisk) {
    // The chipset AHCI holds hosts 0-3; the bays' controller has host 9 and a stray "host_info"
    // entry. Taken as host 0, it would make the bays' controller look like one host per port
    // and bay 3 would light the LED of the chipset's disk on host 2.
    auto ahci = t_.pci_function(root_, 0, 0, 0x1f, 2, kPciClassAhci);
    for (int p = 0; p < 4; ++p)
        t_.scsi_device(t_.ahci_port(ahci, p + 1, p), {p, 0, 0, 0},
                       ScsiDesc::disk(p, "", "ATA", "D"));
    auto raid = t_.pci_function(root_, 0, 0, 3, 0, kPciClassRaid);
    t_.scsi_device(t_.scsi_host(raid, 9), {9, 0, 2, 0}, ScsiDesc::disk(20, "", "ATA", "D"));
    t_.attribute(raid, "host_info", "x\n");

    EXPECT_EQ(lookup("B00:D03:F0", 2), "none");
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("__get_sdev_host"), std::string::npos)
        << "the controller that can't be read must leave a trace";
}

TEST_F(RootLookup, UsbDiskFasterThanAnySpeedCodeStillGetsItsBay) {
    // A 10 Gb/s disk on a port the model lists by "DEV_PORT": its speed has no code, but it
    // was read, so the port list decides as for any other disk.
    auto xhci = t_.pci_function(root_, 0, 0, 0x14, 0, kPciClassXhci);
    auto rh = t_.usb_root_hub(xhci, 2, 2, "10000");
    UsbDesc fast;
    fast.speed = "10000";
    auto intf = t_.usb_interface(t_.usb_device(rh, 2, fast), 0, 8);
    t_.scsi_device(t_.scsi_host(intf, 5), {5, 0, 0, 0}, ScsiDesc::disk(5, "", "USB", "D"));
    model(
        "[Usb Enclosure]\nMAX_PORT_NUM = 2\n"
        "[Usb Port 1]\nDEV_BUS = B00:D20:F0\nDEV_PORT = 1\n"
        "[Usb Port 2]\nDEV_BUS = B00:D20:F0\nDEV_PORT = 2\n");
    ASSERT_EQ(enumerate("root_usb"), std::vector<std::string>{"sg5"});
    PD_INFO info{};
    info.port_id = -99;
    EXPECT_EQ(get_pd_port_id("root_usb", "sg5", 2, -1, &info), 0);
    EXPECT_EQ(info.port_id, 2) << "a disk at a speed with no code was left without its bay";
}

TEST_F(RootLookup, EachDiskTellsUdevItsEnclosureOnlyWhileUdevdRuns) {
    auto ahci = t_.pci_function(root_, 0, 0, 0x1f, 2, kPciClassAhci);
    for (int p = 0; p < 2; ++p)
        t_.scsi_device(t_.ahci_port(ahci, p + 1, p), {p, 0, 0, 0},
                       ScsiDesc::disk(p + 3, "", "ATA", "D"));
    model(
        "[System Disk 1]\nDEV_BUS = B00:D31:F2\nDEV_PORT = 0\n"
        "[System Disk 2]\nDEV_BUS = B00:D31:F2\nDEV_PORT = 1\n");
    clear_invocations();
    ASSERT_EQ(enumerate("root"), (std::vector<std::string>{"sg3", "sg4"}));
    EXPECT_EQ(invocations(), (std::vector<std::string>{
                                 "pidof udevd 1 2",
                                 "/sbin/udevadm control --env=sg3=root",
                                 "pidof udevd 1 2",
                                 "/sbin/udevadm control --env=sg4=root",
                             }))
        << "udev rules name each disk's enclosure from this command";

    write_file("/sim/answers/pidof", "== *\nexit 1\n");
    clear_invocations();
    ASSERT_EQ(enumerate("root").size(), 2u);
    for (const auto &run : invocations())
        EXPECT_EQ(run.find("udevadm"), std::string::npos) << "udevadm run without udevd: " << run;
}

class BlockDeviceWait : public RootLookup {
  protected:
    void SetUp() override {
        RootLookup::SetUp();
        auto ahci = t_.pci_function(root_, 0, 0, 0x1f, 2, kPciClassAhci);
        dev_ = t_.scsi_device(t_.ahci_port(ahci, 1, 0), {0, 0, 0, 0},
                              ScsiDesc::disk(0, "", "ATA", "D"));
    }
    void add_block() {
        write_file(dev_.device + "/block/sdc/dev", "8:32\n");
        symlink_relative(dev_.device + "/block/sdc", "/sys/block/sdc");
        symlink_relative(dev_.device, dev_.device + "/block/sdc/device");
    }
    ScsiDevice dev_;
};

TEST_F(BlockDeviceWait, BlockDeviceThatAppearsAfterFiveSecondsIsFound) {
    clock_at(5000000, [this] { add_block(); });
    char name[32] = "";
    int64_t before = clock_slept_us();
    EXPECT_EQ(get_sd_name("sg0", name, sizeof(name)), 0);
    EXPECT_STREQ(name, "/dev/sdc");
    EXPECT_EQ(clock_slept_us() - before, 5000000);
}

TEST_F(BlockDeviceWait, BlockDeviceThatNeverAppearsFailsAfterThirtySeconds) {
    char name[32] = "";
    int64_t before = clock_slept_us();
    EXPECT_EQ(get_sd_name("sg0", name, sizeof(name)), -1);
    EXPECT_EQ(clock_slept_us() - before, 30000000) << "the wait is 30 seconds, no more";
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("get_sd_name"), std::string::npos)
        << "a disk left out for want of a block device must leave a trace";
}

TEST_F(RootLookup, MalformedSysfsFailsWithoutACrash) {
    auto ahci = t_.pci_function(root_, 0, 0, 0x1f, 2, kPciClassAhci);
    auto d0 =
        t_.scsi_device(t_.ahci_port(ahci, 1, 0), {0, 0, 0, 0}, ScsiDesc::disk(0, "", "ATA", "D"));
    auto d1 =
        t_.scsi_device(t_.ahci_port(ahci, 2, 1), {1, 0, 0, 0}, ScsiDesc::disk(1, "", "ATA", "D"));
    auto d2 =
        t_.scsi_device(t_.ahci_port(ahci, 3, 2), {2, 0, 0, 0}, ScsiDesc::disk(2, "", "ATA", "D"));
    write_file(d0.generic + "/dev", "8:0\n");  // a block major where the generic one belongs
    remove_tree(d1.generic + "/dev");          // no generic/dev at all
    EXPECT_EQ(lookup("B00:D31:F2", 0), "none");
    EXPECT_EQ(lookup("B00:D31:F2", 1), "none");
    EXPECT_EQ(lookup("B00:D31:F2", 2), "sg2");

    // A link cut short: the sg node's link ends before the device.
    remove_tree("/sys/class/scsi_generic/sg2");
    symlink_exact("../../devices/pci0000:00/0000:00:1f.2/ata3", "/sys/class/scsi_generic/sg2");
    int port = -7;
    int sw = -7;
    char enc[HAL_ID_LEN] = "";
    EXPECT_EQ(get_physical_drive_port("sg2", &port, &sw), -1);
    EXPECT_EQ(port, -7);
    // Undecided: no slot lists the disk and it is on no enclosure services device. The answer
    // is 0 with an empty id and a trace, never a bay of the main unit.
    EXPECT_EQ(PD_Sys_Get_SE_Sys_Id("sg2", enc), 0);
    EXPECT_STREQ(enc, "");
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("PD_Sys_Get_SE_Sys_Id("), std::string::npos)
        << "an enclosure left undecided must leave a trace";

    // A controller whose class is neither storage nor bridge.
    auto odd = t_.pci_function(root_, 0, 0, 5, 0, 0x020000);
    t_.scsi_device(t_.scsi_host(odd, 7), {7, 0, 0, 0}, ScsiDesc::disk(7, "", "ATA", "D"));
    EXPECT_EQ(get_physical_drive_port("sg7", &port, &sw), -1);

    // A link whose address names a host far below the controller's: the port would be the
    // difference, and no port of this controller can be made of it.
    auto ahci2 = t_.pci_function(root_, 0, 0, 0x1f, 5, kPciClassAhci);
    t_.scsi_device(t_.ahci_port(ahci2, 1, 4), {4, 0, 0, 0}, ScsiDesc::disk(8, "", "ATA", "D"));
    symlink_exact(
        "../../devices/pci0000:00/0000:00:1f.5/ata1/host4/target4:0:0/"
        "-2147483648:0:0:0/scsi_generic/sg9",
        "/sys/class/scsi_generic/sg9");
    unlink("/var/log/hal_lib.log");
    port = -7;
    EXPECT_EQ(get_physical_drive_port("sg9", &port, &sw), -1);
    EXPECT_EQ(port, -7);
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("get_physical_drive_port("), std::string::npos)
        << "a host the controller can't have left no trace";
}

}  // namespace
