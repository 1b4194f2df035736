// USB enclosures on a virtual appliance with a USB 3 controller and its twin root hubs: a
// managed expansion box on chassis port 1 (its SuperSpeed hub on root port 1, its USB 2 twin, the
// maker's own device, on root port 3 with the PIC's serial adapter), a plain hub with a hub
// behind it on chassis port 2, a USB 2 hub on a port listed for both speeds, and the things that
// are no enclosure: a disk on a port, a hub on a port the model doesn't list, the box's inner
// hub. Every id found must be described, its disks must come back to it and to their slots.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "controllers/monitor_quit.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "nashal/pic_sys.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/clock.h"
#include "sim/controller_emulator.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;
using nashal::test::eventually;
using nashal::test::quit_monitor;

namespace {

constexpr uint32_t kClassXhci = 0x0c0330;
constexpr uint16_t kBoxVendor = 0x1e4e;
constexpr uint16_t kBoxProduct = 0x5a31;
constexpr uint16_t kOwnVendor = 0xfff0;  // the maker's vendor id, as the library's placeholder

const char kModel[] =
    "[System Enclosure]\nCAP = 0x100000\n"
    "[Usb Enclosure]\nMAX_PORT_NUM = 5\nUSB3_PORT_BITMAP = 0x4\n"
    "[Usb Port 1]\nDEV_BUS = B00:D20:F0\nDEV_PORT_SS = 1\nDEV_PORT_NS = 3\n"
    "[Usb Port 2]\nDEV_BUS = B00:D20:F0\nDEV_PORT = 2\n"
    "[Usb Port 3]\nDEV_PORT = 6\n"
    "[Usb Port 4]\nMULTI_DEVICE = 2\nDEV_BUS = B00:D31:F0\nDEV_PORT = 4\n"
    "[Usb Port 4-1]\nDEV_BUS = B00:D20:F0\nDEV_PORT_SS = 4\nDEV_PORT_NS = 4\n"
    "[Usb Port 4-2]\nDEV_BUS = B00:D20:F0\nDEV_DOMAIN = 0\nDEV_PORT = 5\n"
    "[Usb Port 5]\nDEV_BUS = B00:D20:F0\nDEV_PORT = 7\n";

const char kModelExt[] =
    "[External Enclosure]\nMAX_SUPPORT_TYPE_COUNT = 1\n"
    "[External Type 1]\nPRODUCT_ID = 5a31\nMODEL = EX-400\nCAP = 0x400000\n"
    "MAX_FAN_NUM = 2\nMAX_TEMP_NUM = 1\nMAX_PORT_NUM = 3\n"
    "FAN_1 = I1\nFAN_2 = I2\nPort_PIC = 3\n"
    "Port1 = 1\nPort2 = 2\nPort3 = 4.1\n";

// A USB-to-SATA bridge on a port; with a host number, a disk behind it.
std::string bridge(SysfsTree &t, const std::string &hub, int port, const char *speed, int host,
                   int sg) {
    UsbDesc d{kBoxVendor, 0x0001, "Bridge", "", "", speed, 0};
    auto dev = t.usb_device(hub, port, d);
    auto intf = t.usb_interface(dev, 0, 8);
    if (host >= 0) {
        auto h = t.scsi_host(intf, host);
        t.scsi_device(h, {host, 0, 0, 0}, ScsiDesc::disk(sg, "", "ATA", "D"));
    }
    return dev;
}

class UsbEnclosures : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
        write_file("/etc/model.conf", kModel);
        write_file("/etc/model_ext.conf", kModelExt);
        SysfsTree t;
        auto xhci = t.pci_function(t.pci_root(0, 0), 0, 0, 0x14, 0, kClassXhci);
        hs_ = t.usb_root_hub(xhci, 1, 8, "480");
        ss_ = t.usb_root_hub(xhci, 2, 8, "5000");
        // The box: SuperSpeed hub 2-1 with bridges on its ports 1, 2 and, behind inner hub
        // 2-1.4, 4.1; disks in slots 1 and 3.
        box_ = t.usb_device(ss_, 1, {kBoxVendor, kBoxProduct, "EX Box", "Vornix", "", "5000", 4});
        bridge(t, box_, 1, "5000", 6, 5);
        bridge(t, box_, 2, "5000", -1, 0);
        inner_ = t.usb_device(box_, 4, {kBoxVendor, 0x0002, "Hub", "", "", "5000", 2});
        bridge(t, inner_, 1, "5000", 7, 6);
        // Its USB 2 twin is the maker's own device and carries the PIC's serial adapter.
        auto twin = t.usb_device(hs_, 3, {kOwnVendor, 0xff01, "EX Box", "", "", "480", 4});
        auto serial = t.usb_device(twin, 3, {0x0403, 0x6001, "Serial", "", "", "12", 0});
        t.usb_serial(t.usb_interface(serial, 0, 0xff), 0);
        // A plain hub with a hub behind it; a disk on each.
        hub_ = t.usb_device(hs_, 2, {0x05e3, 0x0608, "USB2.0 Hub", "Genesys", "", "480", 4});
        bridge(t, hub_, 1, "480", 8, 7);
        auto sub = t.usb_device(hub_, 4, {0x05e3, 0x0608, "USB2.0 Hub", "Genesys", "", "480", 2});
        bridge(t, sub, 2, "480", 9, 8);
        // A USB 2 hub on a port listed for both speeds; a disk on a listed port; a hub on a
        // SuperSpeed port that no section lists; a hub on port 7, missing for now.
        t.usb_device(hs_, 4, {0x05e3, 0x0610, "Hub", "", "", "480", 2});
        bridge(t, hs_, 5, "480", 10, 9);
        t.usb_device(ss_, 3, {0x05e3, 0x0620, "Hub", "", "", "5000", 2});
        tree_ = std::make_unique<SysfsTree>(t);
    }
    std::vector<std::string> enumerate() {
        char *ids[16] = {};
        int n = usb_expander_enumerate(ids, 16);
        std::vector<std::string> out;
        for (int i = 0; i < std::min(n, 16); ++i) {
            out.push_back(ids[i]);
            free(ids[i]);
        }
        EXPECT_EQ(n, static_cast<int>(out.size()));
        return out;
    }
    std::vector<std::string> disks(const char *enc_sys_id) {
        char *list[8] = {};
        int n = pd_sys_enumerate(enc_sys_id, list, 8);
        std::vector<std::string> out;
        for (int i = 0; i < std::min(n, 8); ++i) {
            out.push_back(list[i]);
            free(list[i]);
        }
        std::sort(out.begin(), out.end());
        return out;
    }

    Appliance app_ = Appliance::fresh();
    std::unique_ptr<SysfsTree> tree_;
    std::string hs_, ss_, box_, inner_, hub_;
};

}  // namespace

