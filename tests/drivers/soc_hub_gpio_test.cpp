// Pins and the power policy on boards without a Super I/O chip: the SoC's memory-mapped GPIO
// registers and the I/O controller hub. A wrong bit is an LED that lights in the wrong bay, a
// button that is never seen, or a unit that stays dark after a power cut when it was told to
// come back.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "nashal/comm_port.h"
#include "nashal/hal_trace.h"
#include "nashal/se_model.h"
#include "nashal/se_sys.h"
#include "nashal/soc_sys.h"
#include "sim/appliance.h"
#include "sim/clock.h"
#include "sim/cmos_model.h"
#include "sim/fs.h"
#include "sim/soc_hub_model.h"

using namespace nashal::sim;

namespace {

constexpr uint64_t kSocBase = 0xF1000000;
constexpr uint16_t kHubGpio = 0x500;
constexpr uint32_t kLedReg = 0x10100;

class SocGpio : public ::testing::Test {
  protected:
    void SetUp() override {
        write_file(app_.dir() + "/etc/model.conf",
                   "[System Enclosure]\nSOC_PHY_REG_BASE = F1000000\n"
                   "[System IO]\nUSB_COPY_BUTTON = SOC:I10110:B5\n"
                   "RESET_BUTTON = SOC:I10110:B6:P\n");
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
        clock_pace_background(true);
        soc_ = attach_soc_registers(kSocBase);
        ASSERT_TRUE(soc_);
    }
    void TearDown() override {
        for (int led : {1, 2}) {
            char target[32] = {};
            std::string link = std::string(SOC_ACTIVE_BLINK_LINK) + "_" + std::to_string(led);
            if (readlink(link.c_str(), target, sizeof target - 1) > 0)
                kill(atoi(strrchr(target, '/') + 1), SIGKILL);
        }
    }
    pid_t blinker(int led) {
        char target[32] = {};
        std::string link = std::string(SOC_ACTIVE_BLINK_LINK) + "_" + std::to_string(led);
        if (readlink(link.c_str(), target, sizeof target - 1) <= 0)
            return -1;
        return atoi(strrchr(target, '/') + 1);
    }

    Appliance app_ = Appliance::fresh();
    std::shared_ptr<SocRegisters> soc_;
};

}  // namespace

TEST_F(SocGpio, DiskLedsDriveTheirBitLowAndLeaveTheOthers) {
    struct Case {
        int (*set)(int32_t, int32_t, int);
        int32_t bit;
        int on;
        bool pin_high;
    } cases[] = {
        {soc_sys_set_present_led, 3, 1, false},  {soc_sys_set_present_led, 3, 0, true},
        {soc_sys_set_hdd_err_led, 31, 1, false}, {soc_sys_set_hdd_err_led, 0, 1, false},
        {soc_sys_set_hdd_err_led, 0, 0, true},
    };
    for (const Case &c : cases) {
        soc_->set_word(kLedReg, 0x5A5A5A5A);
        ASSERT_EQ(c.set(kLedReg, c.bit, c.on), 0) << c.bit;
        const uint32_t mask = 1u << c.bit;
        EXPECT_EQ(soc_->word(kLedReg) & ~mask, 0x5A5A5A5Au & ~mask) << "a neighbour pin changed";
        EXPECT_EQ(soc_->bit(kLedReg, c.bit), c.pin_high) << c.bit << " on " << c.on;
        int value = -1;
        ASSERT_EQ(mmio_get_gpio(kLedReg, c.bit, &value), 0);
        EXPECT_EQ(value, c.pin_high ? 1 : 0);
    }
}

TEST_F(SocGpio, PinsAndButtonsReadTheirLevelRegisterBit) {
    // Pin 40 is bit 8 of the second level register; pin 3 bit 3 of the first.
    soc_->set_word(0x10110, 0);
    soc_->set_word(0x10150, 0);
    soc_->set_bit(0x10150, 8, true);
    int value = -1;
    ASSERT_EQ(soc_sys_get_gpio_val(40, &value), 0);
    EXPECT_EQ(value, 1);
    ASSERT_EQ(soc_sys_get_gpio_val(8, &value), 0);
    EXPECT_EQ(value, 0) << "pin 8 read the second register";
    soc_->set_bit(0x10110, 3, true);
    ASSERT_EQ(soc_sys_get_gpio_val(3, &value), 0);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(soc_sys_get_gpio_val(64, &value), -1);
    EXPECT_EQ(soc_sys_get_gpio_val(-1, &value), -1);

    // The copy button reads its level as it is; the reset button is wired active low (":P").
    struct Case {
        bool copy_high, reset_high;
        int copy, reset;
    } cases[] = {{true, true, 1, 0}, {false, false, 0, 1}, {true, false, 1, 1}};
    for (const Case &c : cases) {
        soc_->set_bit(0x10110, 5, c.copy_high);
        soc_->set_bit(0x10110, 6, c.reset_high);
        int copy = -1, reset = -1;
        ASSERT_EQ(se_sys_get_usb_button("root", &copy), 0);
        ASSERT_EQ(se_sys_get_reset_button("root", &reset), 0);
        EXPECT_EQ(copy, c.copy);
        EXPECT_EQ(reset, c.reset);
    }
}

