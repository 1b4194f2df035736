// The main unit's front panel on boards wired differently: one with everything on the Super I/O
// chip, one with I/O-port and serial LEDs and gpiolib buttons. The same call must reach the
// right pin or byte on each, or a user looks at the wrong LED and presses a dead button.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "enclosure/root_panel.h"
#include "nashal/hal_trace.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/buzzer_model.h"
#include "sim/clock.h"
#include "sim/cmos_model.h"
#include "sim/fs.h"
#include "sim/gpiolib_pins.h"
#include "sim/io_port_model.h"
#include "sim/serial_peer.h"
#include "sim/superio_model.h"

using namespace nashal::sim;

namespace {

constexpr const char *kSioBoard =
    "[System Enclosure]\nCAP = 0x8\nSIO_DEVICE = F71869A\nMAX_FAN_NUM = 3\n"
    "PWR_RECOVERY_UNIT = sio\nPWR_RECOVERY_CMOS_STORE = 70,7E\n"
    "CPU_TEMP_UNIT = dts:4\nSYSTEM_TEMP_UNIT = SIO:1\n"
    "[System IO]\nSTATUS_RED_LED = SIO:IF1:B0\nSTATUS_GREEN_LED = SIO:IF1:B1\n"
    "FRONT_USB_LED = SIO:IF2:B3\nPOWER_LED = SIO:IF2:B4\n10G_LED = SIO:IF3:B6\n"
    "USB_COPY_BUTTON = SIO:IE0:B0\nRESET_BUTTON = SIO:IE0:B1\n"
    "REDUNDANT_POWER_1 = SIO:IE1:B2\n"
    "[System FAN]\nFAN_UNIT = SIO\nFAN_1 = I1\nFAN_2 = I2\nFAN_3 = I3\n"
    "FAN_LEVEL_0 = 50\nFAN_LEVEL_1 = 75\nFAN_LEVEL_2 = 100\nFAN_LEVEL_3 = 125\n"
    "FAN_LEVEL_4 = 150\nFAN_LEVEL_5 = 180\nFAN_LEVEL_6 = 215\n";

constexpr const char *kPortBoard =
    "[System Enclosure]\nCAP = 0x0\nCPU_TEMP_UNIT = SOC\n"
    "[System IO]\nSTATUS_RED_LED = IOPORT:I80\nSTATUS_GREEN_LED = uart1:CPLD:A1:A0\n"
    "PWM_LED = ioport:I81\nLOCATE_LED = UART1:CPLD:B1:B0\n"
    "USB_COPY_BUTTON = GPIO:I14:P\nRESET_BUTTON = GPIO:I15\n"
    "REDUNDANT_POWER_1 = GPIO:I16\nREDUNDANT_POWER_2 = GPIO:I17:P\n";

const std::string kHwmon = "/sys/class/hwmon/hwmon0/device/";

class FrontPanel : public ::testing::Test {
  protected:
    void Boot(const char *model) {
        write_file(app_.dir() + "/etc/model.conf", model);
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
        attach_cmos(0x70, 128);
    }
    std::string log() const { return read_file("/var/log/hal_lib.log"); }
    Appliance app_ = Appliance::fresh();
};

}  // namespace

TEST_F(FrontPanel, SuperIoBoardLedsReachTheirPins) {
    Boot(kSioBoard);
    auto chip = attach_superio(0, 0x290);
    struct Case {
        const char *what;
        int (*call)(int);
        int index, bit;
    } cases[] = {
        {"status red", [](int on) { return se_sys_set_status_led("root", 0, on); }, 0xF1, 0},
        {"status green", [](int on) { return se_sys_set_status_led("root", 1, on); }, 0xF1, 1},
        {"usb", [](int on) { return se_sys_set_usb_led("root", on); }, 0xF2, 3},
        {"power", [](int on) { return se_sys_set_power_led("root", on); }, 0xF2, 4},
        {"10G", [](int on) { return se_sys_set_10G_led("root", on); }, 0xF3, 6},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(c.call(1), 0) << c.what;
        EXPECT_TRUE(chip->pin_active(c.index, c.bit)) << c.what << " not lit";
        EXPECT_EQ(c.call(0), 0) << c.what;
        EXPECT_FALSE(chip->pin_active(c.index, c.bit)) << c.what << " not dark";
    }
    EXPECT_EQ(se_sys_set_status_led("root", 2, 1), -1) << "no colour 2 for a steady LED";
    EXPECT_EQ(se_sys_set_usb_led("sg3", 1), -1) << "only the main unit has these LEDs";
    EXPECT_EQ(se_sys_set_JBOD_connect_led("root", 1), -1) << "no such key: no such LED";
    EXPECT_EQ(se_sys_set_standby_led("root", 1), 0);
    EXPECT_EQ(chip->reg(0x0A, 0xFA), 2);

    int pressed = -1;
    chip->set_pin_active(0xE0, 1, true);
    EXPECT_EQ(se_sys_get_reset_button("root", &pressed), 0);
    EXPECT_EQ(pressed, 1);
    EXPECT_EQ(se_sys_get_usb_button("root", &pressed), 0);
    EXPECT_EQ(pressed, 0);
    int status = 5;
    chip->set_pin_active(0xE1, 2, true);
    EXPECT_EQ(root_get_power_supply_status(1, &status), 0);
    EXPECT_EQ(status, -1) << "supply 1 reports its failure";
}

