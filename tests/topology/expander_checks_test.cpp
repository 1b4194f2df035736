// Which SAS expanders are enclosures of their own, whom they hang on, which one is the unit's
// own, and what kind of enclosure a USB device is.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"
#include "topology/trace_levels.h"

using namespace nashal::sim;

namespace {

// A unit with an internal HBA (root port 00:01.0, HBA 03:00.0, host2) whose own expander
// (expander-2:0, SES sg2) carries a disk and a chain of two external enclosures (expander-2:1
// with sg3, expander-2:2 with sg6), and a second HBA (root port 00:02.0, host5) with an
// enclosure (expander-5:0, sg4) chained to an expander that has no SES device yet.
class SasBoard : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app.activate());
        auto root = t.pci_root(0, 0);
        auto rp1 = t.pci_bridge(root, 0, 0, 1, 0, 3);
        auto hba1 = t.pci_function(rp1, 0, 3, 0, 0, kPciClassSas);
        auto host2 = t.sas_host(hba1, 2, 8);
        auto exp0 = t.sas_expander(t.sas_port(host2, "port-2:0"), "expander-2:0", 12, 0x5001);
        end_device(exp0, "port-2:0:0", {2, 0, 0, 0}, ScsiDesc::disk(1, "sda", "ATA", "DISK"));
        auto exp1 = t.sas_expander(t.sas_port(exp0, "port-2:0:1"), "expander-2:1", 12, 0x5002);
        end_device(exp0, "port-2:0:2", {2, 0, 2, 0}, ScsiDesc::enclosure(2, "VIRTUAL", "INT"));
        end_device(exp1, "port-2:1:0", {2, 0, 3, 0}, ScsiDesc::enclosure(3, "VIRTUAL", "JBOD"));
        auto exp2 = t.sas_expander(t.sas_port(exp1, "port-2:1:1"), "expander-2:2", 12, 0x5003);
        end_device(exp2, "port-2:2:0", {2, 0, 4, 0}, ScsiDesc::enclosure(6, "VIRTUAL", "JBOD"));

        auto rp2 = t.pci_bridge(root, 0, 0, 2, 0, 4);
        auto hba2 = t.pci_function(rp2, 0, 4, 0, 0, kPciClassSas);
        auto host5 = t.sas_host(hba2, 5, 8);
        auto exp5 = t.sas_expander(t.sas_port(host5, "port-5:0"), "expander-5:0", 12, 0x5005);
        t.sas_expander(t.sas_port(exp5, "port-5:0:0"), "expander-5:1", 12, 0x5006);
        end_device(exp5, "port-5:0:1", {5, 0, 0, 0}, ScsiDesc::enclosure(4, "VIRTUAL", "JBOD"));
        model(0x400);
    }
    void end_device(const std::string &expander, const std::string &port, ScsiAddress a,
                    const ScsiDesc &d) {
        auto end = t.sas_end_device(t.sas_port(expander, port), 0x5000c50000000000ull, 0);
        t.scsi_device(end, a, d);
    }
    void model(unsigned cap) {
        char text[256];
        snprintf(text, sizeof text,
                 "[System Enclosure]\nCAP = %x\n[System Internal SAS]\nDEV_BUS = B00:D01:F0\n",
                 cap);
        write_file("/etc/model.conf", text);
    }
    Appliance app = Appliance::fresh();
    SysfsTree t;
};

TEST_F(SasBoard, OnlyEnclosureServicesNodesAreExpanders) {
    EXPECT_EQ(comm_sys_check_is_sas_expander("sg2"), 0);
    EXPECT_EQ(comm_sys_check_is_sas_expander("sg1"), -1) << "a disk taken for an enclosure";
    EXPECT_EQ(comm_sys_check_is_sas_expander("root"), -1);
    EXPECT_EQ(comm_sys_check_is_sas_expander("sg99"), -1);
}

