// The lights of each bay, on every example board and shelf: what a firmware engineer sees when
// "the wrong bay lights up". Lights are read from the hardware's side (the Super I/O pin, the
// port latch, the gpiolib value, the bytes an LED chip took, the MCU's commands, the shelf's
// SES element), never through the library.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "controllers/monitor_quit.h"
#include "nashal/hal_trace.h"
#include "nashal/i2c_sys.h"
#include "nashal/pd_sys.h"
#include "nashal/pic_sys.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/bay_lights.h"
#include "sim/clock.h"
#include "sim/controller_emulator.h"
#include "sim/devices.h"
#include "sim/example_boards.h"
#include "sim/fs.h"
#include "sim/gpiolib_pins.h"
#include "sim/i2c_bus_model.h"
#include "sim/io_port_model.h"
#include "sim/serial_peer.h"

extern "C" int create_msgkey(const char *pic_id, int32_t *key);

using namespace nashal::sim;
// The MCU takes its orders through its monitor, so they arrive a moment later.
using nashal::test::eventually;

namespace {

enum Kind { kError, kLocate, kPresent, kActive };
const char *const kKindName[] = {"error", "locate", "present", "activity"};

int light(const BayLights &l, Kind k) {
    const int v[] = {l.error, l.locate, l.present, l.active};
    return v[k];
}

int set_light(const std::string &enc, int bay, Kind k, int on) {
    switch (k) {
        case kError:
            return pd_sys_set_err_led(enc.c_str(), bay, on);
        case kLocate:
            return pd_sys_set_ident_led(enc.c_str(), bay, on, 0);
        case kPresent:
            return pd_sys_set_present_led(enc.c_str(), bay, on);
        case kActive:
            return pd_sys_set_active_led(enc.c_str(), bay, on);
    }
    return -1;
}

using Lit = std::set<std::pair<int, int>>;  // (bay, kind)

Lit lit_lights(const std::string &enc) {
    Lit lit;
    const int bays = bay_count(enc);
    for (int bay = 1; bay <= bays; ++bay) {
        const BayLights l = bay_lights(enc, bay);
        for (Kind k : {kError, kLocate, kPresent, kActive})
            if (light(l, k) == 1)
                lit.insert({bay, k});
    }
    return lit;
}

std::string describe(const Lit &lit) {
    std::string s;
    for (const auto &[bay, k] : lit)
        s += "bay " + std::to_string(bay) + " " + kKindName[k] + "; ";
    return s.empty() ? "nothing" : s;
}

struct Board {
    const char *dir;
    std::vector<const char *> enclosures;
    // Every bay driven, or (shelves, whose every light costs three sg_ses runs) the first, a
    // middle and the last bay.
    bool every_bay;
    bool controller;  // an MCU whose monitor must run first
};

const Board kBoards[] = {
    {"x86-8bay", {"root"}, true, false},
    {"x86-12bay-sas", {"root"}, true, false},
    {"x86-pcie-sas", {"root"}, true, false},
    {"soc-2bay", {"root"}, true, false},
    {"soc-2bay-pic", {"root"}, true, false},
    {"soc-2bay-mcu", {"root"}, true, true},
    {"x86-sas-shelves", {"sg12", "sg37"}, false, false},
};

class ExampleBoard {
  public:
    explicit ExampleBoard(const Board &b)
        : board_(b), app_(Appliance::copy_of(std::string(NASHAL_EXAMPLES_DIR) + "/" + b.dir)) {}
    bool start() {
        if (!app_.activate())
            return false;
        if (board_.controller) {
            ENC_INFO info = {};
            return se_sys_getinfo("root", &info) == 0;
        }
        return true;
    }
    ~ExampleBoard() {
        if (!board_.controller)
            return;
        nashal::test::quit_monitor("root");
    }

  private:
    const Board &board_;
    Appliance app_;
};

}  // namespace

// Every light of every bay: on lights exactly that light of that bay, off leaves the board dark.
class EveryBoard : public ::testing::TestWithParam<Board> {};

