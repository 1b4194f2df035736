// Device path resolution against kernel-shaped sysfs trees: the bus texts the model file is
// compared with, the descent through bridges and PCIe switches, SCSI generic and expander
// names, and the USB names and chassis ports.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "nashal/comm_path.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"
#include "topology/trace_levels.h"

using namespace nashal::sim;

namespace {

struct BusCase {
    const char *path;
    int result;
    int domain;
    const char *bus;
    const char *bridge;
};

TEST(BusText, SysfsHexadecimalBecomesTheModelFilesDecimal) {
    const BusCase cases[] = {
        // 1c is device 28: a model file written "D28" must match this controller.
        {"../../devices/pci0000:00/0000:00:1c.4/0000:03:00.0/host2/port-2:0", 0, 0, "B00:D28:F4",
         "B03:D00:F0"},
        {"../../devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/scsi_generic/sg0", 0,
         0, "B00:D31:F2", ""},
        {"/sys/devices/pci0000:00/0000:00:1f.2", 0, 0, "B00:D31:F2", ""},
        {"../../devices/pci0001:00/0001:00:02.0/0001:05:00.1/host3", 0, 1, "B00:D02:F0",
         "B05:D00:F1"},
        // Platform controllers: ata1 has no ".", so it is no bridge; ahci.1 is.
        {"../../devices/platform/ahci.0/ata1/host0/target0:0:0", 0, 0, "B-1:ahci.0", ""},
        {"../../devices/platform/soc/ahci.1/ata2", 0, 0, "B-1:soc", "B-1:ahci.1"},
    };
    for (const auto &c : cases) {
        int domain = -5;
        char bus[32] = "unset";
        char bridge[32] = "unset";
        EXPECT_EQ(comm_sys_assemble_dev_bus_from_path(c.path, &domain, bus, sizeof bus, bridge,
                                                      sizeof bridge),
                  c.result)
            << c.path;
        EXPECT_EQ(domain, c.domain) << c.path;
        EXPECT_STREQ(bus, c.bus) << c.path;
        EXPECT_STREQ(bridge, c.bridge) << c.path;
    }
}

// A text cut to the caller's buffer would name another place, or none, as though it were this
// one: it fails instead, and the cut text is not left behind.
TEST(BusText, TextsThatDontFitTheCallersBufferFail) {
    const struct {
        const char *path;
        int bus_size, bridge_size;
        const char *bus;
    } cases[] = {
        {"../../devices/platform/averyveryveryverylongplatformname0123/ata1", 32, 32, ""},
        {"../../devices/platform/ahci.0/averyveryveryverylongcontroller.0", 32, 32, "B-1:ahci.0"},
        {"../../devices/pci0000:00/0000:00:1f.2", 10, 32, ""},
        {"../../devices/pci0000:00/0000:00:1c.4/0000:03:00.0", 32, 10, "B00:D28:F4"},
    };
    for (const auto &c : cases) {
        int domain = 0;
        char bus[32] = "unset";
        char bridge[32] = "unset";
        EXPECT_EQ(comm_sys_assemble_dev_bus_from_path(c.path, &domain, bus, c.bus_size, bridge,
                                                      c.bridge_size),
                  -1)
            << c.path;
        EXPECT_STREQ(bus, c.bus) << c.path;
        EXPECT_NE(std::string(bridge).size(), static_cast<size_t>(c.bridge_size - 1))
            << c.path << ": a cut bridge text was left";
    }
}

TEST(BusText, VirtualAndUnknownDevicesHaveNoPlaceOnTheBoard) {
    int domain = 7;
    char bus[32] = "unset";
    char bridge[32] = "unset";
    EXPECT_EQ(comm_sys_assemble_dev_bus_from_path("../../devices/virtual/block/loop0", &domain, bus,
                                                  sizeof bus, bridge, sizeof bridge),
              -1);
    EXPECT_EQ(domain, 0);
    EXPECT_STREQ(bridge, "");
    domain = 7;
    strcpy(bridge, "unset");
    EXPECT_EQ(comm_sys_assemble_dev_bus_from_path("../../devices/elsewhere/x", &domain, bus,
                                                  sizeof bus, bridge, sizeof bridge),
              -1);
    EXPECT_EQ(domain, 7) << "nothing is written for a path of unknown kind";
    EXPECT_STREQ(bridge, "unset");
    // A root bus with nothing behind it, or a function name without its separators.
    EXPECT_EQ(comm_sys_assemble_dev_bus_from_path("../../devices/pci0000:00", &domain, bus,
                                                  sizeof bus, bridge, sizeof bridge),
              -1);
    EXPECT_EQ(comm_sys_assemble_dev_bus_from_path("../../devices/pci0000:00/0000-00-1f", &domain,
                                                  bus, sizeof bus, bridge, sizeof bridge),
              -1);
}

class PciTree : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(app.activate()); }
    Appliance app = Appliance::fresh();
    SysfsTree t;
};