TEST_F(SocGpio, MisplacedRegistersAreRefusedNotTouched) {
    EXPECT_EQ(mmio_set_gpio(kLedReg + 2, 0, 1), -1);  // not a word
    EXPECT_EQ(mmio_set_gpio(kLedReg, 32, 1), -1);     // past the word
    EXPECT_EQ(mmio_set_gpio(0x40000, 0, 1), -1);      // memory no device claims
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("mmio_set_gpio"), std::string::npos);
    EXPECT_EQ(soc_->word(kLedReg), 0xffffffffu);
}

TEST(SocGpioWithoutBase, EveryCallFailsWhenTheModelNamesNoRegisterBlock) {
    Appliance app = Appliance::fresh();
    write_file(app.dir() + "/etc/model.conf", "[System IO]\nRESET_BUTTON = SOC:I10110:B6\n");
    ASSERT_TRUE(app.activate());
    attach_soc_registers(kSocBase);
    int value = 0;
    EXPECT_EQ(soc_sys_get_gpio_val(1, &value), -1);
    EXPECT_EQ(soc_sys_set_present_led(kLedReg, 1, 1), -1);
    EXPECT_EQ(soc_sys_set_active_led(1, kLedReg, 1, 1), -1);
    EXPECT_EQ(soc_sys_get_reset_button(&value), -1);
}

