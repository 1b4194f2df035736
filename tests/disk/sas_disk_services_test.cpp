// A SAS disk as the SMART service and the management pages meet it: its log pages, sense
// condition, self tests, standby and failure-prediction setting, through the sg3_utils tools of
// the virtual appliance, whose emulated disk answers from state the test sets. And what a tool
// that is missing, fails, or prints garbage does to each call.
#include <gtest/gtest.h>

#include <string>

#include "nashal/pd_smart.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sas_disk_model.h"

using namespace nashal::sim;

namespace {

class SasDisk : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        write_file("/var/log/hal_lib.log.conf", "ffff:/var/log/hal_lib.log\n");
        write_file("/sim/inq/sg3", "type 0\nvendor SEAGATE\nmodel ST8000NM0075\nserial ZA1\n");
        write_file("/dev/sg3", "");
    }
    static std::string log() { return read_file("/var/log/hal_lib.log"); }
    // Pages of the disk by code; 0 when not among the decoded ones.
    static const SAS_LOG_PAGE *find(const SAS_LOG_PAGE *pages, int n, uint32_t code) {
        for (int i = 0; i < n; ++i)
            if (pages[i].page == code)
                return &pages[i];
        return nullptr;
    }
    Appliance app_ = Appliance::fresh();
};

TEST_F(SasDisk, LogPagesCarryTheStateOfTheDisk) {
    set_sas_disk_value("", "sg3", "temperature", "41");
    set_sas_disk_value("", "sg3", "reference_temperature", "60");
    set_sas_disk_value("", "sg3", "read_errors", "300 2 0 302 7 123456789 1");
    set_sas_disk_value("", "sg3", "start_stops", "212");
    SAS_LOG_PAGE pages[16];
    int sense = -1;
    int n = pd_sys_get_sas_smart("sg9", "sg3", &sense, pages, 16);
    // 02 03 05 06 0d 0e 2f have decoders; 10 and 1a are listed and passed over.
    ASSERT_EQ(n, 7);
    EXPECT_EQ(sense, 0);
    EXPECT_NE(log().find("System haven't impelment:log page= 0x10"), std::string::npos);
    const SAS_LOG_PAGE *t = find(pages, n, SAS_LOG_PAGE_TEMPERATURE);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->body.temperature.temperature.value, 41u);
    EXPECT_EQ(t->body.temperature.reference.value, 60u);
    const SAS_LOG_PAGE *r = find(pages, n, SAS_LOG_PAGE_READ_ERROR);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->body.error_count.counter[3].value, 302u);
    EXPECT_EQ(r->body.error_count.uncorrected.value, 1u);
    EXPECT_EQ(r->body.error_count.bytes_processed.name, nullptr);
    const SAS_LOG_PAGE *s = find(pages, n, SAS_LOG_PAGE_START_STOP);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->body.start_stop.counter[1].value, 212u);
    EXPECT_STREQ(s->body.start_stop.date[0].value, "2019 05");

    EXPECT_EQ(pd_sys_get_sas_smart("sg9", "sg3", &sense, pages, 2), 2) << "room for two pages";
    EXPECT_EQ(get_sas_pwr_standby_support("/dev/sg3"), 0);
    set_sas_disk_value("", "sg3", "pages", "00 0d 2f");
    EXPECT_EQ(pd_sys_get_sas_smart("sg9", "sg3", &sense, pages, 16), 2);
    EXPECT_EQ(get_sas_pwr_standby_support("/dev/sg3"), -1) << "no power condition page";
}

