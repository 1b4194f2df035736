// The controller protocol on captured bytes: what the monitor makes of the bytes a PIC or MCU
// sends unasked, how it checks the answers of a transaction, and what it puts on the line for
// each order. The controller's side is a socket whose answers are queued before the call.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/msg.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "nashal/hal_trace.h"
#include "nashal/mcu_sys.h"
#include "nashal/pic_sys.h"
#include "sim/appliance.h"
#include "sim/clock.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

class ControllerFrames : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds_), 0);
        fcntl(fds_[0], F_SETFL, O_NONBLOCK);
        fcntl(fds_[1], F_SETFL, O_NONBLOCK);
        make_dirs("/tmp/em", 0700);
    }
    void TearDown() override {
        close(fds_[0]);
        close(fds_[1]);
    }
    int line() const { return fds_[0]; }
    // What the controller's side has queued for the library to read.
    void controller_sends(const std::vector<uint8_t> &bytes) {
        ASSERT_EQ(write(fds_[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    // What the library put on the line since the last look.
    std::vector<uint8_t> wire() {
        std::vector<uint8_t> got(512);
        ssize_t n = read(fds_[1], got.data(), got.size());
        got.resize(n > 0 ? static_cast<size_t>(n) : 0);
        return got;
    }
    std::string file(const char *name) { return read_file(std::string("/tmp/em/em_root.") + name); }
    std::string log() { return read_file("/var/log/hal_lib.log"); }

    Appliance app_ = Appliance::fresh();
    int fds_[2] = {-1, -1};
};

}  // namespace

TEST(ControllerKeys, QueueKeyCountsDigitsAsNibblesAndLettersAsBytes) {
    struct Case {
        const char *id;
        int rc;
        key_t key;
    } cases[] = {
        {"root", 0, 0x110E0E13},     {"1-2.3", 0, 0x123},    {"2-1", 0, 0x21},
        {"12345678", 0, 0x12345678}, {"3-1.4.2", 0, 0x3142}, {"123456789", -1, 0},
        {"ab12345", -1, 0},          {"rootx", -1, 0},       {"", 0, 0},
    };
    for (const Case &c : cases) {
        key_t key = 0;
        EXPECT_EQ(create_msgkey(c.id, &key), c.rc) << c.id;
        if (c.rc == 0) {
            EXPECT_EQ(key, c.key) << c.id;
        }
    }
    key_t key = 0;
    EXPECT_EQ(create_msgkey(nullptr, &key), -1);
}

TEST_F(ControllerFrames, UnaskedReportsReachTheMonitorFiles) {
    struct Step {
        std::vector<uint8_t> bytes;
        const char *file;
        const char *content;
    } steps[] = {
        {{0x80 + 40}, "sys_temp", "40"},  // near the last reading: written
        {{0x80 + 40}, "sys_temp", "40"},  // unchanged: nothing to write
        {{0x80 + 50}, "sys_temp", "40"},  // a jump above 3 degrees waits for the next reading
        {{0x80 + 51}, "sys_temp", "51"}, {{'8'}, "sys_temp", "51"},  // 75: wild at first
        {{'9'}, "sys_temp", "51"},  // 80 is a wild jump from 75 too
        {{'9'}, "sys_temp", "80"},       {{0xE4}, "sys_temp", "80"},    {{0xE4}, "sys_temp", "100"},
        {{'s'}, "fan1_err", "1"},        {{'u', 'v'}, "fan2_err", "0"}, {{'t'}, "fan1_err", "0"},
        {{'R'}, "pwr1_err", "1"},        {{'S', 'U'}, "pwr2_err", "0"}, {{'T'}, "pwr1_err", "0"},
    };
    // A first reading is far from "none yet": it is only remembered.
    controller_sends({0x80 + 41});
    ASSERT_EQ(pic_parse_data_in(line(), "root"), 1);
    EXPECT_FALSE(exists("/tmp/em/em_root.sys_temp"));
    for (const Step &s : steps) {
        controller_sends(s.bytes);
        EXPECT_EQ(pic_parse_data_in(line(), "root"), static_cast<int>(s.bytes.size()));
        EXPECT_EQ(file(s.file), s.content) << "after byte 0x" << std::hex << int(s.bytes[0]);
    }
    double t = 0;
    int status = 0;
    EXPECT_EQ(pic_sys_get_temp("root", "root", &t), 0);
    EXPECT_EQ(t, 100.0);
    write_file("/tmp/em/em_root.pwr1_err", "1");
    EXPECT_EQ(pic_sys_get_pwr_status("root", "root", 1, &status), 0);
    EXPECT_EQ(status, -1) << "a failed supply reads -1";
    EXPECT_EQ(pic_sys_get_fan_status("root", "root", 3, &status), -1) << "no fan 3 file";
}

TEST_F(ControllerFrames, UnsupportedBytesAreLoggedAndNothingElseHappens) {
    controller_sends({0xE5, 0x7F, 'w'});
    EXPECT_EQ(pic_parse_data_in(line(), "root"), 3);
    EXPECT_NE(log().find("PIC receive 0xe5 unsupport."), std::string::npos);
    EXPECT_NE(log().find("PIC receive 0x77 unsupport."), std::string::npos);
    controller_sends({'w', 'x', 0xE5});
    EXPECT_EQ(mcu_parse_data_in(line(), "root"), 3);
    EXPECT_EQ(log().find("MCU receive 0x77"), std::string::npos) << "the MCU ignores w and x";
    EXPECT_NE(log().find("MCU receive 0xe5 unsupport."), std::string::npos);
    EXPECT_EQ(list_dir("/tmp/em"), std::vector<std::string>{});
}

TEST_F(ControllerFrames, AnMcuTemperatureJumpIsWrittenAtOnce) {
    controller_sends({0x80 + 40});
    mcu_parse_data_in(line(), "root");
    controller_sends({0x80 + 50});
    mcu_parse_data_in(line(), "root");
    EXPECT_EQ(file("sys_temp"), "50");
}

TEST_F(ControllerFrames, SilenceAndAHangUpAreToldApart) {
    const int64_t before = clock_slept_us();
    EXPECT_EQ(pic_parse_data_in(line(), "root"), 0) << "no data within the second";
    EXPECT_EQ(clock_slept_us() - before, 1000000);
    close(fds_[1]);
    fds_[1] = open("/dev/null", O_RDONLY);
    EXPECT_EQ(pic_parse_data_in(line(), "root"), -1) << "the other end is gone";
}

TEST_F(ControllerFrames, PowerButtonFollowsTheServiceMode) {
    write_file("/etc/model.conf", "[System Enclosure]\nCAP = 0x4000\n");
    struct Case {
        const char *mode;
        bool beeps;
        std::vector<std::string> runs;
    } cases[] = {
        {"", true, {"/sbin/lcd_tool -s 3", "/etc/init.d/power_button.sh"}},
        {"Service Mode = 1\n", false, {"/sbin/hal_event --se_pwb"}},
        {"Service Mode = 2\n", false, {}},
    };
    for (const Case &c : cases) {
        write_file("/etc/hal.conf", std::string("[Global]\n") + c.mode);
        clear_invocations();
        controller_sends({0x40});
        EXPECT_EQ(pic_parse_data_in(line(), "root"), 1);
        EXPECT_EQ(wire(), c.beeps ? std::vector<uint8_t>{0x50} : std::vector<uint8_t>{}) << c.mode;
        EXPECT_EQ(invocations(), c.runs) << c.mode;
    }
    // On the MCU a second press within two seconds is a bounce.
    write_file("/etc/hal.conf", "[Global]\nService Mode = 1\n");
    clear_invocations();
    controller_sends({0x40});
    mcu_parse_data_in(line(), "root");
    controller_sends({0x40});
    mcu_parse_data_in(line(), "root");
    EXPECT_EQ(invocations().size(), 1u);
    clock_advance_us(2000000);
    controller_sends({0x40});
    mcu_parse_data_in(line(), "root");
    EXPECT_EQ(invocations().size(), 2u);
}

TEST_F(ControllerFrames, FanSpeedAnswersAreCheckedByEachControllersRule) {
    struct Case {
        const char *what;
        bool mcu;
        std::vector<uint8_t> answer;
        int rc;
        int value;
    } cases[] = {
        {"PIC value twice", false, {0xAA, 0xAA, 30, 30}, 0, 30},
        {"PIC values differ", false, {0xAA, 0xAA, 30, 31}, -1, 0},
        {"PIC report before the acknowledge is thrown away", false, {0xA8, 0xAA, 0xAA, 5, 5}, 0, 5},
        {"PIC value cut short", false, {0xAA, 0xAA, 30}, -1, 0},
        {"MCU A, B and their sum", true, {0xAA, 0xAA, 10, 12, 22}, 0, 11},
        {"MCU sum wrong", true, {0xAA, 0xAA, 10, 12, 23}, -1, 0},
        {"MCU frame cut short passes to the checksum", true, {0xAA, 0xAA, 10, 12}, -1, 0},
        {"MCU sum wraps", true, {0xAA, 0xAA, 200, 100, 44}, 0, 150},
        {"silent controller", false, {}, -1, 0},
    };
    for (const Case &c : cases) {
        if (!c.answer.empty())
            controller_sends(c.answer);
        unsigned char value = 0;
        int rc = c.mcu ? mcu_handle_cmd(line(), "root", 0xF8, 0, 0, &value)
                       : pic_handle_cmd(line(), "root", 0xF7, 0, 0, &value);
        EXPECT_EQ(rc, c.rc) << c.what;
        if (c.rc == 0) {
            EXPECT_EQ(value, c.value) << c.what;
        }
        std::vector<uint8_t> sent = wire();
        ASSERT_GE(sent.size(), 1u) << c.what;
        EXPECT_EQ(sent[0], 0xF6) << c.what;
        if (c.rc == 0) {
            EXPECT_EQ(sent, (std::vector<uint8_t>{0xF6, static_cast<uint8_t>(c.mcu ? 0xF8 : 0xF7)}))
                << c.what;
        }
    }
}

TEST_F(ControllerFrames, OrdersPutTheirBytesOnTheLine) {
    struct Case {
        const char *what;
        bool mcu;
        int command;
        std::vector<uint8_t> answer;
        int rc;
        std::vector<uint8_t> sent;
        int64_t slept_us;
    } cases[] = {
        {"short beep", false, 0x100, {}, 0, {0x50}, 0},
        {"beep code 2", false, 0x102, {}, 0, {0x50, 0x50, 0x50}, 2000000},
        {"beep code 9", true, 0x109, {}, 0, {0x51, 0x51, 0x51}, 4000000},
        {"beep code 13", false, 0x10D, {}, 0, {0x51, 0x50, 0x50}, 2750000},
        {"beep code 14", false, 0x10E, {}, 0, {0x50, 0x50, 0x50}, 1250000},
        {"beep code 102 is no pattern", false, 0x166, {}, 0, {}, 0},
        {"plain byte", false, 0x59, {}, 0, {0x59}, 0},
        {"MCU disk 3 error LED on",
         true,
         0x1008,
         {'@', '0', 0x70},
         0,
         {'@', 'R', '2', '0', 0x10},
         0},
        {"MCU EuP off", true, 0x1011, {'@', '0', 0x70}, 0, {'@', 'O', '4', '0', 0x0B}, 0},
        {"MCU table ends at 17", true, 0x1012, {}, -1, {}, 0},
        {"MCU table command unanswered", true, 0x1000, {}, -1, {'@', 'R', '0', '0', 0x12}, 1000000},
    };
    for (const Case &c : cases) {
        if (!c.answer.empty())
            controller_sends(c.answer);
        const int64_t before = clock_slept_us();
        unsigned char buffer[64] = {};
        int rc = c.mcu ? mcu_handle_cmd(line(), "root", c.command, 0, 0, buffer)
                       : pic_handle_cmd(line(), "root", c.command, 0, 0, buffer);
        EXPECT_EQ(rc, c.rc) << c.what;
        EXPECT_EQ(wire(), c.sent) << c.what;
        EXPECT_EQ(clock_slept_us() - before, c.slept_us) << c.what;
    }
}

TEST_F(ControllerFrames, EepromWriteSendsDataWithItsSumAndNeedsEachAcknowledge) {
    struct Case {
        const char *what;
        std::vector<uint8_t> answer;
        int rc;
        std::vector<uint8_t> sent;
    } cases[] = {
        {"all acknowledged", {0xAA, 0xAA, 0xAA}, 0, {0xF6, 0xA0, 56, 3, 'S', 'N', ':', 0xDB}},
        {"header refused", {0xAA, 0x55}, -1, {0xF6, 0xA0, 56, 3}},
        {"data refused", {0xAA, 0xAA, 0x55}, -1, {0xF6, 0xA0, 56, 3, 'S', 'N', ':', 0xDB}},
    };
    for (const Case &c : cases) {
        controller_sends(c.answer);
        unsigned char data[64] = {'S', 'N', ':'};
        EXPECT_EQ(pic_handle_cmd(line(), "root", 0xA0, 56, 3, data), c.rc) << c.what;
        EXPECT_EQ(wire(), c.sent) << c.what;
    }
    unsigned char data[64] = {};
    EXPECT_EQ(pic_handle_cmd(line(), "root", 0xA0, 0, 65, data), -1)
        << "a length past the request's 64 data bytes is refused";
    EXPECT_EQ(wire(), std::vector<uint8_t>{});
}

TEST_F(ControllerFrames, WithoutAMonitorOrdersFailAndLeaveNoQueue) {
    // No monitor: the EEPROM calls fail, and no queue is left behind by their probe.
    char sn[33] = {};
    EXPECT_EQ(pic_sys_get_sn("root", sn, sizeof sn), -1);
    EXPECT_EQ(pic_sys_send_cmd("root", "root", 0x59), -1);
    key_t key = 0;
    create_msgkey("root", &key);
    EXPECT_LT(msgget(key, 0), 0) << "the probe's queue is removed";
    EXPECT_EQ(pic_sys_set_fan_speed("root", "root", 8), -1);
    EXPECT_EQ(mcu_sys_set_fan_speed("root", "root", -1), -1);
    EXPECT_EQ(mcu_sys_set_hdd_err_led("root", 5, 1), -1);
    EXPECT_NE(log().find("NOT implement."), std::string::npos);
    EXPECT_EQ(pic_sys_set_mac(2, "001122334455", 0), -1);
    EXPECT_EQ(mcu_sys_set_mac(9, "001122334455", 0), -1);
    EXPECT_EQ(pic_sys_set_power_recovery_mode("root", 1), 0) << "always 0";
}
