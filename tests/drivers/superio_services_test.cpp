// The Super I/O services as a daemon calls them: the chip comes from the model file, the pins
// from "System IO", and software blinks run as background processes that the next call for the
// LED must find and end. A blinker left behind keeps an LED flashing that the user turned off.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "nashal/hal_trace.h"
#include "nashal/sio_sys.h"
#include "sim/appliance.h"
#include "sim/clock.h"
#include "sim/cmos_model.h"
#include "sim/fs.h"
#include "sim/superio_model.h"

using namespace nashal::sim;

namespace {

constexpr uint16_t kBase = 0xA00;
constexpr const char *kIo =
    "[System IO]\n"
    "STATUS_RED_LED = SIO:I1:B0\n"
    "STATUS_GREEN_LED = SIO:I1:B1\n"
    "FRONT_USB_LED = SIO:I2:B3\n"
    "POWER_LED = SIO:I2:B4\n"
    "10G_LED = SIO:I3:B6\n"
    "USB_COPY_BUTTON = SIO:I4:B0\n"
    "RESET_BUTTON = SIO:I4:B1\n"
    "REDUNDANT_POWER_1 = SIO:I5:B2\n"
    "REDUNDANT_POWER_2 = SIO:I5:B3\n"
    "STATUS_LED_LIGHT_CTL = SIO:I6:B0\n"
    "[System Disk 2]\nPRESENT_LED = SIO:I7:B2\n";

class SuperIoServices : public ::testing::Test {
  protected:
    void Boot(const std::string &chip_line, int chip) {
        write_file(app_.dir() + "/etc/model.conf",
                   "[System Enclosure]\n" + chip_line + "PWR_RECOVERY_CMOS_STORE = 70,7E\n" + kIo);
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
        clock_pace_background(true);
        attach_cmos(0x70, 128);
        if (chip >= 0)
            chip_ = attach_superio(chip, kBase);
    }
    void TearDown() override {
        // Nothing of a test may keep blinking.
        for (const char *link : {SIO_STATUS_BLINK_LINK, SIO_USB_BLINK_LINK, SIO_POWER_BLINK_LINK}) {
            char target[32] = {};
            if (readlink(link, target, sizeof target - 1) > 0)
                kill(atoi(strrchr(target, '/') + 1), SIGKILL);
        }
    }
    std::string log() const { return read_file("/var/log/hal_lib.log"); }

    // Writes of one blinker to one register, once it has made at least n.
    std::vector<SuperIoModel::GpioWrite> blinker_writes(pid_t pid, size_t n) {
        std::vector<SuperIoModel::GpioWrite> mine;
        for (int i = 0; i < 400 && mine.size() < n; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
            mine.clear();
            for (const auto &w : chip_->gpio_writes())
                if (w.pid == pid)
                    mine.push_back(w);
        }
        return mine;
    }

