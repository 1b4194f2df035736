// The registry's own logic, against a scripted backend. The library is a shared object whose
// functions can be interposed: the se_sys_getinfo, se_sys_enumerate, se_sys_set_7_segment_led,
// PD_Scan and pd_detach_by_dev_id defined below replace the library's for calls made inside the
// library too, so what is tested here is the registry alone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/conf_field.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"

namespace {

std::map<std::string, ENC_INFO> g_backend;  // what the scripted backend knows
std::vector<std::string> g_enumeration;     // what it enumerates, in order
int g_getinfo_calls = 0;
std::function<void(const char *)> g_during_getinfo;  // what another process does meanwhile
std::vector<std::pair<std::string, int>> g_segment_calls;
std::vector<std::pair<int, int>> g_pd_detached;

ENC_INFO make(const char *sys_id, const char *parent, uint32_t cap, int protocol = 0) {
    ENC_INFO info;
    memset(&info, 0, sizeof info);
    info.enc_id = -1;
    snprintf(info.enc_sys_id, sizeof info.enc_sys_id, "%s", sys_id);
    snprintf(info.enc_parent_sys_id, sizeof info.enc_parent_sys_id, "%s", parent);
    info.capability = cap;
    info.protocol = protocol;
    return info;
}

void add(const ENC_INFO &info) {
    g_backend[info.enc_sys_id] = info;
}

ENC_INFO with_wwn(ENC_INFO info, uint8_t first) {
    const uint8_t wwn[8] = {first, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
    memcpy(info.wwn, wwn, sizeof wwn);
    return info;
}

ENC_INFO with_serial(ENC_INFO info, const char *serial) {
    snprintf(info.serial, sizeof info.serial, "%s", serial);
    return info;
}

// The boards of the main unit as the backend describes them.
void add_main_unit() {
    add(make("root", "root", CAP_INTERNAL, ENC_PROTOCOL_ROOT));
    add(make("root_boot", "root", 0, ENC_PROTOCOL_BOOT));
    add(make("root_usb", "root", 0, ENC_PROTOCOL_USB));
    add(make("root_esata", "root", 0, ENC_PROTOCOL_SATA));
    add(make("root_cache", "root", CAP_INTERNAL, ENC_PROTOCOL_SATA));
    g_enumeration = {"root", "root_boot", "root_usb", "root_esata", "root_cache"};
}

// A daisy chain of SAS enclosures sg1 <- sg2 <- ... below the root.
void add_chain(int length) {
    for (int i = 1; i <= length; ++i) {
        std::string id = "sg" + std::to_string(i);
        std::string parent = i == 1 ? "root" : "sg" + std::to_string(i - 1);
        add(with_serial(make(id.c_str(), parent.c_str(), CAP_INTERNAL, ENC_PROTOCOL_SAS),
                        ("CHAIN" + std::to_string(i)).c_str()));
    }
}

using nashal::test::field;

bool bit(const char *file, const std::string &section, const char *key, int n) {
    return Ini_Conf_Bitmap_Is_Bit_Set(file, section.c_str(), key, n) == 1;
}

// The trace log, with the default mask, as a field engineer reads it after the fact.
constexpr const char *kTraceLog = "/var/log/hal_lib.log";

void trace_to_log() {
    ASSERT_TRUE(nashal::sim::write_file("/var/log/hal_lib.log.conf", "b:/var/log/hal_lib.log\n"));
}

bool logged(const std::string &line) {
    return nashal::sim::read_file(kTraceLog).find("\n" + line + "\n") != std::string::npos;
}

std::string section(int id) {
    return "Enclosure_" + std::to_string(id);
}

int log_tool_runs() {
    auto lines = nashal::sim::invocations();
    return static_cast<int>(std::count_if(lines.begin(), lines.end(), [](const std::string &l) {
        return l.find("log_tool") != std::string::npos;
    }));
}

class Registry : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        ASSERT_TRUE(nashal::sim::make_dirs("/etc/config"));
        add_main_unit();
    }
    nashal::sim::Appliance app_ = nashal::sim::Appliance::fresh();
};

}  // namespace

// The scripted backend.
extern "C" int se_sys_getinfo(const char *enc_sys_id, ENC_INFO *info) {
    ++g_getinfo_calls;
    if (g_during_getinfo)
        g_during_getinfo(enc_sys_id);
    auto it = g_backend.find(enc_sys_id ? enc_sys_id : "");
    if (it == g_backend.end())
        return -1;
    *info = it->second;
    return 0;
}

// An empty name in the script stands for an empty entry of the array.
extern "C" int se_sys_enumerate(char **ids, unsigned int max_count) {
    unsigned int n = 0;
    for (const auto &id : g_enumeration)
        if (n < max_count)
            ids[n++] = id.empty() ? nullptr : strdup(id.c_str());
    return static_cast<int>(n);
}

