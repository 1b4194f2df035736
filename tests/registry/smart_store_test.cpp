// The SMART cache and settings as the monitoring service and the management pages use them:
// records that come back field for field, cut and missing files, the alarm on rising error
// counters, and readers and a writer in several processes that never see half a record.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "nashal/hal_trace.h"
#include "nashal/pd_smart.h"
#include "sim/appliance.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

struct FreeRecord {
    void operator()(PD_SMART_INFO *p) const { free(p); }
};
using Record = std::unique_ptr<PD_SMART_INFO, FreeRecord>;

Record make_record(int count, int32_t fill = 0) {
    Record r(static_cast<PD_SMART_INFO *>(calloc(1, PD_SMART_INFO_SIZE(count))));
    r->attr_count = count;
    int32_t *head = &r->head0;
    for (int i = 0; i < 11; ++i)
        head[i] = fill;
    for (int i = 0; i < count; ++i) {
        SMART_ATTR &a = r->attr[i];
        a.id = fill ? fill : i + 1;
        snprintf(a.name, sizeof a.name, "%s", get_ata_smart_attr_name(a.id));
        a.value = a.worst = a.thresh = static_cast<uint8_t>(fill);
        a.raw = static_cast<uint64_t>(fill);
        a.reserved_word = SMART_ATTR_MARKER;
    }
    return r;
}

Record read_back(int enc_id, int port_id) {
    PD_SMART_INFO *p = nullptr;
    int result = PD_SMART_Read_Info(enc_id, port_id, &p);
    EXPECT_EQ(result == 0, p != nullptr);
    return Record(p);
}

class SmartStore : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(app_.activate()); }
    Appliance app_ = Appliance::fresh();
};

TEST_F(SmartStore, ARecordComesBackFieldForField) {
    Record r = make_record(3);
    r->head0 = 1;
    r->summary_status = 2;
    r->summary_value = 3;
    r->head3 = -4;
    r->temperature = 37;
    r->health = 1;
    r->head6 = 6;
    r->head7 = 7;
    r->head8 = 18;
    r->head9 = 9;
    r->head10 = 10;
    r->attr[0] = {5, "Retired_Block_Count", 100, 99, 10, 0x123456789AULL, 0x33, 0xFFFF};
    r->attr[2].raw = 0xFFFFFFFFFFFFull;
    ASSERT_EQ(PD_SMART_Write_Info(0, 3, r.get()), 0);
    const std::string head =
        "3,1,3,-4,1,6,7,2,37,0x0012,9,10\n5,Retired_Block_Count,100,99,10,78187493530,65535\n";
    EXPECT_EQ(read_file("/tmp/smart/smart_0_3.info").substr(0, head.size()), head)
        << "head8 in hexadecimal; the flags are not stored";

    Record back = read_back(0, 3);
    ASSERT_TRUE(back);
    EXPECT_EQ(memcmp(back.get(), r.get(), sizeof(PD_SMART_INFO)), 0) << "header words";
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        const SMART_ATTR &a = back->attr[i], &w = r->attr[i];
        EXPECT_EQ(a.id, w.id);
        EXPECT_STREQ(a.name, w.name);
        EXPECT_EQ(a.value, w.value);
        EXPECT_EQ(a.worst, w.worst);
        EXPECT_EQ(a.thresh, w.thresh);
        EXPECT_EQ(a.raw, w.raw);
        EXPECT_EQ(a.status_flag, 0);
        EXPECT_EQ(a.reserved_word, 0xFFFF);
    }
    EXPECT_EQ(PD_SMART_Get_Temperature(back.get()), 37);
    back->temperature = 0x1FF;
    EXPECT_EQ(PD_SMART_Get_Temperature(back.get()), 0xFF) << "only the low byte counts";
}