TEST_F(PciTree, DevPathFindsTheRootBusWithBusybox) {
    auto root = t.pci_root(0, 0);
    t.pci_function(root, 0, 0, 0x1f, 2, kPciClassAhci);
    char path[512];
    ASSERT_EQ(comm_sys_get_pci_dev_path(0, 0, 0x1f, 2, path, sizeof path), 0);
    EXPECT_STREQ(path, "/sys/devices/pci0000:00/0000:00:1f.2");
    EXPECT_EQ(comm_sys_get_pci_dev_path(0, 9, 0, 0, path, sizeof path), -1)
        << "a root bus that isn't there";
    char small[20];
    EXPECT_EQ(comm_sys_get_pci_dev_path(0, 0, 0x1f, 2, small, sizeof small), -1)
        << "a path cut to the caller's buffer would name another device";
}

TEST_F(PciTree, ModelValueLeadsToPciOrPlatformDirectory) {
    auto root = t.pci_root(0, 0);
    t.pci_function(root, 0, 0, 0x1c, 4, kPciClassBridge);
    char path[512];
    ASSERT_EQ(comm_sys_get_path_from_c_dev_bus(0, "B00:D28:F4", path, sizeof path), 0);
    EXPECT_STREQ(path, "/sys/devices/pci0000:00/0000:00:1c.4");
    ASSERT_EQ(comm_sys_get_path_from_c_dev_bus(0, "B-1:ahci.0", path, sizeof path), 0);
    EXPECT_STREQ(path, "/sys/devices/platform/ahci.0");
    EXPECT_EQ(comm_sys_get_path_from_c_dev_bus(0, "nonsense", path, sizeof path), -1);
}

TEST_F(PciTree, SwitchDescentReachesTheChosenDownstreamPort) {
    auto root = t.pci_root(0, 0);
    auto root_port = t.pci_bridge(root, 0, 0, 0x1c, 0, 1);
    auto sw = t.pcie_switch(root_port, 0, 1, 3);
    char path[512] = {};
    strcpy(path, root_port.c_str());
    ASSERT_EQ(comm_sys_get_pair_bus_switch(path, 2), 0);
    EXPECT_EQ(std::string(path), sw.downstream[2]);
    EXPECT_EQ(std::string(path), root_port + "/0000:01:00.0/0000:02:02.0");

    strcpy(path, root_port.c_str());
    EXPECT_EQ(comm_sys_get_pair_bus_switch(path, -1), -1);

    // A bridge to a plain endpoint is no switch: nothing qualifies, the path is restored.
    auto plain_port = t.pci_bridge(root, 0, 0, 0x1c, 4, 7);
    t.pci_function(plain_port, 0, 7, 0, 0, kPciClassSas);
    memset(path, 0, sizeof path);
    strcpy(path, plain_port.c_str());
    EXPECT_EQ(comm_sys_get_pair_bus_switch(path, 0), -1);
    EXPECT_EQ(std::string(path), plain_port);

    // An endpoint has no pci_bus at all: 0, unchanged.
    std::string endpoint = plain_port + "/0000:07:00.0";
    strcpy(path, endpoint.c_str());
    EXPECT_EQ(comm_sys_get_pair_bus_switch(path, 1), 0);
    EXPECT_EQ(std::string(path), endpoint);
}

