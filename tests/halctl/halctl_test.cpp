// halctl as a field engineer runs it: against a virtual appliance directory whose state stays
// there between calls, with the documented exit codes and stable JSON.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "halctl/halctl_runner.h"
#include "sim/fs.h"

using halctl_test::Board;
using halctl_test::Result;

Result halctl(const std::string &args) {
    return halctl_test::run_halctl(args);
}

TEST(Halctl, ExitCodesTellUsageFromFailure) {
    Board board("x86-8bay");
    EXPECT_EQ(halctl(board.root() + " version").status, 0);
    EXPECT_EQ(halctl("no-such-command").status, 2);
    EXPECT_EQ(halctl("--bogus version").status, 2);
    EXPECT_EQ(halctl(board.root() + " enclosure not-a-number").status, 2);
    EXPECT_EQ(halctl("").status, 2);
    // An enclosure that was never attached is a failure, not a usage error.
    EXPECT_EQ(halctl(board.root() + " enclosure 7").status, 1);
    // An id beyond 32 bits is a usage error, not another enclosure's id cut to fit.
    ASSERT_EQ(halctl(board.root() + " scan").status, 0);
    EXPECT_EQ(halctl(board.root() + " enclosure 4294967296").status, 2);
    EXPECT_EQ(halctl(board.root() + " release-id 4294967329").status, 2);
    EXPECT_EQ(halctl(board.root() + " release-id 33").status, 0) << "id 33 was released already";
}

TEST(Halctl, RootWithoutABoardDescriptionIsNoAppliance) {
    // An empty folder, or a mistyped path, is refused and left as it was, not made a fresh box.
    Board empty;
    // The runner drops standard error; "#" ends the command before it does.
    std::string said = empty.dir() + "/said";
    EXPECT_EQ(halctl(empty.root() + " version 2>" + said + " #").status, 1);
    std::string text = nashal::sim::read_file(said);
    EXPECT_EQ(text.rfind("halctl: no appliance at " + empty.dir() + "\n", 0), 0u) << text;
    EXPECT_NE(text.find("cp -a examples/appliances/"), std::string::npos) << text;
    nashal::sim::remove_tree(said);
    EXPECT_FALSE(nashal::sim::exists(empty.dir() + "/etc"));
    EXPECT_EQ(halctl("--root " + empty.dir() + "/missing scan").status, 1);
    EXPECT_FALSE(nashal::sim::exists(empty.dir() + "/missing"));
}

TEST(Halctl, ScanStateStaysInTheBoardBetweenCalls) {
    Board board("x86-8bay");
    ASSERT_EQ(halctl(board.root() + " scan").status, 0);
    EXPECT_TRUE(nashal::sim::exists(board.dir() + "/etc/hal.conf"));
    Result listed = halctl(board.root() + " --json enclosures");
    ASSERT_EQ(listed.status, 0);
    EXPECT_NE(listed.out.find("\"enc_sys_id\": \"root\""), std::string::npos) << listed.out;
    EXPECT_NE(listed.out.find("\"enc_sys_id\": \"root_cache\""), std::string::npos);
    Result root = halctl(board.root() + " --json enclosure 0");
    ASSERT_EQ(root.status, 0);
    EXPECT_EQ(root.out.front(), '{') << root.out;
}

TEST(Halctl, LeavingTheApplianceTakesItsScaffoldingAway) {
    // The board's folder keeps its own state only: no stand-in links or device placeholders
    // that activation made.
    Board board("soc-2bay");
    ASSERT_EQ(halctl(board.root() + " version").status, 0);
    EXPECT_FALSE(nashal::sim::exists(board.dir() + "/sbin/sg_inq"));
    EXPECT_FALSE(nashal::sim::exists(board.dir() + "/dev/null"));
    EXPECT_FALSE(nashal::sim::exists(board.dir() + "/dev/ptmx"));
}

TEST(Halctl, CmosSettingsSurviveARebootOfTheBoard) {
    Board board("x86-8bay");
    Result set = halctl(board.root() + " cmos eup 1");
    if (set.status == 1)
        GTEST_SKIP() << "the board describes no CMOS store";
    ASSERT_EQ(set.status, 0);
    Result shown = halctl(board.root() + " --json cmos eup");
    ASSERT_EQ(shown.status, 0);
    EXPECT_NE(shown.out.find("\"eup\": 1"), std::string::npos) << shown.out;
    EXPECT_EQ(halctl(board.root() + " cmos eup 2").status, 2);
}