TEST_F(SasBoard, ExpanderFindsItsEnclosureDevicePastPortsWithoutEndDevices) {
    char sysid[32];
    ASSERT_EQ(comm_sys_get_sysid_of_sas_enclosure("expander-5:0", sysid), 0);
    EXPECT_STREQ(sysid, "sg4");
    ASSERT_EQ(comm_sys_get_sysid_of_sas_enclosure("expander-2:0", sysid), 0);
    EXPECT_STREQ(sysid, "sg2") << "the disk's port must be passed over";
    EXPECT_EQ(comm_sys_get_sysid_of_sas_enclosure("expander-5:1", sysid), -1);
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("Wait Enclosure ready"), std::string::npos);
    EXPECT_EQ(comm_sys_get_sysid_of_sas_enclosure("expander-9:9", sysid), -1);
}

// What each call leaves in the log, under the public function's own name and at its level, as
// an engineer reading the log at the default mask sees it.
TEST_F(SasBoard, PathCallsTraceUnderTheirOwnNamesAtTheirLevels) {
    // Below expander-5:1, a port to a further expander and nothing else.
    char where[512];
    ASSERT_NE(realpath("/sys/class/sas_expander/expander-5:1/device", where), nullptr);
    std::string exp51 = where;
    t.sas_expander(t.sas_port(exp51, "port-5:1:0"), "expander-5:2", 12, 0x5007);
    // expander-5:4 has an enclosure services device whose generic node can't be read.
    auto exp54 = t.sas_expander(t.sas_port(exp51, "port-5:1:1"), "expander-5:4", 12, 0x5008);
    auto end = t.sas_end_device(t.sas_port(exp54, "port-5:4:0"), 0x5000c50000000009ull, 0);
    auto ses = t.scsi_device(end, {5, 0, 9, 0}, ScsiDesc::enclosure(8, "VIRTUAL", "JBOD"));
    ASSERT_FALSE(ses.generic.empty());
    remove_tree(ses.generic + "/dev");

    char id[32];
    char path[512];
    char cut[] = "/sys/devices/port-2:0/expander-2:0";
    struct Case {
        int level;
        const char *line;  // the whole log line, as a regular expression
        std::function<int()> call;
        int result;
    } cases[] = {
        {1, R"(comm_sys_get_sysid_of_sas_enclosure\(\d+\):System Internal Error)",
         [&] { return comm_sys_get_sysid_of_sas_enclosure("expander-9:9", id); }, -1},
        {2,
         R"(comm_sys_get_sysid_of_sas_enclosure\(\d+\):path = .*/end_device-5:1:0 no end_device)",
         [&] { return comm_sys_get_sysid_of_sas_enclosure("expander-5:1", id); }, -1},
        {2, R"(comm_sys_get_sysid_of_sas_enclosure\(\d+\):Wait Enclosure ready)",
         [&] { return comm_sys_get_sysid_of_sas_enclosure("expander-5:1", id); }, -1},
        // The services device is there but its node can't be read: the walk stops, and ends
        // as one that found nothing.
        {1, R"(comm_sys_get_sysid_of_sas_enclosure\d+:System Internal Error)",
         [&] { return comm_sys_get_sysid_of_sas_enclosure("expander-5:4", id); }, -1},
        {2, R"(comm_sys_get_sysid_of_sas_enclosure\(\d+\):Wait Enclosure ready)",
         [&] { return comm_sys_get_sysid_of_sas_enclosure("expander-5:4", id); }, -1},
        {1, R"(comm_sys_get_sg_path_info\(\d+\):System Error:errno = 2)",
         [&] { return comm_sys_get_sg_path_info("sg99", path, sizeof path) < 0 ? -1 : 0; }, -1},
        {1, R"(comm_sys_get_sg_path_info\(\d+\):Buffer insufficent , need > \d+)",
         [&] { return comm_sys_get_sg_path_info("sg2", path, 16); }, -1},
        {1,
         R"(comm_sys_get_sdev_sysid\(\d+\):System Error\.\.dir_search = /sys/nowhere/generic/dev)",
         [&] {
             char p[64] = "/sys/nowhere";
             return comm_sys_get_sdev_sysid(p, id);
         },
         -1},
        {1, R"(comm_sys_get_sas_bus\(\d+\):System Error)",
         [&] {
             char copy[sizeof cut];
             memcpy(copy, cut, sizeof cut);
             char *parent = nullptr, *self = nullptr;
             comm_sys_get_sas_bus(copy, &parent, &self);
             return self ? 0 : -1;
         },
         0},
        {8, R"(comm_sys_get_sas_expander_parent_sysid\(\d+\):Enclosure already remove)",
         [&] { return comm_sys_get_sas_expander_parent_sysid("sg42", id); }, -1},
        {16, R"(comm_sys_check_sas_expander_sanity\(\d+\):This SAS expander: .* is internal\.)",
         [&] { return comm_sys_check_sas_expander_sanity("sg2"); }, -1},
        {8, R"(comm_sys_get_real_enc_sys_id\(\d+\):get real enc_sys_id = sg2)",
         [&] { return comm_sys_get_real_enc_sys_id(id); }, 0},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(c.call(), c.result) << c.line;
        EXPECT_EQ(nashal::test::trace_level_fault(c.level, c.line, [&] { c.call(); }), "");
    }
}