TEST_F(PciTree, BusStepsUseTheBridgeTextOrTheGivenDevice) {
    auto root = t.pci_root(0, 0);
    auto port = t.pci_bridge(root, 0, 0, 1, 0, 3);
    char text[64];
    ASSERT_EQ(comm_sys_get_pci_bus(port.c_str(), "pci_bus", nullptr, 0x1c, text, sizeof text), 0);
    EXPECT_STREQ(text, "/0000:03:1c.0");
    ASSERT_EQ(comm_sys_get_pci_bus(port.c_str(), "pci_bus", "B03:D02:F1", 0, text, sizeof text), 0);
    EXPECT_STREQ(text, "/0000:03:02.1");
    ASSERT_EQ(comm_sys_get_pci_bus("/nowhere", "pci_bus:0000:0a", nullptr, 0, text, sizeof text),
              0);
    EXPECT_STREQ(text, "/0000:0a:00.0");
    EXPECT_EQ(comm_sys_get_pci_bus(port.c_str(), "pci_bus", "B-1:ahci.0", 0, text, sizeof text),
              -1);
    EXPECT_EQ(comm_sys_get_pci_bus(port.c_str(), "missing", nullptr, 0, text, sizeof text), -1);
    // An n past the last entry gives the last one.
    ASSERT_EQ(comm_sys_get_num_pci_bus(port.c_str(), "pci_bus", 5, 0, 0, text, sizeof text), 0);
    EXPECT_STREQ(text, "/0000:03:00.0");

    int cls = 0;
    auto hba = t.pci_function(port, 0, 3, 0, 0, kPciClassSas);
    ASSERT_EQ(comm_sys_get_device_class(hba.c_str(), &cls), 0);
    EXPECT_EQ(cls, 1);
    ASSERT_EQ(comm_sys_get_device_class((port + "/pci_bus").c_str(), &cls), 0);
    EXPECT_EQ(cls, 1) << "no class file counts as a storage controller";
    ASSERT_EQ(comm_sys_get_device_class(port.c_str(), &cls), 0);
    EXPECT_EQ(cls, 6);
}

TEST_F(PciTree, GenericNodesResolveToTheirDeviceAndExpander) {
    auto root = t.pci_root(0, 0);
    auto ahci = t.pci_function(root, 0, 0, 0x1f, 2, kPciClassAhci);
    auto host0 = t.ahci_port(ahci, 1, 0);
    t.scsi_device(host0, {0, 0, 0, 0}, ScsiDesc::disk(0, "sda", "ATA", "DISK"));
    char path[512];
    ASSERT_EQ(comm_sys_get_sg_path_info("sg0", path, sizeof path), 0);
    EXPECT_STREQ(path,
                 "../../devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/"
                 "scsi_generic/sg0");
    char small[40];
    EXPECT_EQ(comm_sys_get_sg_path_info("sg0", small, sizeof small), -1)
        << "a link cut to the buffer must not be taken for a whole one";
    EXPECT_LT(comm_sys_get_sg_path_info("sg9", path, sizeof path), 0);

    char dir[512];
    snprintf(dir, sizeof dir, "%s/target0:0:0/0:0:0:0", host0.c_str());
    char sysid[32];
    ASSERT_EQ(comm_sys_get_sdev_sysid(dir, sysid), 0);
    EXPECT_STREQ(sysid, "sg0");
    EXPECT_NE(strstr(dir, "/generic/dev"), nullptr) << "the caller's path keeps the suffix";
    char target[32];
    ASSERT_EQ(comm_sys_get_sdev_target_bus(host0.c_str(), target), 0);
    EXPECT_STREQ(target, "0:0:0");
    make_dirs("/sys/long/target12345678901234567890123456789012345");
    ASSERT_EQ(comm_sys_get_sdev_target_bus("/sys/long", target), 0);
    EXPECT_STREQ(target, "1234567890123456789012345678901")
        << "only the 32 bytes of the name may cut what stands behind \"target\"";
    EXPECT_EQ(comm_sys_get_sdev_type((host0 + "/target0:0:0/0:0:0:0").c_str()), 0);
    EXPECT_LT(comm_sys_get_sdev_type(host0.c_str()), 0);

    // A node that isn't SCSI generic (major 8) gives no sg name.
    write_file(host0 + "/target0:0:0/0:0:0:0/generic/dev", "8:0\n");
    snprintf(dir, sizeof dir, "%s/target0:0:0/0:0:0:0", host0.c_str());
    EXPECT_EQ(comm_sys_get_sdev_sysid(dir, sysid), -1);
}

