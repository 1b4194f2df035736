// halctl smart, smart-test, standby and power-mode as a field engineer uses them on a board with
// one SATA disk: by its node, and by enclosure and slot once the registry lists it. Each run is
// its own process; the disk's state (asleep, testing) carries over as on a real box.
#include <gtest/gtest.h>

#include <string>

#include "halctl/halctl_runner.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sas_disk_model.h"
#include "sim/sata_smart_model.h"
#include "sim/sg_io_model.h"

using namespace nashal::sim;

namespace {

class SmartCli : public ::testing::Test {
  protected:
    void SetUp() override {
        make_skeleton(board_.dir());
        // A box with one SATA disk and a model file that describes nothing else.
        ASSERT_TRUE(write_file(board_.dir() + "/etc/model.conf", "[System Enclosure]\n"));
        ASSERT_TRUE(write_file(board_.dir() + "/dev/sg2", ""));
        ASSERT_TRUE(describe_ata_disk(board_.dir(), "sg2", AtaDiskDesc{}));
        ASSERT_TRUE(describe_ata_smart(board_.dir(), "sg2", typical_hdd_smart()));
    }
    halctl_test::Board board_;
};

size_t count_of(const std::string &text, const std::string &what) {
    size_t n = 0;
    for (size_t i = text.find(what); i != std::string::npos; i = text.find(what, i + 1))
        ++n;
    return n;
}

// True when the human output has the line "key:   value".
bool has_field(const std::string &out, const std::string &key, const std::string &value) {
    for (size_t i = 0; i < out.size();) {
        size_t end = out.find('\n', i);
        std::string line = out.substr(i, end - i);
        if (line.rfind(key + ":", 0) == 0 &&
            line.substr(line.find_first_not_of(' ', key.size() + 1)) == value)
            return true;
        if (end == std::string::npos)
            break;
        i = end + 1;
    }
    return false;
}

TEST_F(SmartCli, SmartShowsEveryAttributeWithItsThresholdAndTheVerdict) {
    auto r = board_.run("smart /dev/sg2");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_TRUE(has_field(r.out, "verdict", "good")) << r.out;
    EXPECT_NE(r.out.find("Power_On_Hours"), std::string::npos);
    EXPECT_NE(r.out.find("281474976710655"), std::string::npos) << "a 48-bit raw value in full";

    set_ata_state(board_.dir(), "sg2", "verdict", "exceeded");
    r = board_.run("--json smart /dev/sg2");
    ASSERT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("\"disk\": \"/dev/sg2\", \"verdict\": \"threshold exceeded\""),
              std::string::npos)
        << r.out;
    EXPECT_EQ(count_of(r.out, "\"threshold\": "), 30u);
    EXPECT_NE(r.out.find("{\"id\": 5, \"name\": \"Retired_Block_Count\", \"flags\": \"0x0033\", "
                         "\"value\": 100, \"worst\": 100, \"threshold\": 10, \"raw\": 0}"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("\"raw\": 281474976710655}"), std::string::npos) << r.out;
}

TEST_F(SmartCli, StandbyAndPowerModeCarryOverBetweenRuns) {
    auto r = board_.run("power-mode /dev/sg2");
    ASSERT_EQ(r.status, 0);
    EXPECT_TRUE(has_field(r.out, "power_mode", "active or idle")) << r.out;
    ASSERT_EQ(board_.run("standby /dev/sg2").status, 0);
    r = board_.run("--json power-mode /dev/sg2");
    EXPECT_NE(r.out.find("\"power_mode\": \"standby\""), std::string::npos) << r.out;
    EXPECT_EQ(ata_state(board_.dir(), "sg2", "power"), "standby");
}

TEST_F(SmartCli, SelfTestsStartAndAbortByEnclosureAndSlot) {
    write_file(board_.dir() + "/etc/hal.conf", "[Enclosure_0]\nenc_sys_id = root\n");
    write_file(board_.dir() + "/etc/enclosure_0.conf",
               "[PhysicalDisk_4]\nport_id = 4\npd_sys_id = sg2\nenc_sys_id = root\ntype = 0\n");
    ASSERT_EQ(board_.run("smart-test 0 4 long").status, 0);
    EXPECT_EQ(ata_state(board_.dir(), "sg2", "self_test").rfind("extended ", 0), 0u);
    auto r = board_.run("smart 0 4");
    EXPECT_TRUE(has_field(r.out, "self_test_status", "15")) << r.out;
    ASSERT_EQ(board_.run("smart-test 0 4 abort").status, 0);
    EXPECT_EQ(ata_state(board_.dir(), "sg2", "self_test"), "aborted");
}

// A SAS disk answers smart in the same shape, from its log pages, and takes the same commands.
TEST_F(SmartCli, ASasDiskAnswersInTheSameShape) {
    const std::string d = board_.dir();
    write_file(d + "/etc/hal.conf", "[Enclosure_0]\nenc_sys_id = root\n");
    write_file(d + "/etc/enclosure_0.conf",
               "[PhysicalDisk_2]\nport_id = 2\npd_sys_id = sg3\nenc_sys_id = root\ntype = 1\n");
    write_file(d + "/dev/sg3", "");
    write_file(d + "/sim/inq/sg3", "type 0\nvendor SEAGATE\nmodel ST12000NM0027\n");
    set_sas_disk_value(d, "sg3", "temperature", "44");
    auto r = board_.run("--json smart 0 2");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("\"disk\": \"enclosure 0 slot 2\", \"verdict\": \"good\", "
                         "\"self_test_status\": 0, \"self_test_percent\": 100"),
              std::string::npos)
        << r.out;
    EXPECT_NE(
        r.out.find("{\"id\": 13, \"name\": \"Temperature\", \"flags\": \"0x0000\", \"value\": 0, "
                   "\"worst\": 0, \"threshold\": 0, \"raw\": 44}"),
        std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("\"name\": \"Date of Manufacture\", \"flags\": \"0x0000\", \"value\": 0, "
                         "\"worst\": 0, \"threshold\": 0, \"raw\": 201905}"),
              std::string::npos);

