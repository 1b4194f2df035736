// Thunderbolt boxes as a firmware engineer meets them: a host controller with two ports, boxes
// daisy-chained on each, every box a PCIe switch with a SATA controller and an I2C adapter. Each
// box is found at its place in the chain and described, its disks land in the slots its model
// file gives, boxes come and go without disturbing the others, and its lights, display and
// sensors are driven over its own I2C bus.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/i2c_bus_model.h"
#include "sim/sas_shelf.h"
#include "sim/sysfs_builders.h"
#include "sim/thunderbolt_box.h"

using namespace nashal::sim;

namespace {

constexpr int kBays = 4;

class ThunderboltBoxes : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
        attach_i2c_bus(0);  // the board's own adapter, which every I2C call looks for first
        pci_root_ = tree_.pci_root(0, 0);
        host_ = std::make_unique<ThunderboltHost>(tree_, pci_root_, host_desc_);
        write_model(host_desc_);
        write_file("/etc/model_jbod.conf", thunderbolt_box_model(ThunderboltBoxDesc{}, kBays));
    }

    void write_model(const ThunderboltHostDesc &d, const std::string &extra = "") {
        write_file("/etc/model.conf", "[System Enclosure]\nCAP = 0x8000\nMAX_FAN_NUM = 1\n" +
                                          thunderbolt_host_model(d) + extra);
    }

    // The n-th box built (from 0): its own I2C bus, ATA ports, hosts, sg numbers and blocks.
    ThunderboltBox add_box(int port, std::vector<int> disk_ports = {0, 2}) {
        const int n = built_++;
        ThunderboltBoxDesc d;
        d.i2c_bus = 101 + n;
        d.first_ata = 1 + kBays * n;
        d.first_host = kBays * n;
        d.first_sg = 2 * n;
        d.disk_ports = std::move(disk_ports);
        d.first_block = "sda";
        for (int i = 0; i < 2 * n; ++i)
            d.first_block = next_block_name(d.first_block);
        ThunderboltBox box = host_->add_box(port, d);
        I2cBusModel &bus = attach_i2c_bus(d.i2c_bus);
        const std::string base = "/sim/tb" + std::to_string(d.i2c_bus);
        write_file(base + ".conf", "vendor 0x50\ntemp_local 0x19\ntemp1 0x85\ntemp2 0x00\n");
        bus.attach(0x2c, nct7802_monitor(base + ".conf"));
        bus.attach(0x20, register_chip(base + ".regs"));
        return box;
    }

    std::vector<std::string> enumerate(int *result = nullptr, unsigned int room = 16) {
        std::vector<char *> ids(room, nullptr);
        int n = thunderbolt_expander_enumerate(ids.data(), room);
        if (result)
            *result = n;
        std::vector<std::string> out;
        for (char *id : ids) {
            if (id)
                out.push_back(id);
            free(id);
        }
        return out;
    }

    std::vector<std::string> disks(const char *id) {
        char *list[8] = {};
        int n = pd_sys_enumerate(id, list, 8);
        std::vector<std::string> out;
        for (int i = 0; i < std::min(n, 8); ++i) {
            out.push_back(list[i]);
            free(list[i]);
        }
        return out;
    }

    static std::vector<std::string> names(int first, int count) {
        std::vector<std::string> out;
        for (int i = 0; i < count; ++i)
            out.push_back("i2c-" + std::to_string(first + i));
        return out;
    }

    // The byte at `reg` of a chip's register file ("/sim/tb101.regs": the box's light chip;
    // "/sim/tb101.conf.regs": its monitor); -1 when nothing was written there.
    static int reg(const std::string &file, int reg) {
        std::string regs = read_file(file);
        return reg < static_cast<int>(regs.size()) ? static_cast<unsigned char>(regs[reg]) : -1;
    }

    Appliance app_ = Appliance::fresh();
    SysfsTree tree_;
    std::string pci_root_;
    ThunderboltHostDesc host_desc_;
    std::unique_ptr<ThunderboltHost> host_;
    int built_ = 0;
};

}  // namespace

