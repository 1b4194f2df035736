// PCIe slots of the main unit: a SAS card whose disks hang on its own ports is an enclosure of
// its own ("root_pcie_%d") with the card's port as the slot; a card with only an expander
// behind it, or none at all, is not. The link a card trained at is read from its function's
// configuration space.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

namespace {

const char kModel[] =
    "[System Enclosure]\nCAP = 0x8000\nMAX_PCIE_SLOT = 3\n"
    "[System PCIE SLOT 1]\nDEV_BUS = B00:D01:F0\n"
    "[System PCIE SLOT 2]\nDEV_BUS = B00:D02:F0\nMAX_PCIE_LINK_WIDTH = 16\n"
    "[System PCIE SLOT 3]\nDEV_BUS = B00:D03:F0\n"
    "[System PCIE SLOT 4]\nDEV_BUS = B00:D04:F0\nPCI_SWITCH_PORT = 0x2\n"
    "[System PCIE SLOT 5]\nDEV_BUS = B00:D04:F0\n"
    "[System PCIE SLOT 6]\nMAX_PCIE_LINK_WIDTH = 4\n";

class PcieSlots : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
        write_file("/etc/model.conf", kModel);
        auto root = t_.pci_root(0, 0);
        // Slot 1: a SAS card with disks on its ports 0, 1 and 3 (sg0-sg2).
        auto rp1 = t_.pci_bridge(root, 0, 0, 1, 0, 2);
        card1_ = t_.pci_function(rp1, 0, 2, 0, 0, kPciClassSas, 0x1000, 0x0097);
        auto host = t_.sas_host(card1_, 3, 8);
        int sg = 0;
        for (int port : {0, 1, 3}) {
            auto p = t_.sas_port(host, "port-3:" + std::to_string(port));
            t_.sas_wire(host + "/phy-3:" + std::to_string(port), p);
            auto end = t_.sas_end_device(p, 0x5000c50000000100ull + port, port);
            t_.scsi_device(end, {3, 0, port, 0},
                           ScsiDesc::disk(sg, "sd" + std::string(1, char('a' + sg)), "SEAGATE",
                                          "ST4000NM0023"));
            ++sg;
        }
        // Slot 2: a SAS card with only an expander and its disk (sg3).
        auto rp2 = t_.pci_bridge(root, 0, 0, 2, 0, 3);
        card2_ = t_.pci_function(rp2, 0, 3, 0, 0, kPciClassSas, 0x1000, 0x0097);
        auto host4 = t_.sas_host(card2_, 4, 8);
        auto wide = t_.sas_port(host4, "port-4:0");
        t_.sas_wire(host4 + "/phy-4:0", wide);
        auto exp = t_.sas_expander(wide, "expander-4:0", 12, 0x500304800000007full);
        auto ep = t_.sas_port(exp, "port-4:0:0");
        t_.sas_wire(exp + "/phy-4:0:8", ep);
        auto end = t_.sas_end_device(ep, 0x5000c50000000200ull, 8);
        t_.scsi_device(end, {4, 0, 0, 0}, ScsiDesc::disk(3, "sdd", "SEAGATE", "ST4000NM0023"));
        // Slot 3: an idle card. Slot 4: a card with a switch; port 2 leads to its controller.
        auto rp3 = t_.pci_bridge(root, 0, 0, 3, 0, 4);
        t_.pci_function(rp3, 0, 4, 0, 0, kPciClassSas);
        auto rp4 = t_.pci_bridge(root, 0, 0, 4, 0, 5);
        sw_ = t_.pcie_switch(rp4, 0, 5, 3);
    }

    std::vector<std::string> list(const char *id) {
        char *ids[8] = {};
        int n = pd_sys_enumerate(id, ids, 8);
        std::vector<std::string> out;
        for (int i = 0; i < std::min(n, 8); ++i) {
            out.push_back(ids[i]);
            free(ids[i]);
        }
        std::sort(out.begin(), out.end());
        return out;
    }

    Appliance app_ = Appliance::fresh();
    SysfsTree t_;
    std::string card1_, card2_;
    PcieSwitch sw_;
};

}  // namespace

