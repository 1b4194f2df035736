// halctl settings: what an engineer sets is what the next run shows, and the daemon is started
// in the asked mode only once.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "halctl/halctl_runner.h"

namespace {

std::string invocations(const halctl_test::Board &board) {
    std::ifstream f(board.dir() + "/sim/invocations.log");
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

}  // namespace

TEST(SettingsCli, ChangesPersistAcrossRuns) {
    halctl_test::Board board("soc-2bay");
    auto shown = board.run("--json settings");
    ASSERT_EQ(shown.status, 0);
    EXPECT_NE(shown.out.find("\"smart_interval_mins\": 10"), std::string::npos) << shown.out;
    EXPECT_NE(shown.out.find("\"erc_read_secs\": -1"), std::string::npos) << shown.out;

    EXPECT_EQ(board.run("settings erc 70 -1").status, 0);
    EXPECT_EQ(board.run("settings erc 1 2 3").status, 2);
    EXPECT_EQ(board.run("settings smart 30").status, 0);
    EXPECT_EQ(board.run("settings smart -3").status, 2);
    shown = board.run("--json settings");
    ASSERT_EQ(shown.status, 0);
    EXPECT_NE(shown.out.find("\"smart_interval_mins\": 30"), std::string::npos) << shown.out;
    // Only the read time was given: the pair is not complete yet.
    EXPECT_NE(shown.out.find("\"erc_read_secs\": -1"), std::string::npos) << shown.out;
    EXPECT_EQ(board.run("settings erc -1 90").status, 0);
    shown = board.run("--json settings");
    EXPECT_NE(shown.out.find("\"erc_read_secs\": 70"), std::string::npos) << shown.out;
    EXPECT_NE(shown.out.find("\"erc_write_secs\": 90"), std::string::npos) << shown.out;

    ASSERT_EQ(board.run("settings mode 1").status, 0);
    ASSERT_EQ(board.run("settings mode 1").status, 0);
    const std::string log = invocations(board);
    size_t first = log.find("/sbin/hal_daemon -t");
    ASSERT_NE(first, std::string::npos) << log;
    EXPECT_EQ(log.find("/sbin/hal_daemon -t", first + 1), std::string::npos)
        << "the daemon was started twice in one mode";
    EXPECT_NE(board.run("--json settings").out.find("\"service_mode\": 1"), std::string::npos);
}
