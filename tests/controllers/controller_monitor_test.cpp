// The monitor end to end on a virtual appliance: attach starts it, orders reach the emulated
// controller's line, its reports and alarms reach /tmp/em and the public readers, and the
// EEPROM answers through the FIFO; then the faults a box meets in the field.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "controllers/monitor_quit.h"
#include "nashal/hal_trace.h"
#include "nashal/mcu_sys.h"
#include "nashal/pic_sys.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/controller_emulator.h"
#include "sim/fs.h"

using namespace nashal::sim;
using nashal::test::eventually;
using nashal::test::quit_monitor;

namespace {

pid_t monitor_pid(const char *suffix) {
    char target[64] = {};
    std::string link = std::string("/tmp/em/em_root.") + suffix;
    if (readlink(link.c_str(), target, sizeof target - 1) <= 0)
        return -1;
    return atoi(strrchr(target, '/') + 1);
}

class ControllerMonitor : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
    }
    // A main unit with its controller on /dev/ttyS1.
    void board(ControllerKind kind, const std::string &extra = "") {
        const bool mcu = kind == ControllerKind::Mcu;
        write_file("/etc/model.conf",
                   std::string("[System Enclosure]\nVENDOR = Vornix\nMODEL = NX-4\nCAP = ") +
                       (mcu ? "0x10000" : "0x400000") + "\nMAX_DISK_NUM = 4\n" +
                       (mcu ? "MCU_DEV" : "PIC_DEV") +
                       " = /dev/ttyS1\nBOARD_SN_DEVICE = " + (mcu ? "MCU" : "PIC") + "\n" + extra);
        write_file("/etc/hal.conf", "[Global]\n");
        emu_ = ControllerEmulator::attach(kind, 1);
        ASSERT_NE(emu_, nullptr);
        emu_->set_serial("NX4A0012");
    }
    void TearDown() override {
        quit_monitor("root");
        emu_.reset();
    }
    bool command_seen(uint8_t byte) {
        return eventually([&] { return emu_->last_command(byte, byte) == byte; });
    }
    std::string file(const char *name) { return read_file(std::string("/tmp/em/em_root.") + name); }

    Appliance app_ = Appliance::fresh();
    std::unique_ptr<ControllerEmulator> emu_;
};

}  // namespace