TEST_F(SasBoard, SanityRejectsOnlyTheExpanderOnTheInternalController) {
    EXPECT_EQ(comm_sys_check_sas_expander_sanity("sg2"), -1)
        << "the unit's own expander would be listed as an expansion enclosure";
    EXPECT_EQ(comm_sys_check_sas_expander_sanity("sg3"), 0) << "chained behind the internal one";
    EXPECT_EQ(comm_sys_check_sas_expander_sanity("sg6"), 0);
    EXPECT_EQ(comm_sys_check_sas_expander_sanity("sg4"), 0) << "on another controller";
    EXPECT_EQ(comm_sys_check_sas_expander_sanity("sg99"), -1);
    model(0x0);
    EXPECT_EQ(comm_sys_check_sas_expander_sanity("sg2"), 0)
        << "without an internal SAS controller every expander is an enclosure";
    EXPECT_EQ(comm_sys_check_sas_expander_sanity("sg99"), 0);
}

TEST_F(SasBoard, ParentOfAnEnclosureBehindTheUnitsOwnExpanderIsRoot) {
    char parent[32] = "x";
    ASSERT_EQ(comm_sys_get_sas_expander_parent_sysid("sg3", parent), 0);
    EXPECT_STREQ(parent, "root");
    ASSERT_EQ(comm_sys_get_sas_expander_parent_sysid("sg6", parent), 0);
    EXPECT_STREQ(parent, "sg3");
    ASSERT_EQ(comm_sys_get_sas_expander_parent_sysid("sg4", parent), 0);
    EXPECT_STREQ(parent, "root");
    EXPECT_EQ(comm_sys_get_sas_expander_parent_sysid("sg42", parent), -1)
        << "an enclosure being unplugged";
    EXPECT_STREQ(parent, "");
    EXPECT_EQ(comm_sys_get_sas_expander_parent_sysid("root", parent), -1);
}

