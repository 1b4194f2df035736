// The example boards, end to end: every disk that enumeration lists for an enclosure must come
// back, through the reverse lookups a hot-plug handler uses, to the same enclosure and to the
// bay the model file gives it. A mismatch here is the wrong LED lit on a real box.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "disk/disk_model.h"
#include "nashal/comm_path.h"
#include "nashal/pd_sys.h"
#include "sim/appliance.h"

namespace {

struct Expected {
    const char *enclosure;
    std::vector<std::pair<std::string, int>> disks;  // sg name, bay (-1: no bay of its own)
};

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

// The slot as pd_sys_getinfo works it out: the physical port of the controller, or for a USB
// disk the port number of its bus name.
int reverse_bay(const char *enc, const std::string &sg) {
    int physical = -1;
    int switch_port = -1;
    if (std::string(enc) == "root_usb" || std::string(enc) == "root_boot") {
        char link[HAL_SYSFS_PATH_LEN];
        char bus[HAL_ID_LEN];
        if (comm_sys_get_sg_path_info(sg.c_str(), link, sizeof(link)) < 0 ||
            !nashal::disk::usb_bus_from_path(link, bus))
            return -100;
        physical = comm_sys_get_usb_port(bus);
    } else if (get_physical_drive_port(sg.c_str(), &physical, &switch_port) != 0) {
        return -100;
    }
    PD_INFO info{};
    info.port_id = -99;
    if (get_pd_port_id(enc, sg.c_str(), physical, switch_port, &info) != 0)
        return -101;
    return info.port_id;
}

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
