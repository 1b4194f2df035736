// CMOS bytes the BIOS acts on at the next power-on: a wrong bit here means a box that stays off
// after a power cut, ignores EuP, or reserves the wrong amount of memory.
#include <gtest/gtest.h>

#include <string>

#include "nashal/comm_port.h"
#include "nashal/hal_trace.h"
#include "sim/appliance.h"
#include "sim/cmos_model.h"
#include "sim/devices.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

constexpr uint8_t kPowerIndex = 0x7E;
constexpr uint8_t kC2fIndex = 0x5C;
constexpr int32_t kUntouched = 77;

class CmosSettings : public ::testing::Test {
  protected:
    void SetUp() override {
        write_file(app_.dir() + "/etc/model.conf",
                   "[System Enclosure]\nPWR_RECOVERY_CMOS_STORE = 70,7E\n"
                   "C2F_CMOS_STORE = 70,5C\n");
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
        cmos_ = attach_cmos(0x70, 128);
        set_memory_mb(16384);
    }
    std::string log() const { return read_file("/var/log/hal_lib.log"); }
    void ExpectEveryCmosCallFails(const std::string &model);

    Appliance app_ = Appliance::fresh();
    std::shared_ptr<CmosModel> cmos_;
};

}  // namespace

TEST_F(CmosSettings, RecoveryModeIsReadByTheTableTheByteQualifiesFor) {
    struct Case {
        uint8_t byte;
        int initialised_form;
        int32_t mode;
    } cases[] = {
        // BIOS-initialised byte (low bits 1), initialised form asked for.
        {0x01, 1, 0},
        {0x41, 1, kUntouched},
        {0x81, 1, 1},
        {0xC1, 1, 2},
        // The same bytes read by the plain table.
        {0x01, 0, 2},
        {0x41, 0, 1},
        {0x81, 0, 0},
        {0xC1, 0, kUntouched},
        // Initialised form asked for, but the BIOS never marked the byte: plain table.
        {0x80, 1, 0},
        {0x02, 1, 2},
        {0xE3, 1, kUntouched},
    };
    for (const Case &c : cases) {
        cmos_->set_byte(kPowerIndex, c.byte);
        int32_t mode = kUntouched;
        EXPECT_EQ(comm_sys_get_power_recovery_mode_from_cmos(&mode, c.initialised_form), 0);
        EXPECT_EQ(mode, c.mode) << "byte 0x" << std::hex << int(c.byte) << " form "
                                << c.initialised_form;
        EXPECT_EQ(cmos_->byte(kPowerIndex), c.byte) << "reading must not change the byte";
    }
    EXPECT_NE(log().find("mode = 2 from CMOS"), std::string::npos);
}

TEST_F(CmosSettings, RecoveryModeIsWrittenAsItsCodeKeepingTheLowBits) {
    struct Case {
        uint8_t before;
        int mode;
        int initialised_form;
        uint8_t after;
    } cases[] = {
        {0x21, 1, 1, 0xA1},  // initialised: mode 1 is code 2
        {0xE1, 2, 1, 0xE1},  // mode 2 is code 3
        {0xC1, 0, 1, 0x01},  // mode 0 is code 0
        {0x62, 1, 0, 0x62},  // plain: mode 1 is code 1
        {0x22, 0, 0, 0xA2},  // mode 0 is code 2
        {0xA2, 2, 0, 0x22},  // mode 2 is code 0
        {0x81, 1, 0, 0x41},  // plain form asked: initialised byte is still written plain
        {0xC2, 1, 1, 0x42},  // initialised form asked, byte not marked: plain
        {0xFF, 5, 1, 0x3F},  // a mode with no code clears it
    };
    for (const Case &c : cases) {
        cmos_->set_byte(kPowerIndex, c.before);
        EXPECT_EQ(comm_sys_set_power_recovery_mode_to_cmos(c.mode, c.initialised_form), 0);
        EXPECT_EQ(cmos_->byte(kPowerIndex), c.after)
            << "mode " << c.mode << " form " << c.initialised_form << " from 0x" << std::hex
            << int(c.before);
    }
    // What is written reads back as the same mode, in both forms.
    for (int form : {0, 1}) {
        for (int mode : {0, 1, 2}) {
            cmos_->set_byte(kPowerIndex, 0x01);
            ASSERT_EQ(comm_sys_set_power_recovery_mode_to_cmos(mode, form), 0);
            int32_t got = kUntouched;
            ASSERT_EQ(comm_sys_get_power_recovery_mode_from_cmos(&got, form), 0);
            EXPECT_EQ(got, mode) << "form " << form;
        }
    }
}