extern "C" int se_sys_set_7_segment_led(const char *enc_sys_id, int value) {
    g_segment_calls.emplace_back(enc_sys_id, value);
    return 0;
}

extern "C" int PD_Scan(int) {
    return 0;
}

extern "C" int pd_detach_by_dev_id(int enc_id, int port_id) {
    g_pd_detached.emplace_back(enc_id, port_id);
    return 0;
}

TEST_F(Registry, TestBackendReplacesTheLibraryBackend) {
    // If this fails, the library binds its own backend internally (e.g. -Bsymbolic) and every
    // other test of this file would test the real backend instead of the registry.
    EXPECT_EQ(se_attach("root", 0), 0);
    EXPECT_EQ(g_getinfo_calls, 1);
}

TEST_F(Registry, FirstBootGivesIdsByRange) {
    add(make("sg5", "root", CAP_INTERNAL, ENC_PROTOCOL_SAS));
    add(make("usb_2-1", "root", 0, ENC_PROTOCOL_USB));
    g_enumeration.push_back("sg5");
    g_enumeration.push_back("usb_2-1");
    ASSERT_EQ(SE_Scan(), 0);
    const std::map<std::string, int> expected = {
        {"root", 0},        {"root_boot", 32}, {"root_usb", 33}, {"root_esata", 34},
        {"root_cache", 23}, {"sg5", 1},        {"usb_2-1", 35}};
    for (const auto &[sys_id, id] : expected)
        EXPECT_EQ(se_lookup_id(sys_id.c_str()), id) << sys_id << " got the wrong enc_id";
    EXPECT_THAT(g_segment_calls, ::testing::ElementsAre(std::make_pair(std::string("sg5"), 1)))
        << "only SAS and Thunderbolt enclosures show their id";
}

TEST_F(Registry, AttachKeepsIdOfMovedEnclosure) {
    struct Case {
        const char *name;
        ENC_INFO before, after;
        bool keeps_id;
    };
    const Case cases[] = {
        {"by WWN", with_wwn(make("sg3", "root", CAP_INTERNAL), 0x50),
         with_wwn(make("sg7", "root", CAP_INTERNAL), 0x50), true},
        {"by serial", with_serial(make("usb_1-2", "root", 0), "SN123"),
         with_serial(make("usb_2-1", "root", 0), "SN123"), true},
        {"by system id only", make("usb_1-3", "root", 0), make("usb_1-4", "root", 0), false},
    };
    ASSERT_EQ(se_attach("root", 0), 0);
    for (const auto &c : cases) {
        add(c.before);
        ASSERT_EQ(se_attach(c.before.enc_sys_id, 0), 0) << c.name;
        int first = se_lookup_id(c.before.enc_sys_id);
        ASSERT_EQ(se_detach(c.before.enc_sys_id), 0) << c.name;
        g_backend.erase(c.before.enc_sys_id);
        add(c.after);
        ASSERT_EQ(se_attach(c.after.enc_sys_id, 0), 0) << c.name;
        int second = se_lookup_id(c.after.enc_sys_id);
        if (c.keeps_id)
            EXPECT_EQ(second, first) << c.name << ": a re-cabled enclosure got a new id";
        else
            EXPECT_NE(second, first) << c.name;
    }
}

TEST_F(Registry, ChainDepthIsLimitedAndReportedOnlyWhenAsked) {
    add_chain(5);
    for (int report : {0, 1}) {
        nashal::sim::clear_invocations();
        ASSERT_EQ(se_attach("root", report), 0);
        for (int i = 1; i <= 4; ++i)
            EXPECT_EQ(se_attach(("sg" + std::to_string(i)).c_str(), report), 0)
                << "depth " << i << " is within the default limit of 4";
        EXPECT_EQ(se_get_stack_id("sg4"), 4);
        EXPECT_EQ(se_attach("sg5", report), -1) << "the fifth enclosure of a chain must be refused";
        EXPECT_EQ(se_lookup_id("sg5"), -1);
        EXPECT_EQ(log_tool_runs(), report) << "log entry with report_limit " << report;
        if (report) {
            EXPECT_THAT(
                nashal::sim::invocations(),
                ::testing::Contains("/sbin/log_tool -a One SAS wide port supports maximum 4 "
                                    "RAID expansion enclosures to be daisy-chained "
                                    "together. -t 1"))
                << "the system log entry, quoted as one argument";
        }
        ASSERT_EQ(se_detach("root"), 0);
    }
}

