// The identity ROMs. The images under test are the example boards' ROMs, written byte by byte
// from the ROM tables by examples/appliances/make_identity_roms.py, not by the library: a field
// at a wrong offset here is a unit that reports another unit's serial number, or a ROM that
// the manufacturing tools reject after the next write.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "nashal/hal_trace.h"
#include "nashal/vpd.h"
#include "sim/appliance.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

const std::string kBoard = std::string(NASHAL_EXAMPLES_DIR) + "/x86-8bay";

// The zero-sum areas of each ROM: first byte and length, from the ROM tables.
struct Area {
    size_t first, length;
};
const std::vector<Area> kMbAreas = {{0, 8}, {8, 112}, {120, 96}};
const std::vector<Area> kBpAreas = {{0, 8}, {8, 40}, {48, 96}, {144, 80}};

bool areas_sum_to_zero(const std::string &image, const std::vector<Area> &areas) {
    for (const Area &a : areas) {
        unsigned sum = 0;
        for (size_t i = a.first; i < a.first + a.length; ++i)
            sum += static_cast<uint8_t>(image[i]);
        if (sum % 256 != 0)
            return false;
    }
    return true;
}

class Vpd : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
    }
    std::string field(const char *id) {
        char out[64] = {};
        EXPECT_EQ(VPD_Get_Field_By_Id(id, out, sizeof out), 0) << id;
        return out;
    }
    Appliance app_ = Appliance::copy_of(kBoard);
};

}  // namespace

