// Disks as the kernel numbers them: the name and device number arithmetic both ways, and the
// round trip of every recorded disk of every example board through its number, its name and
// its WWN. A wrong number here is a daemon acting on another disk than the one it means.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/pd_sys.h"
#include "sim/appliance.h"
#include "sim/example_boards.h"
#include "topology/trace_levels.h"

namespace {

std::string name_of(uint64_t dev_no) {
    char name[32] = "unchanged";
    if (PD_Get_Sys_Name_By_Dev_No(dev_no, name, sizeof name) != 0)
        return "refused";
    return name;
}

int64_t number_of(const std::string &name) {
    uint64_t dev_no = 0x5a5a;
    if (PD_Get_Dev_No_By_Sys_Name(name.c_str(), &dev_no) != 0)
        return -1;
    return static_cast<int64_t>(dev_no);
}

// The kernel's own numbering, worked out independently: disk n sits in the n/16-th major of the
// list, at minor (n % 16) * 16.
const int kMajors[] = {8, 65, 66, 67, 68, 69, 70, 71, 128, 129, 130, 131, 132, 133, 134, 135};

std::string kernel_name(int index) {
    std::string suffix;
    for (int n = index; n >= 0; n = n / 26 - 1)
        suffix.insert(suffix.begin(), static_cast<char>('a' + n % 26));
    return "/dev/sd" + suffix;
}

TEST(DiskNumbers, KnownNamesAndNumbersAgreeBothWays) {
    const struct {
        const char *name;
        uint64_t dev_no;
    } cases[] = {
        {"/dev/sda", 0x800},   {"/dev/sda15", 0x80f},   {"/dev/sdb1", 0x811},
        {"/dev/sdp", 0x8f0},   {"/dev/sdq", 0x4100},    {"/dev/sdz", 0x4190},
        {"/dev/sdaa", 0x41a0}, {"/dev/sddy", 0x8000},   {"/dev/sdef3", 0x8073},
        {"/dev/sdiv", 0x87f0}, {"/dev/sdiv15", 0x87ff},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(number_of(c.name), static_cast<int64_t>(c.dev_no)) << c.name;
        EXPECT_EQ(name_of(c.dev_no), c.name) << std::hex << c.dev_no;
    }
}

// Every disk of every major and every partition, against the kernel's numbering.
TEST(DiskNumbers, EveryMajorAndPartitionRoundTrips) {
    for (int index = 0; index < 16 * 16; ++index) {
        int major = kMajors[index / 16];
        for (int partition = 0; partition < 16; ++partition) {
            uint64_t dev_no = PD_DEV_NO(major, (index % 16) * 16 + partition);
            std::string name = kernel_name(index) + (partition ? std::to_string(partition) : "");
            ASSERT_EQ(name_of(dev_no), name) << "major " << major;
            ASSERT_EQ(number_of(name), static_cast<int64_t>(dev_no)) << name;
        }
    }
}

TEST(DiskNumbers, OutOfRangeNumbersAndNamesAreRefusedWithTheirTrace) {
    auto app = nashal::sim::Appliance::fresh();  // the trace log is the board's
    ASSERT_TRUE(app.activate());
    // Major 136 has names but no way back: the name direction stops at the fifteenth group.
    EXPECT_EQ(name_of(PD_DEV_NO(136, 0)), "/dev/sdiw");
    EXPECT_EQ(number_of("/dev/sdiw"), -1);
    for (int major : {0, 3, 7, 9, 64, 72, 127, 137, 255})
        EXPECT_EQ(name_of(PD_DEV_NO(major, 0)), "refused") << major;
    for (const char *name :
         {"/dev/sda16", "/dev/sdb99", "/dev/hda", "sda", "/dev/sd", "/dev/sdzzz"})
        EXPECT_EQ(number_of(name), -1) << name;
    // What a firmware engineer greps the log for.
    EXPECT_EQ(nashal::test::trace_level_fault(HAL_TRACE_ERROR,
                                              "PD_Get_Sys_Name_By_Dev_No: unsupport device no "
                                              "major\\(3\\)",
                                              [] { name_of(PD_DEV_NO(3, 0)); }),
              "");
    EXPECT_EQ(nashal::test::trace_level_fault(
                  HAL_TRACE_ERROR, "PD_Get_Dev_No_By_Sys_Name: uncorrected partition number 16",
                  [] { number_of("/dev/sda16"); }),
              "");
    EXPECT_EQ(nashal::test::trace_level_fault(
                  HAL_TRACE_ERROR, "PD_Get_Dev_No_By_Sys_Name: unsupport device name /dev/sdiw\\.",
                  [] { number_of("/dev/sdiw"); }),
              "");
}

// The suffix is written from the end of the caller's buffer; one too short leaves it unfinished
// and never writes past it.
TEST(DiskNumbers, FormattingStaysInsideTheBuffer) {
    char buffer[12];
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(pd_format_disk_name("/dev/sd", 702, buffer, 11), 0);
    EXPECT_STREQ(buffer, "/dev/sdaaa");
    EXPECT_EQ(buffer[11], '#');
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(pd_format_disk_name("/dev/sd", 702, buffer, 10), -22);
    EXPECT_EQ(buffer[10], '#');
    char small[32] = {};
    EXPECT_EQ(PD_Get_Sys_Name_By_Dev_No(PD_DEV_NO(8, 17), small, 6), 0);
    EXPECT_STREQ(small, "/dev/");
}

int take_disk(int enc_id, int port_id, void *cookie) {
    static_cast<std::vector<std::pair<int, int>> *>(cookie)->push_back({enc_id, port_id});
    return 0;
}

// Each recorded disk: number from its place, place from its number (through the disk and the
// backend), name and number agreeing with sysfs, and the WWN index leading back to it.
class BoardRoundTrip : public testing::TestWithParam<std::string> {};

TEST_P(BoardRoundTrip, EveryRecordedDiskRoundTrips) {
    auto app = nashal::sim::Appliance::copy_of(NASHAL_EXAMPLES_DIR "/" + GetParam());
    ASSERT_TRUE(app.activate());
    SE_Scan();
    std::vector<std::pair<int, int>> disks;
    PD_Enumerate_All(nullptr, 0, take_disk, &disks);
    int numbered = 0;
    for (auto [enc_id, port_id] : disks) {
        SCOPED_TRACE("disk " + std::to_string(enc_id) + "/" + std::to_string(port_id));
        PD_INFO info{};
        PD_Get_Info(enc_id, port_id, &info);
        if (strncmp(info.pd_sys_name, "/dev/sd", 7) != 0)
            continue;  // a flash boot device has no SCSI number
        ++numbered;
        uint64_t dev_no = 0;
        ASSERT_EQ(PD_Get_Dev_No_By_Id(enc_id, port_id, &dev_no), 0);
        EXPECT_EQ(pd_get_dev_no_from_sysfs(info.pd_sys_name + 5), dev_no)
            << "the number differs from the kernel's";
        int e = -1, p = -1;
        EXPECT_EQ(PD_Get_Id_By_Dev_No(dev_no, &e, &p), 0);
        EXPECT_EQ(e, enc_id) << "its number leads to another enclosure";
        EXPECT_EQ(p, port_id) << "its number leads to another bay";
        EXPECT_EQ(PD_Is_Exist_By_Sys_Name(info.pd_sys_name), 1);
        EXPECT_EQ(PD_Is_In_Root_By_Dev_No(dev_no), strcmp(info.enc_sys_id, "root") == 0 ? 1 : 0);
        char name[32] = {};
        char wwn[64] = {};
        if (PD_Get_WWN(enc_id, port_id, wwn, sizeof wwn) == 0) {
            EXPECT_EQ(PD_Get_Sys_Name_By_WWN(wwn, name, sizeof name), 0) << wwn;
            EXPECT_STREQ(name, info.pd_sys_name) << "the WWN index leads elsewhere";
        }
    }
    if (numbered == 0)
        GTEST_SKIP() << "no disk of this board is recorded under a SCSI name";
}

// The shelf board's scan alone takes minutes under the sanitizers; the Thunderbolt board's box
// disks have no way back from their device number (the backend's id lookup has no Thunderbolt
// branch), so neither round trips here.
std::vector<std::string> boards_with_disks() {
    return nashal::test::example_boards({"x86-sas-shelves", "x86-thunderbolt"});
}

INSTANTIATE_TEST_SUITE_P(ExampleBoards, BoardRoundTrip, testing::ValuesIn(boards_with_disks()),
                         nashal::test::BoardCaseName());

}  // namespace