TEST_F(UsbEnclosures, EachKindIsFoundOnceAndDescribed) {
    std::vector<std::string> ids = enumerate();
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, (std::vector<std::string>{"usb_1-2", "usb_1-2.4", "usb_1-4", "usb_2-1"}))
        << "the box once, none of its inner hubs, its twin (the maker's device) never, the USB 2 "
           "hub only through the port list of its speed, no disk, no unlisted port";

    struct Row {
        const char *id;
        const char *parent;
        int parent_port;
        const char *model;
        int max_disk_num;
        uint32_t capability;
    };
    const Row rows[] = {
        {"usb_2-1", "root_usb", 1, "EX-400", 3, 0x400000u | CAP_INTERNAL},
        {"usb_1-2", "root_usb", 2, "USB2.0 Hub", 4, 0},
        {"usb_1-2.4", "usb_1-2", 0, "USB2.0 Hub", 2, 0},
        {"usb_1-4", "root_usb", 4, "Hub", 2, 0},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.id);
        ENC_INFO info = {};
        ASSERT_EQ(usb_expander_getinfo(row.id, &info), 0);
        EXPECT_STREQ(info.enc_sys_id, row.id);
        EXPECT_STREQ(info.enc_parent_sys_id, row.parent);
        EXPECT_EQ(info.enc_parent_port_id, row.parent_port);
        EXPECT_STREQ(info.model, row.model);
        EXPECT_EQ(info.max_disk_num, row.max_disk_num);
        EXPECT_EQ(info.capability, row.capability);
        EXPECT_EQ(info.protocol, 2);
        EXPECT_EQ(info.enc_id, -1);
    }
    ENC_INFO box = {};
    ASSERT_EQ(usb_expander_getinfo("usb_2-1", &box), 0);
    EXPECT_STREQ(box.vendor, "Vornix");
    EXPECT_EQ(box.max_fan_num, 2);
    EXPECT_EQ(box.max_temp_num, 1);

    // What is no enclosure has no description either.
    for (const char *id : {"usb_2-3", "usb_1-3", "usb_2-1.4", "usb_9-9", "sg3", "usb_"}) {
        ENC_INFO info = {};
        EXPECT_EQ(usb_expander_getinfo(id, &info), -1) << id;
    }
}

