// The trace log as an operator and a field engineer meet it: the default mask, the one-line
// run-time configuration, rotation, and the two-line entry.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "nashal/hal_trace.h"
#include "sim/appliance.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

constexpr const char *kLog = "/var/log/hal_lib.log";
constexpr const char *kConf = "/var/log/hal_lib.log.conf";

class Trace : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        // Back to the initial state, whatever an earlier case in this process did: a
        // configuration line with a path sets the file flag again.
        write_file(kConf, "b:/var/log/hal_lib.log\n");
        ERR_TRACE(0, "reset\n");
        remove_tree(kConf);
    }

    // What a call printed on standard output.
    std::string stdout_of(int level, const char *message) {
        ::testing::internal::CaptureStdout();
        ERR_TRACE(level, "%s", message);
        return ::testing::internal::GetCapturedStdout();
    }

    Appliance app_ = Appliance::fresh();
};

size_t count(const std::string &text, const std::string &what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++n;
    return n;
}

}  // namespace

TEST_F(Trace, DefaultMaskWritesErrorsWarningsAndInformationButNotCallsOrDetail) {
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", "se_attach", 120);
    ERR_TRACE(HAL_TRACE_WARN, "%s: can't retrieve %s value!\n", "SE_Get_Info", "model");
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with(%d).\n", "SE_Get_Info", 0);
    ERR_TRACE(HAL_TRACE_INFO, "%s: found %d disks\n", "PD_Scan", 8);
    ERR_TRACE(HAL_TRACE_DETAIL, "%s: reg 0x2e = 0x87\n", "sio_sys_get_chip_id");
    std::string log = read_file(kLog);
    EXPECT_NE(log.find("\nse_attach(120):System Error\n"), std::string::npos) << log;
    EXPECT_NE(log.find("\nSE_Get_Info: can't retrieve model value!\n"), std::string::npos);
    EXPECT_NE(log.find("\nPD_Scan: found 8 disks\n"), std::string::npos);
    EXPECT_EQ(log.find("got called"), std::string::npos);
    EXPECT_EQ(log.find("reg 0x2e"), std::string::npos);
    EXPECT_TRUE(exists("/var/lock/hal_lib.log.lck"));
}

TEST_F(Trace, EachEntryIsProcessNameAndTimeThenTheMessage) {
    ERR_TRACE(HAL_TRACE_ERROR, "%s: hello\n", "test");
    std::string log = read_file(kLog);
    std::string comm = read_file("/proc/self/comm");
    ASSERT_FALSE(comm.empty());
    comm.pop_back();
    ASSERT_EQ(log.rfind(comm + ":", 0), 0u) << log;
    size_t first_end = log.find('\n');
    ASSERT_NE(first_end, std::string::npos);
    // ctime: "Thu Jan  1 00:00:00 1970"
    EXPECT_EQ(first_end - comm.size() - 1, 24u) << log;
    EXPECT_EQ(log.substr(first_end + 1), "test: hello\n");
}

TEST_F(Trace, MaskAloneInConfigurationSendsOutputToStandardOutput) {
    write_file(kConf, "ff\n");
    std::string out = stdout_of(HAL_TRACE_DETAIL, "x: detail\n");
    EXPECT_NE(out.find("\nx: detail\n"), std::string::npos) << out;
    EXPECT_FALSE(exists(kLog));
    EXPECT_EQ(stdout_of(256, "x: above the mask\n"), "");
    write_file(kConf, "ff:/var/log/other.log\n");
    EXPECT_EQ(stdout_of(HAL_TRACE_DETAIL, "x: to the file again\n"), "");
    EXPECT_NE(read_file("/var/log/other.log").find("x: to the file again\n"), std::string::npos);
}

TEST_F(Trace, ConfigurationLineIsCutAt31CharactersWithThePathInIt) {
    // "1f:" and 28 characters of the path make the 31 that are read; the rest is lost.
    write_file(kConf, "1f:/var/log/abcdefghijklmnopqrstuvwxyz.log\n");
    ERR_TRACE(HAL_TRACE_INFO, "%s: cut\n", "x");
    EXPECT_NE(read_file("/var/log/abcdefghijklmnopqrs").find("x: cut\n"), std::string::npos);
    ERR_TRACE(HAL_TRACE_INFO, "%s: again\n", "x");
    EXPECT_TRUE(exists("/var/lock/abcdefghijklmnopqrs.lck")) << "the next lock follows the path";
}

TEST_F(Trace, OnlyTheFirstLineOfTheConfigurationCounts) {
    // A path on a second line is no path: the mask alone sends output to standard output.
    write_file(kConf, "ff\n/var/log/second.log\n");
    EXPECT_NE(stdout_of(HAL_TRACE_DETAIL, "x: detail\n").find("x: detail\n"), std::string::npos);
    EXPECT_FALSE(exists("/var/log/second.log"));
}