TEST_P(EveryBoard, EachBayLightsOnlyItsOwnLight) {
    const Board &b = GetParam();
    ExampleBoard board(b);
    ASSERT_TRUE(board.start());
    for (const std::string enc : b.enclosures) {
        const int bays = bay_count(enc);
        ASSERT_GT(bays, 0) << enc;
        EXPECT_EQ(lit_lights(enc), Lit{}) << enc << ": lit at power-on";
        std::vector<int> chosen;
        for (int bay = 1; bay <= bays; ++bay)
            if (b.every_bay || bay == 1 || bay == bays / 2 || bay == bays)
                chosen.push_back(bay);
        int driven = 0;
        for (int bay : chosen) {
            const BayLights has = bay_lights(enc, bay);
            for (Kind k : {kError, kLocate, kPresent, kActive}) {
                if (light(has, k) < 0)
                    continue;
                ++driven;
                const std::string what = enc + " bay " + std::to_string(bay) + " " + kKindName[k];
                ASSERT_EQ(set_light(enc, bay, k, 1), 0) << what;
                const Lit want = {{bay, k}};
                EXPECT_TRUE(eventually([&] { return lit_lights(enc) == want; }))
                    << what << " on lit: " << describe(lit_lights(enc));
                ASSERT_EQ(set_light(enc, bay, k, 0), 0) << what;
                EXPECT_TRUE(eventually([&] { return lit_lights(enc).empty(); }))
                    << what << " off left lit: " << describe(lit_lights(enc));
            }
            EXPECT_GE(light(has, kError), 0) << enc << " bay " << bay << " has no error light";
        }
        EXPECT_GT(driven, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(DiskLeds, EveryBoard, ::testing::ValuesIn(kBoards),
                         [](const ::testing::TestParamInfo<Board> &info) {
                             return nashal::test::board_case_name(info.param.dir);
                         });

// Boards without a locate light of their own blink the bay's error light from a background
// process, on the virtual clock; the next call for the bay ends it, whatever was lit.
TEST(DiskLeds, LocateBlinkTogglesUntilTheNextCall) {
    for (const char *dir : {"x86-8bay", "soc-2bay", "soc-2bay-pic"}) {
        SCOPED_TRACE(dir);
        Appliance app = Appliance::copy_of(std::string(NASHAL_EXAMPLES_DIR) + "/" + dir);
        ASSERT_TRUE(app.activate());
        clock_pace_background(true);
        const int bays = bay_count("root");
        for (int bay : {1, bays}) {
            ASSERT_EQ(bay_lights("root", bay).locate, -1) << "the board has a locate light";
            ASSERT_EQ(pd_sys_set_ident_led("root", bay, 1, 0), 0);
            bool seen_on = false, seen_off = false, others = false;
            for (int i = 0; i < 150 && !(seen_on && seen_off); ++i) {
                const Lit lit = lit_lights("root");
                (lit.count({bay, kError}) ? seen_on : seen_off) = true;
                for (const auto &[b, k] : lit)
                    others = others || (b != bay && k == kError);
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
            EXPECT_TRUE(seen_on && seen_off) << "bay " << bay << " doesn't blink";
            EXPECT_FALSE(others) << "another bay blinks with bay " << bay;
            ASSERT_EQ(pd_sys_set_ident_led("root", bay, 0, 0), 0);
            // The blinker is gone: the bay's error light is dark and nothing changes through
            // several of its steps (a present light keeps the state the blink left it in, as
            // one bay's locate ends without touching another's).
            const Lit after = lit_lights("root");
            EXPECT_EQ(after.count({bay, kError}), 0u) << "bay " << bay;
            for (int i = 0; i < 8; ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                EXPECT_EQ(lit_lights("root"), after) << "bay " << bay << " still blinks";
            }
        }
    }
}

namespace {

class DiskLedRules : public ::testing::Test {
  protected:
    void Boot(const std::string &model) {
        write_file(app_.dir() + "/etc/model.conf", model);
        ASSERT_TRUE(app_.activate());
        clock_pace_background(true);
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
    }
    std::string log() const { return read_file("/var/log/hal_lib.log"); }
    Appliance app_ = Appliance::fresh();
};

}  // namespace

// The sense of a line: a plain port bit lights on a low level and a gpiolib pin on a high one,
// each the other way round with ":P". Checked on the raw level, not through the lights.
TEST_F(DiskLedRules, ReversedSignalsAreInvertedForEveryLightThatHonoursThem) {
    Boot(
        "[System Disk 1]\nERR_LED = IOPORT:IA20:B3\nPRESENT_LED = ioport:IA20:B4:P\n"
        "BLINK_LED = IOPORT:IA20:B5\n"
        "[System Disk 2]\nERR_LED = GPIO:I5:P\n"
        "[System Disk 3]\nERR_LED = GPIO:I6\n");
    auto port = attach_io_ports(0xA20, 1, 0xff);
    export_gpio_pin(5, "out", 1);
    export_gpio_pin(6, "out", 0);
    struct Case {
        Kind kind;
        int bay;
        std::function<int()> level;  // the raw level of the line
        int level_when_on;
    } cases[] = {
        {kError, 1, [&] { return (port->value(0xA20) >> 3) & 1; }, 0},
        {kPresent, 1, [&] { return (port->value(0xA20) >> 4) & 1; }, 1},
        {kActive, 1, [&] { return (port->value(0xA20) >> 5) & 1; }, 0},
        {kError, 2, [] { return gpio_pin_value(5); }, 0},
        {kError, 3, [] { return gpio_pin_value(6); }, 1},
    };
    for (const Case &c : cases) {
        const std::string what =
            std::string(kKindName[c.kind]) + " of bay " + std::to_string(c.bay);
        ASSERT_EQ(set_light("root", c.bay, c.kind, 1), 0) << what;
        EXPECT_EQ(c.level(), c.level_when_on) << what << " on";
        ASSERT_EQ(set_light("root", c.bay, c.kind, 0), 0) << what;
        EXPECT_EQ(c.level(), 1 - c.level_when_on) << what << " off";
    }
    EXPECT_EQ(port->value(0xA20) & ~0x38, 0xff & ~0x38) << "other bits of the port changed";
}

// A slot without the key, a method no driver knows, a malformed value, and the enclosures that
// have no light: each gives the result its caller expects, with the trace where there is one.
TEST_F(DiskLedRules, MissingKeysUnknownMethodsAndOtherEnclosures) {
    Boot(
        "[System Enclosure]\nMAX_DISK_NUM = 3\n"
        "[System Disk 1]\nERR_LED = FOO:I1\nLOCATE_LED = FOO:I1\nPRESENT_LED = FOO:I1\n"
        "BLINK_LED = FOO:I1\n"
        "[System Disk 2]\nERR_LED = IOPORT\nPRESENT_LED = I2C:20\nBLINK_LED = SOC\n"
        "[Esata Enclosure]\nBLINK_LED = IOPORT:IA20:B1\n");
    struct Case {
        const char *what;
        std::function<int()> call;
        int result;
        const char *trace;  // "" : no message
    } cases[] = {
        {"unknown error", [] { return pd_sys_set_err_led("root", 1, 1); }, -1, "NOT implement"},
        {"unknown locate", [] { return pd_sys_set_ident_led("root", 1, 1, 0); }, -1,
         "NOT implement"},
        {"unknown present", [] { return pd_sys_set_present_led("root", 1, 1); }, -1,
         "NOT implement"},
        {"unknown activity", [] { return pd_sys_set_active_led("root", 1, 1); }, -1,
         "NOT implement"},
        {"bad port value", [] { return pd_sys_set_err_led("root", 2, 1); }, -1, ""},
        {"I2C without bytes", [] { return pd_sys_set_present_led("root", 2, 1); }, -1, ""},
        {"SoC bit of a board without it", [] { return pd_sys_set_active_led("root", 2, 1); }, -1,
         ""},
        {"no error key", [] { return pd_sys_set_err_led("root", 3, 1); }, -1, "NOT implement"},
        {"no present key", [] { return pd_sys_set_present_led("root", 3, 1); }, -1, ""},
        {"no activity key", [] { return pd_sys_set_active_led("root", 3, 0); }, -1, ""},
        {"chassis usb", [] { return pd_sys_set_err_led("root_usb", 1, 1); }, 0, ""},
        {"eSATA error", [] { return pd_sys_set_err_led("root_esata", 1, 1); }, 0, ""},
        {"cache error", [] { return pd_sys_set_err_led("root_cache", 1, 1); }, 0, ""},
        {"cache activity", [] { return pd_sys_set_active_led("root_cache", 1, 1); }, -1, ""},
        {"eSATA activity not on a serial link",
         [] { return pd_sys_set_active_led("root_esata", 1, 1); }, -1, "NOT implement"},
        {"eSATA present without key", [] { return pd_sys_set_present_led("root_esata", 1, 1); }, 0,
         ""},
        {"Thunderbolt error swallowed", [] { return pd_sys_set_err_led("i2c-120", 1, 1); }, 0,
         "Get System Disk 1 Field ERR_LED failed!"},
        {"shelf that isn't there", [] { return pd_sys_set_err_led("sg40", 1, 1); }, 0, ""},
        {"locate of an unknown kind", [] { return pd_sys_set_ident_led("bogus", 1, 1, 0); }, -1,
         "NOT implement"},
        {"null id", [] { return pd_sys_set_err_led(nullptr, 1, 1); }, -1, ""},
    };
    for (const Case &c : cases) {
        write_file("/var/log/hal_lib.log", "");
        EXPECT_EQ(c.call(), c.result) << c.what;
        if (*c.trace) {
            EXPECT_NE(log().find(c.trace), std::string::npos) << c.what << ": " << log();
        }
    }
    // A slot with no locate light falls back to the blink of its other lights.
    EXPECT_EQ(pd_sys_set_ident_led("root", 3, 1, 0), 0);
    EXPECT_TRUE(exists("/tmp/ident_blink_root"));
    EXPECT_EQ(pd_sys_set_ident_led("root", 3, 0, 0), 0);
    EXPECT_FALSE(exists("/tmp/ident_blink_root"));
}

// A locate light on a serial link shares the bay's lamp with the others: ending locate on a bay
// in error puts the error back, on or off.
TEST_F(DiskLedRules, SerialLocateOfABayInErrorLeavesTheErrorLit) {
    Boot(
        "[System Disk 1]\nERR_LED = IOPORT:IA20:B0\nPRESENT_LED = IOPORT:IA20:B1\n"
        "LOCATE_LED = UART1:CPLD:4A:4B\n");
    auto port = attach_io_ports(0xA20, 1, 0xff);
    auto cpld = SerialPeer::attach(1, cpld_acknowledging_from(0));
    ASSERT_NE(cpld, nullptr);
    for (int on : {1, 0}) {
        port->set_value(0xA20, 0xfc);  // error and present lit
        ASSERT_EQ(pd_sys_set_ident_led("root", 1, on, 1), 0);
        EXPECT_EQ(port->value(0xA20) & 3, 2) << "locate " << on << ": present off, error on";
    }
    const Bytes wire = cpld->wire();
    EXPECT_NE(std::find(wire.begin(), wire.end(), 0x4A), wire.end());
    EXPECT_NE(std::find(wire.begin(), wire.end(), 0x4B), wire.end());
}

// Thunderbolt boxes: the bay's start or stop byte to the box's own bus, never to a bus of the
// main unit (99 and below). Every I2C call first looks for the main unit's adapter, bus 0, and
// the process remembers the answer: it is attached before the first call.
TEST_F(DiskLedRules, ThunderboltBayLightsGoToTheBoxBus) {
    Boot("[System Enclosure]\nMAX_DISK_NUM = 0\n");
    write_file("/etc/model_jbod.conf",
               "[System Disk 2]\nERR_LED = I2C:20:12:32\nLOCATE_LED = I2C:20:1F2:3F2\n");
    write_file("/sim/tb_leds", "");
    attach_i2c_bus(0);
    attach_i2c_bus(120).attach(0x20, register_chip("/sim/tb_leds"));
    attach_i2c_bus(99).attach(0x20, register_chip("/sim/main_leds"));
    EXPECT_EQ(thunderbolt_set_hdd_led("i2c-120", 2, 1, "ERR_LED"), 0);
    EXPECT_EQ(thunderbolt_set_hdd_led("i2c-120", 2, 0, "ERR_LED"), 0);
    EXPECT_EQ(pd_sys_set_ident_led("i2c-120", 2, 1, 0), 0);
    EXPECT_EQ(read_file("/sim/tb_leds.sent"), "12\n32\nf2\n") << "bytes cut to 8 bits";
    EXPECT_EQ(thunderbolt_set_hdd_led("i2c-99", 2, 1, "ERR_LED"), -1);
    EXPECT_EQ(thunderbolt_set_hdd_led("i2c-120", 1, 1, "ERR_LED"), -1) << "bay without key";
    EXPECT_FALSE(exists("/sim/main_leds.sent"));
}

// SAS shelves: locate takes the bay's amber lamp over; ending it on a bay in error requests the
// fault again, and on a healthy bay clears it.
TEST(DiskLeds, ShelfLocateEndsInTheBayErrorState) {
    Appliance app = Appliance::copy_of(std::string(NASHAL_EXAMPLES_DIR) + "/x86-sas-shelves");
    ASSERT_TRUE(app.activate());
    struct Case {
        int err_state;
        int error_after;
    } cases[] = {{1, 1}, {0, 0}};
    for (const Case &c : cases) {
        ASSERT_EQ(pd_sys_set_err_led("sg37", 4, 1), 0);
        ASSERT_EQ(pd_sys_set_ident_led("sg37", 4, 1, c.err_state), 0);
        BayLights l = bay_lights("sg37", 4);
        EXPECT_EQ(l.locate, 1);
        EXPECT_EQ(l.error, 0) << "locate clears the fault request";
        ASSERT_EQ(pd_sys_set_ident_led("sg37", 4, 0, c.err_state), 0);
        l = bay_lights("sg37", 4);
        EXPECT_EQ(l.locate, 0);
        EXPECT_EQ(l.error, c.error_after) << "err_state " << c.err_state;
    }
    EXPECT_EQ(sas_expander_set_hdd_err_led("sg37", 25, 1), -1) << "a bay the shelf doesn't have";
    EXPECT_EQ(sas_expander_set_hdd_err_led("sg37", 0, 1), -1);
    EXPECT_EQ(pd_sys_set_err_led("sg37", 25, 1), 0) << "a shelf's failure is swallowed";
    // The 60-bay shelf's status page is longer than the 256 bytes a control is built in: its
    // bay lights fail, traced, and nothing is sent to it.
    clear_invocations();
    EXPECT_EQ(pd_sys_set_ident_led("sg98", 1, 1, 0), -1);
    for (const std::string &run : invocations())
        EXPECT_EQ(run.find("-c "), std::string::npos) << run;
}

// A USB box's bay: its bridge's GPIO pin, found by the bridge's USB ids, made an output and set
// or cleared with the bridge's vendor register commands; a bridge of another make is left alone.
TEST_F(DiskLedRules, UsbBoxBayLightIsTheBridgeGpio) {
    Boot("[System Enclosure]\nMAX_DISK_NUM = 0\n");
    const std::string port = "/sys/bus/usb/devices/2-1.3";
    write_file(port + "/idVendor", "174c\n");
    write_file(port + "/idProduct", "55aa\n");
    write_file("/sim/data/dir.bin", std::string(1, '\x01'));
    write_file("/sim/data/data.bin", std::string(1, '\xf0'));
    write_file("/sim/answers/sg_raw",
               "== -r 1 -b /dev/sg5 e4 1 0 c8 80 0\n"
               "stdout-file /sim/data/dir.bin\n"
               "== -r 1 -b /dev/sg5 e4 1 0 c8 82 0\n"
               "stdout-file /sim/data/data.bin\n");
    struct Case {
        int on;
        const char *data_write;
    } cases[] = {{1, "/sbin/sg_raw /dev/sg5 e5 f8 0 c8 82 0"},
                 {0, "/sbin/sg_raw /dev/sg5 e5 f0 0 c8 82 0"}};
    for (const Case &c : cases) {
        clear_invocations();
        ASSERT_EQ(usb_expander_set_hdd_err_led("sg5", "2-1.3", c.on), 0);
        const std::vector<std::string> runs = invocations();
        ASSERT_EQ(runs.size(), 4u);
        EXPECT_EQ(runs[2], "/sbin/sg_raw /dev/sg5 e5 9 0 c8 80 0") << "bit 3 made an output";
        EXPECT_EQ(runs[3], c.data_write);
    }
    clear_invocations();
    EXPECT_EQ(usb_expander_set_hdd_err_led("", "2-1.3", 1), -1) << "no disk behind the port";
    write_file(port + "/idProduct", "1234\n");
    EXPECT_EQ(usb_expander_set_hdd_err_led("sg5", "2-1.3", 1), -1);
    EXPECT_TRUE(invocations().empty()) << "no command for a bridge without a known pin";
}