TEST_F(Registry, MaxStackNumComesFromTheSystemSettings) {
    add_chain(3);
    ASSERT_TRUE(nashal::sim::write_file(SE_SYSTEM_CONF_FILE, "[MISC]\nMax Stack Num = 2\n"));
    ASSERT_EQ(se_attach("root", 0), 0);
    EXPECT_EQ(se_attach("sg2", 0), 0);
    EXPECT_EQ(se_attach("sg3", 0), -1);
    ASSERT_TRUE(nashal::sim::write_file(SE_SYSTEM_CONF_FILE, "[MISC]\nMax Stack Num = 0\n"));
    EXPECT_EQ(se_get_max_stack_num(), 4) << "a maximum below 1 falls back to 4";
}

TEST_F(Registry, ChildAttachesItsParentFirst) {
    add_chain(2);
    ASSERT_EQ(se_attach("root", 0), 0);
    ASSERT_EQ(se_attach("sg2", 0), 0);
    int parent = se_lookup_id("sg1");
    int child = se_lookup_id("sg2");
    ASSERT_GE(parent, 0) << "the parent was not attached before its child";
    EXPECT_LT(parent, child) << "the parent must take its id first";
    EXPECT_TRUE(bit(HAL_CONF_FILE, section(parent), "child_bitmap", child));
    EXPECT_TRUE(bit(HAL_CONF_FILE, section(0), "child_bitmap", parent));
    EXPECT_EQ(se_get_stack_id("sg2"), 2);
}

TEST_F(Registry, RefusedParentRefusesItsChild) {
    add_chain(6);
    ASSERT_EQ(se_attach("root", 0), 0);
    EXPECT_EQ(se_attach("sg6", 0), -1);
    EXPECT_EQ(se_lookup_id("sg5"), -1);
    EXPECT_EQ(se_lookup_id("sg6"), -1);
    EXPECT_EQ(se_get_stack_id("sg4"), 4) << "the part of the chain within the limit stays";
}

TEST_F(Registry, DetachTakesTheTreeAndItsDisksOut) {
    add_chain(2);
    ASSERT_EQ(se_attach("root", 0), 0);
    ASSERT_EQ(se_attach("sg2", 0), 0);
    int a = se_lookup_id("sg1"), b = se_lookup_id("sg2");
    ASSERT_TRUE(nashal::sim::write_file("/etc/enclosure_" + std::to_string(a) + ".conf",
                                        "[Index]\npd_bitmap = 0x6\n"));
    ASSERT_TRUE(nashal::sim::write_file("/etc/enclosure_" + std::to_string(b) + ".conf",
                                        "[Index]\npd_bitmap = 0x1\n"));

    ASSERT_EQ(se_pre_detach("sg1"), 0);
    EXPECT_EQ(se_get_status(a), SE_STATUS_REMOVING);
    EXPECT_EQ(se_get_status(b), SE_STATUS_REMOVING) << "direct children are marked too";
    EXPECT_EQ(se_get_status(0), SE_STATUS_NORMAL);

    ASSERT_EQ(se_detach("sg1"), 0);
    EXPECT_EQ(se_lookup_id("sg1"), -1);
    EXPECT_EQ(se_lookup_id("sg2"), -1) << "the child stayed attached after its parent left";
    EXPECT_EQ(field(HAL_CONF_FILE, section(b), "enc_id"), "<missing>");
    EXPECT_FALSE(bit(HAL_CONF_FILE, "Index", "enc_bitmap", a));
    EXPECT_FALSE(bit(HAL_CONF_FILE, section(0), "child_bitmap", a));
    EXPECT_FALSE(nashal::sim::exists("/etc/enclosure_" + std::to_string(a) + ".conf"));
    EXPECT_THAT(g_pd_detached, ::testing::ElementsAre(std::make_pair(b, 0), std::make_pair(a, 1),
                                                      std::make_pair(a, 2)))
        << "children first, then each disk of the enclosure";
    EXPECT_EQ(field(SE_DETACHED_FILE, section(a), "pd_bitmap"), "0x6");
    EXPECT_TRUE(bit(SE_ENC_MAP_FILE, "Index", "enc_bitmap", a)) << "detach must keep the map";
    EXPECT_EQ(se_detach("sg1"), -1);
    EXPECT_EQ(se_pre_detach(nullptr), -1);
}

TEST_F(Registry, HotswapCheckAnswersOncePerPort) {
    ASSERT_TRUE(nashal::sim::write_file(SE_DETACHED_FILE, "[Enclosure_3]\npd_bitmap = 0x5\n"));
    EXPECT_EQ(SE_Hotswap_Check_PD(3, 0), 1);
    EXPECT_EQ(SE_Hotswap_Check_PD(3, 0), 0) << "a returning disk is reported once only";
    EXPECT_EQ(SE_Hotswap_Check_PD(3, 1), 0);
    EXPECT_EQ(SE_Hotswap_Check_PD(3, 2), 1);

    ASSERT_TRUE(nashal::sim::write_file(SE_DETACHED_FILE,
                                        "[Enclosure_4]\npd_bitmap = 0x1\ndetached = 1\n"));
    EXPECT_EQ(SE_Hotswap_Check_PD(4, 0), 0) << "a released id forgets its disks";
    EXPECT_EQ(field(SE_DETACHED_FILE, section(4), "pd_bitmap"), "<missing>");
}