TEST_F(SasDisk, FailurePredictionIsReportedWhenAskedOnceTheWarningIsSet) {
    set_sas_disk_value("", "sg3", "grown_defects", "120");
    set_sas_disk_value("", "sg3", "defect_threshold", "100");
    SAS_LOG_PAGE pages[16];
    int sense = -1;
    int n = pd_sys_get_sas_smart("sg9", "sg3", &sense, pages, 16);
    const SAS_LOG_PAGE *ie = find(pages, n, SAS_LOG_PAGE_INFORMATIONAL_EXCEPTION);
    ASSERT_NE(ie, nullptr);
    EXPECT_EQ(ie->body.informational_exception.asc.value, 0x5D) << "the page always tells";
    EXPECT_EQ(ie->body.informational_exception.ascq.value, 0x14);
    EXPECT_EQ(sense, 0) << "the disk's own setting reports nothing on request";

    ASSERT_EQ(pd_sys_set_sas_warning("sg9", "sg3"), 0);
    EXPECT_EQ(sas_disk_file("", "sg3", "iec"), "0 0 1 0 0 0 1 6 300 0\n");
    EXPECT_NE(read_file("/sim/invocations.log")
                  .find("/sbin/sginfo -IXR /dev/sg3 0 0 1 0 0 0 1 6 300 0\n"),
              std::string::npos);
    ASSERT_GE(pd_sys_get_sas_smart("sg9", "sg3", &sense, pages, 16), 0);
    EXPECT_EQ(sense, 0x5D14);

    // With warnings enabled, a disk at its reference temperature warns instead.
    set_sas_disk_value("", "sg3", "grown_defects", "3");
    set_sas_disk_value("", "sg3", "temperature", "70");
    ASSERT_EQ(get_sas_request_sense("sg9", "sg3", &sense), 0);
    EXPECT_EQ(sense, 0x0B01);
}

TEST_F(SasDisk, SelfTestsRunReportProgressAndEndInTheLog) {
    int status = -1, percent = -1;
    ASSERT_EQ(pd_sys_get_sas_self_test_progress("sg9", "sg3", &status, &percent), 0);
    EXPECT_EQ(status, 0) << "a disk that never ran a test";
    EXPECT_EQ(percent, 100);

    ASSERT_EQ(pd_sys_set_sas_self_test("sg9", "sg3", PD_SELF_TEST_SHORT), 0);
    EXPECT_NE(read_file("/sim/invocations.log").find("/sbin/sg_senddiag -s 1 /dev/sg3\n"),
              std::string::npos);
    EXPECT_EQ(sas_disk_file("", "sg3", "self_test").substr(0, 6), "short ");
    set_sas_disk_file("", "sg3", "self_test", "short progress 32768\n");
    ASSERT_EQ(pd_sys_get_sas_self_test_progress("sg9", "sg3", &status, &percent), 0);
    EXPECT_EQ(status, SAS_SELF_TEST_IN_PROGRESS);
    EXPECT_EQ(percent, 50);
    int sense = -1;
    ASSERT_EQ(get_sas_request_sense("sg9", "sg3", &sense), 0);
    EXPECT_EQ(sense, 0x0409);

    ASSERT_EQ(pd_sys_set_sas_self_test("sg9", "sg3", PD_SELF_TEST_ABORT), 0);
    ASSERT_EQ(pd_sys_get_sas_self_test_progress("sg9", "sg3", &status, &percent), 0);
    EXPECT_EQ(status, 1) << "aborted by command";
    EXPECT_EQ(percent, 100);

    // A long test that found a bad block.
    set_sas_disk_file("", "sg3", "self_test_log", "extended 7 1200 0x1234\n");
    ASSERT_EQ(pd_sys_get_sas_self_test_progress("sg9", "sg3", &status, &percent), 0);
    EXPECT_EQ(status, 7);
    EXPECT_EQ(pd_sys_set_sas_self_test("sg9", "sg3", 3), -1) << "no such mode";
}

TEST_F(SasDisk, StandbyByCommandIsTheOnlyConditionThatReadsAsAsleep) {
    int power = -1;
    ASSERT_EQ(pd_sys_get_sas_power("sg9", "sg3", &power), 0);
    EXPECT_EQ(power, 1);
    ASSERT_EQ(pd_sys_set_sas_standby("sg9", "sg3"), 0);
    EXPECT_EQ(sas_disk_file("", "sg3", "power"), "standby\n");
    ASSERT_EQ(pd_sys_get_sas_power("sg9", "sg3", &power), 0);
    EXPECT_EQ(power, 0);
    ASSERT_EQ(pd_sys_set_sas_self_test("sg9", "sg3", PD_SELF_TEST_EXTENDED), 0);
    ASSERT_EQ(pd_sys_get_sas_power("sg9", "sg3", &power), 0);
    EXPECT_EQ(power, 1) << "a self test spins the disk up; its not-ready condition is no sleep";
}

