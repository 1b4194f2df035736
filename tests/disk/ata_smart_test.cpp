// SMART, power and self-test commands against the appliance's emulated SATA drive: the exact
// blocks the library sends, the attributes and verdict it reads back, what a drive in standby,
// a drive without SMART and a drive that answers short make of it.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "disk/smart_layout.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_smart.h"
#include "sim/appliance.h"
#include "sim/clock.h"
#include "sim/fs.h"
#include "sim/sata_smart_model.h"
#include "sim/sg_io_model.h"

using namespace nashal::sim;

namespace {

class AtaSmart : public ::testing::Test {
  protected:
    void SetUp() override {
        app_ = std::make_unique<Appliance>(Appliance::fresh());
        ASSERT_TRUE(app_->activate());
        write_file("/dev/sg2", "");
        AtaDiskDesc disk;
        disk.model = "ST4000VN008-2DR166";
        disk.serial = "ZGY00001";
        disk.sectors = 7814037168ull;
        disk.erc = true;
        ASSERT_TRUE(describe_ata_disk("", "sg2", disk));
        ASSERT_TRUE(describe_ata_smart("", "sg2", typical_hdd_smart()));
        clear_sg_io_requests();
    }
    // The log lines of the requests sent since the last clear, without the node name.
    static std::vector<std::string> blocks() {
        std::vector<std::string> out;
        for (const auto &line : sg_io_requests())
            if (!line.empty())
                out.push_back(line.substr(line.find(' ') + 1));
        return out;
    }
    static int read_smart(SMART_ATTR *attrs, int size, int *status, int *test_status = nullptr,
                          int *percent = nullptr) {
        int short_min = -1, ext_min = -1;
        return pd_sys_get_ata_smart("root", "sg2", status, attrs, size, test_status, percent,
                                    &short_min, &ext_min);
    }
    std::unique_ptr<Appliance> app_;
};

TEST_F(AtaSmart, EachCommandIsSentAsItsExactPassThroughBlock) {
    uint8_t sector[512];
    int out = 0;
    struct Case {
        const char *what;
        std::function<int()> call;
        std::vector<std::string> sent;
    } cases[] = {
        {"SMART READ DATA: PIO in, one block, no sense",
         [&] { return get_ata_smart_value("/dev/sg2", sector); },
         {"85 08 0e 00 d0 00 01 00 00 00 4f 00 c2 00 b0 00 dir=-3 len=512 sense=0"}},
        {"SMART READ THRESHOLDS",
         [&] { return get_ata_smart_threshold("/dev/sg2", sector); },
         {"85 08 0e 00 d1 00 01 00 00 00 4f 00 c2 00 b0 00 dir=-3 len=512 sense=0"}},
        {"SMART RETURN STATUS: registers back",
         [&] { return get_ata_smart_status("/dev/sg2", &out); },
         {"85 06 20 00 da 00 00 00 00 00 4f 00 c2 00 b0 00 dir=-1 len=0 sense=96"}},
        {"SMART ENABLE: no sense buffer",
         [&] { return enable_ata_smart("/dev/sg2", 1); },
         {"85 06 20 00 d8 00 00 00 00 00 4f 00 c2 00 b0 00 dir=-1 len=0 sense=0"}},
        {"SMART DISABLE",
         [&] { return enable_ata_smart("/dev/sg2", 0); },
         {"85 06 20 00 d9 00 00 00 00 00 4f 00 c2 00 b0 00 dir=-1 len=0 sense=0"}},
        {"EXECUTE OFF-LINE short",
         [&] { return set_sata_self_test("/dev/sg2", 1); },
         {"85 06 20 00 d4 00 00 00 01 00 4f 00 c2 00 b0 00 dir=-1 len=0 sense=96"}},
        {"EXECUTE OFF-LINE extended",
         [&] { return set_sata_self_test("/dev/sg2", 2); },
         {"85 06 20 00 d4 00 00 00 02 00 4f 00 c2 00 b0 00 dir=-1 len=0 sense=96"}},
        {"EXECUTE OFF-LINE abort",
         [&] { return set_sata_self_test("/dev/sg2", 0); },
         {"85 06 20 00 d4 00 00 00 7f 00 4f 00 c2 00 b0 00 dir=-1 len=0 sense=96"}},
        {"CHECK POWER MODE",
         [&] { return get_sata_power_status("/dev/sg2", &out); },
         {"85 06 20 00 00 00 00 00 00 00 00 00 00 00 e5 00 dir=-1 len=0 sense=96"}},
        {"STANDBY IMMEDIATE",
         [&] { return set_sata_power_standby("/dev/sg2"); },
         {"85 06 20 00 00 00 00 00 00 00 00 00 00 00 e0 00 dir=-1 len=0 sense=96"}},
        {"SCT error recovery control: PIO out to log 0xE0",
         [&] { return pd_sys_set_ata_error_timer("root", "sg2", 0, 70); },
         {"85 0a 26 00 d6 00 01 00 e0 00 4f 00 c2 00 b0 00 dir=-2 len=512 sense=96"}},
    };
    for (auto &c : cases) {
        SCOPED_TRACE(c.what);
        clear_sg_io_requests();
        EXPECT_EQ(c.call(), 0);
        EXPECT_EQ(blocks(), c.sent);
    }
}

TEST_F(AtaSmart, ThirtyAttributesWithThresholdsVerdictAndPollingTimes) {
    SMART_ATTR a[SMART_ATTR_MAX] = {};
    int status = -5, short_min = -1, ext_min = -1, test_status = -1, percent = -1;
    ASSERT_EQ(pd_sys_get_ata_smart("root", "sg2", &status, a, SMART_ATTR_MAX, &test_status,
                                   &percent, &short_min, &ext_min),
              30);
    EXPECT_EQ(status, ATA_SMART_STATUS_GOOD);
    EXPECT_EQ(short_min, 2);
    EXPECT_EQ(ext_min, 180);
    EXPECT_EQ(test_status, 0);
    EXPECT_EQ(percent, 100);
    // Spot checks against the description, not against the encoder.
    EXPECT_EQ(a[0].id, 1);
    EXPECT_EQ(a[0].thresh, 6);
    EXPECT_EQ(a[0].raw, 0x75C3C28u);
    EXPECT_EQ(a[3].id, 5);
    EXPECT_STREQ(a[3].name, "Retired_Block_Count");
    EXPECT_EQ(a[3].thresh, 10);
    EXPECT_EQ(a[13].id, 190);
    EXPECT_EQ(a[13].worst, 52);
    EXPECT_EQ(a[13].thresh, 45);
    EXPECT_EQ(a[25].raw, 0xFFFFFFFFFFFFull);
    EXPECT_EQ(a[29].id, 254);

    set_ata_state("", "sg2", "verdict", "exceeded");
    ASSERT_EQ(read_smart(a, SMART_ATTR_MAX, &status), 30);
    EXPECT_EQ(status, ATA_SMART_STATUS_THRESHOLD_EXCEEDED);
}

TEST_F(AtaSmart, DrivesThatCantGiveSmartGiveMinusOneAndNoThresholdRead) {
    SMART_ATTR a[SMART_ATTR_MAX] = {};
    int status = 7;
    struct Case {
        const char *what;
        std::function<void()> make;
        int want_status;
    } cases[] = {
        {"no SMART support: every SMART command aborted",
         [] {
             remove_tree("/sim/ata/sg2/smart_data");
             remove_tree("/sim/ata/sg2/smart_thresholds");
         },
         -1},
        {"a drive that sends 100 bytes of the sector",
         [] {
             describe_ata_smart("", "sg2", typical_hdd_smart());
             write_file("/sim/ata/sg2/smart_data",
                        read_file("/sim/ata/sg2/smart_data").substr(0, 100));
         },
         0},
        {"an empty attribute table", [] { describe_ata_smart("", "sg2", SmartDesc{}); }, 0},
    };
    for (auto &c : cases) {
        SCOPED_TRACE(c.what);
        c.make();
        clear_sg_io_requests();
        EXPECT_EQ(read_smart(a, SMART_ATTR_MAX, &status), -1);
        EXPECT_EQ(status, c.want_status);
        for (const auto &b : blocks())
            EXPECT_EQ(b.find("00 d1 00"), std::string::npos) << "thresholds read: " << b;
    }
    EXPECT_EQ(
        pd_sys_get_ata_smart("root", "sg9", &status, a, 30, nullptr, nullptr, nullptr, nullptr), -1)
        << "no such node";
}

TEST_F(AtaSmart, ABadChecksumIsToldButTheAttributesStillCount) {
    std::string data = read_file("/sim/ata/sg2/smart_data");
    data[511] = static_cast<char>(data[511] + 1);
    write_file("/sim/ata/sg2/smart_data", data);
    SMART_ATTR a[SMART_ATTR_MAX] = {};
    int status;
    EXPECT_EQ(read_smart(a, SMART_ATTR_MAX, &status), 30);
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("sg2: SMART data checksum mismatch"),
              std::string::npos);
}