TEST_F(UsbEnclosures, DisksLandInTheirSlotsAndComeBackToTheirEnclosure) {
    EXPECT_EQ(disks("usb_2-1"), (std::vector<std::string>{"sg5", "sg6"}));
    EXPECT_EQ(disks("usb_1-2"), (std::vector<std::string>{"sg7"}));
    EXPECT_EQ(disks("usb_1-2.4"), (std::vector<std::string>{"sg8"}));

    const struct {
        const char *sg;
        const char *enclosure;
        int slot;  // in the box; 0: not asked
    } rows[] = {{"sg5", "usb_2-1", 1},
                {"sg6", "usb_2-1", 3},
                {"sg7", "usb_1-2", 0},
                {"sg8", "usb_1-2.4", 0}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.sg);
        char enc[32] = {};
        ASSERT_EQ(PD_Sys_Get_SE_Sys_Id(row.sg, enc), 0);
        EXPECT_STREQ(enc, row.enclosure);
        if (row.slot) {
            PD_INFO pd = {};
            EXPECT_EQ(get_usb_expander_port("2-1", row.sg, 1, &pd), 0);
            EXPECT_EQ(pd.port_id, row.slot);
        }
    }
    PD_INFO pd = {};
    EXPECT_EQ(get_usb_expander_port("2-1", "sg7", 1, &pd), -1) << "a disk of another hub";
    EXPECT_EQ(pd.port_id, -1);

    // A disk put into the empty slot 2 is found at once, and taken out, is gone.
    auto added = bridge(*tree_, box_, 2, "5000", 11, 10);
    EXPECT_EQ(disks("usb_2-1"), (std::vector<std::string>{"sg10", "sg5", "sg6"}));
    EXPECT_EQ(get_usb_expander_port("2-1", "sg10", 1, &pd), 0);
    EXPECT_EQ(pd.port_id, 2);
    remove_tree(box_ + "/2-1.1");
    EXPECT_EQ(disks("usb_2-1"), (std::vector<std::string>{"sg10", "sg6"}));
}

TEST_F(UsbEnclosures, ASecondHubOnABoxPortIsNoSlotOfTheBox) {
    // An inner hub's port that "Port%d" doesn't name holds no slot: its disk is not the box's.
    auto inner2 = tree_->usb_device(inner_, 2, {kBoxVendor, 0x0001, "Bridge", "", "", "5000", 0});
    auto intf = tree_->usb_interface(inner2, 0, 8);
    tree_->scsi_device(tree_->scsi_host(intf, 12), {12, 0, 0, 0}, ScsiDesc::disk(11, "", "A", "D"));
    EXPECT_EQ(disks("usb_2-1"), (std::vector<std::string>{"sg5", "sg6"}));
}