TEST_F(ThunderboltBoxes, SevenChainedOnOnePortAndOneOnTheOtherAreFoundAtTheirPlaces) {
    for (int i = 0; i < 7; ++i)
        add_box(1, {});
    add_box(2, {});
    int count = 0;
    EXPECT_EQ(enumerate(&count), names(101, 8));
    EXPECT_EQ(count, 8);

    for (int i = 0; i < 8; ++i) {
        const std::string id = "i2c-" + std::to_string(101 + i);
        int port = 0, position = 0;
        ASSERT_EQ(common_sys_get_thunderbolt_info(id.c_str(), &port, &position), 1) << id;
        EXPECT_EQ(port, i < 7 ? 1 : 2) << id;
        EXPECT_EQ(position, i < 7 ? i + 1 : 1) << id;
    }
    // Every box's monitor was started as it was found.
    EXPECT_EQ(reg("/sim/tb107.conf.regs", 34), 106);

    ENC_INFO info = {};
    ASSERT_EQ(se_sys_getinfo("i2c-103", &info), 0);
    EXPECT_EQ(info.enc_id, -1);
    EXPECT_STREQ(info.enc_parent_sys_id, "root");
    EXPECT_STREQ(info.enc_sys_id, "i2c-103");
    EXPECT_STREQ(info.vendor, "Vornix");
    EXPECT_STREQ(info.model, "TB-4");
    EXPECT_STREQ(info.serial, "JBOD");
    EXPECT_STREQ(reinterpret_cast<char *>(info.wwn), "JBOD-103");
    EXPECT_EQ(info.capability, 0x8u | CAP_INTERNAL);
    EXPECT_EQ(info.protocol, ENC_PROTOCOL_THUNDERBOLT);
    EXPECT_EQ(info.max_disk_num, kBays);
    EXPECT_EQ(info.max_fan_num, 1);
    EXPECT_EQ(info.max_temp_num, 3);
    for (const char *stranger : {"i2c-109", "i2c-5", "i2c-", "root"})
        EXPECT_EQ(thunderbolt_expander_getinfo(stranger, &info), -1) << stranger;
}

TEST_F(ThunderboltBoxes, DisksLandInTheSlotsOfTheirOwnBox) {
    add_box(1, {0, 2});
    add_box(1, {1, 3});
    add_box(2, {3});
    struct Row {
        const char *id;
        int position;
        int host_switch_port;
        std::vector<std::string> sgs;
        std::vector<int> slots;
    } rows[] = {{"i2c-101", 1, 0x1, {"sg0", "sg1"}, {1, 3}},
                {"i2c-102", 2, 0x1, {"sg2", "sg3"}, {2, 4}},
                {"i2c-103", 1, 0x4, {"sg4"}, {4}}};
    for (const Row &row : rows) {
        ASSERT_EQ(disks(row.id), row.sgs) << row.id;
        for (size_t i = 0; i < row.sgs.size(); ++i) {
            PD_INFO pd = {};
            ASSERT_EQ(pd_sys_getinfo(row.id, row.sgs[i].c_str(), &pd), 0) << row.sgs[i];
            EXPECT_EQ(pd.port_id, row.slots[i]) << row.id << " " << row.sgs[i];
            // The slot found from the disk is the slot the forward walk put it in.
            int physical = -1, switch_port = -1;
            ASSERT_EQ(get_thunderbolt_physical_drive_port("/etc/model_jbod.conf", row.position,
                                                          row.host_switch_port, row.sgs[i].c_str(),
                                                          &physical, &switch_port),
                      0);
            EXPECT_EQ(physical, row.slots[i] - 1);
            EXPECT_EQ(switch_port, 0x2);
        }
    }
    // A disk of one box is no disk of another.
    PD_INFO pd = {};
    EXPECT_NE(get_thunderbolt_pd_port_id("i2c-101", "sg9", 0, 2, &pd), 0);
    int speed = 0, max_speed = 0;
    EXPECT_EQ(pd_sys_get_conn_speed("i2c-101", "sg0", &speed, &max_speed), 0);
    EXPECT_EQ(max_speed, 7) << "the box file's default link speed";
}