TEST(SasBus, LastTwoExpandersOfALinkAreSelfAndParent) {
    char path[] =
        "../../devices/pci0000:00/0000:00:01.0/0000:03:00.0/host2/port-2:0/"
        "expander-2:0/port-2:0:1/expander-2:1/port-2:1:0/end_device-2:1:0/target2:0:5";
    char *parent = nullptr;
    char *self = nullptr;
    ASSERT_EQ(comm_sys_get_sas_bus(path, &parent, &self), 0);
    EXPECT_STREQ(parent, "expander-2:0");
    EXPECT_STREQ(self, "expander-2:1");

    char one[] = "host2/port-2:0/expander-2:0/port-2:0:0/end_device-2:0:0";
    ASSERT_EQ(comm_sys_get_sas_bus(one, &parent, &self), 0);
    EXPECT_EQ(parent, nullptr);
    EXPECT_STREQ(self, "expander-2:0");
    char none[] = "host0/target0:0:0";
    EXPECT_EQ(comm_sys_get_sas_bus(none, nullptr, nullptr), -1);
}

TEST(Usb, LayerAndPortOfKernelNames) {
    struct {
        const char *name;
        int layer;
        int port;
    } cases[] = {
        {"2-1.4", 1, 4}, {"2-3", 0, 3}, {"usb2", 0, -1}, {"2-1.1.4", 2, 4}, {"1-10", 0, 10}};
    for (const auto &c : cases) {
        EXPECT_EQ(comm_sys_get_usb_layer(c.name), c.layer) << c.name;
        EXPECT_EQ(comm_sys_get_usb_port(c.name), c.port) << c.name;
    }
}

TEST(LinkSpeed, TextsOfEachKindGiveTheirCodes) {
    struct {
        int kind;
        const char *text;
        int code;
    } cases[] = {{1, "5000", 4},     {1, "480", 3},      {1, "12", 2},        {1, "1.5", 1},
                 {1, "480\n", 0},    {2, "6.0 Gbps", 7}, {4, "12.0 Gbit", 8}, {2, "3.0", 6},
                 {4, "1.5 gbit", 5}, {3, "6.0", 0},      {2, "unknown", 0},   {1, nullptr, 0}};
    for (const auto &c : cases)
        EXPECT_EQ(common_sys_transfer_pd_link_speed(c.kind, c.text), c.code)
            << c.kind << " " << (c.text ? c.text : "(null)");
}

TEST(Directory, PartialNamesAndNumbersBehindWords) {
    EXPECT_EQ(comm_sys_get_num_behind_string("host12", "host"), 12);
    EXPECT_EQ(comm_sys_get_num_behind_string("end_device-2:0", "target"), -1);
    char name[8];
    auto app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    make_dirs("/sys/x/host_long_name");
    ASSERT_EQ(comm_sys_search_partial_filename("/sys/x", "host", name, sizeof name), 0);
    EXPECT_STREQ(name, "host_lo") << "the name is cut to the caller's buffer";
    EXPECT_EQ(comm_sys_search_partial_filename("/sys/x", "target", nullptr, 0), -1);
    EXPECT_EQ(comm_sys_search_partial_filename("/sys/none", "host", nullptr, 0), -1);
}