TEST_F(Registry, ReleaseOfAllIdsDeletesTheMap) {
    ASSERT_EQ(SE_Scan(), 0);
    ASSERT_TRUE(nashal::sim::exists(SE_ENC_MAP_FILE));
    EXPECT_EQ(SE_Release_Id(-1), 0);
    EXPECT_FALSE(nashal::sim::exists(SE_ENC_MAP_FILE));
    EXPECT_EQ(field(SE_DETACHED_FILE, "Enclosure_-1", "detached"), "1");
}

TEST_F(Registry, ReleaseOfOneIdRemovesBothMapEntries) {
    ASSERT_EQ(SE_Scan(), 0);
    EXPECT_EQ(SE_Release_Id(33), 0);
    EXPECT_FALSE(bit(SE_ENC_MAP_FILE, "Index", "enc_bitmap", 33));
    EXPECT_EQ(field(SE_ENC_MAP_FILE, "Index", "enc_uid_root_usb"), "<missing>");
    EXPECT_EQ(field(SE_ENC_MAP_FILE, "Index", "33"), "<missing>");
    EXPECT_EQ(field(SE_ENC_MAP_FILE, "Index", "enc_uid_root_esata"), "34") << "others stay";
    EXPECT_EQ(SE_Release_Id(33), -1) << "an id not in the map";
}

TEST_F(Registry, AnyIdAvailableIgnoresIdZeroAndIdsAboveTheLimit) {
    ASSERT_TRUE(nashal::sim::write_file(SE_ENC_MAP_FILE, "[Index]\nenc_bitmap = 0xFFFFFFFE\n"));
    EXPECT_EQ(SE_Is_Id_Available(-1), 0);
    EXPECT_EQ(SE_Is_Id_Available(0), 1);
    EXPECT_EQ(SE_Is_Id_Available(5), 0);
    ASSERT_TRUE(nashal::sim::write_file(SE_SYSTEM_CONF_FILE, "[MISC]\nMax Enclosure Id = 40\n"));
    EXPECT_EQ(SE_Is_Id_Available(-1), 1) << "id 32 is free and within the raised limit";
}

TEST_F(Registry, InternalIdsEndAt31) {
    ASSERT_TRUE(nashal::sim::write_file(SE_ENC_MAP_FILE, "[Index]\nenc_bitmap = 0xFFFFFFFF\n"));
    add(make("sg9", "root", CAP_INTERNAL, ENC_PROTOCOL_SAS));
    ASSERT_TRUE(nashal::sim::write_file(HAL_CONF_FILE,
                                        "[Index]\nenc_bitmap = 0x1\nenc_sysid_root = 0\n"
                                        "[Enclosure_0]\nenc_id = 0\nenc_sys_id = root\n"
                                        "stack_id = 0\n"));
    EXPECT_EQ(se_attach("sg9", 0), -1);
    EXPECT_FALSE(bit(SE_ENC_MAP_FILE, "Index", "enc_bitmap", 32)) << "the id must be given back";
}

TEST_F(Registry, ExportAndImportCarryTheMap) {
    ASSERT_EQ(SE_Scan(), 0);
    ASSERT_EQ(unlink(SE_ENC_MAP_FILE), 0);
    EXPECT_EQ(SE_Import_Enc_Map(), -1);
    EXPECT_EQ(se_sync_enc_bitmap(), 0);
    EXPECT_EQ(field(SE_ENC_MAP_FILE, "Index", "enc_bitmap"),
              field(HAL_CONF_FILE, "Index", "enc_bitmap"));
    ASSERT_EQ(unlink(SE_ENC_MAP_FILE), 0);
    EXPECT_EQ(SE_Export_Enc_Map(), 0);
    EXPECT_EQ(field(SE_ENC_MAP_FILE, "Index", "enc_uid_root_cache"), "23");
    EXPECT_EQ(field(SE_ENC_MAP_FILE, "Index", "23"), "enc_uid_root_cache");
    EXPECT_EQ(SE_Import_Enc_Map(), 0);

    ASSERT_EQ(unlink(SE_ENC_MAP_FILE), 0);
    ASSERT_EQ(unlink(HAL_CONF_FILE), 0);
    EXPECT_EQ(se_sync_enc_bitmap(), 0);
    EXPECT_TRUE(nashal::sim::exists(SE_ENC_MAP_FILE))
        << "with nothing attached the map must still be created, with an empty bitmap";
    EXPECT_EQ(SE_Import_Enc_Map(), 0);
}