TEST_F(FrontPanel, PortUartAndGpiolibBoardReachesItsBytesAndPins) {
    Boot(kPortBoard);
    auto ports = attach_io_ports(0x80, 2, 0xff);
    auto peer = SerialPeer::attach(1, cpld_acknowledging_from(0));
    EXPECT_EQ(se_sys_set_status_led("root", 0, 1), 0);
    EXPECT_EQ(ports->value(0x80), 2);
    EXPECT_EQ(se_sys_set_status_led("root", 0, 0), 0);
    EXPECT_EQ(ports->value(0x80), 0);
    EXPECT_EQ(se_sys_set_pwm_led("root", 0x33), 0) << "IOPORT in any case";
    EXPECT_EQ(ports->value(0x81), 0x33);
    EXPECT_EQ(se_sys_set_status_led("root", 1, 1), 0) << "uart in any case";
    EXPECT_EQ(se_sys_set_ident_led("root", 0), 0);
    ASSERT_EQ(peer->frames().size(), 2u);
    EXPECT_EQ(peer->frames()[0], Bytes{0xA1}) << "green on";
    EXPECT_EQ(peer->frames()[1], Bytes{0xB0}) << "locate off";
    EXPECT_EQ(se_sys_blink_status_led("root", 2, 1), -1) << "a pair with an I/O port LED";
    EXPECT_NE(log().find("hybrid_method = 1 not implement."), std::string::npos);

    // gpiolib buttons: ":P" marks an active-low pin.
    export_gpio_pin(20, "in", 0);
    export_gpio_pin(21, "in", 0);
    int pressed = -1;
    EXPECT_EQ(se_sys_get_usb_button("root", &pressed), 0);
    EXPECT_EQ(pressed, 1);
    EXPECT_EQ(se_sys_get_reset_button("root", &pressed), 0);
    EXPECT_EQ(pressed, 0);
    write_file("/sys/class/gpio/gpio21/value", "1\n");
    EXPECT_EQ(se_sys_get_reset_button("root", &pressed), 0);
    EXPECT_EQ(pressed, 1);
    // The method and pin were looked up once: a model file changed under the process isn't seen.
    write_file("/etc/model.conf", "[System Enclosure]\nCAP = 0x0\n");
    EXPECT_EQ(se_sys_get_reset_button("root", &pressed), 0);
    EXPECT_EQ(pressed, 1);

    // Power supplies on gpiolib: a level of 1 is a failure unless the pin is active low.
    export_gpio_pin(22, "in", 1);
    export_gpio_pin(23, "in", 1);
    write_file("/etc/model.conf", kPortBoard);
    int status = 5;
    EXPECT_EQ(root_get_power_supply_status(1, &status), 0);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(root_get_power_supply_status(2, &status), 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(root_get_power_supply_status(3, &status), -1);
}

TEST_F(FrontPanel, UnknownMethodsFailAndAreNotCached) {
    Boot(
        "[System Enclosure]\nCAP = 0x0\n[System IO]\nSTATUS_RED_LED = LED:I1\n"
        "RESET_BUTTON = BOGUS:I1\nPOWER_LED = MCU\n");
    EXPECT_EQ(se_sys_set_status_led("root", 0, 1), -1);
    EXPECT_EQ(se_sys_blink_status_led("root", 0, 1), -1);
    EXPECT_NE(log().find("conf_val = LED:I1 not implement."), std::string::npos);
    EXPECT_EQ(se_sys_set_power_led("root", 1), -1) << "the power LED has no MCU route";
    int pressed = -1;
    EXPECT_EQ(se_sys_get_reset_button("root", &pressed), -1);
    // An unknown word leaves the cache unset: a corrected model is read on the next call.
    write_file("/etc/model.conf", "[System IO]\nRESET_BUTTON = GPIO:I15\n");
    export_gpio_pin(21, "in", 1);
    EXPECT_EQ(se_sys_get_reset_button("root", &pressed), 0);
    EXPECT_EQ(pressed, 1);
}

// Two processes sounding at once: the lock keeps each pattern whole, and the beeps keep the
// pattern's time on the virtual clock.
TEST_F(FrontPanel, BuzzerPatternsNeverOverlapAndKeepTheirTime) {
    Boot(kSioBoard);
    attach_buzzer();
    pid_t a = fork();
    if (a == 0)
        _exit(root_set_buzzer(2) == 0 ? 0 : 1);
    pid_t b = fork();
    if (b == 0)
        _exit(root_set_buzzer(2) == 0 ? 0 : 1);
    int status = 0;
    waitpid(a, &status, 0);
    EXPECT_EQ(status, 0);
    waitpid(b, &status, 0);
    EXPECT_EQ(status, 0);
    auto beeps = buzzer_beeps();
    ASSERT_EQ(beeps.size(), 6u);
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(beeps[i].pid, beeps[i / 3 * 3].pid) << "patterns sounded into each other";
        EXPECT_EQ(beeps[i].length_us, 500000) << "a short beep";
        EXPECT_EQ(beeps[i].hz, 0x1234DCu / (0x1234DCu / 800));
        if (i % 3) {
            EXPECT_EQ(beeps[i].start_us - beeps[i - 1].start_us, 1500000);
        }
    }
    write_file("/sim/buzzer.log", "");
    EXPECT_EQ(root_set_buzzer(12), 0);
    beeps = buzzer_beeps();
    ASSERT_EQ(beeps.size(), 3u);
    EXPECT_EQ(beeps[0].length_us, 1000000) << "long first";
    EXPECT_EQ(beeps[1].start_us - beeps[0].start_us, 1500000);
    EXPECT_EQ(beeps[2].start_us - beeps[1].start_us, 750000);
    write_file("/sim/buzzer.log", "");
    EXPECT_EQ(root_set_buzzer(21), 0) << "an unknown pattern is silence";
    EXPECT_TRUE(buzzer_beeps().empty());
}

