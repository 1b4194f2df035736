// The virtual appliance stands over the real machine without touching it.
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "os/os_seam.h"
#include "sim/appliance.h"
#include "sim/clock.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

std::string run(const std::string &cmd) {
    std::string out;
    FILE *p = popen(cmd.c_str(), "r");
    if (!p)
        return out;
    char buf[256];
    while (fgets(buf, sizeof buf, p))
        out += buf;
    pclose(p);
    return out;
}

}  // namespace

TEST(Appliance, FilesWrittenInsideLandInTheApplianceNotOnTheMachine) {
    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    ASSERT_TRUE(write_file("/etc/hal.conf", "[Index]\n"));
    app.deactivate();
    EXPECT_EQ(read_file(app.dir() + "/etc/hal.conf"), "[Index]\n");
    EXPECT_FALSE(exists("/etc/hal.conf")) << "the real /etc was written";
}

TEST(Appliance, ShellCommandsSeeTheAppliancePaths) {
    Appliance app = Appliance::fresh();
    write_file(app.dir() + "/etc/model.conf", "[System Enclosure]\n");
    write_file(app.dir() + "/sys/class/scsi_generic/sg0/device/type", "0\n");
    write_file(app.dir() + "/sbin/board_tool", "#!/bin/sh\necho board tool ran\n", 0755);
    ASSERT_TRUE(app.activate());
    EXPECT_EQ(run("cat /etc/model.conf"), "[System Enclosure]\n");
    EXPECT_EQ(run("cat /sys/class/scsi_generic/sg0/device/type"), "0\n");
    EXPECT_EQ(run("/sbin/board_tool"), "board tool ran\n");
    // The system's commands use bash redirections; /bin/sh must understand them.
    EXPECT_EQ(run("echo quiet &>/dev/null; echo loud 2>&1"), "loud\n");
}

TEST(Appliance, StandInRecordsEachRunAndAnswersFromItsScript) {
    Appliance app = Appliance::fresh();
    write_file(app.dir() + "/sim/answers/sg_inq",
               "== -r -p 0x80 /dev/sg1\nstdout serial text\nexit 0\n== *\nexit 3\n");
    ASSERT_TRUE(app.activate());
    EXPECT_EQ(run("/sbin/sg_inq -r -p 0x80 /dev/sg1"), "serial text\n");
    EXPECT_EQ(WEXITSTATUS(system("/sbin/sg_inq --other")), 3);
    EXPECT_EQ(system("/sbin/udevadm trigger --action=add &>/dev/null"), 0);
    auto lines = invocations();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "/sbin/sg_inq -r -p 0x80 /dev/sg1");
    EXPECT_EQ(lines[1], "/sbin/sg_inq --other");
    EXPECT_EQ(lines[2], "/sbin/udevadm trigger --action=add");
}

TEST(Appliance, SleepsRunOnTheVirtualClock) {
    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    time_t before = os_time(nullptr);
    auto start = std::chrono::steady_clock::now();
    os_sleep(20);
    auto real = std::chrono::steady_clock::now() - start;
    EXPECT_LT(real, std::chrono::seconds(1));
    EXPECT_EQ(os_time(nullptr) - before, 20);
    EXPECT_EQ(clock_slept_us(), 20000000);
}

TEST(Appliance, ScheduledEventsHappenWhenTheClockPassesThem) {
    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    clock_at(5000000, [] { write_file("/dev/sdb", ""); });
    os_sleep(4);
    EXPECT_FALSE(exists("/dev/sdb"));
    os_sleep(1);
    EXPECT_TRUE(exists("/dev/sdb"));
}

TEST(Appliance, ProcessesWithTheirOwnApplianceNeverShareSystemVObjects) {
    // Each child enters an appliance of its own and creates the same key exclusively.
    int pipefd[2];
    ASSERT_EQ(pipe(pipefd), 0);
    pid_t kids[2];
    for (pid_t &kid : kids) {
        kid = fork();
        if (kid == 0) {
            Appliance app = Appliance::fresh();
            if (!app.activate())
                _exit(2);
            int id = semget(0x483, 1, IPC_CREAT | IPC_EXCL | 0666);
            char ok = id >= 0 ? 'y' : 'n';
            if (write(pipefd[1], &ok, 1) != 1)
                _exit(3);
            sleep(1);  // hold the semaphore while the other child tries
            _exit(0);
        }
    }
    close(pipefd[1]);
    std::string answers;
    char c;
    while (read(pipefd[0], &c, 1) == 1)
        answers += c;
    for (pid_t kid : kids) {
        int status = 0;
        waitpid(kid, &status, 0);
        EXPECT_EQ(WEXITSTATUS(status), 0);
    }
    EXPECT_EQ(answers, "yy");
}