class UsbTree : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app.activate());
        auto root = t.pci_root(0, 0);
        auto xhci = t.pci_function(root, 0, 0, 0x14, 0, kPciClassXhci);
        auto hub = t.usb_root_hub(xhci, 2, 4, "5000");
        UsbDesc d;
        d.vendor = 0x0bda;
        d.product = 0x0411;
        d.product_name = "4-Port USB 3.0 Hub";
        d.speed = "5000";
        d.maxchild = 4;
        auto h = t.usb_device(hub, 1, d);
        UsbDesc disk;
        disk.product_name = "Flash Disk";
        t.usb_device(h, 4, disk);
    }
    Appliance app = Appliance::fresh();
    SysfsTree t;
};

TEST_F(UsbTree, AttributesLoseTheirNewline) {
    char text[41];
    ASSERT_EQ(comm_sys_get_usb_attribute("2-1", "product", text, sizeof text), 0);
    EXPECT_STREQ(text, "4-Port USB 3.0 Hub");
    ASSERT_EQ(comm_sys_get_usb_attribute("2-1", "maxchild", text, sizeof text), 0);
    EXPECT_STREQ(text, "4");
    ASSERT_EQ(comm_sys_get_usb_attribute("2-1.4", "speed", text, sizeof text), 0);
    EXPECT_STREQ(text, "480");
    char small[5];
    ASSERT_EQ(comm_sys_get_usb_attribute("2-1", "product", small, sizeof small), 0);
    EXPECT_STREQ(small, "4-Po") << "at most size bytes, the last one the terminator";
    EXPECT_EQ(comm_sys_get_usb_attribute("2-9", "product", text, sizeof text), -1);
    EXPECT_STREQ(text, "");
}

TEST_F(UsbTree, ChassisPortFromModelSections) {
    write_file("/etc/model.conf",
               "[Usb Enclosure]\nMAX_PORT_NUM = 3\n"
               "[Usb Port 1]\nDEV_BUS = B00:D20:F0\nDEV_PORT = 1,2\n"
               // Port 2: SuperSpeed and older lanes on different controller ports.
               "[Usb Port 2]\nDEV_BUS = B00:D20:F0\nDEV_PORT_SS = 5\nDEV_PORT_NS = 3\n"
               // Port 3: two devices, the second behind the front hub.
               "[Usb Port 3]\nMULTI_DEVICE = 2\n"
               "[Usb Port 3-1]\nDEV_BUS = B00:D29:F0\nDEV_PORT = 1\n"
               "[Usb Port 3-2]\nDEV_BUS = B00:D20:F0\nDEV_DOMAIN = 0\nDEV_PORT = 4\nIN_HUB = 1\n"
               "DEV_BRIDGE_BUS = B01:D00:F0\n");
    struct {
        const char *bus;
        const char *bridge;
        int layer;
        int port;
        int speed;
        int result;
        int port_id;
    } cases[] = {
        {"B00:D20:F0", "", 0, 2, 3, 0, 1},
        {"B00:D20:F0", "", 0, 5, 4, 0, 2},   // SuperSpeed reads DEV_PORT_SS
        {"B00:D20:F0", "", 0, 3, 3, 0, 2},   // any other speed reads DEV_PORT_NS
        {"B00:D20:F0", "", 0, 3, 4, -1, 0},  // port 3 is the older lane only
        {"B00:D29:F0", "", 0, 1, 3, 0, 3},
        {"B00:D20:F0", "B01:D00:F0", 1, 4, 3, 0, 3},
        {"B00:D20:F0", "B02:D00:F0", 1, 4, 3, -1, 0},  // other bridge
        {"B00:D20:F0", "B01:D00:F0", 0, 4, 3, -1, 0},  // behind a hub, but asked at layer 0
        {"B00:D21:F0", "", 0, 1, 3, -1, 0},
    };
    for (const auto &c : cases) {
        int port_id = 0;
        EXPECT_EQ(
            comm_sys_get_root_usb_port_id(0, c.bus, c.bridge, c.layer, c.port, c.speed, &port_id),
            c.result)
            << c.bus << " port " << c.port << " speed " << c.speed;
        EXPECT_EQ(port_id, c.port_id) << c.bus << " port " << c.port << " speed " << c.speed;
    }
    EXPECT_EQ(comm_sys_get_root_usb_port_id(1, "B00:D20:F0", "", 0, 1, 3, nullptr), -1)
        << "another PCI domain";
    EXPECT_EQ(comm_sys_get_root_usb_port_id(0, "B00:D20:F0", "", 0, 1, 3, nullptr), 0);
}