TEST_F(AtaSmart, PowerModeFollowsStandbyAndTheDrivesOwnState) {
    struct Case {
        const char *state;
        int result, power;
    } cases[] = {{"active", 0, 1}, {"standby", 0, 0}, {"idle", -1, 42}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.state);
        set_ata_state("", "sg2", "power", c.state);
        int power = 42;
        EXPECT_EQ(pd_sys_get_ata_power("root", "sg2", &power), c.result);
        EXPECT_EQ(power, c.power) << "0x80 (idle) is not a mode the backend tells";
    }
    set_ata_state("", "sg2", "power", "active");
    int power = -1;
    EXPECT_EQ(pd_sys_set_ata_standby("root", "sg2"), 0);
    EXPECT_EQ(ata_state("", "sg2", "power"), "standby");
    EXPECT_EQ(pd_sys_set_ata_standby("root", "sg2"), 0) << "standby asked again of a sleeping disk";
    ASSERT_EQ(pd_sys_get_ata_power("root", "sg2", &power), 0);
    EXPECT_EQ(power, 0);
}

TEST_F(AtaSmart, SelfTestRunsOnTheClockAndCanBeAborted) {
    SMART_ATTR a[SMART_ATTR_MAX];
    int status, test_status = -1, percent = -1;
    ASSERT_EQ(pd_sys_set_ata_self_test("root", "sg2", PD_SELF_TEST_SHORT), 0);
    read_smart(a, SMART_ATTR_MAX, &status, &test_status, &percent);
    EXPECT_EQ(test_status, 15);
    EXPECT_EQ(percent, 10) << "just started: 90% remaining";
    clock_advance_us(60LL * 1000000);  // half of the two minutes
    read_smart(a, SMART_ATTR_MAX, &status, &test_status, &percent);
    EXPECT_EQ(test_status, 15);
    EXPECT_EQ(percent, 50);
    clock_advance_us(61LL * 1000000);
    read_smart(a, SMART_ATTR_MAX, &status, &test_status, &percent);
    EXPECT_EQ(test_status, 0);
    EXPECT_EQ(percent, 100);

    ASSERT_EQ(pd_sys_set_ata_self_test("root", "sg2", PD_SELF_TEST_EXTENDED), 0);
    clock_advance_us(90LL * 60 * 1000000);
    read_smart(a, SMART_ATTR_MAX, &status, &test_status, &percent);
    EXPECT_EQ(test_status, 15);
    EXPECT_EQ(percent, 50);
    ASSERT_EQ(pd_sys_set_ata_self_test("root", "sg2", PD_SELF_TEST_ABORT), 0);
    read_smart(a, SMART_ATTR_MAX, &status, &test_status, &percent);
    EXPECT_EQ(test_status, 1) << "aborted by the host";

    clear_sg_io_requests();
    EXPECT_EQ(pd_sys_set_ata_self_test("root", "sg2", 3), -1);
    EXPECT_TRUE(blocks().empty()) << "an unknown mode sends nothing";
}

