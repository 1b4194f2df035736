// The store and the trace as many processes use them at once: management daemons, hot-plug
// hooks and command-line tools writing the same files with no lock pair around their calls.
// Children are forked after activation and share the appliance.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "sim/appliance.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

class StoreProcesses : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(app_.activate()); }

    // Forks a child that runs body and exits with its result.
    template <typename Body>
    pid_t spawn(Body body) {
        fflush(nullptr);
        pid_t pid = fork();
        if (pid == 0)
            _exit(body());
        children_.push_back(pid);
        return pid;
    }

    // Waits for every child; true when all exited with 0.
    bool all_succeeded() {
        bool ok = true;
        for (pid_t pid : children_) {
            int status = 0;
            if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
                ok = false;
        }
        children_.clear();
        return ok;
    }

    Appliance app_ = Appliance::fresh();
    std::vector<pid_t> children_;
};

constexpr const char *kHal = "/etc/hal.conf";

std::string get(const char *file, const char *section, const std::string &field) {
    char buf[64];
    return Ini_Conf_Get_Field(file, section, field.c_str(), buf, sizeof buf) > 0 ? buf : "";
}

}  // namespace

TEST_F(StoreProcesses, ConcurrentWritersLoseNoField) {
    // Eight hot-plug hooks each record 250 disks in the same file at the same moment.
    constexpr int kWriters = 8, kFields = 250;
    for (int w = 0; w < kWriters; ++w) {
        spawn([w] {
            for (int f = 0; f < kFields; ++f) {
                std::string name = "HD " + std::to_string(w) + " " + std::to_string(f);
                if (Ini_Conf_Set_Field(kHal, "Enclosure_0", name.c_str(), "sg1") < 0)
                    return 1;
            }
            return 0;
        });
    }
    ASSERT_TRUE(all_succeeded());
    int lost = 0;
    for (int w = 0; w < kWriters; ++w)
        for (int f = 0; f < kFields; ++f)
            if (get(kHal, "Enclosure_0", "HD " + std::to_string(w) + " " + std::to_string(f)) !=
                "sg1")
                ++lost;
    EXPECT_EQ(lost, 0) << "concurrent writes lost fields of other writers";
}

TEST_F(StoreProcesses, ConcurrentAllocationsNeverHandOutTheSameId) {
    // Eight processes each take 250 ids from one bitmap, marking each as they take it.
    constexpr int kProcs = 8, kEach = 250;
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    for (int p = 0; p < kProcs; ++p) {
        spawn([&] {
            close(fds[0]);
            for (int i = 0; i < kEach; ++i) {
                int bit = -1;
                if (Ini_Conf_Bitmap_Get_Next_Free_Bit(kHal, "Index", "enc_bitmap", &bit, 0, 1) != 0)
                    return 1;
                if (write(fds[1], &bit, sizeof bit) != sizeof bit)
                    return 1;
            }
            return 0;
        });
    }
    close(fds[1]);
    std::multiset<int> ids;
    int bit;
    while (read(fds[0], &bit, sizeof bit) == sizeof bit)
        ids.insert(bit);
    close(fds[0]);
    ASSERT_TRUE(all_succeeded());
    ASSERT_EQ(ids.size(), static_cast<size_t>(kProcs * kEach));
    std::set<int> distinct(ids.begin(), ids.end());
    EXPECT_EQ(distinct.size(), ids.size()) << "two enclosures were given the same enc_id";
    EXPECT_EQ(*distinct.begin(), 0);
    EXPECT_EQ(*distinct.rbegin(), kProcs * kEach - 1);
    EXPECT_EQ(Ini_Conf_Bitmap_Get_Set_Count(kHal, "Index", "enc_bitmap"), kProcs * kEach);
}

// Every line of a store file is blank, a comment, a section header or a field.
bool parses(const std::string &text) {
    if (!text.empty() && text.back() != '\n')
        return false;
    size_t start = 0;
    while (start < text.size()) {
        size_t nl = text.find('\n', start);
        std::string line = text.substr(start, nl - start);
        start = nl + 1;
        bool ok = line.empty() || line[0] == '#' || line[0] == ';' ||
                  (line[0] == '[' && line.back() == ']') || line.find('=') != std::string::npos;
        if (!ok)
            return false;
    }
    return true;
}