TEST_F(ThunderboltBoxes, ABoxGoneFromTheMiddleHidesNoneBehindIt) {
    std::vector<ThunderboltBox> boxes;
    for (int i = 0; i < 7; ++i)
        boxes.push_back(add_box(1));
    // Box 4 loses its controller (powered down): its switch still tunnels to the next boxes.
    remove_tree(boxes[3].controller);
    std::vector<std::string> expected = names(101, 3);
    for (const std::string &id : names(105, 3))
        expected.push_back(id);
    EXPECT_EQ(enumerate(), expected);
    int port = 0, position = 0;
    ASSERT_EQ(common_sys_get_thunderbolt_info("i2c-106", &port, &position), 1);
    EXPECT_EQ(position, 6);
    EXPECT_EQ(disks("i2c-106"), (std::vector<std::string>{"sg10", "sg11"}));
    char *none[1] = {};
    EXPECT_EQ(pd_sys_enumerate("i2c-104", none, 1), -1);
}

TEST_F(ThunderboltBoxes, HotPluggedBoxAttachesBesideTheOthersAndLeavesAlone) {
    add_box(1);
    add_box(2);
    SE_Scan();
    int first = -1, second = -1;
    ASSERT_EQ(SE_Get_Id_By_Sys_Id("i2c-101", &first), 0);
    ASSERT_EQ(SE_Get_Id_By_Sys_Id("i2c-102", &second), 0);
    EXPECT_NE(first, second);
    int all[32];
    const int before = SE_Enumerate(all, 32, nullptr, nullptr);

    add_box(1);  // chained behind the first box
    int third = -1;
    const int attached = SE_Sys_Attach("i2c-103", 0);
    EXPECT_GE(attached, 0);
    ASSERT_EQ(SE_Get_Id_By_Sys_Id("i2c-103", &third), 0);
    EXPECT_EQ(SE_Enumerate(all, 32, nullptr, nullptr), before + 1);
    SE_Sys_Attach("i2c-103", 0);
    EXPECT_EQ(SE_Enumerate(all, 32, nullptr, nullptr), before + 1);
    int again = -1;
    EXPECT_EQ(SE_Get_Id_By_Sys_Id("i2c-101", &again), 0);
    EXPECT_EQ(again, first);

    SE_Sys_Pre_Detach("i2c-102");
    SE_Sys_Detach("i2c-102");
    EXPECT_EQ(SE_Enumerate(all, 32, nullptr, nullptr), before);
    EXPECT_EQ(SE_Get_Id_By_Sys_Id("i2c-103", &again), 0);
    EXPECT_EQ(again, third);
}

TEST_F(ThunderboltBoxes, AChainLongerThanSevenKeepsTheSevenAndListsEachOnce) {
    for (int i = 0; i < 8; ++i)
        add_box(1, {});
    EXPECT_EQ(enumerate(), names(101, 7)) << "the eighth box is beyond the chain's reach";
    char *none[1] = {};
    EXPECT_EQ(pd_sys_enumerate("i2c-108", none, 1), -1);

    // Both host port keys naming the same port: each box is still one enclosure.
    ThunderboltHostDesc same = host_desc_;
    same.port2 = same.port1;
    write_model(same);
    int count = 0;
    EXPECT_EQ(enumerate(&count), names(101, 7));
    EXPECT_EQ(count, 7);

    // Too small an array: what fits is stored, every box is counted.
    EXPECT_EQ(enumerate(&count, 3), names(101, 3));
    EXPECT_EQ(count, 7);

    write_model(host_desc_);
    SE_Scan();
    int all[32];
    const int scanned = SE_Enumerate(all, 32, nullptr, nullptr);
    SE_Scan();
    EXPECT_EQ(SE_Enumerate(all, 32, nullptr, nullptr), scanned) << "a rescan attaches no twin";
    for (const std::string &id : names(101, 7)) {
        int enc_id = -1;
        EXPECT_EQ(SE_Get_Id_By_Sys_Id(id.c_str(), &enc_id), 0) << id;
    }
    int enc_id = -1;
    EXPECT_NE(SE_Get_Id_By_Sys_Id("i2c-108", &enc_id), 0);
}