TEST(Appliance, CanBeLeftAndAnotherEntered) {
    Appliance first = Appliance::fresh();
    Appliance second = Appliance::fresh();
    write_file(first.dir() + "/etc/name", "first");
    write_file(second.dir() + "/etc/name", "second");
    ASSERT_TRUE(first.activate());
    EXPECT_EQ(read_file("/etc/name"), "first");
    first.deactivate();
    ASSERT_TRUE(second.activate());
    EXPECT_EQ(read_file("/etc/name"), "second");
}

TEST(Appliance, AnOrdinaryUserCanEnterAnApplianceToo) {
    // A developer's laptop runs the tests without root: the appliance then takes a user
    // namespace first. Shown here by dropping to an unprivileged user in a child.
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to drop to another user";
    auto probe = [] {
        pid_t pid = fork();
        if (pid == 0) {
            if (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0)
                _exit(2);
            _exit(unshare(CLONE_NEWUSER) == 0 ? 0 : 1);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 3;
    };
    if (probe() != 0)
        GTEST_SKIP() << "this kernel gives unprivileged users no user namespace";
    pid_t pid = fork();
    if (pid == 0) {
        if (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0)
            _exit(2);
        // As a program a user starts is: changing user above made this process undumpable,
        // which would keep it from writing its own user namespace maps.
        prctl(PR_SET_DUMPABLE, 1);
        Appliance app = Appliance::fresh();
        if (!app.activate())
            _exit(3);
        if (!write_file("/etc/hal.conf", "[Index]\n") || run("cat /etc/hal.conf") != "[Index]\n")
            _exit(4);
        if (system("/sbin/udevadm trigger &>/dev/null") != 0 || invocations().size() != 1)
            _exit(5);
        app.deactivate();
        _exit(read_file(app.dir() + "/etc/hal.conf") == "[Index]\n" ? 0 : 6);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0)
        << "2: can't drop privileges, 3: no appliance, 4: files, 5: stand-ins, 6: leaving";
}

// A board description written by hand: comments alone or after an entry, blank lines, and a
// line too short for its entry are passed over; the words of the rest arrive as written.
TEST(Appliance, DescriptionsReadEntriesAndPassOverCommentsAndShortLines) {
    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    write_file("/sim/example.conf",
               "# first port, count, value\n"
               "\n"
               "a20 2 ff   # the latch of the bay lights\n"
               "   a30\t1 0f\n"
               "a40 1\n"
               "#a50 1 00\n"
               "a60 1 00");
    using Entries = std::vector<DescriptionEntry>;
    EXPECT_EQ(read_description("/sim/example.conf", 3),
              (Entries{{"a20", "2", "ff"}, {"a30", "1", "0f"}, {"a60", "1", "00"}}));
    EXPECT_EQ(read_description("/sim/example.conf").size(), 4u) << "the two-word line counts";
    EXPECT_TRUE(read_description("/sim/missing.conf").empty());
    EXPECT_EQ(hex_word("a20"), 0xa20u);
    EXPECT_EQ(hex_word("0x70"), 0x70u);

    write_file("/sim/inq/sg1", "# a disk\nvendor ACME    \nmodel Disk  One\nbare\nvendor ACME\n");
    std::map<std::string, std::string> want{{"vendor", "ACME"}, {"model", "Disk  One"}};
    EXPECT_EQ(text_settings(read_file("/sim/inq/sg1")), want)
        << "values keep their inner spaces; the last of a key given twice holds";
    write_file("/sim/inq/sg2", "vendor ACME    \n");
    EXPECT_EQ(text_settings(read_file("/sim/inq/sg2"))["vendor"], "ACME    ")
        << "trailing blanks are the device's, kept";
}