// Scripted answers for sg7, which no description makes a disk.
void answer(const std::string &program, const std::string &args, const std::string &bytes,
            int status) {
    static int n = 0;
    std::string data = "/sim/data/answer" + std::to_string(++n);
    write_file(data, bytes);
    append_file("/sim/answers/" + program,
                "== " + args + "\nstdout-file " + data + "\nexit " + std::to_string(status) + "\n");
}

TEST_F(SasDisk, MissingFailingAndGarbledToolsFailCleanly) {
    using std::string;
    const string list_cmd = "-p 0x0 -r /dev/sg7";
    struct Case {
        const char *what;
        string program, args, bytes;
        int status;
        int smart, progress, power, sense;  // results of the four readers
    } cases[] = {
        {"no tool answers", "sg_logs", "none", "", 0, -1, -1, -1, -1},
        {"the tool fails with its message on stderr", "sg_logs", list_cmd, "", 5, -1, -1, -1, -1},
        {"text where bytes were expected", "sg_logs", list_cmd, "hello, world\n", 0, -1, -1, -1,
         -1},
        {"an empty list of pages", "sg_logs", list_cmd, string("\0\0\0\0", 4), 0, -2, -1, -1, -1},
        {"a list promising more pages than arrive", "sg_logs", list_cmd,
         string("\0\0\0\x40\x0d\x2f", 6), 0, -1, -1, -1, -1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        remove_tree("/sim/answers");
        answer(c.program, c.args, c.bytes, c.status);
        SAS_LOG_PAGE pages[4];
        int sense = 0, status = 0, percent = 0, power = 0;
        EXPECT_EQ(pd_sys_get_sas_smart("sg9", "sg7", &sense, pages, 4), c.smart);
        EXPECT_EQ(pd_sys_get_sas_self_test_progress("sg9", "sg7", &status, &percent), c.progress);
        EXPECT_EQ(pd_sys_get_sas_power("sg9", "sg7", &power), c.power);
        EXPECT_EQ(get_sas_request_sense("sg9", "sg7", &sense), c.sense);
    }

    // A self-test page of another shape, a sense of another format, a broken mode page list.
    remove_tree("/sim/answers");
    answer("sg_logs", "-p 0x10 -r /dev/sg7", string("\x10\0\0\x10", 4) + string(16, '\0'), 0);
    answer("sg_requests", "-r /dev/sg7", string("\x72\0\0\0\0\0\0\0", 8), 0);
    answer("sginfo", "-IX /dev/sg7", "0 0 0 4\n", 0);
    int status = 0, percent = 0, power = -1, sense = 0;
    EXPECT_EQ(pd_sys_get_sas_self_test_progress("sg9", "sg7", &status, &percent), -2);
    EXPECT_EQ(pd_sys_get_sas_power("sg9", "sg7", &power), -1);
    EXPECT_EQ(power, -1);
    EXPECT_NE(log().find("System Internal Error:response_code = 0x72"), std::string::npos);
    EXPECT_EQ(pd_sys_set_sas_warning("sg9", "sg7"), -1);
    EXPECT_NE(log().find("System Error.count = 4"), std::string::npos);

    // A test in progress whose sense says nothing of it keeps the caller's percentage.
    string page = string("\x10\0\x01\x90", 4) + string(400, '\0');
    page[4 + 1] = 1;
    page[4 + 4] = 0x1F;
    remove_tree("/sim/answers");
    answer("sg_logs", "-p 0x10 -r /dev/sg7", page, 0);
    answer("sg_requests", "-r /dev/sg7", string("\x70\0\0\0\0\0\0\0", 8), 0);
    percent = 77;
    EXPECT_EQ(pd_sys_get_sas_self_test_progress("sg9", "sg7", &status, &percent), 0);
    EXPECT_EQ(status, 15);
    EXPECT_EQ(percent, 77);
    EXPECT_EQ(pd_sys_get_sas_smart("sg9", "sg7; reboot", &sense, nullptr, 0), -1)
        << "a name with shell characters never reaches a shell";
}

}  // namespace