TEST_F(Registry, UniqueIdPrefersRoleThenWwnThenSerial) {
    char uid[HAL_SERIAL_LEN];
    ENC_INFO root = with_wwn(make("root_usb", "root", 0), 0x50);
    ASSERT_EQ(SE_Get_Unique_Id(&root, uid, sizeof uid), 0);
    EXPECT_STREQ(uid, "root_usb");
    ENC_INFO sas = with_serial(with_wwn(make("sg2", "root", 0), 0xab), "S1");
    SE_Get_Unique_Id(&sas, uid, sizeof uid);
    EXPECT_STREQ(uid, "AB22334455667788");
    ENC_INFO usb = with_serial(make("usb_1-1", "root", 0), "S1");
    SE_Get_Unique_Id(&usb, uid, sizeof uid);
    EXPECT_STREQ(uid, "S1");
    SE_Get_Unique_Id(&usb, uid, 2);
    EXPECT_STREQ(uid, "S") << "the result is cut to the given size";
    EXPECT_EQ(SE_Get_Unique_Id(nullptr, uid, sizeof uid), -1);
}

TEST_F(Registry, TwoProcessesAttachingAtOnceGetDistinctIds) {
    ASSERT_EQ(se_attach("root", 0), 0);
    const int per_child = 6;
    for (int c = 0; c < 2; ++c)
        for (int i = 0; i < per_child; ++i) {
            std::string id = "usb_" + std::to_string(c + 1) + "-" + std::to_string(i + 1);
            add(with_serial(make(id.c_str(), "root", 0, ENC_PROTOCOL_USB), id.c_str()));
        }
    pid_t pids[2];
    for (int c = 0; c < 2; ++c) {
        pids[c] = fork();
        ASSERT_GE(pids[c], 0);
        if (pids[c] == 0) {
            int failures = 0;
            for (int i = 0; i < per_child; ++i) {
                std::string id = "usb_" + std::to_string(c + 1) + "-" + std::to_string(i + 1);
                failures += se_attach(id.c_str(), 0) != 0;
            }
            _exit(failures);
        }
    }
    for (pid_t pid : pids) {
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "an attach failed";
    }
    std::set<int> ids;
    for (int c = 0; c < 2; ++c)
        for (int i = 0; i < per_child; ++i) {
            std::string id = "usb_" + std::to_string(c + 1) + "-" + std::to_string(i + 1);
            int enc_id = se_lookup_id(id.c_str());
            ASSERT_GE(enc_id, 32) << id << " is not attached";
            EXPECT_TRUE(ids.insert(enc_id).second) << id << " shares enc_id " << enc_id;
            EXPECT_EQ(field(SE_ENC_MAP_FILE, "Index", "enc_uid_" + id), std::to_string(enc_id));
            EXPECT_EQ(field(SE_ENC_MAP_FILE, "Index", std::to_string(enc_id)), "enc_uid_" + id);
            EXPECT_TRUE(bit(HAL_CONF_FILE, "Index", "enc_bitmap", enc_id));
            EXPECT_TRUE(bit(HAL_CONF_FILE, section(0), "child_bitmap", enc_id));
        }
    EXPECT_EQ(SE_Enumerate(nullptr, 0, nullptr, nullptr), 1 + 2 * per_child);
}

TEST_F(Registry, ScanAttachesUpToTheFirstEmptyEntry) {
    // What stands behind the empty entry is not attached, and is still freed: a leak here shows
    // as a failure of this case under the leak checker.
    g_enumeration = {"root", "root_boot", "", "root_usb"};
    ASSERT_EQ(SE_Scan(), 0);
    EXPECT_EQ(se_lookup_id("root_boot"), 32);
    EXPECT_EQ(se_lookup_id("root_usb"), -1) << "an enclosure behind an empty entry was attached";
}

TEST_F(Registry, MissingFilesAreTracedAsExpectedMisses) {
    trace_to_log();
    ASSERT_TRUE(nashal::sim::write_file(HAL_CONF_FILE, "[Index]\nenc_bitmap = 0x1\n"));
    ASSERT_EQ(SE_Scan(), 0);
    EXPECT_TRUE(logged("se_remove_conf_file: can't remove file /etc/enclosure_0.conf!"))
        << nashal::sim::read_file(kTraceLog);
    ASSERT_TRUE(nashal::sim::exists(HAL_CONF_FILE));
    ASSERT_EQ(SE_Scan(), 0);  // a second scan finds the file the first one wrote
    ASSERT_EQ(unlink(HAL_CONF_FILE), 0);
    ASSERT_EQ(SE_Scan(), 0);
    EXPECT_TRUE(logged("se_remove_hal_conf_file: can't remove file /etc/hal.conf!"))
        << nashal::sim::read_file(kTraceLog);
    ASSERT_EQ(se_detach("root_usb"), 0);
    EXPECT_TRUE(logged("se_remove_conf: can't remove file /etc/enclosure_33.conf!"))
        << nashal::sim::read_file(kTraceLog);
}