    Appliance app_ = Appliance::fresh();
    std::shared_ptr<SuperIoModel> chip_;
};

bool gone(pid_t pid) {
    // Ended: no process, or a zombie that init (not this caller) will reap.
    for (int i = 0; i < 200; ++i) {
        std::string stat = read_file("/proc/" + std::to_string(pid) + "/stat");
        if (stat.empty() || stat.find(") Z") != std::string::npos)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

}  // namespace

TEST_F(SuperIoServices, LedsReachTheirPinsOnEveryChipThatServesThem) {
    Boot("SIO_DEVICE = f71869a\n", 0);
    EXPECT_EQ(sio_sys_set_usb_led(1), 0);
    EXPECT_TRUE(chip_->pin_active(2, 3));
    EXPECT_EQ(sio_sys_set_power_led(1), 0);
    EXPECT_TRUE(chip_->pin_active(2, 4));
    EXPECT_EQ(sio_sys_set_10G_led(1), 0);
    EXPECT_TRUE(chip_->pin_active(3, 6));
    EXPECT_EQ(sio_sys_set_pd_present_led(1, 2), 0);
    EXPECT_TRUE(chip_->pin_active(7, 2));
    EXPECT_EQ(sio_sys_set_status_led(1, 1), 0);
    EXPECT_TRUE(chip_->pin_active(1, 1));
    EXPECT_FALSE(chip_->pin_active(1, 0));
    EXPECT_EQ(sio_sys_set_status_led(0, 1), 0);
    EXPECT_TRUE(chip_->pin_active(1, 0));
    EXPECT_FALSE(chip_->pin_active(1, 1)) << "choosing red darkens green";
    EXPECT_EQ(sio_sys_set_status_led_in_night_mode(1), 0);
    EXPECT_TRUE(chip_->pin_active(6, 0));
    EXPECT_EQ(sio_sys_set_usb_led(0), 0);
    EXPECT_FALSE(chip_->pin_active(2, 3));
    // The GPIO text's own polarity: "P" marks it active low, which is the chip's natural sense.
    EXPECT_EQ(sio_sys_set_GPIO_led("SIO:I8:B1:P", 1), 0);
    EXPECT_FALSE(chip_->pin_active(8, 1));
    EXPECT_EQ(sio_sys_set_GPIO_led("SIO:I8:B1", 1), 0);
    EXPECT_TRUE(chip_->pin_active(8, 1));
    EXPECT_EQ(sio_sys_set_GPIO_led("SIO:8:B1", 1), -1) << "no I";
    EXPECT_EQ(sio_sys_set_standby_led(1), 0);
    EXPECT_EQ(chip_->reg(0x0A, 0xF8), 5);
    EXPECT_EQ(chip_->reg(0x0A, 0xFA), 2);
}

TEST_F(SuperIoServices, ButtonsAndSuppliesReadWhatThePinsSay) {
    Boot("SIO_DEVICE = NCT5523\n", 3);
    int32_t v = -5;
    EXPECT_EQ(sio_sys_get_reset_button(&v), 0);
    EXPECT_EQ(v, 0);
    chip_->set_pin_active(4, 1, true);
    EXPECT_EQ(sio_sys_get_reset_button(&v), 0);
    EXPECT_EQ(v, 1);
    EXPECT_EQ(sio_sys_get_usb_button(&v), -1) << "the NCT5523 has no copy button";
    EXPECT_NE(log().find("sio_sys_get_usb_button"), std::string::npos);
    EXPECT_NE(log().find("NOT implement."), std::string::npos);
    EXPECT_EQ(sio_sys_get_power_supply_status(2, &v), 0);
    EXPECT_EQ(v, 0);
    chip_->set_pin_active(5, 3, true);
    EXPECT_EQ(sio_sys_get_power_supply_status(2, &v), 0);
    EXPECT_EQ(v, -1) << "supply 2 reports a failure";
    EXPECT_EQ(sio_sys_get_power_supply_status(3, &v), -1) << "no REDUNDANT_POWER_3";
}

// A model naming an unknown chip, a GPIO without "I" and a missing SIO_DEVICE fail, touching
// no port.
TEST_F(SuperIoServices, BadModelValuesFailWithoutTouchingTheChip) {
    struct Case {
        const char *model;
        const char *trace;
    } cases[] = {
        {"[System Enclosure]\nSIO_DEVICE = W83627\n[System IO]\nFRONT_USB_LED = SIO:I2:B3\n",
         "NOT implement."},
        {"[System Enclosure]\nSIO_DEVICE = IT87\n[System IO]\nFRONT_USB_LED = SIO:2:B3\n", ""},
        {"[System Enclosure]\n[System IO]\nFRONT_USB_LED = SIO:I2:B3\n", "SIO_DEVICE"},
    };
    Boot("SIO_DEVICE = IT87\n", 1);
    for (const Case &c : cases) {
        write_file("/etc/model.conf", c.model);
        write_file("/var/log/hal_lib.log", "");
        chip_->clear_accesses();
        EXPECT_EQ(sio_sys_set_usb_led(1), -1) << c.model;
        EXPECT_EQ(sio_sys_blink_usb_led(1), -1) << c.model;
        EXPECT_TRUE(chip_->accesses().empty()) << c.model;
        EXPECT_NE(log().find(c.trace), std::string::npos) << c.model;
    }
    int32_t v;
    uint16_t id;
    EXPECT_EQ(sio_sys_get_power_recovery_mode(&v), -1);
    EXPECT_EQ(sio_sys_get_chip_id(&id), -1);
    EXPECT_EQ(sio_sys_set_pwb_mode(1), -1);
}

TEST_F(SuperIoServices, SoftwareBlinkIsRecordedToggledAndEndedWithoutTrace) {
    Boot("SIO_DEVICE = F81866A\n", 2);
    EXPECT_EQ(sio_sys_blink_usb_led(1), -1) << "the blink worker's result, as it always was";
    pid_t first = get_usb_blink_pid();
    ASSERT_GT(first, 0) << "no record once the call returned";
    EXPECT_EQ(read_file("/proc/" + std::to_string(first) + "/comm"), "usb_led_blink\n");
    char target[32] = {};
    ASSERT_GT(readlink(SIO_USB_BLINK_LINK, target, sizeof target - 1), 0);
    EXPECT_EQ(std::string(target), "/proc/" + std::to_string(first) + "\n");

    // On the blinker's virtual clock: on, off, on, ... every 125 ms.
    auto writes = blinker_writes(first, 4);
    ASSERT_GE(writes.size(), 4u);
    for (size_t i = 1; i < 4; ++i) {
        EXPECT_EQ(writes[i].at_us - writes[i - 1].at_us, 125000);
        EXPECT_NE(writes[i].value & 0x08, writes[i - 1].value & 0x08) << "not toggling";
    }
    EXPECT_EQ(writes[0].value & 0x08, 0) << "the first pass lights the LED";

    // Again: the old one is killed and replaced.
    sio_sys_blink_usb_led(1);
    pid_t second = get_usb_blink_pid();
    EXPECT_GT(second, 0);
    EXPECT_NE(second, first);
    EXPECT_TRUE(gone(first));
    EXPECT_EQ(waitpid(first, nullptr, WNOHANG), -1) << "a blinker must not be our zombie";
    EXPECT_EQ(errno, ECHILD);

    // Off: killed, no record, LED dark.
    EXPECT_EQ(sio_sys_set_usb_led(0), 0);
    EXPECT_TRUE(gone(second));
    EXPECT_FALSE(exists(SIO_USB_BLINK_LINK));
    EXPECT_EQ(get_usb_blink_pid(), -1);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(chip_->pin_active(2, 3));
}

TEST_F(SuperIoServices, AlternatingStatusBlinkDrivesRedAgainstGreen) {
    Boot("SIO_DEVICE = NCT5523\n", 3);
    EXPECT_EQ(sio_sys_blink_status_led(2, 1), 0);
    pid_t pid = get_status_blink_pid();
    ASSERT_GT(pid, 0);
    auto writes = blinker_writes(pid, 4);
    ASSERT_GE(writes.size(), 4u);
    // Red and green written in one pass, then 500 ms.
    EXPECT_EQ(writes[1].at_us, writes[0].at_us);
    EXPECT_EQ(writes[2].at_us - writes[0].at_us, 500000);
    EXPECT_NE(writes[1].value & 0x01, (writes[1].value & 0x02) >> 1) << "red equals green";
    // Setting the LED stops the blink and leaves only the chosen colour.
    EXPECT_EQ(sio_sys_set_status_led(1, 0), 0);
    EXPECT_TRUE(gone(pid));
    EXPECT_FALSE(exists(SIO_STATUS_BLINK_LINK));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(chip_->pin_active(1, 0));
    EXPECT_FALSE(chip_->pin_active(1, 1));
}

// The IT87 blinks in hardware: no process, and the next write takes the pin back.
TEST_F(SuperIoServices, It87BlinksOnItsChannelsAndAWriteEndsIt) {
    Boot("SIO_DEVICE = IT87\n", 1);
    EXPECT_EQ(sio_sys_blink_status_led(0, 1), 0);
    EXPECT_EQ(chip_->it87_blink_channel(1, 0), 1);
    EXPECT_EQ(sio_sys_blink_power_led(1), -1);
    EXPECT_EQ(chip_->it87_blink_channel(2, 4), 2);
    EXPECT_EQ(get_power_blink_pid(), -1);
    EXPECT_FALSE(exists(SIO_POWER_BLINK_LINK));
    // USB takes channel 2 over from the power LED.
    EXPECT_EQ(sio_sys_blink_usb_led(1), -1);
    EXPECT_EQ(chip_->it87_blink_channel(2, 3), 2);
    EXPECT_EQ(chip_->it87_blink_channel(2, 4), 0);
    // The status pin moved to channel 2 is freed there first when USB blinks again.
    chip_->set_reg(0x07, 0xFA, (1 + 1) * 8 | 0);
    sio_sys_blink_usb_led(1);
    EXPECT_EQ(chip_->reg(0x07, 0xFA), (2 + 1) * 8 | 3);
    EXPECT_EQ(sio_sys_set_usb_led(1), 0);
    EXPECT_EQ(chip_->it87_blink_channel(2, 3), 0);
    EXPECT_TRUE(chip_->pin_active(2, 3));
    int32_t v = -1;
    EXPECT_EQ(sio_sys_get_gpio_val(23, &v), 0) << "group 2 (index 1), bit 3";
    chip_->set_pin_active(1, 3, true);
    EXPECT_EQ(sio_sys_get_gpio_val(23, &v), 0);
    EXPECT_EQ(v, 1);
    EXPECT_EQ(sio_sys_get_gpio_val(9, &v), -1);
}

TEST_F(SuperIoServices, PmbusPinIsLookedUpOnceAndTakesNoLock) {
    Boot("SIO_DEVICE = F71869A\n", 0);
    EXPECT_EQ(sio_sys_enable_pmbus_locked(1), 0);
    EXPECT_TRUE(chip_->accesses().empty()) << "a model without the pin costs no port access";
    // Added later, it stays unknown to this process: the look-up is not repeated.
    write_file("/etc/model.conf",
               read_file("/etc/model.conf") + "REDUNDANT_POWER_SWITCH = SIO:I9:B1\n");
    EXPECT_EQ(sio_sys_enable_pmbus_locked(1), 0);
    EXPECT_TRUE(chip_->accesses().empty());
}

TEST_F(SuperIoServices, HwmonFilesGiveTemperaturesFansAndCover) {
    Boot("SIO_DEVICE = IT87\n", 1);
    const std::string dir = SIO_HWMON_DIR;
    write_file(dir + "/temp1_input", "41500\n");
    write_file(dir + "/temp2_input", "200000\n");  // beyond a signed byte of degrees
    write_file(dir + "/temp3_input", "-5000\n");   // a sign reads as 0
    write_file(dir + "/fan1_input", "0\n");
    write_file(dir + "/pwm1", "0\n");
    write_file(dir + "/fan2_input", "0\n");
    write_file(dir + "/pwm2", "100\n");
    write_file(dir + "/fan3_input", "1200\n");
    write_file(dir + "/case_status", "1\n");
    double t = 0;
    EXPECT_EQ(sio_sys_get_temperature(1, &t), 0);
    EXPECT_EQ(t, 41.0);
    EXPECT_EQ(sio_sys_get_temperature(2, &t), 0);
    EXPECT_EQ(t, -56.0);
    EXPECT_EQ(sio_sys_get_temperature(3, &t), 0);
    EXPECT_EQ(t, 0.0);
    EXPECT_EQ(sio_sys_get_temperature(4, &t), -1);
    int32_t rpm = -1, fail = -1;
    EXPECT_EQ(sio_sys_get_fan_speed(1, &rpm, &fail), 0);
    EXPECT_EQ(fail, 0) << "a fan told to stop is not failing";
    EXPECT_EQ(sio_sys_get_fan_speed(2, &rpm, &fail), 0);
    EXPECT_EQ(fail, 1);
    EXPECT_EQ(sio_sys_get_fan_speed(3, &rpm, &fail), 0);
    EXPECT_EQ(rpm, 1200);
    EXPECT_EQ(fail, 0);
    EXPECT_EQ(sio_sys_get_fan_speed(4, &rpm, &fail), -1);
    int32_t cover = -1;
    EXPECT_EQ(sio_sys_get_cover_status(&cover), 0);
    EXPECT_EQ(cover, 1);
    EXPECT_EQ(sio_sys_set_fan_pwm(2, 180), 0);
    // A plain file isn't truncated as a sysfs attribute is: compare the number.
    EXPECT_EQ(std::stoi(read_file(dir + "/pwm2")), 180);

    // The Fintek chips switch a fan to manual first, and refuse when they can't.
    write_file("/etc/model.conf", "[System Enclosure]\nSIO_DEVICE = F71869A\n");
    EXPECT_EQ(sio_sys_set_fan_pwm(1, 50), -1);
    EXPECT_NE(log().find("Fan1 is in auto mode"), std::string::npos);
    write_file(dir + "/pwm1_enable", "2\n");
    EXPECT_EQ(sio_sys_set_fan_pwm(1, 50), 0);
    EXPECT_EQ(std::stoi(read_file(dir + "/pwm1_enable")), 1);
    write_file(dir + "/fan1_alarm", "1\n");
    EXPECT_EQ(sio_sys_get_fan_speed(1, &rpm, &fail), 0);
    EXPECT_EQ(fail, 1);
}

TEST_F(SuperIoServices, PowerPolicyRoutesByChip) {
    Boot("SIO_DEVICE = IT87\n", 1);
    int32_t mode = -1;
    EXPECT_EQ(sio_sys_set_power_recovery_mode(0), 0);
    EXPECT_EQ(sio_sys_get_power_recovery_mode(&mode), 0);
    EXPECT_EQ(mode, 0) << "the IT87 answers from CMOS";
    int32_t eup = -1;
    EXPECT_EQ(sio_sys_set_eup_state(1), 0);
    EXPECT_EQ(sio_sys_get_eup_state(&eup), 0);
    EXPECT_EQ(eup, 1);
    uint16_t id = 0;
    EXPECT_EQ(sio_sys_get_chip_id(&id), 0);
    EXPECT_EQ(id, 0x5A01) << "the placeholder id of the model's IT87";
    EXPECT_EQ(sio_sys_set_pwb_mode(1), 0);
    int32_t pressed = -1;
    chip_->press_power_button(true);
    EXPECT_EQ(sio_sys_get_pwb_status(&pressed), 0);
    EXPECT_EQ(pressed, 1);
    EXPECT_EQ(sio_sys_set_status_led_in_night_mode(1), -1);
    EXPECT_NE(log().find("This feature for SIO (IT87) is NOT implemented."), std::string::npos);
    EXPECT_EQ(sio_sys_set_standby_led(1), -1);
    EXPECT_NE(log().find("NOT implement for SIO IT87."), std::string::npos);
}