TEST_F(FrontPanel, TemperaturesByIndexIncludingTheEmptyOnes) {
    Boot(kSioBoard);
    write_file(kHwmon + "temp1_input", "39000\n");
    for (int core = 0; core < 5; ++core) {
        std::string base = "/sys/class/hwmon/hwmon1/device/temp" + std::to_string(core + 2);
        write_file(base + "_label", "Core " + std::to_string(core) + "\n");
        write_file(base + "_input", std::to_string(40000 + core * 2000) + "\n");
    }
    double t = -1;
    EXPECT_EQ(root_get_temp(1, &t), 0);
    EXPECT_EQ(t, 39.0);
    EXPECT_EQ(root_get_temp(0, &t), 0);
    EXPECT_EQ(t, 43.0) << "the mean of the first four cores (40, 42, 44, 46)";
    for (int index : {2, 5, 9, 10, 11, 12, -1}) {
        t = -1;
        EXPECT_EQ(root_get_temp(index, &t), -1) << "index " << index;
    }
    // A sensor found missing is not looked for again in this process: a supply added to the
    // model later stays unknown, and its driver is never asked.
    std::string model = kSioBoard;
    model.replace(model.find("[System IO]\n"), 12, "[System IO]\nREDUNDANT_POWER_2 = I2C:59\n");
    write_file("/etc/model.conf", model);
    EXPECT_EQ(root_get_temp(11, &t), -1);
    EXPECT_EQ(log().find("i2c_sys_read_pmbus_power_temp"), std::string::npos) << "looked up again";
}

TEST_F(FrontPanel, SocTemperatureIsTheThermalZoneAsItStands) {
    Boot(kPortBoard);
    write_file("/sys/devices/virtual/thermal/thermal_zone0/temp", "47\n");
    double t = 0;
    EXPECT_EQ(root_get_temp(0, &t), 0);
    EXPECT_EQ(t, 47.0);
}

TEST_F(FrontPanel, FanLevelsGoThroughTheModelsPwmTable) {
    Boot(kSioBoard);
    for (int fan = 1; fan <= 3; ++fan) {
        write_file(kHwmon + "pwm" + std::to_string(fan), "0\n");
        write_file(kHwmon + "pwm" + std::to_string(fan) + "_enable", "2\n");
        write_file(kHwmon + "fan" + std::to_string(fan) + "_input", "1400\n");
        write_file(kHwmon + "fan" + std::to_string(fan) + "_alarm", "0\n");
    }
    const int pwm[] = {50, 75, 100, 125, 150, 180, 215};
    for (int level = 0; level <= 6; ++level) {
        EXPECT_EQ(root_set_fan_speed(1, level), 0) << "level " << level;
        EXPECT_EQ(std::stoi(read_file(kHwmon + "pwm2")), pwm[level]) << "level " << level;
    }
    EXPECT_EQ(root_set_fan_speed(1, 7), -1) << "FAN_LEVEL_7 is missing";
    EXPECT_EQ(root_set_fan_speed(1, 8), -1);
    int speed = -1, fail = -1;
    EXPECT_EQ(root_get_fan_speed(2, &speed, &fail), 0);
    EXPECT_EQ(speed, 1400);
    EXPECT_EQ(fail, 0);
    for (int index : {3, 5, 9, 10, 12}) {
        EXPECT_EQ(root_get_fan_speed(index, &speed, &fail), -1) << "fan " << index;
    }
    EXPECT_EQ(root_set_fan_pwm(0, 33), 0);
    EXPECT_EQ(std::stoi(read_file(kHwmon + "pwm1")), 33);
}