TEST_F(ControllerMonitor, AttachStartsThePicMonitorWhichCarriesOrdersEventsAndEeprom) {
    board(ControllerKind::Pic);
    ENC_INFO info = {};
    ASSERT_EQ(se_sys_getinfo("root", &info), 0);
    EXPECT_STREQ(info.serial, "NX4A0012") << "the serial number comes from the PIC's EEPROM";
    EXPECT_EQ(pic_sys_check_daemon_exist("root"), 1);
    const pid_t pid = monitor_pid("pic");
    EXPECT_GT(pid, 0);
    EXPECT_TRUE(command_seen(0xF2)) << "a root monitor turns wake-on-LAN on as it starts";

    // A second attach finds the monitor alive and starts none.
    ASSERT_EQ(se_sys_getinfo("root", &info), 0);
    EXPECT_EQ(monitor_pid("pic"), pid);

    // Orders reach the line.
    EXPECT_EQ(pic_sys_set_fan_speed("root", "root", 5), 0);
    EXPECT_TRUE(command_seen(0x34)) << "levels 4 and 5 share the PIC's byte 0x34";
    EXPECT_EQ(pic_sys_send_cmd("root", "root", 0x100 | 2), 0);
    EXPECT_TRUE(eventually([&] { return emu_->commands().size() >= 5; }));
    EXPECT_EQ(emu_->commands(), (Bytes{0xF2, 0x34, 0x50, 0x50, 0x50}));

    // Readings and alarms reach the files and the readers.
    EXPECT_TRUE(eventually([&] { return file("fan1_speed") == "1800"; }))
        << "the first pass polls both fans: 30 and 31 times 60 rpm";
    EXPECT_EQ(file("fan2_speed"), "1860");
    emu_->set_temperature(47);
    EXPECT_TRUE(eventually([&] { return file("sys_temp") == "47"; }));
    double temp = 0;
    EXPECT_EQ(pic_sys_get_temp("root", "root", &temp), 0);
    EXPECT_EQ(temp, 47.0);
    emu_->inject({'u', 'R'});
    int status = 0;
    EXPECT_TRUE(eventually(
        [&] { return pic_sys_get_fan_status("root", "root", 2, &status) == 0 && status == 1; }));
    EXPECT_TRUE(eventually(
        [&] { return pic_sys_get_pwr_status("root", "root", 1, &status) == 0 && status == -1; }));
    EXPECT_EQ(file("fan1_err"), "0");

    // The power button in service mode 1 runs the event program.
    write_file("/etc/hal.conf", "[Global]\nService Mode = 1\n");
    clear_invocations();
    emu_->inject({0x40});
    EXPECT_TRUE(eventually(
        [] { return invocations() == std::vector<std::string>{"/sbin/hal_event --se_pwb"}; }));

    // EEPROM: serial number and MACs written and read back through the monitor.
    EXPECT_EQ(pic_sys_set_sn("root", "ABCDEFGHIJKLMNOPQRSTUVWXYZ"), 0);
    char sn[33] = {};
    EXPECT_TRUE(
        eventually([&] { return pic_sys_get_sn("root", sn, sizeof sn) == 0 && sn[0] == 'A'; }));
    EXPECT_STREQ(sn, "ABCDEFGHIJKLMNOPQRS") << "\"SN:\" and 19 characters fit the 24-byte record";
    EXPECT_EQ(pic_sys_set_mac(1, "0011223344AB", 0), 0);
    char mac[19] = {};
    EXPECT_TRUE(eventually([&] { return pic_sys_get_mac(1, mac, 18) == 0 && mac[0] == '0'; }));
    EXPECT_STREQ(mac, "00:11:22:33:44:AB");
    const Bytes image = emu_->eeprom();
    EXPECT_EQ(std::string(image.begin() + 36, image.begin() + 53), "00:11:22:33:44:AB");
    EXPECT_EQ(image[53], 0);
    EXPECT_EQ(std::string(image.begin() + 56, image.begin() + 59), "SN:");
}

TEST_F(ControllerMonitor, MonitorKilledWithSignal9IsReplacedAndTakesOverItsQueue) {
    board(ControllerKind::Pic);
    ASSERT_EQ(pic_sys_start_monitor("root", 1), 0);
    const pid_t first = monitor_pid("pic");
    ASSERT_GT(first, 0);
    ASSERT_EQ(kill(first, SIGKILL), 0);
    EXPECT_TRUE(eventually([&] { return pic_sys_check_daemon_exist("root") == 0; }))
        << "a dead monitor, even one its parent has not reaped, is no sign of life";
    EXPECT_FALSE(exists("/tmp/em/em_root.pic")) << "the stale link is removed";
    // The queue outlived the monitor: an order still goes in, and waits for the next monitor.
    EXPECT_EQ(pic_sys_send_cmd("root", "root", 0x4D), 0);
    ASSERT_EQ(pic_sys_start_monitor("root", 1), 0);
    const pid_t second = monitor_pid("pic");
    EXPECT_GT(second, 0);
    EXPECT_NE(second, first);
    EXPECT_TRUE(command_seen(0x4D)) << "the new monitor serves what was queued for the old one";
    waitpid(first, nullptr, 0);
}