TEST_F(SmartStore, MissingEmptyCutAndCorruptFiles) {
    PD_SMART_INFO *untouched = reinterpret_cast<PD_SMART_INFO *>(0x1);
    EXPECT_EQ(PD_SMART_Read_Info(0, 1, &untouched), -1);
    EXPECT_EQ(untouched, reinterpret_cast<PD_SMART_INFO *>(0x1)) << "no cache: out untouched";
    EXPECT_EQ(PD_SMART_Is_Error(0, 1), 0);
    EXPECT_EQ(PD_SMART_Clear_Info(0, 1), 0) << "nothing to delete";

    Record zero = make_record(0);
    ASSERT_EQ(PD_SMART_Write_Info(0, 1, zero.get()), 0);
    EXPECT_EQ(read_file("/tmp/smart/smart_0_1.info"), "0,0,0,0,0,0,0,0,0,0x0000,0,0\n");
    EXPECT_TRUE(read_back(0, 1));
    EXPECT_EQ(PD_SMART_Clear_Info(0, 1), 0);
    EXPECT_FALSE(exists("/tmp/smart/smart_0_1.info"));

    struct Case {
        const char *what, *text;
        int result, count;
        int32_t head10;
        uint64_t first_raw;
    } cases[] = {
        {"cut after the first entry: what is there, and success",
         "3,0,0,0,2,0,0,0,40,0x0,0,0x10\n5,Retired_Block_Count,100,100,10,7,65535\n", 0, 3, 16, 7},
        {"header only, missing tokens are 0", "2,9\n", 0, 2, 0, 0},
        {"empty file", "", -1, 0, 0, 0},
        {"negative count", "-1,0,0\n", -1, 0, 0, 0},
        {"a count no disk has", "2000000000,0\n", -1, 0, 0, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        write_file("/tmp/smart/smart_0_2.info", c.text);
        PD_SMART_INFO *p = nullptr;
        EXPECT_EQ(PD_SMART_Read_Info(0, 2, &p), c.result);
        Record r(p);
        if (c.result != 0)
            continue;
        ASSERT_TRUE(r);
        EXPECT_EQ(r->attr_count, c.count);
        EXPECT_EQ(r->head10, c.head10) << "read with automatic base";
        EXPECT_EQ(r->attr[0].raw, c.first_raw);
        EXPECT_EQ(r->attr[c.count - 1].id, 0);
    }
    write_file("/tmp/smart/smart_0_2.info", "0,0,0,0,2,0,0,0,0,0,0,0\n");
    EXPECT_EQ(PD_SMART_Is_Error(0, 2), 1);
}

class SmartHealthCheck : public SmartStore {
  protected:
    void SetUp() override {
        SmartStore::SetUp();
        write_file("/tmp/smart/check_smart_health", "");
    }
    // Writes a record of the given (id, raw) pairs.
    static void store(int enc_id, int port_id, std::vector<std::pair<int, uint64_t>> attrs) {
        Record r = make_record(static_cast<int>(attrs.size()));
        for (size_t i = 0; i < attrs.size(); ++i) {
            r->attr[i].id = attrs[i].first;
            r->attr[i].raw = attrs[i].second;
        }
        ASSERT_EQ(PD_SMART_Write_Info(enc_id, port_id, r.get()), 0);
    }
    static std::string log_tool_runs() {
        std::string runs;
        std::string all = read_file("/sim/invocations.log");
        size_t i = 0;
        while ((i = all.find("/sbin/log_tool", i)) != std::string::npos) {
            size_t j = all.find('\n', i);
            runs += all.substr(i, j - i + 1);
            i = j;
        }
        return runs;
    }
};

TEST_F(SmartHealthCheck, RisingErrorCountersAreLoggedOncePerChange) {
    store(0, 3, {{5, 0}, {9, 100}, {197, 4}, {199, 7}});
    EXPECT_EQ(log_tool_runs(), "") << "no old record to compare with";
    store(0, 3, {{5, 2}, {9, 200}, {197, 3}, {199, 7}});
    EXPECT_EQ(log_tool_runs(), "/sbin/log_tool -a Host: Drive3 S.M.A.R.T.[5] 0 -> 2. -t 1\n")
        << "power-on hours are no error counter, a falling counter is not told";
    store(2, 4, {{198, 0x100000000ull}});
    store(2, 4, {{198, 0x100000001ull}});
    EXPECT_NE(
        log_tool_runs().find(
            "/sbin/log_tool -a VEXP#2: Drive4 S.M.A.R.T.[198] 4294967296 -> 4294967297. -t 1"),
        std::string::npos)
        << "an expansion enclosure's log name reaches the system log";
}

TEST_F(SmartHealthCheck, NothingIsComparedAcrossChangedLayoutsOrWithoutTheFlag) {
    store(0, 1, {{5, 0}, {10, 0}});
    store(0, 1, {{5, 1}});           // other count
    store(0, 1, {{10, 1}, {5, 1}});  // other order: ids differ by position
    unlink("/tmp/smart/check_smart_health");
    store(0, 1, {{10, 5}, {5, 5}});
    EXPECT_EQ(log_tool_runs(), "");
}

// A writer keeps replacing a disk's record with one of two whole records while readers in
// other processes read it: each read must be one of the two, whole.
TEST_F(SmartStore, ReadersAndAWriterInSeveralProcessesNeverSeeHalfARecord) {
    Record a = make_record(30, 1), b = make_record(30, 2);
    ASSERT_EQ(PD_SMART_Write_Info(0, 5, a.get()), 0);
    std::vector<pid_t> children;
    auto spawn = [&](auto body) {
        fflush(nullptr);
        pid_t pid = fork();
        if (pid == 0)
            _exit(body());
        children.push_back(pid);
    };
    spawn([&] {
        for (int i = 0; i < 150; ++i)
            if (PD_SMART_Write_Info(0, 5, (i % 2 ? a : b).get()) != 0)
                return 1;
        return 0;
    });
    for (int reader = 0; reader < 3; ++reader)
        spawn([] {
            for (int i = 0; i < 150; ++i) {
                PD_SMART_INFO *p = nullptr;
                if (PD_SMART_Read_Info(0, 5, &p) != 0)
                    return 2;
                Record r(p);
                int32_t v = r->head0;
                if (r->attr_count != 30 || (v != 1 && v != 2) || r->head10 != v)
                    return 3;
                for (int k = 0; k < 30; ++k)
                    if (r->attr[k].id != v || r->attr[k].raw != static_cast<uint64_t>(v))
                        return 4;
            }
            return 0;
        });
    for (pid_t pid : children) {
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
            << "child " << pid << " ended with " << WEXITSTATUS(status);
    }
    EXPECT_TRUE(list_dir("/tmp/smart").size() == 1) << "no temporary file left behind";
}

TEST_F(SmartStore, SettingsHaveDefaultsAndPerEnclosureFiles) {
    PD_SMART_CONF conf;
    ASSERT_EQ(PD_SMART_Get_Conf(0, 1, &conf), 0);
    EXPECT_EQ(conf.temp_thresh_enabled, 0);
    EXPECT_EQ(conf.temp_thresh, 50);
    EXPECT_EQ(conf.temp_type, 1);
    EXPECT_EQ(conf.short_enabled, 0);
    EXPECT_EQ(conf.short_schedule, UINT64_MAX) << "no schedule";
    EXPECT_EQ(PD_SMART_Get_Last_Test_Type(0, 1), -1);
    EXPECT_EQ(PD_SMART_Get_Now_Test_Type(0, 1), -1);
    EXPECT_EQ(pd_smart_get_last_test_time(0, 1), 0);
    EXPECT_EQ(PD_SMART_Get_Conf(0, 1, nullptr), -1);

    write_file("/etc/config/smart_3.conf",
               "[SMART]\n"
               "Enable Temperature Threshold 2 = 1\n"
               "Temperature Threshold 2 = 300\n"
               "Temperature Type 2 = 0\n"
               "Enable Extended Schedule 2 = 1\n"
               "Short Test Schedule 2 = 0x0102030405\n"
               "Extended Test Schedule 2 = 77\n"
               "HD 2 Last Test Type = 2\n"
               "HD 2 Now Test Type = 1\n"
               "HD 2 Last Test Time = 1700000000\n");
    ASSERT_EQ(PD_SMART_Get_Conf(3, 2, &conf), 0);
    EXPECT_EQ(conf.port_id, 2);
    EXPECT_EQ(conf.temp_thresh_enabled, 1);
    EXPECT_EQ(conf.temp_thresh, 300 & 0xff) << "the low byte";
    EXPECT_EQ(conf.temp_type, 0);
    EXPECT_EQ(conf.short_enabled, 0);
    EXPECT_EQ(conf.short_schedule, 0x0102030405ull);
    EXPECT_EQ(conf.extended_enabled, 1);
    EXPECT_EQ(conf.extended_schedule, 77u);
    EXPECT_EQ(PD_SMART_Get_Last_Test_Type(3, 2), 2);
    EXPECT_EQ(PD_SMART_Get_Now_Test_Type(3, 2), 1);
    EXPECT_EQ(pd_smart_get_last_test_time(3, 2), 1700000000L);
    EXPECT_EQ(PD_SMART_Get_Temp_Thres(0, 2), 50) << "enclosure 0 reads smart.conf";

    int32_t b[5] = {-1, -1, -1, -1, -1};
    EXPECT_EQ(PD_SMART_Get_Test_Schedule(3, 2, 1, &b[4], &b[3], &b[2], &b[1], &b[0]),
              0x0102030405ll);
    EXPECT_EQ(b[4], 1);
    EXPECT_EQ(b[3], 2);
    EXPECT_EQ(b[0], 5);
    b[0] = -9;
    EXPECT_EQ(PD_SMART_Get_Test_Schedule(3, 9, 1, &b[4], &b[3], &b[2], &b[1], &b[0]), -1);
    EXPECT_EQ(b[0], -9) << "missing: outputs untouched";
}

}  // namespace