TEST_F(Registry, FullTextFieldsAreStoredWithoutTheNextField) {
    // The backend fills vendor, model, serial and revision to the last byte, with no
    // terminator: each is stored as it stands, not run on into the field behind it.
    ENC_INFO info = make("sg4", "root", CAP_INTERNAL, ENC_PROTOCOL_SAS);
    memset(info.vendor, 'V', sizeof info.vendor);
    memset(info.model, 'M', sizeof info.model);
    memset(info.serial, 'S', sizeof info.serial);
    memset(info.revision, 'R', sizeof info.revision);
    add(info);
    ASSERT_EQ(se_attach("root", 0), 0);
    ASSERT_EQ(se_attach("sg4", 0), 0);
    const std::string s = section(se_lookup_id("sg4"));
    EXPECT_EQ(field(HAL_CONF_FILE, s, "vendor"), std::string(sizeof info.vendor, 'V'));
    EXPECT_EQ(field(HAL_CONF_FILE, s, "model"), std::string(sizeof info.model, 'M'));
    EXPECT_EQ(field(HAL_CONF_FILE, s, "serial"), std::string(sizeof info.serial, 'S'));
    EXPECT_EQ(field(HAL_CONF_FILE, s, "revision"), std::string(sizeof info.revision, 'R'));
}

TEST_F(Registry, CyclesEndInARefusalNotACrash) {
    // Two enclosures that name each other as parent: neither attaches.
    add(make("sg7", "sg8", CAP_INTERNAL, ENC_PROTOCOL_SAS));
    add(make("sg8", "sg7", CAP_INTERNAL, ENC_PROTOCOL_SAS));
    ASSERT_EQ(se_attach("root", 0), 0);
    EXPECT_EQ(se_attach("sg7", 0), -1);
    EXPECT_EQ(se_lookup_id("sg7"), -1);
    EXPECT_EQ(se_lookup_id("sg8"), -1);

    // A damaged /etc/hal.conf whose enclosures list themselves and each other as children:
    // detach still takes them all out.
    ASSERT_TRUE(nashal::sim::write_file(
        HAL_CONF_FILE,
        "[Index]\nenc_bitmap = 0x7\nenc_sysid_root = 0\nenc_sysid_sg1 = 1\n"
        "enc_sysid_sg2 = 2\n"
        "[Enclosure_0]\nenc_id = 0\nenc_sys_id = root\nchild_bitmap = 0x3\n"
        "[Enclosure_1]\nenc_id = 1\nenc_sys_id = sg1\nenc_parent_sys_id = root\n"
        "child_bitmap = 0x7\n"
        "[Enclosure_2]\nenc_id = 2\nenc_sys_id = sg2\nenc_parent_sys_id = sg1\n"
        "child_bitmap = 0x6\n"));
    EXPECT_EQ(se_detach("root"), 0);
    for (const char *sys_id : {"root", "sg1", "sg2"})
        EXPECT_EQ(se_lookup_id(sys_id), -1) << sys_id << " stayed attached";
    EXPECT_EQ(Ini_Conf_Bitmap_Get_Set_Count(HAL_CONF_FILE, "Index", "enc_bitmap"), 0);
}

TEST_F(Registry, AttachRacingAnotherAttachOfTheSameEnclosureTakesItsId) {
    // Another hot-plug handler attaches sg6 as id 1 while this one asks the backend about it:
    // this attach then writes the same section under the same id, and takes no second id.
    add(with_serial(make("sg6", "root", CAP_INTERNAL, ENC_PROTOCOL_SAS), "RACE"));
    ASSERT_EQ(se_attach("root", 0), 0);
    g_during_getinfo = [](const char *sys_id) {
        if (strcmp(sys_id, "sg6") == 0) {
            Ini_Conf_Set_Field(HAL_CONF_FILE, "Index", "enc_sysid_sg6", "1");
            Ini_Conf_Bitmap_Set_Bit(SE_ENC_MAP_FILE, "Index", "enc_bitmap", 1);
        }
    };
    EXPECT_EQ(se_attach("sg6", 0), 0) << "the second of two racing attaches reported a failure";
    EXPECT_EQ(se_lookup_id("sg6"), 1);
    EXPECT_EQ(field(HAL_CONF_FILE, section(1), "enc_sys_id"), "sg6");
    EXPECT_FALSE(bit(SE_ENC_MAP_FILE, "Index", "enc_bitmap", 2)) << "a second id was taken";
}

