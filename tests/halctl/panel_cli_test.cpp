// The main unit's panel through halctl, on the example boards as a field engineer checks them:
// temperatures and fans as the board's files show them, an LED change landing on the chip,
// and a software blink that a later run finds and ends.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "halctl/halctl_runner.h"
#include "sim/fs.h"

namespace {

using halctl_test::Board;

}  // namespace

TEST(PanelCli, TemperaturesAndFansOfTheBoard) {
    Board board("x86-8bay");
    auto temps = board.run("--json temps");
    EXPECT_EQ(temps.status, 0);
    // The processor is the mean of four coretemp cores (45, 47, 44, 48), the system sensor is
    // the Super I/O's channel 1.
    EXPECT_NE(temps.out.find(R"({"index": 0, "sensor": "processor", "celsius": 46})"),
              std::string::npos)
        << temps.out;
    EXPECT_NE(temps.out.find(R"({"index": 1, "sensor": "system", "celsius": 38})"),
              std::string::npos)
        << temps.out;
    auto fans = board.run("--json fans");
    EXPECT_NE(fans.out.find(R"({"index": 1, "rpm": 1380, "state": "ok"})"), std::string::npos)
        << fans.out;
    EXPECT_EQ(board.run("fan-level 1 7").status, 0);
    EXPECT_EQ(
        nashal::sim::read_file(board.dir() + "/sys/class/hwmon/hwmon0/device/pwm2").substr(0, 3),
        "255");
    EXPECT_EQ(board.run("fan-level 1 8").status, 2);
}

TEST(PanelCli, SoftwareBlinkIsEndedByTheNextRun) {
    Board board("x86-12bay-sas");
    ASSERT_EQ(board.run("led usb blink").status, 0);
    char target[32] = {};
    const std::string link = board.dir() + "/tmp/usb_blink_process";
    ASSERT_GT(readlink(link.c_str(), target, sizeof target - 1), 0) << "no blink recorded";
    const std::string proc = std::string(target).substr(0, std::string(target).find('\n'));
    EXPECT_EQ(nashal::sim::read_file(proc + "/comm"), "usb_led_blink\n");
    ASSERT_EQ(board.run("led usb on").status, 0);
    EXPECT_FALSE(nashal::sim::exists(link)) << "a stale record";
    std::string stat;
    for (int i = 0; i < 200; ++i) {
        stat = nashal::sim::read_file(proc + "/stat");
        if (stat.empty() || stat.find(") Z") != std::string::npos)
            break;
        usleep(10000);
    }
    EXPECT_TRUE(stat.empty() || stat.find(") Z") != std::string::npos) << "still blinking";
    auto gpio = board.run("--json sio gpio FRONT_USB_LED");
    EXPECT_NE(gpio.out.find("\"value\": 1"), std::string::npos) << gpio.out;
    EXPECT_EQ(board.run("led usb dim").status, 2);
    EXPECT_EQ(board.run("led 10g blink").status, 2);
}