TEST_F(Vpd, FieldsOfTheBoardsRomsReadAtTheirPlaces) {
    struct Case {
        const char *id;
        const char *value;
    } cases[] = {
        {"0:0", "2024/07/15-09:30"},
        {"0:1", "Vornix"},
        {"0:2", "NX-800 MB"},
        {"0:3", "MB8A2407001234"},
        {"0:4", "BRD-NX800031"},
        {"0:5", "0x000102030405060708090a0b0c0d0e0f"},
        {"0:6", "Vornix"},
        {"0:7", "NX-800"},
        {"0:8", "NX-800"},
        {"0:9", "1.0"},
        {"0:10", "NX8A2407005678"},
        {"1:0", "0x17"},
        {"1:1", "CHS-NX800"},
        {"1:2", "CH8A2407000042"},
        {"1:3", "2024/07/15-09:45"},
        {"1:4", "Vornix"},
        {"1:5", "NX-800 BP"},
        {"1:6", "BP8A2407004321"},
        {"1:7", "BPL-B8SAT020"},
        {"1:8", "Vornix"},
        {"1:9", "NX-800 BP"},
        {"1:10", "B8SAT"},
        {"1:12", "BP8A2407009876"},
        // Loose ids: index 13 of row 0 is the first entry of row 1.
        {"0:13", "0x17"},
        {"0:14", "CHS-NX800"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(field(c.id), c.value) << c.id;
    // 1:11 points into the middle of the part number at 106: its 3 bytes from offset 119.
    EXPECT_EQ(field("1:11"), "");

    char out[8] = "keep";
    for (const char *bad : {"0:11", "0:12", "2:0", "1:15", "0:", "", "-1:0"})
        EXPECT_EQ(VPD_Get_Field_By_Id(bad, out, sizeof out), -1) << bad;
    EXPECT_EQ(VPD_Get_Field_By_Id(nullptr, out, sizeof out), -1);
    EXPECT_EQ(VPD_Get_Field(0, out, sizeof out), -1);
}

TEST_F(Vpd, ValidatorLeavesAWellFormedImageAsItIsAndRepairsDamage) {
    std::string mb = read_file("/sim/vpd_mb.bin").substr(0, VPD_MB_ROM_SIZE);
    std::string bp = read_file("/sim/vpd_bp.bin").substr(0, VPD_BP_ROM_SIZE);
    ASSERT_TRUE(areas_sum_to_zero(mb, kMbAreas));
    ASSERT_TRUE(areas_sum_to_zero(bp, kBpAreas));

    std::vector<uint8_t> image(mb.begin(), mb.end());
    // A correct checksum is rewritten too and counted: one per area.
    EXPECT_EQ(VPD_MB_Data_Validator(image.data()), 3);
    EXPECT_EQ(std::string(image.begin(), image.end()), mb);
    std::vector<uint8_t> bp_image(bp.begin(), bp.end());
    EXPECT_EQ(VPD_BP_Data_Validator(bp_image.data()), 4);
    EXPECT_EQ(std::string(bp_image.begin(), bp_image.end()), bp);

    // Damage: a wrong version byte, a type/length byte, stale bytes behind a text's end, a
    // broken checksum.
    image[0] = 2;
    image[31] = 0xC5;
    image[32 + 10] = 'X';  // "NX-800 MB\0X"
    image[119] ^= 0xFF;
    EXPECT_EQ(VPD_MB_Data_Validator(image.data()), 2 + 3);
    std::string repaired(image.begin(), image.end());
    std::string expected = mb;
    EXPECT_EQ(repaired, expected);
    EXPECT_EQ(VPD_MB_Data_Validator(nullptr), -1);
}

TEST(VpdImage, ValidatorBuildsAWellFormedRomFromNothing) {
    for (int rom : {0, 1}) {
        std::vector<uint8_t> image(rom == 0 ? VPD_MB_ROM_SIZE : VPD_BP_ROM_SIZE, 0);
        if (rom == 0)
            VPD_MB_Data_Validator(image.data());
        else
            VPD_BP_Data_Validator(image.data());
        std::string bytes(image.begin(), image.end());
        EXPECT_TRUE(areas_sum_to_zero(bytes, rom == 0 ? kMbAreas : kBpAreas)) << rom;
        // Type/length bytes of the 16- and 32-byte texts, end markers.
        if (rom == 0) {
            EXPECT_EQ(image[14], 0xD0);
            EXPECT_EQ(image[65], 0xE0);
            EXPECT_EQ(image[98], 0xC0);
            EXPECT_EQ(image[99], 0x10);
            EXPECT_EQ(image[116], 0xC1);
            EXPECT_EQ(image[190], 0xC3);
            EXPECT_EQ(image[213], 0xC1);
        } else {
            EXPECT_EQ(image[2], 1);
            EXPECT_EQ(image[4], 18);
            EXPECT_EQ(image[11], 0xD0);
            EXPECT_EQ(image[45], 0xC1);
            EXPECT_EQ(image[105], 0xE0);
            EXPECT_EQ(image[139], 0xC1);
            EXPECT_EQ(image[221], 0xC1);
        }
    }
    std::vector<uint8_t> rom(VPD_BP_ROM_SIZE, 0);
    ASSERT_EQ(VPD_Gen_Default_ROM(1, rom.data(), static_cast<int>(rom.size()), nullptr), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(rom.data() + 55), "VORN Systems");
    EXPECT_STREQ(reinterpret_cast<char *>(rom.data() + 148), "VORN Systems");
    EXPECT_EQ(VPD_Gen_Default_ROM(0, rom.data(), 215, nullptr), -1);
}

TEST_F(Vpd, EveryWritableFieldRoundTripsAndTheRomStaysWellFormed) {
    struct Case {
        const char *id;
        const char *written;
        const char *read;
    } cases[] = {
        {"0:0", "2025/02/28-23:59", "2025/02/28-23:59"},
        {"0:1", "Other Maker", "Other Maker"},
        {"0:2", "NX-800 MB rev B", "NX-800 MB rev B"},
        {"0:3", "MB8A2502009999", "MB8A2502009999"},
        {"0:4", "BRD-NX800041", "BRD-NX800041"},
        {"0:6", "Vornix Inc", "Vornix Inc"},
        {"0:7", "NX-800 Plus", "NX-800 Plus"},
        {"0:8", "NX-800P", "NX-800P"},
        {"0:9", "2", "2"},
        {"0:10", "NX8A2502001111", "NX8A2502001111"},
        {"1:0", "0x11", "0x11"},
        {"1:1", "CHS-NX800B", "CHS-NX800B"},
        {"1:3", "2013/01/01-00:01", "2013/01/01-00:01"},
        {"1:7", "BPL-B8SAT031", "BPL-B8SAT031"},
        {"1:12", "BP8A2502002222", "BP8A2502002222"},
        // Too long for its place: cut to the field's length less one.
        {"0:3", "ABCDEFGHIJKLMNOPQRST", "ABCDEFGHIJKLMNO"},
        {"0:9", "1.25", "1."},
        // A shorter text leaves nothing of the longer one behind it.
        {"0:2", "B", "B"},
    };
    for (const Case &c : cases) {
        ASSERT_EQ(VPD_Set_Field_By_Id(c.id, c.written), 0) << c.id;
        EXPECT_EQ(field(c.id), c.read) << c.id;
        EXPECT_TRUE(areas_sum_to_zero(read_file("/sim/vpd_mb.bin"), kMbAreas)) << c.id;
        EXPECT_TRUE(areas_sum_to_zero(read_file("/sim/vpd_bp.bin"), kBpAreas)) << c.id;
    }
    // The 16-byte binary field can't be written as a number; it keeps what it holds.
    EXPECT_EQ(VPD_Set_Field_By_Id("0:5", "0x1234"), 0);
    EXPECT_EQ(field("0:5"), "0x000102030405060708090a0b0c0d0e0f");
    // Other fields are untouched by all of it.
    EXPECT_EQ(field("0:1"), "Other Maker");
    EXPECT_EQ(field("1:5"), "NX-800 BP");
}

TEST_F(Vpd, ARefusedDateStillRepairsAndRewritesTheRom) {
    std::string before = read_file("/sim/vpd_mb.bin");
    std::string broken = before;
    broken[119] = static_cast<char>(broken[119] ^ 0x01);
    write_file("/sim/vpd_mb.bin", broken);
    EXPECT_EQ(VPD_Set_Field_By_Id("0:0", "2040/01/01-00:00"), 0);
    EXPECT_EQ(field("0:0"), "2024/07/15-09:30");
    EXPECT_EQ(read_file("/sim/vpd_mb.bin"), before);
}

TEST(VpdDates, TextAndBinaryFormsConvertBothWays) {
    struct Case {
        const char *text;
        int result;
        uint32_t minutes;
    } cases[] = {
        {"2013/01/01-00:00", 0, 0},       {"2013/01/01-00:01", 0, 1},
        {"2012/12/31-23:59", 0, 0},  // before the epoch: clamped
        {"2007/01/01-00:00", 0, 0},       {"2013/01/02-00:00", 0, 1440},
        {"2024/07/15-09:30", 0, 6067290}, {"2006/12/31-23:59", -1, 0},
        {"2038/01/01-00:00", -1, 0},      {"2013/13/01-00:00", -1, 0},
        {"2013/01/01-24:00", -1, 0},      {"2013/01/01-00:0", -1, 0},  // 15 characters
    };
    for (const Case &c : cases) {
        uint8_t out[4] = {0xAA, 0xAA, 0xAA, 0xAA};
        ASSERT_EQ(VPD_MfgDate_To_Binary(c.text, static_cast<int>(strlen(c.text)), out, 3), c.result)
            << c.text;
        if (c.result != 0)
            continue;
        EXPECT_EQ(out[0] | (out[1] << 8) | (out[2] << 16), static_cast<int>(c.minutes)) << c.text;
        EXPECT_EQ(out[3], 0xAA) << "wrote past the size";
        char back[32] = {};
        EXPECT_EQ(VPD_Binary_To_Mfgdate(back, sizeof back, out, 3), 0);
        if (c.minutes != 0 || std::strcmp(c.text, "2013/01/01-00:00") == 0) {
            EXPECT_STREQ(back, c.text);
        }
    }
    EXPECT_EQ(VPD_MfgDate_To_Binary(nullptr, 16, nullptr, 0), -1);
}

TEST(VpdImage, DumpPrintsGroupsOfEight) {
    const uint8_t data[9] = {1, 2, 3, 4, 5, 6, 7, 8, 0xff};
    char *text = nullptr;
    size_t size = 0;
    FILE *out = open_memstream(&text, &size);
    ASSERT_NE(out, nullptr);
    VPD_Print_Rom(out, data, 9);
    fclose(out);
    EXPECT_STREQ(text, "0000 -> 0x01 0x02 0x03 0x04 0x05 0x06 0x07 0x08 \n0001 -> 0xff \n");
    free(text);
}