// Each failure and decision of the registry is told in the log by its own text at its own
// level: a field engineer filters by level, so a text at the wrong level is as lost as a
// missing one. Every case runs from the same files: root attached as 0 and known to the map.
TEST_F(Registry, EachPathTellsItsTextAtItsLevel) {
    add_chain(5);
    const std::string attached_root =
        "[Index]\nenc_bitmap = 0x1\nenc_sysid_root = 0\n"
        "[Enclosure_0]\nenc_id = 0\nenc_sys_id = root\nenc_parent_sys_id = root\nstack_id = 0\n";
    const std::string map_with_root =
        "[Index]\nenc_bitmap = 0x1\nenc_uid_root = 0\n0 = enc_uid_root\n";
    struct Case {
        int level;
        std::string hal_conf, map;
        std::function<int()> call;
        int result;
        std::string logged;
    } cases[] = {
        {1, attached_root, map_with_root, [] { return se_detach("sg9"); }, -1,
         "se_detach: enc_sys_id = sg9 is invalid!"},
        {1, attached_root, map_with_root, [] { return se_pre_detach(nullptr); }, -1,
         "se_pre_detach: enc_sys_id = (null) is invalid!"},
        {1, attached_root, "", [] { return SE_Import_Enc_Map(); }, -1,
         "SE_Import_Enc_Map: can't find /etc/config/enclosure.map!"},
        {8, attached_root, map_with_root, [] { return SE_Import_Enc_Map(); }, 0,
         "SE_Import_Enc_Map: write enc_bitmap = 0x1."},
        {2, "", "", [] { return se_attach("root_esata", 0); }, -1,
         "se_attach: the parent stack id -1 is illegal, ignore the attachment."},
        {2,
         "[Index]\nenc_bitmap = 0x11\nenc_sysid_root = 0\nenc_sysid_sg4 = 4\n"
         "[Enclosure_4]\nenc_id = 4\nenc_sys_id = sg4\nstack_id = 4\n",
         map_with_root, [] { return se_attach("sg5", 1); }, -1,
         "se_attach: the current stack id 5 exceed the max stack number 4."},
        {1, attached_root, "[Index]\nenc_bitmap = 0xFFFFFFFF\n", [] { return se_attach("sg1", 0); },
         -1,
         "se_acquire_id: the allocated enclosure id 32 exceeds the max internal enclosure "
         "identifier 31!"},
        {2, attached_root, map_with_root,
         [] {
             int id = -1;
             ENC_INFO info = make("root", "root", CAP_INTERNAL);
             return se_get_id("root", &id, &info);
         },
         -1, "se_get_id: the enclosure id 0 for root exist!"},
        {8, "", map_with_root, [] { return se_attach("root", 0); }, 0,
         "se_lookup_id_in_persistent_mapping: Enclosure UID:root is found in persistent mapping "
         "file, last allocated enc_id = 0."},
        {8, "", "", [] { return se_attach("root", 0); }, 0,
         "se_attach: Enclosure UID:root is missed in persistent mapping file, allocate enc_id = "
         "0."},
        {8, "", "", [] { return se_attach("root", 0); }, 0,
         "se_write_enc_map: write enc_uid_root = 0."},
        {4, "", "", [] { return se_attach("root", 0); }, 0, "se_attach(root) entering..."},
        {4, "", "", [] { return se_attach("root", 0); }, 0,
         "se_attach(root) with enc_id = 0 leave."},
        {4, "", "", [] { return se_attach(nullptr, 0); }, -1,
         "se_attach((null)) with enc_id = -1 leave."},
        {2, attached_root + "child_bitmap = 0x20\n", map_with_root,
         [] { return se_detach("root"); }, 0,
         "se_child_detach_callback: fail to lookup enc_sys_id for enclosure 5!"},
        {2, "[Index]\nenc_bitmap = 0x9\nenc_sysid_root = 0\nenc_sysid_sg3 = 3\n", map_with_root,
         [] { return se_detach("sg3"); }, 0,
         "se_remove_conf: can't lookup system id for enclosure 3!"},
    };
    for (const auto &c : cases) {
        for (int mask : {c.level, 0xFFFF & ~c.level}) {
            unlink(HAL_CONF_FILE);
            unlink(SE_ENC_MAP_FILE);
            if (!c.hal_conf.empty()) {
                ASSERT_TRUE(nashal::sim::write_file(HAL_CONF_FILE, c.hal_conf));
            }
            if (!c.map.empty()) {
                ASSERT_TRUE(nashal::sim::write_file(SE_ENC_MAP_FILE, c.map));
            }
            unlink(kTraceLog);
            HAL_Set_Debug(mask, kTraceLog);
            EXPECT_EQ(c.call(), c.result) << c.logged;
            EXPECT_EQ(logged(c.logged), mask == c.level)
                << "\"" << c.logged << "\" " << (logged(c.logged) ? "appears" : "is missing")
                << " with trace mask 0x" << std::hex << mask << "\n"
                << nashal::sim::read_file(kTraceLog);
        }
    }
}