    set_sas_disk_value(d, "sg3", "grown_defects", "500");
    ASSERT_EQ(board_.run("smart-test 0 2 short").status, 0);
    set_sas_disk_file(d, "sg3", "self_test", "short progress 16384\n");
    r = board_.run("smart 0 2");
    EXPECT_TRUE(has_field(r.out, "verdict", "threshold exceeded")) << r.out;
    EXPECT_TRUE(has_field(r.out, "self_test_status", "15")) << r.out;
    EXPECT_TRUE(has_field(r.out, "self_test_percent", "25")) << r.out;
    ASSERT_EQ(board_.run("standby 0 2").status, 0);
    r = board_.run("power-mode 0 2");
    EXPECT_TRUE(has_field(r.out, "power_mode", "standby")) << r.out;
    r = board_.run("smart 0 2");
    EXPECT_TRUE(has_field(r.out, "self_test_status", "2")) << "spinning down ends the test";
}

TEST_F(SmartCli, WrongArgumentsAndAbsentDisks) {
    struct Case {
        const char *args;
        int status;
    } cases[] = {
        {"smart", 2},
        {"smart 0", 2},
        {"smart /dev/sgx", 2},
        {"smart-test 0 4", 2},
        {"smart-test 0 4 fast", 2},
        {"standby 0 4 5", 2},
        {"smart /dev/sg7", 1},
        {"smart 0 4", 1},
        {"power-mode 3 1", 1},
    };
    for (const auto &c : cases)
        EXPECT_EQ(board_.run(c.args).status, c.status) << c.args;
}

}  // namespace

// The field engineer's way on a scanned box: the registry names the disk by enclosure and bay.
TEST(SmartCliOnABoard, AfterAScanADiskIsReachedByEnclosureAndBay) {
    halctl_test::Board board("x86-8bay");
    ASSERT_EQ(board.run("scan").status, 0);
    auto r = board.run("--json smart 0 1");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("\"disk\": \"enclosure 0 slot 1\", \"verdict\": \"good\""),
              std::string::npos)
        << r.out;
    ASSERT_EQ(board.run("standby 0 1").status, 0);
    EXPECT_EQ(ata_state(board.dir(), "sg0", "power"), "standby");
    r = board.run("power-mode 0 1");
    EXPECT_NE(r.out.find("standby"), std::string::npos) << r.out;
}