TEST_F(PcieSlots, ACardWithItsOwnDisksIsAnEnclosureAndItsPortsAreTheSlots) {
    struct Row {
        int slot;
        int result;
    } rows[] = {{1, 1}, {2, 0}, {3, 0}, {9, 0}};
    for (const Row &row : rows) {
        char *ids[2] = {};
        EXPECT_EQ(pcie_disk_enumerate(ids, 2, row.slot), row.result) << row.slot;
        if (row.result == 1) {
            EXPECT_STREQ(ids[0], ("root_pcie_" + std::to_string(row.slot)).c_str());
        }
        free(ids[0]);
    }
    EXPECT_EQ(list("root_pcie_1"), (std::vector<std::string>{"sg0", "sg1", "sg2"}));
    struct Disk {
        const char *sg;
        int slot;
    } disks[] = {{"sg0", 1}, {"sg1", 2}, {"sg2", 4}};
    for (const Disk &d : disks) {
        int physical = -1, switch_port = -1;
        EXPECT_EQ(get_pcie_physical_drive_port(d.sg, &physical, &switch_port), 0) << d.sg;
        EXPECT_EQ(physical, d.slot) << d.sg;
        EXPECT_EQ(switch_port, 0);
        PD_INFO pd = {};
        ASSERT_EQ(pd_sys_getinfo("root_pcie_1", d.sg, &pd), 0) << d.sg;
        EXPECT_EQ(pd.port_id, d.slot) << d.sg;
    }
}

TEST(PcieSlotPort, IsReadFromTheDisksSasPortOnly) {
    struct Row {
        const char *path;
        int result;
        int port;
    } rows[] = {
        {"../../devices/pci0000:00/0000:00:01.0/0000:02:00.0/host3/port-3:5/end_device-3:5/"
         "target3:0:5/3:0:5:0",
         0, 6},
        {"../../devices/pci0000:00/0000:00:1f.2/ata3/host2/target2:0:0/2:0:0:0", -1, 0},
        {"../../devices/pci0000:00/0000:00:01.0/host3", -1, 0},
        {"../../devices/pci0000:00/0000:00:01.0/host3/port-3:/end_device", -1, 0},
    };
    for (const Row &row : rows) {
        int port = 0;
        EXPECT_EQ(get_pcie_dev_port_from_path(row.path, &port), row.result) << row.path;
        EXPECT_EQ(port, row.port) << row.path;
    }
}

TEST_F(PcieSlots, LinkStateIsTheCardsTrainedLink) {
    t_.pcie_link(card1_, 2, 4);
    t_.pcie_link(card2_, 3, 8);
    t_.pcie_link(sw_.downstream[2], 1, 1);
    t_.pcie_link(sw_.upstream, 2, 16);
    struct Row {
        const char *id;
        int slot;  // from 0
        int result, speed, width, max_width;
    } rows[] = {
        {"root", 0, 0, 2, 4, 8},
        {"root", 1, 0, 0, 8, 16},  // 8 GT/s has no code of its own: speed 0
        {"root", 3, 0, 1, 1, 8},   // behind the card's switch, at the port the model names
        {"root", 4, -1, 0, 0, 8},  // a switch with no port named
        {"root", 2, -1, 0, 0, 8},  // no config file
        {"root", 5, -1, 0, 0, 4},  // no DEV_BUS
        {"root_pcie_1", 0, -1, 0, 0, -7},
    };
    for (const Row &row : rows) {
        int speed = -7, width = -7, max_width = -7;
        EXPECT_EQ(se_sys_get_pcie_link_state(row.id, row.slot, &speed, &width, &max_width),
                  row.result)
            << row.slot;
        EXPECT_EQ(speed, row.speed) << row.slot;
        EXPECT_EQ(width, row.width) << row.slot;
        EXPECT_EQ(max_width, row.max_width) << row.slot;
    }

    // Configuration spaces that can't be trusted: cut short, a list that loops, a list without
    // the PCI Express capability, a pointer past the end.
    std::string good = read_file(card1_ + "/config");
    std::string looping = good;
    looping[0x51] = 0x40;
    std::string without = good;
    without[0x51] = 0;
    std::string past = good;
    past[0x51] = static_cast<char>(0xf8);
    for (const std::string &config : {good.substr(0, 200), looping, without, past}) {
        t_.attribute(card1_, "config", config);
        int speed = -7, width = -7, max_width = -7;
        EXPECT_EQ(se_sys_get_pcie_link_state("root", 0, &speed, &width, &max_width), -1);
        EXPECT_EQ(width, 0);
    }
}
