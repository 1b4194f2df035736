// The example boards, end to end: every disk that enumeration lists for an enclosure must come
// back, through the reverse lookups a hot-plug handler uses, to the same enclosure and to the
// bay the model file gives it. A mismatch here is the wrong LED lit on a real box.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "disk/round_trip.h"
#include "disk/disk_model.h"
#include "nashal/comm_path.h"
#include "nashal/pd_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"

namespace {

struct Expected {
    const char *enclosure;
    std::vector<std::pair<std::string, int>> disks;  // sg name, bay (-1: no bay of its own)
};

using disk_test::enumerate;
using disk_test::reverse_bay;

void check_board(const char *board, const std::vector<Expected> &expected) {
    auto app = nashal::sim::Appliance::copy_of(std::string(NASHAL_EXAMPLES_DIR) + "/" + board);
    ASSERT_TRUE(app.activate());
    for (const auto &e : expected) {
        std::vector<std::string> want;
        for (const auto &d : e.disks)
            want.push_back(d.first);
        // The LUNs of one USB device come in directory order; the set is what counts.
        auto got = enumerate(e.enclosure);
        std::sort(got.begin(), got.end());
        std::sort(want.begin(), want.end());
        EXPECT_EQ(got, want) << board << ": enumeration of " << e.enclosure << " lists other disks";
        for (const auto &[sg, bay] : e.disks) {
            char enc[HAL_ID_LEN] = "";
            EXPECT_EQ(PD_Sys_Get_SE_Sys_Id(sg.c_str(), enc), 0) << board << " " << sg;
            EXPECT_STREQ(enc, e.enclosure)
                << board << ": " << sg << " is listed in one enclosure and mapped to another";
            EXPECT_EQ(reverse_bay(e.enclosure, sg), bay)
                << board << ": " << sg << " would get the wrong bay (LED, slot number)";
        }
    }
}

// The disk name the kernel gives a block device number: sixteen disks to a major (8, 65-71,
// 128-135), sixteen minors to a disk.
std::string sd_name_of(const std::string &dev) {
    int major = -1;
    int minor = -1;
    if (sscanf(dev.c_str(), "%d:%d", &major, &minor) != 2 || minor % 16 != 0 || minor > 255)
        return "?";
    int group = major == 8                     ? 0
                : major >= 65 && major <= 71   ? major - 64
                : major >= 128 && major <= 135 ? major - 120
                                               : -1;
    if (group < 0)
        return "?";
    int index = group * 16 + minor / 16;
    std::string suffix;
    for (int i = index + 1; i > 0; i = (i - 1) / 26)
        suffix.insert(suffix.begin(), static_cast<char>('a' + (i - 1) % 26));
    return "sd" + suffix;
}

TEST(ExampleBoards, SysfsIsAsTheKernelWritesIt) {
    for (const char *board : {"x86-8bay", "x86-pcie-sas", "x86-12bay-sas"}) {
        auto app = nashal::sim::Appliance::copy_of(std::string(NASHAL_EXAMPLES_DIR) + "/" + board);
        ASSERT_TRUE(app.activate());
        for (const auto &name : nashal::sim::list_dir("/sys/block")) {
            std::string dev = nashal::sim::read_file("/sys/block/" + name + "/dev");
            EXPECT_EQ(sd_name_of(dev), name)
                << board << ": /sys/block/" << name << "/dev is " << dev
                << " - a lookup by device number would name another disk";
        }
        for (const auto &name : nashal::sim::list_dir("/sys/class/scsi_generic")) {
            std::string link = "/sys/class/scsi_generic/" + name;
            char target[HAL_SYSFS_PATH_LEN] = "";
            ssize_t n = readlink(link.c_str(), target, sizeof(target) - 1);
            ASSERT_GT(n, 0) << board << ": " << link << " is no link";
            EXPECT_EQ(std::string(target, 6), "../../")
                << board << ": " << link << " must be relative, as the kernel's are";
            EXPECT_EQ(nashal::sim::read_file(link + "/dev"), "21:" + name.substr(2) + "\n")
                << board << ": " << name;
        }
    }
}

TEST(ExampleBoards, EightBayDisksMapBackToTheirEnclosureAndBay) {
    check_board(
        "x86-8bay",
        {
            {"root",
             {{"sg0", 1}, {"sg1", 2}, {"sg2", 3}, {"sg3", 4}, {"sg4", 5}, {"sg5", 6}, {"sg6", 7}}},
            {"root_esata", {{"sg8", -1}, {"sg9", -1}, {"sg10", 2}}},
            {"root_cache", {{"sg7", 1}}},
            {"root_boot", {{"sg17", 1}}},
            {"root_usb",
             {{"sg11", 1}, {"sg12", 1}, {"sg13", 1}, {"sg14", 1}, {"sg15", 2}, {"sg16", 3}}},
        });
}

TEST(ExampleBoards, SwitchedSasBoardDisksMapBackToTheirBay) {
    check_board("x86-pcie-sas", {
                                    {"root",
                                     {{"sg0", 1},
                                      {"sg1", 2},
                                      {"sg2", 4},
                                      {"sg9", 5},
                                      {"sg10", 6},
                                      {"sg11", 7},
                                      {"sg12", 8},
                                      {"sg3", 9},
                                      {"sg4", 10},
                                      {"sg5", 11},
                                      {"sg6", 12}}},
                                });
}

// Every front bay sits on a phy of the unit's own expander, and the controller in front of it
// has phys of its own: a bay whose phy number the controller also had would be looked for on
// the controller and come up empty.
TEST(ExampleBoards, InternalExpanderBoardDisksMapBackToTheirBay) {
    check_board("x86-12bay-sas", {
                                     {"root",
                                      {{"sg0", 1},
                                       {"sg1", 2},
                                       {"sg2", 3},
                                       {"sg3", 4},
                                       {"sg4", 5},
                                       {"sg5", 7},
                                       {"sg6", 8},
                                       {"sg7", 9},
                                       {"sg8", 10},
                                       {"sg9", 12}}},
                                     {"root_cache", {{"sg11", 2}}},
                                     {"root_boot", {{"sg12", 1}}},
                                     {"root_usb", {{"sg13", 1}}},
                                 });
}

TEST(ExampleBoards, DiskOnInternalExpanderThatNoBayListsIsTheSecondKindOfFailure) {
    auto app = nashal::sim::Appliance::copy_of(std::string(NASHAL_EXAMPLES_DIR) + "/x86-pcie-sas");
    ASSERT_TRUE(app.activate());
    char enc[HAL_ID_LEN] = "";
    EXPECT_EQ(PD_Sys_Get_SE_Sys_Id("sg7", enc), -2)
        << "a disk on the board's own expander with no bay must not pass for an enclosure";
    EXPECT_STREQ(enc, "sg8");
}

TEST(ExampleBoards, EmptyPcieSlotHasNoDisks) {
    auto app = nashal::sim::Appliance::copy_of(std::string(NASHAL_EXAMPLES_DIR) + "/x86-8bay");
    ASSERT_TRUE(app.activate());
    EXPECT_TRUE(enumerate("root_pcie_1").empty());
}

}  // namespace