TEST_F(ThunderboltBoxes, ModelFaultsGiveTheirOwnAnswer) {
    add_box(1);
    add_box(2);
    const std::string host = thunderbolt_host_model(host_desc_);
    auto without = [&](const std::string &key) {
        std::string text = host;
        size_t at = text.find(key + " =");
        text.erase(at, text.find('\n', at) + 1 - at);
        return text;
    };
    std::string elsewhere = host;
    elsewhere.replace(elsewhere.find("D01"), 3, "D07");
    struct Row {
        const char *what;
        const char *cap;
        std::string model;
        int result;
    } rows[] = {
        {"no port 2 key: -1 after port 1's box", "0x8000", without("THUNDERBOLT_SWITCH_PORT2"), -1},
        {"no port 1 key", "0x8000", without("THUNDERBOLT_SWITCH_PORT1"), -1},
        {"no controller named", "0x8000", without("DEV_BUS"), 0},
        {"a controller that isn't there", "0x8000", elsewhere, 0},
        {"no PCIe expansion", "0x0", host, 0},
    };
    for (const Row &row : rows) {
        write_file("/etc/model.conf",
                   std::string("[System Enclosure]\nCAP = ") + row.cap + "\n" + row.model);
        int count = 99;
        EXPECT_TRUE(enumerate(&count).size() <= 1) << row.what;
        EXPECT_EQ(count, row.result) << row.what;
    }

    // A box file that names no tunnel or controller port finds no box at all.
    write_model(host_desc_);
    for (const char *key : {"THUNDERBOLT_SWITCH_PORT", "PCI_SWITCH_PORT", "PRODUCT_ID"}) {
        std::string jbod = thunderbolt_box_model(ThunderboltBoxDesc{}, kBays);
        size_t at = jbod.find(std::string("\n") + key + " =");
        jbod.erase(at + 1, jbod.find('\n', at + 1) - at);
        write_file("/etc/model_jbod.conf", jbod);
        int count = 99;
        EXPECT_TRUE(enumerate(&count).empty()) << key;
        EXPECT_EQ(count, 0) << key;
    }
    // A controller of another maker on the box's port is no box.
    ThunderboltBoxDesc other;
    other.sata_device = 0x0612;
    write_file("/etc/model_jbod.conf", thunderbolt_box_model(other, kBays));
    EXPECT_TRUE(enumerate().empty());
}