TEST_F(UsbEnclosures, ModelFaultsEndOnlyTheirPort) {
    // Port 1 without its bus, port 2 listing a port nothing is on twice.
    std::string model = kModel;
    model.replace(model.find("[Usb Port 1]\nDEV_BUS = B00:D20:F0\n"),
                  sizeof "[Usb Port 1]\nDEV_BUS = B00:D20:F0\n" - 1, "[Usb Port 1]\n");
    write_file("/etc/model.conf", model);
    std::vector<std::string> ids = enumerate();
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, (std::vector<std::string>{"usb_1-2", "usb_1-2.4", "usb_1-4"}));
    ENC_INFO info = {};
    EXPECT_EQ(usb_expander_getinfo("usb_2-1", &info), -1)
        << "a box on a port the model no longer describes is on no chassis port";

    // A controller the model names but the machine hasn't: nothing, no failure.
    write_file("/etc/model.conf",
               "[Usb Enclosure]\nMAX_PORT_NUM = 1\n"
               "[Usb Port 1]\nDEV_BUS = B03:D00:F0\nDEV_PORT = 1\n");
    EXPECT_TRUE(enumerate().empty());
    // No "Usb Enclosure" at all.
    write_file("/etc/model.conf", "[System Enclosure]\nCAP = 0x100000\n");
    EXPECT_TRUE(enumerate().empty());

    // The twin missing: the box still enumerates, but its controller can't be reached.
    write_file("/etc/model.conf", kModel);
    remove_tree(hs_ + "/1-3");
    remove_tree("/sys/bus/usb/devices/1-3");
    EXPECT_EQ(enumerate().size(), 4u);
    char device[32] = {};
    EXPECT_EQ(usb_expander_get_PIC_devname("2-1", device, sizeof device), -1);
}

TEST_F(UsbEnclosures, FewerPlacesThanIdsStoresWhatFitsAndCountsAll) {
    char *ids[2] = {};
    EXPECT_EQ(usb_expander_enumerate(ids, 2), 4);
    for (char *id : ids) {
        ASSERT_NE(id, nullptr);
        free(id);
    }
    EXPECT_EQ(usb_expander_enumerate(nullptr, 0), 4);
}

TEST_F(UsbEnclosures, SerialAdapterIsFoundAcrossTheTwin) {
    char device[32] = {};
    EXPECT_EQ(usb_expander_get_PIC_devname("2-1", device, sizeof device), 0);
    EXPECT_STREQ(device, "/dev/ttyUSB0");
    int64_t before = clock_slept_us();
    EXPECT_EQ(se_sys_get_PIC_devname("usb_2-1", device, sizeof device), 0);
    EXPECT_EQ(se_sys_get_MCU_devname("usb_2-1", device, sizeof device), 0);
    EXPECT_STREQ(device, "/dev/ttyUSB0");
    EXPECT_EQ(clock_slept_us(), before) << "found at the first look";

    // The box has no panel: -2 at once. A plain hub has no controller: three looks, 2 s.
    EXPECT_EQ(se_sys_get_LCM_devname("usb_2-1", device, sizeof device), -2);
    EXPECT_EQ(se_sys_get_LCM_devname("usb_1-2", device, sizeof device), -2);
    EXPECT_EQ(clock_slept_us(), before);
    EXPECT_EQ(se_sys_get_PIC_devname("usb_1-2", device, sizeof device), -1);
    EXPECT_EQ(clock_slept_us() - before, 2000000);

    char name[32] = {};
    int other = 0;
    EXPECT_EQ(usb_expander_get_companion_port(0, "B00:D20:F0", 0, 1, &other), 0);
    EXPECT_EQ(other, 3) << "chassis port 1 is root port 1 at super speed, 3 at USB 2";
    EXPECT_EQ(usb_expander_get_companion_port(0, "B00:D20:F0", 0, 2, &other), 0);
    EXPECT_EQ(other, 2);
    EXPECT_EQ(usb_expander_get_companion_port(0, "B00:D20:F0", 1, 1, &other), -1);
    char bus[32] = "2-1";
    EXPECT_EQ(usb_expander_get_ext_device_bus(bus, 5, name, sizeof name), 0);
    EXPECT_STREQ(name, "1-3.5:1.0");
    char no_dash[32] = "21";
    EXPECT_EQ(usb_expander_get_ext_device_bus(no_dash, 5, name, sizeof name), -1);
}