TEST_F(AtaSmart, ErrorRecoveryTimersAreSetAndReadPerDirection) {
    EXPECT_EQ(pd_sys_set_ata_error_timer("root", "sg2", 0, 70), 0);
    EXPECT_EQ(pd_sys_set_ata_error_timer("root", "sg2", 1, 0x1234), 0);
    int timer = -1;
    ASSERT_EQ(pd_sys_get_ata_error_timer("root", "sg2", 0, &timer), 0);
    EXPECT_EQ(timer, 70);
    ASSERT_EQ(pd_sys_get_ata_error_timer("root", "sg2", 1, &timer), 0);
    EXPECT_EQ(timer, 0x1234) << "LBA low is the high byte, the count the low byte";

    AtaDiskDesc plain;
    ASSERT_TRUE(describe_ata_disk("", "sg2", plain));  // no SCT error recovery control
    timer = -1;
    EXPECT_EQ(pd_sys_get_ata_error_timer("root", "sg2", 0, &timer), -1);
    EXPECT_EQ(timer, -1);
}

TEST_F(AtaSmart, ASasDiskAnswersNoAtaCommand) {
    remove_tree("/sim/ata/sg2");
    int out = 5;
    EXPECT_EQ(get_ata_smart_status("/dev/sg2", &out), -1);
    EXPECT_EQ(out, -1);
    EXPECT_EQ(get_sata_power_status("/dev/sg2", &out), -1);
    EXPECT_EQ(set_sata_power_standby("/dev/sg2"), -1);
    EXPECT_EQ(set_sata_self_test("/dev/sg2", 1), -1);
}

}  // namespace