TEST_F(SocGpio, ActivityBlinkStartsOnceAndEndsDark) {
    ASSERT_EQ(soc_sys_set_active_led(1, kLedReg, 4, 1), 0);
    const pid_t first = blinker(1);
    ASSERT_GT(first, 0);
    // The blinker toggles the pin.
    bool saw_low = false, saw_high = false;
    for (int i = 0; i < 200 && !(saw_low && saw_high); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        (soc_->bit(kLedReg, 4) ? saw_high : saw_low) = true;
    }
    EXPECT_TRUE(saw_low && saw_high) << "the activity LED doesn't blink";

    ASSERT_EQ(soc_sys_set_active_led(1, kLedReg, 4, 1), 0);
    EXPECT_EQ(blinker(1), first) << "a second blinker was started";

    ASSERT_EQ(soc_sys_set_active_led(1, kLedReg, 4, 0), 0);
    EXPECT_EQ(blinker(1), -1);
    // Dark from now on: a blinker left running would pull the pin low again within 125 ms.
    for (int i = 0; i < 30; ++i) {
        ASSERT_TRUE(soc_->bit(kLedReg, 4)) << "the LED still blinks or was left lit";
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

TEST_F(SocGpio, OffWithAStaleRecordLeavesThePinAlone) {
    // A record of a blinker that died (pid 1 is no blinker of ours).
    ASSERT_EQ(symlink("/proc/999999\n", (std::string(SOC_ACTIVE_BLINK_LINK) + "_2").c_str()), 0);
    soc_->set_bit(kLedReg, 7, false);
    EXPECT_EQ(soc_sys_set_active_led(2, kLedReg, 7, 0), 0);
    EXPECT_FALSE(soc_->bit(kLedReg, 7));
    EXPECT_EQ(blinker(2), -1) << "the stale record stays";
}

namespace {

class IoHub : public ::testing::Test {
  protected:
    void Boot(bool gpio_enabled, uint8_t pmcon3 = 0) {
        write_file(app_.dir() + "/etc/model.conf",
                   "[System Enclosure]\nPWR_RECOVERY_UNIT = ICH\n"
                   "PWR_RECOVERY_CMOS_STORE = 70,7E\n");
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
        cmos_ = attach_cmos(0x70, 128);
        write_hub_config(kHubGpio, gpio_enabled, pmcon3);
        hub_ = attach_hub_gpio(kHubGpio);
    }
    Appliance app_ = Appliance::fresh();
    std::shared_ptr<CmosModel> cmos_;
    std::shared_ptr<HubGpioModel> hub_;
};

}  // namespace

TEST_F(IoHub, PinsBecomeGpioInputsInTheirBankAndReadTheirLevel) {
    Boot(true);
    struct Case {
        int pin;
        uint16_t use, io;
        int bit;
    } cases[] = {
        {5, 0x00, 0x04, 5}, {31, 0x00, 0x04, 31}, {40, 0x30, 0x34, 8}, {70, 0x40, 0x44, 6}};
    for (const Case &c : cases) {
        for (bool high : {true, false}) {
            hub_->set_input(c.pin, high);
            int value = -1;
            ASSERT_EQ(ich_sys_get_gpio_val(c.pin, &value), 0) << c.pin;
            EXPECT_EQ(value, high ? 1 : 0) << c.pin;
            EXPECT_TRUE(hub_->reg(c.use) & (1u << c.bit)) << "pin " << c.pin << " not a GPIO";
            EXPECT_TRUE(hub_->reg(c.io) & (1u << c.bit)) << "pin " << c.pin << " not an input";
        }
    }
    int value = 0;
    EXPECT_EQ(ich_sys_get_gpio_val(96, &value), -1);
}

TEST_F(IoHub, DisabledGpioBlockIsNotTouched) {
    Boot(false);
    int value = 0;
    EXPECT_EQ(ich_sys_get_gpio_val(5, &value), -1);
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("GPIO Control is disable"), std::string::npos);
    EXPECT_EQ(hub_->reg(0x00), 0u);
    EXPECT_EQ(hub_->reg(0x04), 0u);
}

TEST_F(IoHub, RecoveryModesSetTheAfterPowerFailureBitAndCmosAsTheModeSays) {
    Boot(true);
    struct Case {
        int mode;
        bool stays_off;  // GEN_PMCON_3 bit 0
        bool cmos_told;
    } cases[] = {
        {0, false, true}, {1, false, true}, {2, true, true}, {3, true, false}, {4, false, false}};
    for (const Case &c : cases) {
        write_hub_config(kHubGpio, true, c.stays_off ? 0xF0 : 0xF1);
        ASSERT_EQ(comm_sys_set_power_recovery_mode_to_cmos(c.mode == 2 ? 1 : 2, 0), 0);
        const uint8_t before = cmos_->byte(0x7E);
        ASSERT_EQ(se_sys_set_power_recovery_mode("root", c.mode), 0) << c.mode;
        EXPECT_EQ(hub_config_byte(0xA4), c.stays_off ? 0xF1 : 0xF0) << "mode " << c.mode;
        EXPECT_EQ(cmos_->byte(0x7E) != before, c.cmos_told) << "mode " << c.mode;
    }
}

TEST_F(IoHub, AConfigurationSpaceOfAnotherSizeIsLeftAsItWas) {
    Boot(true);
    std::string pcie(4096, '\0');
    pcie[0xA4] = 0x01;
    write_file("/sys/bus/pci/devices/0000:00:1f.0/config", pcie);
    EXPECT_EQ(write_power_recovery_mode_to_ich(1), -1);
    EXPECT_EQ(ich_sys_set_power_recovery_mode(1), 0) << "the policy call never fails";
    EXPECT_EQ(read_file("/sys/bus/pci/devices/0000:00:1f.0/config"), pcie);
}

TEST(HubAndSocSignals, BoardSignalsOnHubAndSocPinsChooseTheBoardsFile) {
    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    write_hub_config(kHubGpio, true);
    auto hub = attach_hub_gpio(kHubGpio);
    auto soc = attach_soc_registers(kSocBase);
    soc->set_word(0x10150, 0);
    for (int n = 0; n < 4; ++n)
        write_file("/etc/model_" + std::to_string(n) + ".conf", "[System Enclosure]\n");
    // Bit 0 from hub pin 22, wired inverted; bit 1 from SoC pin 33.
    const std::string generic =
        "[System Enclosure]\nSOC_PHY_REG_BASE = F1000000\nMULTI_CONF = 0xF\n"
        "MODEL_BIT0 = ICH:GP22:N\nMODEL_BIT1 = SOC:GP33\n";
    struct Case {
        bool hub_high, soc_high;
        const char *link;
    } cases[] = {{true, false, "/etc/model_0.conf"},
                 {false, false, "/etc/model_1.conf"},
                 {true, true, "/etc/model_2.conf"}};
    for (const Case &c : cases) {
        unlink("/etc/model.conf");
        write_file("/etc/model.conf", generic);
        hub->set_input(22, c.hub_high);
        soc->set_bit(0x10150, 1, c.soc_high);
        ASSERT_EQ(se_sys_setup_model_conf(), 0);
        char target[64] = {};
        ASSERT_GT(readlink("/etc/model.conf", target, sizeof target - 1), 0);
        EXPECT_STREQ(target, c.link);
    }
}