TEST(UsbModel, NoUsbEnclosureSectionMeansNoChassisPort) {
    auto app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    write_file("/etc/model.conf", "[System Enclosure]\nCAP = 0\n");
    int port_id = 0;
    EXPECT_EQ(comm_sys_get_root_usb_port_id(0, "B00:D20:F0", "", 0, 1, 3, &port_id), -1);
}

}  // namespace

// What the path builders leave in the log, under their own names and at the error level, as an
// engineer reading the log at the default mask sees it.
TEST_F(PciTree, PathBuildersTraceUnderTheirOwnNames) {
    auto root = t.pci_root(0, 0);
    auto port = t.pci_bridge(root, 0, 0, 1, 0, 3);
    t.pci_function(root, 0, 0, 0x1f, 2, kPciClassAhci);
    char path[512];
    char small[12];
    int domain = 0;
    struct Case {
        const char *line;
        std::function<int()> call;
    } cases[] = {
        {R"(comm_sys_get_pci_dev_path\(\d+\):Internal Error\.)",
         [&] { return comm_sys_get_pci_dev_path(0, 9, 0, 0, path, sizeof path); }},
        {R"(comm_sys_get_pci_dev_path\(\d+\):ret = 36, buffer_len = 12)",
         [&] { return comm_sys_get_pci_dev_path(0, 0, 0x1f, 2, small, sizeof small); }},
        {R"(comm_sys_get_internal_dev_path\(\d+\):ret = 28, buffer_len = 12)",
         [&] { return comm_sys_get_internal_dev_path("ahci.0", small, sizeof small); }},
        {R"(comm_sys_get_pci_bus\(\d+\):ret = 13, buffer_len = 12)",
         [&] {
             return comm_sys_get_pci_bus(port.c_str(), "pci_bus", nullptr, 0, small, sizeof small);
         }},
        {R"(comm_sys_get_num_pci_bus\(\d+\):ret = 13, buffer_len = 12)",
         [&] {
             return comm_sys_get_num_pci_bus(port.c_str(), "pci_bus", 1, 0, 0, small, sizeof small);
         }},
        {R"(comm_sys_get_pair_bus_switch\(\d+\):System Error)",
         [&] {
             strcpy(path, port.c_str());
             return comm_sys_get_pair_bus_switch(path, -1);
         }},
        {R"(comm_sys_assemble_dev_bus_from_path\(\d+\):ret = 41, buffer_len = 32)",
         [&] {
             char bus[32], bridge[32];
             return comm_sys_assemble_dev_bus_from_path(
                 "../../devices/platform/averyveryveryverylongplatformname0123/ata1", &domain, bus,
                 sizeof bus, bridge, sizeof bridge);
         }},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(c.call(), -1) << c.line;
        EXPECT_EQ(nashal::test::trace_level_fault(1, c.line, [&] { c.call(); }), "");
    }
}