TEST_F(UsbEnclosures, ControlsReachTheBoxControllerOnly) {
    // The monitor keeps the controller's readings in its files, named by the box's port path.
    write_file("/tmp/em/em_2-1.sys_temp", "41");
    write_file("/tmp/em/em_2-1.fan2_err", "0");
    write_file("/tmp/em/em_2-1.fan2_speed", "1860");
    write_file("/tmp/em/em_2-1.pwr1_err", "0");
    double temp = 0;
    EXPECT_EQ(se_sys_get_temp("usb_2-1", 1, &temp), 0);
    EXPECT_EQ(temp, 41.0);
    EXPECT_EQ(se_sys_get_temp("usb_2-1", 2, &temp), -1) << "the box has one sensor";
    int speed = 0, status = -1;
    EXPECT_EQ(se_sys_get_fan_speed("usb_2-1", 1, &speed, &status), 0);
    EXPECT_EQ(speed, 1860);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(se_sys_get_fan_speed("usb_2-1", 2, &speed, &status), -1);
    EXPECT_EQ(se_sys_get_power_supply_status("usb_2-1", 1, &status), 0);
    // The status LED and the buzzer: the commands reach the box's monitor, which isn't running
    // here, so the sends fail; a plain hub sends nothing and fails as well.
    EXPECT_EQ(se_sys_set_status_led("usb_2-1", 2, 1), -1) << "no steady colour 2";
    EXPECT_EQ(se_sys_set_buzzer("usb_2-1", 1), -1) << "the buzzer always answers -1";
    for (const char *id : {"usb_1-2", "usb_1-4"}) {
        EXPECT_EQ(se_sys_get_temp(id, 1, &temp), -1) << id;
        EXPECT_EQ(se_sys_get_fan_speed(id, 0, &speed, &status), -1) << id;
        EXPECT_EQ(se_sys_get_power_supply_status(id, 1, &status), -1) << id;
        char sn[33] = {};
        EXPECT_EQ(se_sys_get_board_sn(id, sn, sizeof sn), -1) << id;
    }
}

TEST_F(UsbEnclosures, ChassisPortQueries) {
    int count = -1;
    EXPECT_EQ(se_sys_get_usb_port_count("root_usb", &count), 0);
    EXPECT_EQ(count, 5);
    uint32_t bitmap = 0;
    EXPECT_EQ(se_sys_get_usb3_port("root_usb", &bitmap), 0);
    EXPECT_EQ(bitmap, 0x4u);
    EXPECT_EQ(se_sys_get_usb3_port("root", &bitmap), -1);
    char text[64] = "untouched";
    EXPECT_EQ(se_sys_get_usb_port_bus("root_usb", 3, text), 0);
    EXPECT_STREQ(text, "untouched") << "port 3 names no bus";
    EXPECT_EQ(se_sys_get_usb_port_bus("root_usb", 4, text), 0);
    EXPECT_STREQ(text, "P0000:B00:D20:F0 ") << "the sub-sections' bus";
    write_file("/etc/model.conf", "[System Enclosure]\nCAP = 0\n");
    EXPECT_EQ(se_sys_get_usb_port_count("root_usb", &count), -1);
    EXPECT_EQ(se_sys_get_usb3_port("root_usb", &bitmap), 0);
    EXPECT_EQ(bitmap, 0u);
}

