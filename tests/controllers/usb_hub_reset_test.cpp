// A USB expansion enclosure whose own hub came up without one of its ports: the monitor's look
// finds the first missing port, names the hub in front of it by bus and device number, and
// gives up a port only after the second look, two seconds later.
#include <gtest/gtest.h>

#include <string>

#include "nashal/hal_trace.h"
#include "nashal/pic_sys.h"
#include "sim/appliance.h"
#include "sim/clock.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

namespace {

class UsbHubReset : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
        // A maker's box with a PIC whose hub lists ports 1, 2 and 4.1 (behind a second hub).
        write_file("/etc/model.conf", "[System Enclosure]\nCAP = 0x100000\n");
        write_file("/etc/model_ext.conf",
                   "[External Enclosure]\nMAX_SUPPORT_TYPE_COUNT = 1\n"
                   "[External Type 1]\nPRODUCT_ID = 5a31\nMAX_PORT_NUM = 3\n"
                   "Port1 = 1\nPort2 = 2\nPort3 = 4.1\n");
        SysfsTree t;
        auto root = t.pci_root(0, 0);
        auto xhci = t.pci_function(root, 0, 0, 0x14, 0, 0x0c0330);
        auto bus = t.usb_root_hub(xhci, 1, 4);
        box_ = t.usb_device(bus, 2, {0x1e4e, 0x5a31, "Expansion Box", "", "", "480", 4});
        write_file(box_ + "/devnum", "3\n");
        t.usb_device(box_, 1, {0x1e4e, 0x0001, "Bridge", "", "", "480", 0});
        port2_ = t.usb_device(box_, 2, {0x1e4e, 0x0001, "Bridge", "", "", "480", 0});
        auto hub = t.usb_device(box_, 4, {0x1e4e, 0x0002, "Hub", "", "", "480", 2});
        write_file(hub + "/devnum", "7\n");
        tree_ = std::make_unique<SysfsTree>(t);
        hub_ = hub;
    }
    Appliance app_ = Appliance::fresh();
    std::unique_ptr<SysfsTree> tree_;
    std::string box_, port2_, hub_;
};

}  // namespace

TEST_F(UsbHubReset, FirstMissingPortNamesTheHubInFrontOfIt) {
    int bus = -1, dev = -1;
    int64_t before = clock_slept_us();
    EXPECT_EQ(check_usb_expander_all_ports_exist("usb_1-2", &bus, &dev), 0);
    EXPECT_EQ(bus, 1);
    EXPECT_EQ(dev, 7) << "port 4.1 sits behind the hub at 1-2.4";
    EXPECT_EQ(clock_slept_us() - before, 2000000) << "two looks a second apart, then a second";
    EXPECT_NE(
        read_file("/var/log/hal_lib.log").find("usb node = /sys/bus/usb/devices/1-2.4.1 not exist"),
        std::string::npos);

    tree_->usb_device(hub_, 1, {0x1e4e, 0x0001, "Bridge", "", "", "480", 0});
    EXPECT_EQ(check_usb_expander_all_ports_exist("usb_1-2", &bus, &dev), 1) << "all ports there";

    remove_tree(port2_);
    remove_tree("/sys/bus/usb/devices/1-2.2");
    EXPECT_EQ(check_usb_expander_all_ports_exist("usb_1-2", &bus, &dev), 0);
    EXPECT_EQ(dev, 3) << "port 2 sits on the box's own hub";

    EXPECT_EQ(check_usb_expander_all_ports_exist("root", &bus, &dev), 1);
    write_file("/etc/model.conf", "[System Enclosure]\nCAP = 0x0\n");
    EXPECT_EQ(check_usb_expander_all_ports_exist("usb_1-2", &bus, &dev), 1)
        << "a box without the maker's PIC is never reset";
    EXPECT_EQ(reset_usb_hub(1, 7), -1) << "no usbfs node for that hub";
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("open 1/7 fail."), std::string::npos);
}
