// The sysfs builders make the links the kernel makes, so that the library's path walks see on
// a virtual board what they see on a real one.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

namespace {

std::string link_text(const std::string &path) {
    char buf[512];
    ssize_t n = readlink(path.c_str(), buf, sizeof buf - 1);
    return n < 0 ? "" : std::string(buf, static_cast<size_t>(n));
}

TEST(SysfsBuilders, TreeBuiltBeforeActivationHasTheKernelsRelativeLinks) {
    auto app = Appliance::fresh();
    SysfsTree t(app.dir());
    auto root = t.pci_root(0, 0);
    auto host0 = t.ahci_port(t.pci_function(root, 0, 0, 0x1f, 2, kPciClassAhci), 1, 0);
    t.scsi_device(host0, {0, 0, 0, 0}, ScsiDesc::disk(0, "sda", "ATA", "DISK"));
    auto port = t.pci_bridge(root, 0, 0, 1, 0, 3);
    auto host2 = t.sas_host(t.pci_function(port, 0, 3, 0, 0, kPciClassSas), 2, 4);
    auto exp = t.sas_expander(t.sas_port(host2, "port-2:0"), "expander-2:0", 4, 0x5001);
    auto end = t.sas_end_device(t.sas_port(exp, "port-2:0:3"), 0x5002, 3);
    t.scsi_device(end, {2, 0, 1, 0}, ScsiDesc::enclosure(1, "VIRTUAL", "SES"));
    auto hub = t.usb_root_hub(t.pci_function(root, 0, 0, 0x14, 0, kPciClassXhci), 2, 4);
    UsbDesc d;
    d.maxchild = 4;
    t.usb_device(t.usb_device(hub, 1, d), 3, UsbDesc{});
    ASSERT_TRUE(app.activate());

    EXPECT_EQ(
        link_text("/sys/class/scsi_generic/sg0"),
        "../../devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/scsi_generic/sg0");
    EXPECT_EQ(read_file("/sys/class/scsi_generic/sg0/dev"), "21:0\n");
    EXPECT_EQ(read_file("/sys/block/sda/dev"), "8:0\n");
    EXPECT_EQ(read_file("/sys/class/scsi_generic/sg0/device/vendor"), "ATA     \n");
    EXPECT_EQ(read_file("/sys/class/scsi_generic/sg0/device/generic/dev"), "21:0\n");
    EXPECT_TRUE(exists("/dev/sg0"));
    EXPECT_TRUE(exists("/dev/sda"));
    EXPECT_EQ(link_text("/sys/class/scsi_generic/sg1"),
              "../../devices/pci0000:00/0000:00:01.0/0000:03:00.0/host2/port-2:0/expander-2:0/"
              "port-2:0:3/end_device-2:0:3/target2:0:1/2:0:1:0/scsi_generic/sg1");
    EXPECT_EQ(read_file("/sys/class/sas_expander/expander-2:0/device/port-2:0:3/end_device-2:0:3/"
                        "target2:0:1/2:0:1:0/type"),
              "13\n");
    EXPECT_EQ(read_file("/sys/class/sas_phy/phy-2:0:2/negotiated_linkrate"), "6.0 Gbit\n");
    EXPECT_TRUE(exists("/sys/class/sas_end_device/end_device-2:0:3"));
    EXPECT_TRUE(exists("/sys/class/scsi_host/host2/device"));
    EXPECT_TRUE(exists("/sys/devices/pci0000:00/0000:00:01.0/pci_bus/0000:03"));
    EXPECT_EQ(read_file("/sys/bus/usb/devices/2-1/maxchild"), "4\n");
    EXPECT_EQ(read_file("/sys/bus/usb/devices/2-1/bDeviceClass"), "09\n");
    EXPECT_EQ(read_file("/sys/bus/usb/devices/2-1.3/devpath"), "1.3\n");
    EXPECT_EQ(link_text("/sys/bus/usb/devices/2-1.3"),
              "../../../devices/pci0000:00/0000:00:14.0/usb2/2-1/2-1.3");
}

}  // namespace