TEST_F(UsbEnclosures, BoxAttachStartsItsMonitorAndReadsTheSerialNumber) {
    auto emu = ControllerEmulator::attach(ControllerKind::Pic, "/dev/ttyUSB0");
    ASSERT_NE(emu, nullptr);
    emu->set_serial("EX4B0007");
    ENC_INFO info = {};
    ASSERT_EQ(se_sys_getinfo("usb_2-1", &info), 0);
    EXPECT_STREQ(info.serial, "EX4B0007");
    EXPECT_EQ(pic_sys_check_daemon_exist("2-1"), 1) << "its monitor runs, named by the port path";
    // Its status LED is driven through the monitor: steady red, then blinking both colours.
    EXPECT_EQ(se_sys_set_status_led("usb_2-1", 0, 1), 0);
    EXPECT_EQ(se_sys_blink_status_led("usb_2-1", 2, 1), 0);
    eventually([&] { return emu->last_command(68, 73) == 72; });
    Bytes sent = emu->commands();
    EXPECT_NE(std::find(sent.begin(), sent.end(), 71), sent.end());
    EXPECT_EQ(emu->last_command(68, 73), 72);
    quit_monitor("2-1");
    emu.reset();
}

TEST_F(UsbEnclosures, HubPluggedIntoAListedPortIsFoundAndGoneWhenUnplugged) {
    EXPECT_EQ(enumerate().size(), 4u);
    auto hub = tree_->usb_device(hs_, 7, {0x05e3, 0x0608, "Hub", "", "", "480", 4});
    std::vector<std::string> ids = enumerate();
    EXPECT_NE(std::find(ids.begin(), ids.end(), "usb_1-7"), ids.end());
    ENC_INFO info = {};
    ASSERT_EQ(usb_expander_getinfo("usb_1-7", &info), 0);
    EXPECT_EQ(info.enc_parent_port_id, 5);
    remove_tree(hub);
    remove_tree("/sys/bus/usb/devices/1-7");
    EXPECT_EQ(enumerate().size(), 4u);
    EXPECT_EQ(usb_expander_getinfo("usb_1-7", &info), -1);
}

TEST_F(UsbEnclosures, ScanAttachesEachOnceAndADetachKeepsTheOthers) {
    // Without its controller in the type the box attaches without a monitor.
    std::string ext = kModelExt;
    ext.replace(ext.find("CAP = 0x400000"), sizeof "CAP = 0x400000" - 1, "CAP = 0x0");
    write_file("/etc/model_ext.conf", ext);
    ASSERT_TRUE(make_dirs("/etc/config"));
    SE_Scan();
    const char *ids[] = {"usb_2-1", "usb_1-2", "usb_1-2.4", "usb_1-4"};
    int first[4] = {};
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(SE_Get_Id_By_Sys_Id(ids[i], &first[i]), 0) << ids[i];
        EXPECT_GT(first[i], 0) << ids[i];
    }
    SE_Scan();
    EXPECT_EQ(SE_Sys_Attach("usb_1-2.4", 0), SE_Sys_Attach("usb_1-2.4", 0));
    int all[32] = {};
    const int before = SE_Enumerate(all, 32, nullptr, nullptr);
    for (int i = 0; i < 4; ++i) {
        int again = 0;
        EXPECT_EQ(SE_Get_Id_By_Sys_Id(ids[i], &again), 0);
        EXPECT_EQ(again, first[i]) << ids[i] << " keeps its id";
    }

    // The box is unplugged: it leaves, the hubs stay where they were.
    remove_tree(box_);
    remove_tree("/sys/bus/usb/devices/2-1");
    EXPECT_EQ(SE_Sys_Exist("usb_2-1"), 0);
    SE_Sys_Pre_Detach("usb_2-1");
    SE_Sys_Detach("usb_2-1");
    EXPECT_EQ(SE_Enumerate(all, 32, nullptr, nullptr), before - 1);
    for (int i = 1; i < 4; ++i) {
        int again = 0;
        EXPECT_EQ(SE_Get_Id_By_Sys_Id(ids[i], &again), 0);
        EXPECT_EQ(again, first[i]) << ids[i];
    }
}
