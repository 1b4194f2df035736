// The hardware layer's settings file and the daemon controls. A lost setting is a disk that
// waits too long on a bad sector or a SMART poll that never runs; a reload told before the
// value is on disk makes the daemon read the old one.
#include <gtest/gtest.h>

#include <string>

#include "nashal/hal_conf.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "sim/appliance.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

class Settings : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
    }
    // Lines of the outside programs run since the last call.
    std::string runs() {
        std::string all = read_file("/sim/invocations.log");
        std::string fresh = all.substr(seen_ < all.size() ? seen_ : all.size());
        seen_ = all.size();
        return fresh;
    }
    std::string field(const char *section, const char *key) {
        char v[32] = {};
        return Ini_Conf_Get_Field(HAL_SETTING_CONF_FILE, section, key, v, sizeof v) > 0
                   ? std::string(v)
                   : std::string("<missing>");
    }
    Appliance app_ = Appliance::fresh();
    size_t seen_ = 0;
};

}  // namespace

TEST_F(Settings, ValuesRoundTripAndTheDaemonIsToldAfterTheWrite) {
    HAL_SETTINGS all{-1, -1, -1};
    // A missing file: the interval has its default, the recovery times are not set.
    EXPECT_EQ(HAL_Conf_Get_All(&all), -1);
    EXPECT_EQ(all.read_secs, 0);
    EXPECT_EQ(all.write_secs, 0);
    EXPECT_EQ(all.interval_mins, 10);

    ASSERT_EQ(HAL_Conf_ERC_Set(70, 90), 0);
    EXPECT_EQ(runs(), "/sbin/hal_event --reload\n");
    ASSERT_EQ(HAL_Conf_ERC_Set(-1, 30), 0);
    EXPECT_EQ(field("ERC", "read_secs"), "70") << "a negative time overwrote the field";
    EXPECT_EQ(field("ERC", "write_secs"), "30");
    ASSERT_EQ(HAL_Conf_ERC_Set(-1, -1), 0);
    EXPECT_EQ(runs(), "/sbin/hal_event --reload\n/sbin/hal_event --reload\n")
        << "with nothing to write the daemon is still told";

    ASSERT_EQ(HAL_Conf_SMART_Interval_Set(30), 0);
    EXPECT_EQ(runs(), "/sbin/hal_event --reload\n");
    EXPECT_EQ(HAL_Conf_SMART_Interval_Set(-5), -1);
    EXPECT_EQ(runs(), "") << "a refused interval told the daemon";

    EXPECT_EQ(HAL_Conf_Get_All(&all), 0);
    EXPECT_EQ(all.read_secs, 70);
    EXPECT_EQ(all.write_secs, 30);
    EXPECT_EQ(all.interval_mins, 30);
}

TEST_F(Settings, AFailedWriteIsReportedAndTheDaemonNotTold) {
    // The settings folder can't take a file: both writes fail.
    remove_tree("/etc/config");
    write_file("/etc/config", "not a folder");
    EXPECT_EQ(HAL_Conf_ERC_Set(10, 20), -1);
    EXPECT_EQ(HAL_Conf_SMART_Interval_Set(5), -1);
    EXPECT_EQ(runs(), "");
    // A daemon that can't be reached doesn't fail the setting.
    remove_tree("/etc/config");
    make_dirs("/etc/config");
    write_file("/sim/answers/hal_event", "== *\nexit 1\n");
    EXPECT_EQ(HAL_Conf_SMART_Interval_Set(5), 0);
    EXPECT_NE(HAL_Daemon_Notify(HAL_DAEMON_EVENT_RELOAD, 0), 0);
    EXPECT_EQ(HAL_Daemon_Notify(2, 0), -1);
}

