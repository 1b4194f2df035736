// halctl doctor on the example boards, with one fault injected at a time: the bay the fault
// touches is reported broken, the fault is named in the engineer's words, and doctor exits 1.
#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <functional>
#include <string>

#include "halctl/halctl_runner.h"
#include "sim/fs.h"

namespace {

using halctl_test::Board;

// The text of a "key": "value" member of a JSON answer; empty when absent.
std::string member(const std::string &json, const std::string &key) {
    std::string head = "\"" + key + "\": \"";
    size_t at = json.find(head);
    if (at == std::string::npos)
        return "";
    std::string text;
    for (at += head.size(); at < json.size() && json[at] != '"'; ++at)
        text += json[at] == '\\' && at + 1 < json.size() ? json[++at] : json[at];
    return text;
}

std::string set_key(const Board &b, int bay, const std::string &key, const std::string &value) {
    return b
        .run("conf set /etc/model.conf 'System Disk " + std::to_string(bay) + "' " + key + " " +
             value)
        .out;
}

struct Fault {
    const char *name;
    // Breaks bay 2 of the board (a bay with a disk on every example); the text doctor must tell.
    std::function<void(const Board &)> inject;
    const char *told;
};

const Fault kFaults[] = {
    {"missing controller",
     [](const Board &b) {
         std::string ctrl = member(b.run("--json doctor 0 2").out, "controller");
         EXPECT_NE(ctrl.find("/sys/devices/"), std::string::npos);
         ASSERT_FALSE(ctrl.empty());
         nashal::sim::remove_tree(b.dir() + ctrl);
     },
     "the controller is missing or DEV_BUS is wrong"},
    {"DEV_PORT of another bay",
     [](const Board &b) {
         std::string port = member(b.run("--json doctor 0 1").out, "model");
         port = port.substr(port.find("DEV_PORT ") + 9);
         set_key(b, 2, "DEV_PORT", port.substr(0, port.find(',')));
     },
     "DEV_PORT or DEV_BUS of one of the two bays is wrong"},
    {"disk pulled",
     [](const Board &b) {
         std::string sg = member(b.run("--json doctor 0 2").out, "disk");
         char real[PATH_MAX];
         std::string link = b.dir() + "/sys/class/scsi_generic/" + sg;
         ASSERT_NE(realpath(link.c_str(), real), nullptr) << link;
         std::string device = real;  // .../<h:c:t:l>/scsi_generic/sgN
         device = device.substr(0, device.rfind('/'));
         nashal::sim::remove_tree(device.substr(0, device.rfind('/')));
     },
     "the bay is empty (disk pulled?)"},
    {"LED key with an unknown method",
     [](const Board &b) { set_key(b, 2, "ERR_LED", "LED:I3A:B2"); },
     "ERR_LED \"LED:I3A:B2\" has the method word \"LED\", which no driver answers"},
};

class DoctorFault : public testing::TestWithParam<const char *> {};

TEST_P(DoctorFault, NamesEachInjectedFaultAtItsBay) {
    for (const Fault &f : kFaults) {
        SCOPED_TRACE(std::string(GetParam()) + ": " + f.name);
        Board board(GetParam());
        halctl_test::Result clean = board.run("--json doctor 0 2");
        ASSERT_EQ(clean.status, 0) << "bay 2 must resolve before the fault\n" << clean.out;
        ASSERT_EQ(member(clean.out, "status"), "ok") << clean.out;
        f.inject(board);
        halctl_test::Result after = board.run("--json doctor 0 2");
        EXPECT_EQ(after.status, 1) << after.out;
        EXPECT_NE(member(after.out, "problem").find(f.told), std::string::npos) << after.out;
    }
}

INSTANTIATE_TEST_SUITE_P(ExampleBoards, DoctorFault,
                         testing::Values("x86-8bay", "x86-12bay-sas", "x86-pcie-sas"));

TEST(Doctor, KnownLedMethodResolvesAndSaysWhetherThisBuildDrivesIt) {
    Board board("x86-8bay");
    set_key(board, 1, "ERR_LED", "SIO:I3A:B2");
    halctl_test::Result r = board.run("--json doctor 0 1");
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(member(r.out, "led ERR_LED").find("method SIO via pd_sys_set_err_led"),
              std::string::npos)
        << r.out;
}

TEST(Doctor, PortBeyondTheControllersHostsIsToldAsSuch) {
    // Eight one-port hosts on the front controller: a ninth port names a host of another one.
    Board board("x86-8bay");
    set_key(board, 3, "DEV_PORT", "8");
    halctl_test::Result r = board.run("--json doctor 0 3");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(member(r.out, "problem").find("DEV_PORT 8 is beyond the controller's ports"),
              std::string::npos)
        << r.out;
}

TEST(Doctor, WholeBoardReadsOnlyAndCountsTheBaysThatDontResolve) {
    Board board("x86-8bay");
    std::string marker = board.dir() + "/.before-doctor";
    ASSERT_TRUE(nashal::sim::write_file(marker, ""));
    halctl_test::Result r = board.run("--json doctor");
    // Bay 8 of this board is empty: one bay that doesn't resolve.
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("\"broken\": 1,"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"bay\": 8, \"status\": \"empty\""), std::string::npos) << r.out;
    std::string cmd = "find " + board.dir() + " -newer " + marker +
                      " -type f ! -path '*/var/log/*' ! -path '*/tmp/*' | grep -q .";
    EXPECT_NE(system(cmd.c_str()), 0) << "doctor wrote into the board";
    EXPECT_EQ(board.run("doctor 1").status, 1) << "an enclosure that isn't recorded";
    EXPECT_EQ(board.run("doctor 0 x").status, 2);
}

}  // namespace