TEST_F(CmosSettings, RecoveryModesThreeAndFourTouchNothing) {
    cmos_->set_byte(kPowerIndex, 0xA1);
    EXPECT_EQ(comm_sys_set_power_recovery_mode_to_cmos(3, 1), 0);
    EXPECT_EQ(comm_sys_set_power_recovery_mode_to_cmos(4, 0), 0);
    EXPECT_EQ(cmos_->byte(kPowerIndex), 0xA1);

    write_file("/etc/model.conf", "[System Enclosure]\n");
    EXPECT_EQ(comm_sys_set_power_recovery_mode_to_cmos(3, 0), 0)
        << "modes kept elsewhere must succeed even without a CMOS store";
    EXPECT_EQ(comm_sys_set_power_recovery_mode_to_cmos(4, 1), 0);
}

TEST_F(CmosSettings, EupSetsAndClearsOnlyBitFive) {
    struct Case {
        uint8_t before;
        int enable;
        uint8_t after;
    } cases[] = {
        {0xDF, 1, 0xFF}, {0xFF, 0, 0xDF}, {0x00, 1, 0x20}, {0x20, 0, 0x00}, {0x81, 1, 0xA1}};
    for (const Case &c : cases) {
        cmos_->set_byte(kPowerIndex, c.before);
        EXPECT_EQ(comm_sys_set_eup_mode_to_cmos(c.enable), 0);
        EXPECT_EQ(cmos_->byte(kPowerIndex), c.after) << std::hex << int(c.before);
    }
}

TEST_F(CmosSettings, InitialisedByBiosWhenTheLowFiveBitsAreOne) {
    struct Case {
        uint8_t byte;
        int expected;
    } cases[] = {{0x01, 1}, {0xE1, 1}, {0x00, 0}, {0x03, 0}, {0x11, 0}, {0xFF, 0}};
    for (const Case &c : cases) {
        cmos_->set_byte(kPowerIndex, c.byte);
        EXPECT_EQ(comm_sys_check_CMOS_is_initialized_by_BIOS(), c.expected)
            << std::hex << int(c.byte);
    }
    EXPECT_TRUE(port_permitted(0x70) && port_permitted(0x71))
        << "the index and data ports must be requested before use";
}

TEST_F(CmosSettings, WithoutAStoreEveryCmosCallFailsSoCallersTryAnotherMethod) {
    for (const char *model :
         {"[System Enclosure]\nPWR_RECOVERY_CMOS_STORE = 707E\n",
          // Ports and indexes that don't fit would wrap onto the real CMOS at 70, 7E.
          "[System Enclosure]\nPWR_RECOVERY_CMOS_STORE = 10070,7E\nC2F_CMOS_STORE = 10070,5C\n",
          "[System Enclosure]\nPWR_RECOVERY_CMOS_STORE = 70,17E\nC2F_CMOS_STORE = 70,15C\n"}) {
        write_file("/etc/model.conf", model);
        ExpectEveryCmosCallFails(model);
    }
}

void CmosSettings::ExpectEveryCmosCallFails(const std::string &model) {
    SCOPED_TRACE(model);
    int32_t mode = kUntouched, enable = 0, size = 0;
    EXPECT_EQ(comm_sys_get_power_recovery_mode_from_cmos(&mode, 1), -1);
    EXPECT_EQ(mode, kUntouched);
    EXPECT_EQ(comm_sys_set_power_recovery_mode_to_cmos(1, 1), -1);
    EXPECT_EQ(comm_sys_set_eup_mode_to_cmos(1), -1);
    EXPECT_EQ(comm_sys_check_CMOS_is_initialized_by_BIOS(), -1);
    EXPECT_EQ(comm_sys_set_c2f_to_cmos(1, 1), -1);
    EXPECT_EQ(comm_sys_get_c2f_from_cmos(&enable, &size), -1);
    EXPECT_NE(log().find("System Error"), std::string::npos);
    for (size_t i = 0; i < cmos_->size(); ++i)
        EXPECT_EQ(cmos_->byte(static_cast<uint8_t>(i)), 0) << "byte " << i << " was written";
}

TEST_F(CmosSettings, C2fBitmapFollowsTheMemoryTableAtItsEdges) {
    struct Case {
        uint64_t mb;
        int32_t bitmap;
    } cases[] = {{1024, 0}, {2047, 0},  {2048, 2},   {4095, 2},   {4096, 6},
                 {8191, 6}, {8192, 22}, {16383, 22}, {16384, 30}, {65536, 30}};
    for (const Case &c : cases) {
        set_memory_mb(c.mb);
        int32_t bitmap = -1;
        EXPECT_EQ(comm_sys_get_c2f_support_mem_reserved(&bitmap), 0);
        EXPECT_EQ(bitmap, c.bitmap) << c.mb << " MB";
    }
}