TEST_F(SasBoard, RealIdOfTheRootIsTheInternalExpandersNode) {
    char id[32] = {};
    ASSERT_EQ(comm_sys_get_real_enc_sys_id(id), 0);
    EXPECT_STREQ(id, "sg2");
    char buffer[32] = {};
    ASSERT_EQ(se_sys_get_real_enc_sys_id("root", buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "sg2");
    EXPECT_EQ(se_sys_get_real_enc_sys_id("root", buffer, 31), -1);
    EXPECT_EQ(se_sys_get_real_enc_sys_id("sg3", buffer, sizeof buffer), -1);
    model(0x0);
    EXPECT_EQ(se_sys_get_real_enc_sys_id("root", buffer, sizeof buffer), -1);
    EXPECT_EQ(comm_sys_get_real_enc_sys_id(id), -1);
}

class UsbKinds : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app.activate());
        auto root = t.pci_root(0, 0);
        auto hub = t.usb_root_hub(t.pci_function(root, 0, 0, 0x14, 0, kPciClassXhci), 2, 6);
        device(hub, 1, 0x0bda, 0x5411, "Plain Hub", 4);
        device(hub, 2, VORN_USB_VENDOR_ID, 0xff12, "Own Device", 0);
        device(hub, 3, 0x1111, 0x1234, "$(touch /tmp/pwned)", 4);
        device(hub, 4, 0x2222, 0xff12, "Listed Elsewhere", 4);
        device(hub, 5, 0x3333, 0x0001, "", 4);  // no product attribute
        write_file("/etc/model_ext.conf",
                   "[External Enclosure]\nMAX_SUPPORT_TYPE_COUNT = 2\n"
                   "[External Type 1]\nPRODUCT_ID = 1234\n"
                   "[External Type 2]\nPRODUCT_ID = ff12\n");
        write_file("/etc/model.conf", "[System Enclosure]\nCAP = 0\n");
    }
    void device(const std::string &hub, int port, uint16_t vendor, uint16_t product,
                const char *name, int maxchild) {
        UsbDesc d;
        d.vendor = vendor;
        d.product = product;
        d.product_name = name;
        d.maxchild = maxchild;
        t.usb_device(hub, port, d);
    }
    Appliance app = Appliance::fresh();
    SysfsTree t;
};

TEST_F(UsbKinds, ProductIdDecidesTheKindOfUsbEnclosure) {
    int type_number = 0;
    EXPECT_EQ(comm_sys_check_usb_expander_type("2-1", &type_number), 0);
    EXPECT_EQ(comm_sys_check_usb_expander_type("2-2", &type_number), 1)
        << "the maker's own device is never an enclosure, even when its id is listed";
    type_number = 0;
    EXPECT_EQ(comm_sys_check_usb_expander_type("2-3", &type_number), 3);
    EXPECT_EQ(type_number, 1);
    EXPECT_EQ(comm_sys_check_usb_expander_type("2-4", &type_number), 3)
        << "only the product id decides, not the vendor";
    EXPECT_EQ(type_number, 2);
    EXPECT_EQ(comm_sys_check_usb_expander_type("2-5", &type_number), -1);
    EXPECT_EQ(comm_sys_check_usb_expander_type("2-3", nullptr), 3);
    EXPECT_FALSE(exists("/tmp/pwned")) << "a device's product text reached a shell";

    write_file("/etc/model.conf", "[System Enclosure]\nCAP = 100000\n");
    EXPECT_EQ(comm_sys_check_usb_expander_type("2-3", &type_number), 2)
        << "a listed expander with a PIC controller";
}

TEST_F(UsbKinds, KindChecksTraceUnderTheirOwnNamesAtTheirLevels) {
    char id[32];
    struct Case {
        const char *line;
        std::function<int()> call;
        int result;
    } cases[] = {
        {R"(comm_sys_check_usb_expander_type\(\d+\):usb_bus = 2-5 can not find product)",
         [] { return comm_sys_check_usb_expander_type("2-5", nullptr); }, -1},
        {R"(se_sys_get_real_enc_sys_id\(\d+\): NAS not support this feature)",
         [&] { return se_sys_get_real_enc_sys_id("root", id, sizeof id); }, -1},
        {R"(comm_sys_check_usb_expander_type\(\d+\):System Error)",
         [] {
             remove_tree("/etc/model_ext.conf");
             return comm_sys_check_usb_expander_type("2-1", nullptr);
         },
         0},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(c.call(), c.result) << c.line;
        EXPECT_EQ(nashal::test::trace_level_fault(HAL_TRACE_ERROR, c.line, [&] { c.call(); }), "");
    }
}

TEST_F(UsbKinds, WithoutExternalModelsEveryDeviceIsAPlainHub) {
    remove_tree("/etc/model_ext.conf");
    EXPECT_EQ(comm_sys_check_usb_expander_type("2-2", nullptr), 0);
    EXPECT_EQ(comm_sys_check_usb_expander_type("2-5", nullptr), 0)
        << "the product attribute is not even read";
    remove_tree("/etc/model.conf");
    EXPECT_EQ(comm_sys_check_usb_expander_type("2-1", nullptr), -1) << "no model file";
}

}  // namespace
