// A display's EDID, read from the emulated monitor ROM of the example board. A wrong check here
// is a management page that shows garbage as the attached display, or none at all.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "nashal/edid.h"
#include "nashal/hal_trace.h"
#include "sim/appliance.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

class Edid : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
        good_ = read_file("/sim/edid.bin");
        ASSERT_EQ(good_.size(), 256u);
    }
    Appliance app_ = Appliance::copy_of(std::string(NASHAL_EXAMPLES_DIR) + "/x86-8bay");
    std::string good_;
};

}  // namespace

TEST_F(Edid, TheBoardsDisplayReadsWhole) {
    EXPECT_EQ(EDID_Get_Count(), 1);
    uint8_t buffer[256];
    std::memset(buffer, 0xEE, sizeof buffer);
    ASSERT_EQ(EDID_Read_and_Validate(0, buffer, sizeof buffer), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(buffer), 256), good_);
    EXPECT_EQ(EDID_Read_and_Validate(0, nullptr, 0), 0) << "validation alone";
    // Only the part the caller asked for.
    uint8_t head[16];
    ASSERT_EQ(EDID_Read_and_Validate(0, head, sizeof head), 0);
    EXPECT_EQ(std::memcmp(head, good_.data(), sizeof head), 0);
}

TEST_F(Edid, DamagedDataIsRefusedAndNothingCopied) {
    struct Case {
        const char *what;
        size_t at;
        uint8_t value;
    } cases[] = {
        {"header", 1, 0x00},
        {"sum off by one", 200, static_cast<uint8_t>(good_[200] + 1)},
    };
    for (const Case &c : cases) {
        std::string bad = good_;
        bad[c.at] = static_cast<char>(c.value);
        write_file("/sim/edid.bin", bad);
        uint8_t buffer[256];
        std::memset(buffer, 0xEE, sizeof buffer);
        EXPECT_EQ(EDID_Read_and_Validate(0, buffer, sizeof buffer), -1) << c.what;
        EXPECT_EQ(buffer[0], 0xEE) << c.what;
    }
    write_file("/sim/edid.bin", std::string(256, '\0'));
    EXPECT_EQ(EDID_Read_and_Validate(0, nullptr, 0), -1) << "all zero fails the header";
}

TEST_F(Edid, TheModelValueDecidesWhereAndHowMuch) {
    uint8_t buffer[256] = {};
    struct Case {
        const char *value;
        int size;
        int result;
    } cases[] = {
        {"I2C-1:50", 128, 0},                              // default length 128
        {"I2C-1:50", 127, -2},                             // buffer smaller than the length
        {"I2C-1:50:100", 255, -2}, {"I2C-1:51", 128, -1},  // nothing answers there
        {"I2C-9:50", 128, -1},                             // no such bus
        {"I2C-1", 128, -4},        {nullptr, 128, -3},
    };
    for (const Case &c : cases) {
        std::string conf = "[System IO]\nVPD_MB = I2C:54\n";
        if (c.value)
            conf += std::string("EDID_0 = ") + c.value + "\n";
        write_file("/etc/model.conf", conf);
        EXPECT_EQ(se_sys_read_edid(0, buffer, c.size), c.result) << (c.value ? c.value : "none");
    }
    EXPECT_EQ(EDID_Get_Count(), 1) << "no EDID_COUNT: one display";
}