TEST_F(CmosSettings, C2fSizesAreWrittenAsTheirCodesAndEightIsRefused) {
    struct Case {
        uint8_t before;
        int enable, size;
        int rc;
        uint8_t after;
    } cases[] = {
        {0x00, 1, 1, 0, 0x31},  {0x00, 1, 2, 0, 0x71},   {0x00, 0, 4, 0, 0x91},
        {0x71, 1, 8, -1, 0x71},  // no bitmap admits 8
        {0xB1, 0, -1, 0, 0x91},  // -1 keeps the size
        {0x4F, 1, -1, 0, 0x71},  // and drops the other low bits
        {0xB1, 1, 3, 0, 0x31},   // admitted by 16 GB, no code: size 1
        {0x00, 1, 0, -1, 0x00}, {0x00, 1, 40, -1, 0x00}, {0x00, 1, -2, -1, 0x00},
    };
    for (const Case &c : cases) {
        cmos_->set_byte(kC2fIndex, c.before);
        EXPECT_EQ(se_sys_set_c2f_to_cmos(c.enable, c.size), c.rc) << "size " << c.size;
        EXPECT_EQ(cmos_->byte(kC2fIndex), c.after)
            << "size " << c.size << " from 0x" << std::hex << int(c.before);
    }
    EXPECT_NE(log().find("recovery to C2F_RSVD_1G"), std::string::npos);
    EXPECT_NE(log().find("request size = 8"), std::string::npos);

    set_memory_mb(6144);  // bitmap 6: sizes 1 and 2 only
    EXPECT_EQ(comm_sys_set_c2f_to_cmos(1, 1), 0);
    EXPECT_EQ(comm_sys_set_c2f_to_cmos(1, 2), 0);
    EXPECT_EQ(comm_sys_set_c2f_to_cmos(1, 4), -1);
    EXPECT_EQ(cmos_->byte(kC2fIndex), 0x71) << "a refused size must leave the byte alone";
}

TEST_F(CmosSettings, C2fReadsEnableAndSizeOnlyFromAValidByte) {
    struct Case {
        uint8_t byte;
        int rc;
        int32_t enable, size;
    } cases[] = {{0x31, 0, 1, 1},
                 {0x51, 0, 0, 2},
                 {0xB1, 0, 1, 4},
                 {0xF1, 0, 1, 8},
                 {0x01, 0, 0, 1},
                 {0xE0, -1, kUntouched, kUntouched},
                 {0x33, -1, kUntouched, kUntouched},
                 {0xFF, -1, kUntouched, kUntouched}};
    for (const Case &c : cases) {
        cmos_->set_byte(kC2fIndex, c.byte);
        int32_t enable = kUntouched, size = kUntouched;
        EXPECT_EQ(se_sys_get_c2f_from_cmos(&enable, &size), c.rc) << std::hex << int(c.byte);
        EXPECT_EQ(enable, c.enable) << std::hex << int(c.byte);
        EXPECT_EQ(size, c.size) << std::hex << int(c.byte);
    }
    EXPECT_NE(log().find("Invalid C2F setting."), std::string::npos);
}

TEST_F(CmosSettings, SettingsSurviveAReboot) {
    cmos_->set_byte(kPowerIndex, 0x01);
    ASSERT_EQ(comm_sys_set_power_recovery_mode_to_cmos(2, 1), 0);
    ASSERT_EQ(comm_sys_set_c2f_to_cmos(1, 4), 0);
    app_.deactivate();
    cmos_.reset();

    ASSERT_TRUE(app_.activate());
    cmos_ = attach_cmos(0x70, 128);
    set_memory_mb(16384);
    int32_t mode = kUntouched, enable = 0, size = 0;
    EXPECT_EQ(comm_sys_get_power_recovery_mode_from_cmos(&mode, 1), 0);
    EXPECT_EQ(mode, 2) << "the power policy was lost over the reboot";
    EXPECT_EQ(comm_sys_get_c2f_from_cmos(&enable, &size), 0);
    EXPECT_EQ(enable, 1);
    EXPECT_EQ(size, 4);
}

TEST(CmosLarge, TwoHundredFiftySixByteCmosAddressesTheUpperBank) {
    Appliance app = Appliance::fresh();
    write_file(app.dir() + "/etc/model.conf",
               "[System Enclosure]\nPWR_RECOVERY_CMOS_STORE = 72,7E\nC2F_CMOS_STORE = 72,FE\n");
    ASSERT_TRUE(app.activate());
    auto cmos = attach_cmos(0x72, 256, "/sim/cmos-upper.bin");
    set_memory_mb(8192);
    cmos->set_byte(0x7E, 0x01);
    ASSERT_EQ(comm_sys_set_c2f_to_cmos(1, 2), 0);
    EXPECT_EQ(cmos->byte(0xFE), 0x71);
    EXPECT_EQ(cmos->byte(0x7E), 0x01) << "index 0xFE must not alias 0x7E on a 256-byte CMOS";
    EXPECT_EQ(read_file("/sim/cmos-upper.bin").size(), 256u);
}