TEST_F(FrontPanel, PowerPolicyByUnit) {
    Boot(kSioBoard);
    auto chip = attach_superio(0, 0x290);
    int mode = -1;
    EXPECT_EQ(se_sys_set_power_recovery_mode("root", 2), 0);
    EXPECT_EQ(se_sys_get_power_recovery_mode("root", &mode), 0);
    EXPECT_EQ(mode, 2);
    EXPECT_EQ(chip->reg(0x0A, 0xF4) & 0x06, 0x06);
    int eup = -1;
    EXPECT_EQ(se_sys_set_eup("root", 1), 0);
    EXPECT_EQ(se_sys_get_eup("root", &eup), 0);
    EXPECT_EQ(eup, 1);

    // Controller boards keep the mode in the settings file, in their own numbering.
    struct Case {
        const char *unit;
        const char *stored;
        int reported;
    } cases[] = {
        {"PIC", "1", 1}, {"PIC", "2", 2}, {"PIC", "7", 0},      {"MCU", "1", 2},
        {"MCU", "2", 1}, {"mcu", "", 0},  {"ich", nullptr, -1},
    };
    for (const Case &c : cases) {
        write_file("/etc/model.conf", std::string("[System Enclosure]\nPWR_RECOVERY_UNIT = ") +
                                          c.unit + "\nPWR_RECOVERY_CMOS_STORE = 70,7E\n");
        write_file("/etc/config/Vornix.conf", std::string("[Misc]\nPower_Recovery_Mode = ") +
                                                  (c.stored ? c.stored : "") + "\n");
        mode = -1;
        EXPECT_EQ(se_sys_get_power_recovery_mode("root", &mode), 0) << c.unit;
        if (c.reported >= 0) {
            EXPECT_EQ(mode, c.reported) << c.unit << " stored " << c.stored;
        }
    }
    write_file("/etc/model.conf", "[System Enclosure]\nPWR_RECOVERY_UNIT = BIOS\n");
    EXPECT_EQ(se_sys_get_power_recovery_mode("root", &mode), -1);
}

// The locate blink of disks: one blinker for the enclosure, restarted with the slots still
// chosen, gone when none is left; a slot that stops with an error keeps its error LED.
TEST_F(FrontPanel, DiskLocateBlinkKeepsOneBlinkerWithTheChosenSlots) {
    Boot("[System Enclosure]\nCAP = 0x0\nMAX_DISK_NUM = 8\n");
    nashal::sim::clock_pace_background(true);
    const std::string state = "/tmp/ident_blink_root";
    auto field = [&](const std::string &key) {
        std::string text = read_file(state);
        size_t at = text.find(key + " = ");
        return at == std::string::npos
                   ? std::string()
                   : text.substr(at + key.size() + 3, text.find('\n', at) - at - key.size() - 3);
    };
    auto running = [](const std::string &pid) {
        return !pid.empty() && read_file("/proc/" + pid + "/comm") == "ident_led_blink\n";
    };
    ASSERT_EQ(se_sys_set_pd_ident_led("root", 3, 1, 0), 0);
    const std::string first = field("PID");
    EXPECT_TRUE(running(first));
    EXPECT_EQ(field("PD_IDENT_BITMAP"), "0x8");
    ASSERT_EQ(se_sys_set_pd_ident_led("root", 5, 1, 0), 0);
    const std::string second = field("PID");
    EXPECT_NE(second, first);
    EXPECT_TRUE(running(second));
    EXPECT_EQ(field("PD_IDENT_BITMAP"), "0x28") << "slot 3 forgotten on restart";
    EXPECT_EQ(field("ENC_IN_IDENT"), "0");
    ASSERT_EQ(se_sys_set_pd_ident_led("root", 3, 0, 0), 0);
    EXPECT_EQ(field("PD_IDENT_BITMAP"), "0x20");
    const std::string third = field("PID");
    ASSERT_EQ(se_sys_set_pd_ident_led("root", 5, 0, 1), 0);
    EXPECT_FALSE(exists(state)) << "no slot left: no blinker and no record";
    for (int i = 0; i < 200 && running(third); ++i)
        usleep(10000);
    EXPECT_FALSE(running(third));
    // The disk LEDs' driver isn't in this build: the slot's error LED was asked for.
    EXPECT_NE(log().find("pd_sys_set_err_led"), std::string::npos);
}