TEST_F(StoreProcesses, WriterKilledAtAnyMomentLeavesTheOldOrTheNewFile) {
    // A writer is killed with SIGKILL at a random moment, 200 times over: the file always
    // parses and holds every field whose write had finished before the kill was sent.
    std::mt19937 random(20261121);
    std::set<std::string> finished;
    for (int round = 0; round < 200; ++round) {
        int fds[2];
        ASSERT_EQ(pipe(fds), 0);
        pid_t writer = spawn([&] {
            close(fds[0]);
            for (int i = 0;; ++i) {
                std::string name = "r" + std::to_string(round) + " f" + std::to_string(i);
                if (Ini_Conf_Set_Field(kHal, "Enclosure_0", name.c_str(), "sg1") < 0)
                    return 1;
                uint8_t len = static_cast<uint8_t>(name.size());
                if (write(fds[1], &len, 1) != 1 || write(fds[1], name.data(), len) != len)
                    return 1;
            }
        });
        close(fds[1]);
        // Once the writer is under way (its first field is in), it dies at a random moment:
        // between two writes, or inside one.
        uint8_t len;
        char name[256];
        if (read(fds[0], &len, 1) == 1 && read(fds[0], name, len) == len)
            finished.insert(std::string(name, len));
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        kill(writer, SIGKILL);
        all_succeeded();  // reaps the writer, which never exits by itself
        while (read(fds[0], &len, 1) == 1 && read(fds[0], name, len) == len)
            finished.insert(std::string(name, len));
        close(fds[0]);
        std::string text = read_file(kHal);
        ASSERT_TRUE(parses(text)) << "round " << round << " left a broken file:\n" << text;
    }
    ASSERT_GE(finished.size(), 200u);
    int lost = 0;
    for (const auto &name : finished)
        if (get(kHal, "Enclosure_0", name) != "sg1")
            ++lost;
    EXPECT_EQ(lost, 0) << "a kill took away fields written before it";
}

TEST_F(StoreProcesses, TestAndClearUnderTheLockPairHasExactlyOneWinner) {
    const char *det = "/tmp/.se_detached";
    ASSERT_GT(Ini_Conf_Set_Field_Int(det, "Enclosure_1", "detached", 1, 0), 0);
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    for (int p = 0; p < 8; ++p) {
        spawn([&] {
            close(fds[0]);
            INI_CONF_LOCK *lock = Ini_Conf_Write_Lock_File(det);
            if (!lock)
                return 1;
            int32_t detached = 0;
            Ini_Conf_Get_Field_Int(det, "Enclosure_1", "detached", &detached, 0);
            usleep(5000);  // widen the window between the test and the clear
            char won = 0;
            if (detached == 1) {
                Ini_Conf_Set_Field_Int(det, "Enclosure_1", "detached", 0, 0);
                won = 1;
            }
            Ini_Conf_Unlock_File(lock);
            return write(fds[1], &won, 1) == 1 ? 0 : 1;
        });
    }
    close(fds[1]);
    int winners = 0;
    char won;
    while (read(fds[0], &won, 1) == 1)
        winners += won;
    close(fds[0]);
    ASSERT_TRUE(all_succeeded());
    EXPECT_EQ(winners, 1) << "the hot-swap record was consumed more than once";
}

TEST_F(StoreProcesses, LockPairHoldsOffOtherProcessesAndForkedChildrenUntilUnlock) {
    const char *det = "/tmp/.se_detached";
    INI_CONF_LOCK *lock = Ini_Conf_Write_Lock_File(det);
    ASSERT_NE(lock, nullptr);
    // A child forked while the lock is held doesn't hold it: its write waits like anyone's.
    spawn([det] { return Ini_Conf_Set_Field(det, "Enclosure_1", "child", "1") < 0 ? 1 : 0; });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(get(det, "Enclosure_1", "child"), "") << "another process wrote under the lock";
    EXPECT_GE(Ini_Conf_Set_Field(det, "Enclosure_1", "holder", "1"), 0)
        << "the holder's own call must go through";
    EXPECT_EQ(get(det, "Enclosure_1", "holder"), "1");
    Ini_Conf_Unlock_File(lock);
    ASSERT_TRUE(all_succeeded());
    EXPECT_EQ(get(det, "Enclosure_1", "child"), "1");
    EXPECT_EQ(get(det, "Enclosure_1", "holder"), "1");
}