// The whole section of an enclosure that fills every optional field, as other programs read it:
// the WWN as sixteen upper-case digits between enc_sys_id and serial, the connector words
// joined by commas (never more than the record holds), the channel counts for the root only.
TEST_F(Registry, SectionHoldsEveryOptionalFieldInItsPlace) {
    ENC_INFO root = make("root", "root", CAP_INTERNAL, ENC_PROTOCOL_ROOT);
    root.ss_max_channels = 16;
    root.ss_free_channels = 4;
    add(root);
    ENC_INFO sas = with_serial(
        with_wwn(make("sg3", "root", CAP_INTERNAL | 0x1, ENC_PROTOCOL_SAS), 0x5c), "SN-77");
    snprintf(sas.vendor, sizeof sas.vendor, "Vornix");
    snprintf(sas.model, sizeof sas.model, "JX-12");
    snprintf(sas.revision, sizeof sas.revision, "01.02");
    sas.max_disk_num = 12;
    sas.max_fan_num = 2;
    sas.max_temp_num = 3;
    sas.max_conn_num = 10;  // more connectors counted than the record has words for
    for (int i = 0; i < MAX_CONN_NUM; ++i)
        sas.conn_status[i] = static_cast<uint32_t>(0xa0 + i);
    sas.ss_max_channels = 16;  // not the root: not stored
    sas.ss_free_channels = 4;
    sas.cache_port_bitmap = 0x1FFE;
    add(sas);
    ASSERT_EQ(se_attach("root", 0), 0);
    ASSERT_EQ(se_attach("sg3", 0), 0);
    ASSERT_EQ(se_lookup_id("sg3"), 1);
    const std::string text = nashal::sim::read_file(HAL_CONF_FILE);
    EXPECT_NE(text.find("[Enclosure_0]\nenc_id = 0\nenc_sys_id = root\nvendor =\nmodel =\n"
                        "status = 0\nprotocol = 0\ncapability = 0x80000000\nmax_disk_num = 0\n"
                        "max_fan_num = 0\nmax_temp_num = 0\nmax_pcie_num = 0\nmax_nic_num = 0\n"
                        "max_conn_num = 0\nenc_parent_sys_id = root\nenc_parent_port_id = 0\n"
                        "stack_id = 0\nrevision =\ncache_port_bitmap = 0x0\n"
                        "ss_max_channels = 16\nss_free_channels = 4\nchild_bitmap = 0x2\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("[Enclosure_1]\nenc_id = 1\nenc_sys_id = sg3\nwwn = 5C22334455667788\n"
                        "serial = SN-77\nvendor = Vornix\nmodel = JX-12\nstatus = 0\n"
                        "protocol = 3\ncapability = 0x80000001\nmax_disk_num = 12\n"
                        "max_fan_num = 2\nmax_temp_num = 3\nmax_pcie_num = 0\nmax_nic_num = 0\n"
                        "max_conn_num = 10\nenc_parent_sys_id = root\nenc_parent_port_id = 0\n"
                        "stack_id = 1\nrevision = 01.02\ncache_port_bitmap = 0x1FFE\n"
                        "conn_status = 0xa0,0xa1,0xa2,0xa3,0xa4,0xa5,0xa6,0xa7\n"),
              std::string::npos)
        << text;
}

// No map can be written (its folder is missing): no id can be given out, and nothing is
// attached: no section, no index entry, no bit, no disks scanned.
TEST_F(Registry, AttachWithoutAWritableMapAttachesNothing) {
    nashal::sim::remove_tree("/etc/config");
    int acquired = 7;
    ENC_INFO root = make("root", "root", CAP_INTERNAL);
    EXPECT_NE(se_acquire_id("root", &acquired, &root), 0) << "the store's failure is passed on";
    EXPECT_EQ(se_attach("root", 0), -1);
    EXPECT_EQ(se_lookup_id("root"), -1);
    EXPECT_EQ(field(HAL_CONF_FILE, section(0), "enc_id"), "<missing>");
    EXPECT_FALSE(bit(HAL_CONF_FILE, "Index", "enc_bitmap", 0));
    EXPECT_EQ(SE_Scan(), 0);
    EXPECT_LE(SE_Enumerate(nullptr, 0, nullptr, nullptr), 0)
        << "a scan without a map attached something";
}