TEST_F(Settings, TheUasModuleDecidesAndTheFieldFollows) {
    struct Case {
        bool loaded;
        int enable;
        bool tool_fails;
        int result;
        const char *field_before, *field_after, *command;
    } cases[] = {
        {false, 1, false, 0, "0", "1", "/sbin/insmod /lib/modules/misc/uas.ko"},
        {true, 0, false, 0, "1", "0", "/sbin/rmmod uas"},
        {false, 1, true, -1, "0", "0", "/sbin/insmod /lib/modules/misc/uas.ko"},
        {true, 0, true, -1, "1", "1", "/sbin/rmmod uas"},
        // Already as wanted: the field is left, even when it says otherwise.
        {true, 1, false, 0, "0", "0", nullptr},
        {false, 0, false, 0, "1", "1", nullptr},
    };
    for (const Case &c : cases) {
        Ini_Conf_Set_Field(HAL_SETTING_CONF_FILE, "UASP", "enable", c.field_before);
        write_file("/sim/answers/lsmod", c.loaded ? "== *\nstdout uas                    28672  0\n"
                                                  : "== *\nstdout usb_storage 61440  0\n");
        const std::string fail = "== *\nexit 1\n";
        write_file("/sim/answers/insmod", c.tool_fails ? fail : "");
        write_file("/sim/answers/rmmod", c.tool_fails ? fail : "");
        runs();
        EXPECT_EQ(HAL_Conf_UASP_Set(c.enable), c.result) << c.loaded << c.enable;
        EXPECT_EQ(field("UASP", "enable"), c.field_after) << c.loaded << c.enable;
        std::string ran = runs();
        EXPECT_EQ(ran.find("hal_event"), std::string::npos) << "the daemon was told of the module";
        if (c.command) {
            EXPECT_NE(ran.find(c.command), std::string::npos) << ran;
        } else {
            EXPECT_EQ(ran.find("mod uas"), std::string::npos) << ran;
            EXPECT_EQ(ran.find("insmod"), std::string::npos) << ran;
        }
    }
    int enable = 7;
    EXPECT_EQ(HAL_Conf_UASP_Get(&enable), 0);
    EXPECT_EQ(enable, 1);
    Ini_Conf_Remove_Field(HAL_SETTING_CONF_FILE, "UASP", "enable");
    EXPECT_EQ(HAL_Conf_UASP_Get(&enable), -1);
    EXPECT_EQ(enable, 0);
}

TEST_F(Settings, ServiceModeChangesRestartTheDaemonOnlyForANewMode) {
    EXPECT_EQ(HAL_Monitor_Get_Mode(), -1);
    EXPECT_EQ(HAL_Monitor_Change_Mode(-1), -1);
    ASSERT_EQ(HAL_Monitor_Change_Mode(1), 0);
    EXPECT_EQ(runs(), "/sbin/daemon_mgr hal_daemon start /sbin/hal_daemon -t\n");
    EXPECT_EQ(HAL_Monitor_Get_Mode(), -1) << "the change stored the mode itself";

    ASSERT_EQ(HAL_Monitor_Set_Mode(0), 0);
    EXPECT_EQ(HAL_Monitor_Get_Mode(), 0);
    EXPECT_EQ(HAL_Monitor_Change_Mode(0), -1) << "a change to the same mode";
    EXPECT_EQ(runs(), "");
    // An unknown mode starts nothing and says so.
    EXPECT_EQ(HAL_Monitor_Change_Mode(7), 0);
    EXPECT_EQ(runs(), "");
    EXPECT_NE(
        read_file("/var/log/hal_lib.log").find("launch hal daemon in 7 mode, return code = 0"),
        std::string::npos);
    // The daemon manager's exit status comes back.
    write_file("/sim/answers/daemon_mgr", "== *\nexit 3\n");
    EXPECT_EQ(HAL_Monitor_Change_Mode(1), 3);
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("can't launch hal daemon in 1 mode"),
              std::string::npos);

    // A scan deletes /etc/hal.conf, and the mode with it.
    ASSERT_EQ(SE_Scan(), 0);
    EXPECT_EQ(HAL_Monitor_Get_Mode(), -1);
}
