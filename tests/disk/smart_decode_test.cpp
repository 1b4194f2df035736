// Decoding SMART sectors as drives send them: entries written out byte by byte as a drive
// captured them, not built by the appliance's own encoder, so a shared mistake can't hide.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "disk/smart_decode.h"
#include "disk/smart_layout.h"
#include "sim/sata_smart_model.h"

using namespace nashal;

namespace {

using Sector = std::vector<uint8_t>;

// A sector with the given 12-byte entries from byte 2 and a correct checksum.
Sector sector_with(const std::vector<std::vector<uint8_t>> &entries, uint8_t self_test = 0) {
    Sector s(512, 0);
    s[0] = 0x10;
    for (size_t i = 0; i < entries.size(); ++i)
        std::memcpy(&s[2 + 12 * i], entries[i].data(), entries[i].size());
    s[363] = self_test;
    s[372] = 2;
    s[373] = 0xB4;
    uint8_t sum = 0;
    for (size_t i = 0; i < 511; ++i)
        sum = static_cast<uint8_t>(sum + s[i]);
    s[511] = static_cast<uint8_t>(-sum);
    return s;
}

TEST(SmartDecode, EntriesGiveNameFlagsValuesAndTheSixByteRawLowByteFirst) {
    // id, flags lo/hi, value, worst, raw (6 bytes, lowest first), reserved
    Sector data = sector_with({
        {0x09, 0x32, 0x00, 0x48, 0x48, 0x89, 0x60, 0x00, 0x00, 0x00, 0x00, 0x00},
        {0xBE, 0x22, 0x00, 0x40, 0x34, 0x24, 0x00, 0x1D, 0x2A, 0x00, 0x00, 0x00},
        {0xF1, 0x00, 0x00, 0x64, 0xFD, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xEE},
        {0x0E, 0x0F, 0x01, 0x75, 0x63, 0x01, 0x00, 0x00, 0x00, 0x00, 0x80, 0x00},
    });
    SMART_ATTR a[30] = {};
    ASSERT_EQ(smart::decode_attributes(data.data(), a, 30), 4);
    struct Want {
        int id;
        const char *name;
        uint16_t flags;
        uint8_t value, worst;
        uint64_t raw;
    } want[] = {
        {9, "Power_On_Hours", 0x0032, 0x48, 0x48, 24713},
        {190, "Airflow_Temperature_Cel", 0x0022, 0x40, 0x34, 0x2A1D0024},
        {241, "Total_LBAs_Written", 0x0000, 0x64, 0xFD, 0xFFFFFFFFFFFFull},
        {14, "Unknown_Attribute", 0x010F, 0x75, 0x63, 0x800000000001ull},
    };
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(want[i].name);
        EXPECT_EQ(a[i].id, want[i].id);
        EXPECT_STREQ(a[i].name, want[i].name);
        EXPECT_EQ(a[i].status_flag, want[i].flags);
        EXPECT_EQ(a[i].value, want[i].value);
        EXPECT_EQ(a[i].worst, want[i].worst);
        EXPECT_EQ(a[i].raw, want[i].raw) << "the reserved byte 11 is not part of the raw value";
        EXPECT_EQ(a[i].thresh, 0);
        EXPECT_EQ(a[i].reserved_word, 0xFFFF);
    }
}

TEST(SmartDecode, TheTableEndsAtIdZeroAtThirtyEntriesOrAtTheCallersRoom) {
    auto full = sim::smart_data_image(sim::typical_hdd_smart());
    ASSERT_EQ(sim::typical_hdd_smart().attributes.size(), 30u);
    SMART_ATTR a[31] = {};
    a[30].id = -7;
    EXPECT_EQ(smart::decode_attributes(full.data(), a, 31), 30);
    EXPECT_EQ(a[30].id, -7) << "no 31st entry is read past the table";
    EXPECT_EQ(a[29].id, 254);
    EXPECT_STREQ(a[29].name, "Free_Fall_Sensor");
    EXPECT_EQ(smart::decode_attributes(full.data(), a, 5), 5);
    EXPECT_EQ(smart::decode_attributes(full.data(), a, 0), 0);

    Sector gap = sector_with({{0x01, 0, 0, 100, 100}, {0x00}, {0x05, 0, 0, 100, 100}});
    EXPECT_EQ(smart::decode_attributes(gap.data(), a, 30), 1) << "id 0 ends the table";
    Sector empty = sector_with({});
    EXPECT_EQ(smart::decode_attributes(empty.data(), a, 30), 0);
}

TEST(SmartDecode, ThresholdsAreMatchedByIdNotByPosition) {
    Sector data = sector_with({{0x01, 0, 0, 100, 100}, {0x05, 0, 0, 100, 100}, {0xC2}});
    Sector thresholds = sector_with({{0x05, 0x24}, {0x01, 0x06}, {0x05, 0x99}});
    SMART_ATTR a[3] = {};
    ASSERT_EQ(smart::decode_attributes(data.data(), a, 3), 3);
    smart::apply_thresholds(thresholds.data(), a, 3);
    EXPECT_EQ(a[0].thresh, 0x06);
    EXPECT_EQ(a[1].thresh, 0x24) << "the first entry with the id wins";
    EXPECT_EQ(a[2].thresh, 0) << "no threshold entry";
}

TEST(SmartDecode, ChecksumMakesTheSectorSumToZero) {
    Sector s = sector_with({{0x05, 0x33, 0, 100, 100}});
    EXPECT_TRUE(smart::checksum_ok(s.data()));
    s[2 + 5] = 1;  // a reallocated sector appears, the checksum stays
    EXPECT_FALSE(smart::checksum_ok(s.data()));
}

TEST(SmartDecode, SelfTestByteGivesStatusNibbleAndPercentDone) {
    struct Case {
        uint8_t byte;
        int status, percent;
    } cases[] = {{0xF3, 15, 70}, {0xF9, 15, 10}, {0x00, 0, 100}, {0x10, 1, 100}, {0x25, 2, 50}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.byte);
        Sector s = sector_with({}, c.byte);
        smart::SelfTestState t = smart::decode_self_test(s.data());
        EXPECT_EQ(t.status, c.status);
        EXPECT_EQ(t.percent, c.percent);
    }
}

TEST(SmartDecode, AttributeNamesIncludingSharedAndUnknownIds) {
    struct Case {
        int id;
        const char *name;
    } cases[] = {
        {0, "Unknown_Attribute"},         {255, "Unknown_Attribute"},
        {14, "Unknown_Attribute"},        {5, "Retired_Block_Count"},
        {13, "Soft_Read_Error_Rate"},     {201, "Soft_Read_Error_Rate"},
        {171, "Program_Fail_Count"},      {181, "Program_Fail_Count"},
        {191, "G-Sense_Error_Rate"},      {221, "G-Sense_Error_Rate"},
        {193, "Load_Cycle_Count"},        {225, "Load_Cycle_Count"},
        {209, "Offline_Seek_Performnce"}, {199, "SATA_R-Error_Count"},
    };
    for (const auto &c : cases)
        EXPECT_STREQ(get_ata_smart_attr_name(c.id), c.name) << c.id;
}

}  // namespace