TEST_F(StoreProcesses, ReadersNeverSeeAHalfWrittenFile) {
    const std::string a(3000, 'a'), b(3000, 'b');
    ASSERT_GE(Ini_Conf_Set_Field(kHal, "Enclosure_0", "blob", a.c_str()), 0);
    spawn([&] {
        for (int i = 0; i < 200; ++i)
            if (Ini_Conf_Set_Field(kHal, "Enclosure_0", "blob", (i % 2 ? a : b).c_str()) < 0)
                return 1;
        return 0;
    });
    int torn = 0, missing = 0;
    std::vector<char> buf(4096);
    for (int i = 0; i < 2000; ++i) {
        if (Ini_Conf_Get_Field(kHal, "Enclosure_0", "blob", buf.data(), 4096) <= 0) {
            ++missing;
            continue;
        }
        std::string v(buf.data());
        if (v != a && v != b)
            ++torn;
    }
    ASSERT_TRUE(all_succeeded());
    EXPECT_EQ(missing, 0) << "a reader found the field missing while it was being rewritten";
    EXPECT_EQ(torn, 0) << "a reader saw a mix of two versions";
}

TEST_F(StoreProcesses, TraceLinesFromManyProcessesStayWholeAcrossRotations) {
    // Four processes trace 1000 lines each; the log is rotated many times on the way, and no
    // entry of the log or of its rotated copy is ever a mix of two.
    constexpr int kProcs = 4, kLines = 1000;
    for (int p = 0; p < kProcs; ++p) {
        spawn([p] {
            for (int i = 0; i < kLines; ++i)
                ERR_TRACE(HAL_TRACE_ERROR, "%s: process %d line %04d %s\n", "writer", p, i,
                          "--------------------------------");
            return 0;
        });
    }
    ASSERT_TRUE(all_succeeded());
    for (const char *file : {"/var/log/hal_lib.log", "/var/log/hal_lib.log.bak"}) {
        std::string log = read_file(file);
        ASSERT_FALSE(log.empty()) << file;
        size_t start = 0;
        int entries = 0;
        while (start < log.size()) {
            size_t nl = log.find('\n', start);
            ASSERT_NE(nl, std::string::npos) << file << " ends inside a line";
            std::string line = log.substr(start, nl - start);
            start = nl + 1;
            if (entries % 2 == 0)
                EXPECT_EQ(line.find(": process"), std::string::npos)
                    << file << ": a message where the process name should stand: " << line;
            else
                EXPECT_TRUE(line.rfind("writer: process ", 0) == 0 && line.size() == 60)
                    << file << ": garbled entry: " << line;
            ++entries;
        }
        EXPECT_EQ(entries % 2, 0) << file << " holds half an entry";
    }
}

TEST_F(StoreProcesses, RotationByOneProcessLosesNoOtherProcesssLine) {
    constexpr int kProcs = 4, kLines = 60;
    for (int p = 0; p < kProcs; ++p) {
        spawn([p] {
            for (int i = 0; i < kLines; ++i)
                ERR_TRACE(HAL_TRACE_ERROR, "%s: p%d l%d\n", "rotor", p, i);
            return 0;
        });
    }
    ASSERT_TRUE(all_succeeded());
    // Only one rotation may have happened for nothing to be lost at all; count what is left and
    // check that every line is whole and the newest lines of each process are there.
    std::string both = read_file("/var/log/hal_lib.log.bak") + read_file("/var/log/hal_lib.log");
    EXPECT_LE(read_file("/var/log/hal_lib.log").size(), 10240u + 200u);
    for (int p = 0; p < kProcs; ++p) {
        std::string last =
            "rotor: p" + std::to_string(p) + " l" + std::to_string(kLines - 1) + "\n";
        EXPECT_NE(both.find(last), std::string::npos) << "lost: " << last;
    }
}