TEST_F(Trace, EmptyConfigurationKeepsTheMaskAndSendsOutputToStandardOutput) {
    write_file(kConf, "");
    EXPECT_NE(stdout_of(HAL_TRACE_ERROR, "x: error\n").find("x: error\n"), std::string::npos);
    EXPECT_EQ(stdout_of(HAL_TRACE_CALL, "x: entry\n"), "") << "mask 11 stays";
    EXPECT_FALSE(exists(kLog));
}

TEST_F(Trace, LevelAnyIsWrittenUnderAnyLowMaskAndNothingUnderMaskZero) {
    write_file(kConf, "10:/var/log/hal_lib.log\n");
    ERR_TRACE(HAL_TRACE_ALWAYS, "%s: edid\n", "EDID_Read");
    ERR_TRACE(HAL_TRACE_ERROR, "%s: not under mask 16\n", "x");
    write_file(kConf, "0:/var/log/hal_lib.log\n");
    ERR_TRACE(HAL_TRACE_ALWAYS, "%s: nothing\n", "x");
    std::string log = read_file(kLog);
    EXPECT_EQ(count(log, "EDID_Read: edid\n"), 1u) << log;
    EXPECT_EQ(log.find("not under mask"), std::string::npos);
    EXPECT_EQ(log.find("nothing"), std::string::npos);
}

TEST_F(Trace, SetDebugTakesEffectUntilAConfigurationFileSaysOtherwise) {
    HAL_Set_Debug(0, kLog);
    ERR_TRACE(HAL_TRACE_ERROR, "%s: off\n", "x");
    EXPECT_FALSE(exists(kLog));
    HAL_Set_Debug(HAL_TRACE_CALL, "/var/log/debug.log");
    ERR_TRACE(HAL_TRACE_CALL, "%s: entry\n", "x");
    EXPECT_NE(read_file("/var/log/debug.log").find("x: entry\n"), std::string::npos);
    HAL_Set_Debug(0, nullptr);
    write_file(kConf, "1:/var/log/hal_lib.log\n");
    ERR_TRACE(HAL_TRACE_ERROR, "%s: back on\n", "x");
    EXPECT_NE(read_file(kLog).find("x: back on\n"), std::string::npos);
    HAL_Set_Debug(HAL_TRACE_ERROR, nullptr);
    remove_tree(kConf);
    EXPECT_NE(stdout_of(HAL_TRACE_ERROR, "x: stdout\n").find("x: stdout\n"), std::string::npos);
}

TEST_F(Trace, LogIsRotatedOnceItIsLargerThan10240Bytes) {
    write_file(kLog, std::string(10240, 'a'));
    ERR_TRACE(HAL_TRACE_ERROR, "%s: one\n", "x");
    EXPECT_FALSE(exists("/var/log/hal_lib.log.bak")) << "exactly 10240 bytes is not rotated";
    std::string log = read_file(kLog);
    EXPECT_GT(log.size(), 10240u);
    ERR_TRACE(HAL_TRACE_ERROR, "%s: two\n", "x");
    EXPECT_EQ(read_file("/var/log/hal_lib.log.bak"), log);
    std::string fresh = read_file(kLog);
    EXPECT_NE(fresh.find("x: two\n"), std::string::npos);
    EXPECT_EQ(fresh.find("x: one\n"), std::string::npos);
}

TEST_F(Trace, MessageIsCutAtTheLineBuffer) {
    std::string big(3000, 'm');
    ERR_TRACE(HAL_TRACE_ERROR, "%s\n", big.c_str());
    std::string log = read_file(kLog);
    EXPECT_EQ(log.size(), 1023u);
    EXPECT_EQ(log.back(), 'm') << "the newline is cut with the message";
}

// Another process waits on the lock for its own trace: every way out of a call lets it go.
TEST_F(Trace, LockIsFreeAgainAfterEveryCall) {
    auto lock_is_free = [] {
        pid_t child = fork();
        if (child == 0) {
            int fd = open("/var/lock/hal_lib.log.lck", O_RDWR);
            struct flock fl = {};
            fl.l_type = F_WRLCK;
            _exit(fd >= 0 && fcntl(fd, F_SETLK, &fl) == 0 ? 0 : 1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    };
    ERR_TRACE(HAL_TRACE_ERROR, "%s: written\n", "x");
    EXPECT_TRUE(lock_is_free()) << "after a written entry";
    ERR_TRACE(HAL_TRACE_DETAIL, "%s: suppressed\n", "x");
    EXPECT_TRUE(lock_is_free()) << "after a suppressed entry";
    make_dirs("/var/log/hal_lib.log");  // the log can't be opened for appending
    ERR_TRACE(HAL_TRACE_ERROR, "%s: lost\n", "x");
    EXPECT_TRUE(lock_is_free()) << "after a failed open of the log";
}

TEST_F(Trace, NoLockFileMeansNoOutput) {
    remove_tree("/var/lock");
    EXPECT_LT(ERR_TRACE(HAL_TRACE_ERROR, "%s: lost\n", "x"), 0);
    EXPECT_FALSE(exists(kLog));
}