TEST_F(ThunderboltBoxes, LightsDisplayAndSensorsAreTheBoxsOwn) {
    add_box(1);
    add_box(1);
    enumerate();

    struct Temp {
        int index;
        int result;
        double value;
    } temps[] = {{0, 0, 25.0}, {1, 0, -5.0}, {2, 0, 0.0}, {3, -1, 0.0}, {-1, -1, 0.0}};
    for (const Temp &t : temps) {
        double value = 42;
        EXPECT_EQ(se_sys_get_temp("i2c-102", t.index, &value), t.result) << t.index;
        EXPECT_EQ(value, t.value) << t.index;
    }
    EXPECT_EQ(se_sys_set_7_segment_led("i2c-102", 2), 0);
    EXPECT_EQ(reg("/sim/tb102.regs", 0x13), 2);
    EXPECT_EQ(reg("/sim/tb101.regs", 0x13), -1) << "the other box's display is untouched";
    EXPECT_EQ(se_sys_set_7_segment_led("i2c-102", 10), -1);

    EXPECT_EQ(se_sys_set_ident_led("i2c-101", 1), 0);
    EXPECT_EQ(se_sys_set_ident_led("i2c-101", 0), 0);
    EXPECT_EQ(thunderbolt_set_hdd_led("i2c-101", 2, 1, "ERR_LED"), 0);
    EXPECT_EQ(thunderbolt_set_hdd_led("i2c-101", 3, 0, "PRESENT_LED"), 0);
    EXPECT_EQ(read_file("/sim/tb101.regs.sent"), "31\n30\n42\n93\n");
    EXPECT_EQ(thunderbolt_set_hdd_led("i2c-101", 9, 1, "ERR_LED"), -1) << "no such bay";
    EXPECT_EQ(thunderbolt_set_hdd_led("i2c-5", 1, 1, "ERR_LED"), -1) << "no box bus";
}

TEST_F(ThunderboltBoxes, AMonitorOfAnotherMakeLeavesTheReadingAsItWas) {
    add_box(1, {});
    write_file("/sim/tb101.conf", "vendor 0x20\ntemp_local 0x19\n");
    double value = 42;
    EXPECT_EQ(se_sys_get_temp("i2c-101", 0, &value), 0);
    EXPECT_EQ(value, 0) << "the router clears the reading first";
    value = 42;
    EXPECT_EQ(thunderbolt_expander_get_temperature("i2c-101", 0, &value), 0);
    EXPECT_EQ(value, 42);
    EXPECT_EQ(reg("/sim/tb101.conf.regs", 34), -1) << "no mode written to a chip it isn't";
}

TEST(ExampleThunderboltBoard, BoxesAndSlotCardAreFoundWithTheirDisksInTheirSlots) {
    auto app = Appliance::copy_of(std::string(NASHAL_EXAMPLES_DIR) + "/x86-thunderbolt");
    ASSERT_TRUE(app.activate());
    char *ids[32] = {};
    const int n = se_sys_enumerate(ids, 32);
    std::vector<std::string> found;
    for (int i = 0; i < std::min(n, 32); ++i) {
        found.emplace_back(ids[i]);
        free(ids[i]);
    }
    for (const char *id : {"root_pcie_1", "i2c-101", "i2c-102", "i2c-103", "i2c-104"})
        EXPECT_NE(std::find(found.begin(), found.end(), id), found.end()) << id;

    struct Disk {
        const char *enc;
        const char *sg;
        int slot;
    } disks[] = {{"i2c-101", "sg22", 4},
                 {"i2c-103", "sg25", 2},
                 {"i2c-104", "sg27", 4},
                 {"root_pcie_1", "sg28", 1},
                 {"root_pcie_1", "sg29", 3}};
    for (const Disk &d : disks) {
        PD_INFO pd = {};
        ASSERT_EQ(pd_sys_getinfo(d.enc, d.sg, &pd), 0) << d.sg;
        EXPECT_EQ(pd.port_id, d.slot) << d.sg;
    }
    PD_INFO pd = {};
    ASSERT_EQ(pd_sys_getinfo("i2c-102", "sg24", &pd), 0);
    EXPECT_STREQ(pd.model, "ST4000VN008-2DR166") << "the box's disk answers IDENTIFY";

    int speed = 0, status = 0;
    EXPECT_EQ(se_sys_get_fan_speed("i2c-104", 0, &speed, &status), 0);
    EXPECT_NEAR(speed, 2400, 50);
    int link = 0, width = 0, max_width = 0;
    EXPECT_EQ(se_sys_get_pcie_link_state("root", 0, &link, &width, &max_width), 0);
    EXPECT_EQ(width, 8);
}