TEST_F(ControllerMonitor, StalePidFileOfAnotherProcessIsNeverSignalled) {
    board(ControllerKind::Pic);
    pid_t stranger = fork();
    if (stranger == 0) {
        for (;;)
            pause();
    }
    ASSERT_GT(stranger, 0);
    make_dirs("/tmp/em", 0700);
    ASSERT_TRUE(symlink_exact("/proc/" + std::to_string(stranger) + "\n", "/tmp/em/em_root.pic"));
    EXPECT_EQ(pic_sys_check_daemon_exist("root"), 0) << "that pid is not a monitor";
    ASSERT_EQ(pic_sys_start_monitor("root", 1), 0);
    EXPECT_NE(monitor_pid("pic"), stranger);
    EXPECT_EQ(pic_sys_send_cmd("root", "root", 0x4B), 0);
    EXPECT_TRUE(command_seen(0x4B));
    EXPECT_EQ(waitpid(stranger, nullptr, WNOHANG), 0) << "the stranger lives on, unsignalled";
    kill(stranger, SIGKILL);
    waitpid(stranger, nullptr, 0);
}

TEST_F(ControllerMonitor, TwoClientsAtOnceBothGetTheirAnswers) {
    board(ControllerKind::Pic);
    ASSERT_EQ(pic_sys_start_monitor("root", 1), 0);
    pid_t clients[2];
    for (pid_t &c : clients) {
        c = fork();
        if (c == 0) {
            char sn[33] = {};
            int ok = pic_sys_get_sn("root", sn, sizeof sn) == 0 && strcmp(sn, "NX4A0012") == 0;
            ok = ok && pic_sys_send_cmd("root", "root", 0x56) == 0;
            _exit(ok ? 0 : 1);
        }
    }
    for (pid_t c : clients) {
        int status = -1;
        waitpid(c, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "each client read the serial";
    }
    EXPECT_TRUE(eventually([&] { return emu_->transactions(0xA1) == 2; }));
    EXPECT_TRUE(eventually([&] {
        Bytes c = emu_->commands();
        return std::count(c.begin(), c.end(), 0x56) == 2;
    }));
}

TEST_F(ControllerMonitor, EepromFaultsFailTheReadWithinItsBound) {
    board(ControllerKind::Pic);
    ASSERT_EQ(pic_sys_start_monitor("root", 1), 0);
    char sn[33] = {};
    emu_->set_eeprom_checksum_wrong(true);
    EXPECT_EQ(pic_sys_get_sn("root", sn, sizeof sn), -1);
    emu_->set_eeprom_checksum_wrong(false);
    emu_->set_eeprom_answer_cut(5);
    EXPECT_EQ(pic_sys_get_sn("root", sn, sizeof sn), -1) << "a truncated answer";
    emu_->set_eeprom_answer_cut(-1);
    EXPECT_TRUE(eventually([&] { return pic_sys_get_sn("root", sn, sizeof sn) == 0; }))
        << "the monitor carries on after failed transactions";
    EXPECT_STREQ(sn, "NX4A0012");
    emu_->set_eeprom(56, Bytes(24, 0xFF));
    EXPECT_EQ(pic_sys_get_sn("root", sn, sizeof sn), -1) << "a blank EEPROM holds no serial";
}

TEST_F(ControllerMonitor, SilentControllerEndsItsMonitorAndClientsFail) {
    board(ControllerKind::Pic);
    emu_->set_silent(true);
    ASSERT_EQ(pic_sys_start_monitor("root", 1), 0) << "starting needs no answer";
    char sn[33] = {};
    EXPECT_EQ(pic_sys_get_sn("root", sn, sizeof sn), -1);
    EXPECT_TRUE(eventually([] { return !exists("/tmp/em/em_root.pic"); }))
        << "a root monitor quits after five empty seconds";
    EXPECT_NE(read_file("/var/log/hal_lib.log")
                  .find("PIC monitor for root can't get any data from PIC, quit.."),
              std::string::npos);
    EXPECT_EQ(pic_sys_send_cmd("root", "root", 0x59), -1);
    key_t key = 0;
    create_msgkey("root", &key);
    EXPECT_LT(msgget(key, 0), 0) << "the monitor removed its queue, and the probe its own";
}

TEST_F(ControllerMonitor, McuMonitorDrivesDiskLedsAndReadsItsEeprom) {
    board(ControllerKind::Mcu,
          "[System Disk 1]\nLOCATE_LED = MCU\n[System Disk 2]\nLOCATE_LED = SIO:1\n"
          "[System Disk 3]\nLOCATE_LED = mcu\n");
    ENC_INFO info = {};
    ASSERT_EQ(se_sys_getinfo("root", &info), 0);
    EXPECT_EQ(mcu_sys_check_daemon_exist("root"), 1);
    EXPECT_TRUE(exists("/tmp/em/em_root.mcu"));
    char sn[33] = {};
    EXPECT_TRUE(eventually([&] { return se_sys_get_board_sn("root", sn, sizeof sn) == 0; }));
    EXPECT_STREQ(sn, "NX4A0012") << "serial at offset 0 of the MCU's EEPROM";
    EXPECT_EQ(se_sys_set_board_sn("root", "NX4B9999"), 0);
    EXPECT_TRUE(eventually([&] {
        return se_sys_get_board_sn("root", sn, sizeof sn) == 0 && strcmp(sn, "NX4B9999") == 0;
    })) << "the board serial route writes through the MCU";
    const Bytes record = emu_->eeprom();
    EXPECT_EQ(std::string(record.begin(), record.begin() + 12), std::string("SN:NX4B9999\0", 12));

    EXPECT_EQ(mcu_sys_set_hdd_err_led("root", 3, 1), 0);
    EXPECT_EQ(mcu_sys_set_blink_hdd_err_led("root", 2, 0), 0);
    EXPECT_EQ(mcu_sys_set_fan_speed("root", "root", 5), 0);
    EXPECT_TRUE(command_seen(0x35)) << "the MCU has a byte per level";
    EXPECT_EQ(mcu_sys_set_enclosure_led("root", 1), 0);
    EXPECT_TRUE(eventually([&] { return emu_->table_commands().size() == 4; }));
    EXPECT_EQ(emu_->table_commands(),
              (std::vector<std::string>{"HDD_ERROR3_ON", "HDD_ERROR2_OFF", "HDD_ERR1_BLINK_5HZ",
                                        "HDD_ERR3_BLINK_5HZ"}));
    const Bytes wire = emu_->peer().wire();
    const Bytes disk3_on = {'@', 'R', '2', '0', 0x10};
    EXPECT_NE(std::search(wire.begin(), wire.end(), disk3_on.begin(), disk3_on.end()), wire.end());

    EXPECT_TRUE(eventually([&] { return file("fan1_speed") == "1800"; }))
        << "A and B of 30 give 30, times 60 rpm";
    EXPECT_EQ(mcu_sys_set_mac(0, "00:11:22:33:44:55", 0), 0);
    EXPECT_EQ(mcu_sys_set_mac(1, "66:77:88:99:AA:BB", 0), 0);
    char mac[18] = {};
    EXPECT_TRUE(
        eventually([&] { return mcu_sys_get_mac(0, mac, sizeof mac) == 0 && mac[0] == '0'; }));
    EXPECT_STREQ(mac, "00:11:22:33:44:55");
    const Bytes image = emu_->eeprom();
    EXPECT_EQ(std::string(image.begin() + 53, image.begin() + 70), "66:77:88:99:AA:BB");
    EXPECT_EQ(image[70], 0) << "the terminator lands on the next slot";
}

TEST_F(ControllerMonitor, MacIsReadFromTheLineWhenNoMonitorRunsYet) {
    board(ControllerKind::Pic);
    emu_->set_eeprom(16, {'0', '0', ':', '1', '1', 0});
    char mac[7] = {};
    EXPECT_EQ(pic_sys_get_mac(0, mac, 6), 0) << "early in boot the caller speaks to the line";
    EXPECT_STREQ(mac, "00:11");
    EXPECT_EQ(monitor_pid("pic"), -1);
    emu_->set_eeprom_checksum_wrong(true);
    EXPECT_EQ(pic_sys_get_mac(0, mac, 6), -1);
}
