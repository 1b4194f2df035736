// What a boot scan of each example board leaves in /etc/hal.conf, /etc/config/enclosure.map and
// the disk records /etc/enclosure_%d.conf, byte for byte, and whole hot-plug sequences of the
// main unit's enclosures on the real backend. The expected files stand beside this test in
// golden/<board>.hal.conf, golden/<board>.enclosure.map and golden/<board>.enclosure_<id>.conf:
// other programs on the appliance read these files, so a field that moves, changes its format
// or goes missing is a fault even when the library's own readers don't notice.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/ini_conf.h"
#include "registry/conf_field.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/example_boards.h"
#include "sim/fs.h"

namespace {

const std::string kExamples = NASHAL_EXAMPLES_DIR;

// The folder of this source file, where the expected files are kept.
std::string golden_path(const std::string &name) {
    std::string here = __FILE__;
    return here.substr(0, here.find_last_of('/')) + "/golden/" + name;
}

// Read on the host side, before the appliance takes over the process's view.
std::string host_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

using nashal::test::field;

class FirstBoot : public ::testing::TestWithParam<const char *> {};

// The expected disk files of a board: golden/<board>.enclosure_<id>.conf, by file name.
std::map<std::string, std::string> golden_disk_files(const std::string &board) {
    std::map<std::string, std::string> files;
    std::string dir = golden_path("");
    for (const auto &name : nashal::sim::list_dir(dir)) {
        std::string prefix = board + ".enclosure_";
        if (name.rfind(prefix, 0) == 0)
            files["/etc/" + name.substr(board.size() + 1)] = host_file(dir + name);
    }
    return files;
}

std::map<std::string, std::string> disk_files() {
    std::map<std::string, std::string> files;
    for (const auto &name : nashal::sim::list_dir("/etc")) {
        if (name.rfind("enclosure_", 0) == 0 && name.size() > 5 &&
            name.compare(name.size() - 5, 5, ".conf") == 0)
            files["/etc/" + name] = nashal::sim::read_file("/etc/" + name);
    }
    return files;
}

// "/etc/init.d/pd_attach <enc_id> <port_id> <device>" for every record of the registry: the
// disks of each enclosure file and the boot disks of /etc/hal.conf.
std::vector<std::string> expected_attach_hooks() {
    std::vector<std::string> lines;
    auto add = [&](const char *file, const std::string &section, int enc_id) {
        std::string port = field(file, section, "port_id");
        std::string name = field(file, section, "pd_sys_name");
        lines.push_back("/etc/init.d/pd_attach " + std::to_string(enc_id) + " " + port + " " +
                        name);
    };
    for (const auto &[file, text] : disk_files()) {
        int enc_id = atoi(file.c_str() + strlen("/etc/enclosure_"));
        for (int port = 0; port < 64; ++port) {
            if (PD_Is_Exist(enc_id, port))
                add(file.c_str(), "PhysicalDisk_" + std::to_string(port), enc_id);
        }
    }
    int boot = se_lookup_id("root_boot");
    for (int port = 0; port < 8; ++port) {
        std::string section = "BootDisk_" + std::to_string(port);
        if (field(HAL_CONF_FILE, section, "port_id") != "<missing>")
            add(HAL_CONF_FILE, section, boot);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

// The hooks run in the background: the lines that have arrived within a few seconds.
std::vector<std::string> attach_hooks_run(size_t expected) {
    std::vector<std::string> lines;
    for (int tries = 0; tries < 100; ++tries) {
        lines.clear();
        for (const auto &line : nashal::sim::invocations()) {
            if (line.rfind("/etc/init.d/pd_attach ", 0) == 0)
                lines.push_back(line);
        }
        if (lines.size() >= expected)
            break;
        usleep(100 * 1000);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

}  // namespace

TEST_P(FirstBoot, HalConfAndMapAreExactlyTheExpectedFiles) {
    const std::string board = GetParam();
    const std::string hal_conf = host_file(golden_path(board + ".hal.conf"));
    const std::string enc_map = host_file(golden_path(board + ".enclosure.map"));
    ASSERT_FALSE(hal_conf.empty()) << "no expected file " << golden_path(board + ".hal.conf");
    ASSERT_FALSE(enc_map.empty()) << "no expected file " << golden_path(board + ".enclosure.map");

    // Read on the host before activation: inside the appliance /tmp is the board's, so a
    // source tree under /tmp would show no expected files.
    const auto disks = golden_disk_files(board);
    auto app = nashal::sim::Appliance::copy_of(kExamples + "/" + board);
    ASSERT_TRUE(app.activate());
    ASSERT_FALSE(nashal::sim::exists(SE_ENC_MAP_FILE)) << "a first boot starts without a map";
    nashal::sim::clear_invocations();
    ASSERT_EQ(SE_Scan(), 0);
    EXPECT_EQ(nashal::sim::read_file(HAL_CONF_FILE), hal_conf)
        << board << ": /etc/hal.conf after the first boot scan differs from the expected file";
    EXPECT_EQ(nashal::sim::read_file(SE_ENC_MAP_FILE), enc_map)
        << board << ": the persistent map after the first boot scan differs";
    EXPECT_EQ(disk_files(), disks)
        << board << ": the disk records after the first boot scan differ from the expected files";
    auto hooks = expected_attach_hooks();
    EXPECT_EQ(attach_hooks_run(hooks.size()), hooks)
        << board << ": the attach hook must run once for each disk recorded";

    // A second boot with the same hardware takes every id from the map: both files come out
    // the same, and the map gains no entry.
    ASSERT_EQ(SE_Scan(), 0);
    EXPECT_EQ(nashal::sim::read_file(HAL_CONF_FILE), hal_conf) << board << ", second boot";
    EXPECT_EQ(nashal::sim::read_file(SE_ENC_MAP_FILE), enc_map) << board << ", second boot";
    EXPECT_EQ(disk_files(), disks) << board << ", second boot";
}

INSTANTIATE_TEST_SUITE_P(ExampleBoards, FirstBoot,
                         ::testing::Values("x86-8bay", "soc-2bay", "x86-pcie-sas", "x86-12bay-sas"),
                         nashal::test::BoardCaseName());

namespace {

class HotPlug : public ::testing::Test {
  protected:
    void SetUp() override {
        golden_conf_ = host_file(golden_path("x86-8bay.hal.conf"));
        ASSERT_TRUE(app_.activate());
        ASSERT_EQ(SE_Scan(), 0);
        map_ = nashal::sim::read_file(SE_ENC_MAP_FILE);
        ASSERT_FALSE(map_.empty());
    }
    ENC_INFO info(int id) {
        ENC_INFO record;
        memset(&record, 0, sizeof record);
        EXPECT_EQ(SE_Get_Info(id, &record), 0) << "enclosure " << id;
        return record;
    }
    nashal::sim::Appliance app_ = nashal::sim::Appliance::copy_of(kExamples + "/x86-8bay");
    std::string golden_conf_;
    std::string map_;
};

bool same_record(const ENC_INFO &a, const ENC_INFO &b) {
    return memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace

// The eSATA enclosure goes with two disks in it and comes back: it keeps its id and its
// description, the map is not touched, and its disks are recognised once each as ones that
// left with it.
TEST_F(HotPlug, EsataLeavesWithItsDisksAndComesBackUnderItsId) {
    const int esata = se_lookup_id("root_esata");
    ASSERT_EQ(esata, 34);
    const ENC_INFO before = info(esata);
    ASSERT_TRUE(nashal::sim::write_file("/etc/enclosure_34.conf", "[Index]\npd_bitmap = 0x3\n"));

    EXPECT_EQ(SE_Sys_Attach("root_esata", 1), -1) << "an attached enclosure attaches once";

    ASSERT_EQ(SE_Sys_Pre_Detach("root_esata"), 0);
    EXPECT_EQ(se_get_status(esata), SE_STATUS_REMOVING);
    for (int other : {0, 23, 32, 33})
        EXPECT_EQ(se_get_status(other), SE_STATUS_NORMAL) << "enclosure " << other;

    ASSERT_EQ(SE_Sys_Detach("root_esata"), 0);
    EXPECT_EQ(se_lookup_id("root_esata"), -1);
    EXPECT_EQ(field(HAL_CONF_FILE, "Enclosure_34", "enc_id"), "<missing>");
    EXPECT_EQ(field(HAL_CONF_FILE, "Index", "enc_bitmap"), "0x300800001");
    EXPECT_EQ(field(HAL_CONF_FILE, "Enclosure_0", "child_bitmap"), "0x300800000")
        << "the root still lists the eSATA enclosure as its child";
    EXPECT_FALSE(nashal::sim::exists("/etc/enclosure_34.conf"));
    EXPECT_EQ(nashal::sim::read_file(SE_DETACHED_FILE), "[Enclosure_34]\npd_bitmap = 0x3\n")
        << "the disks the enclosure held when it went";
    EXPECT_EQ(nashal::sim::read_file(SE_ENC_MAP_FILE), map_) << "a detach must leave the map";
    EXPECT_EQ(SE_Sys_Detach("root_esata"), -1) << "a detached enclosure is unknown";
    EXPECT_EQ(SE_Sys_Pre_Detach("root_esata"), -1);

    nashal::sim::clear_invocations();
    ASSERT_EQ(SE_Sys_Attach("root_esata", 1), 0);
    EXPECT_EQ(se_lookup_id("root_esata"), esata) << "a returning enclosure got a new id";
    EXPECT_TRUE(same_record(info(esata), before))
        << "the returning enclosure is described differently";
    EXPECT_EQ(field(HAL_CONF_FILE, "Index", "enc_bitmap"), "0x700800001");
    EXPECT_EQ(field(HAL_CONF_FILE, "Enclosure_0", "child_bitmap"), "0x700800000");
    EXPECT_EQ(nashal::sim::read_file(SE_ENC_MAP_FILE), map_) << "a re-attach must add nothing";
    // The enclosure is announced to udev once; its disks are scanned in again on the way.
    std::vector<std::string> announced;
    for (const auto &line : nashal::sim::invocations()) {
        if (line.rfind("/sbin/udevadm control --env=root_esata=", 0) == 0)
            announced.push_back(line);
    }
    EXPECT_THAT(announced, ::testing::ElementsAre("/sbin/udevadm control --env=root_esata=enc"));
    EXPECT_EQ(PD_Enumerate(esata, nullptr, 0, nullptr, nullptr), 3);

    struct Check {
        int port;
        int answer;
    } checks[] = {{0, 1}, {0, 0}, {2, 0}, {1, 1}, {1, 0}};
    for (const auto &c : checks)
        EXPECT_EQ(SE_Hotswap_Check_PD(esata, c.port), c.answer) << "port " << c.port;
    EXPECT_EQ(field(SE_DETACHED_FILE, "Enclosure_34", "pd_bitmap"), "0x0");
    EXPECT_EQ(SE_Hotswap_Clear_Enc(esata), 0);
    EXPECT_EQ(field(SE_DETACHED_FILE, "Enclosure_34", "pd_bitmap"), "<missing>");
}

// The whole main unit goes: every sub-enclosure is its child and leaves before it, each with
// its own record of disks. Attaching the root again brings the root alone back, under 0.
TEST_F(HotPlug, DetachOfTheRootTakesEverySubEnclosureOut) {
    ASSERT_EQ(SE_Sys_Detach("root"), 0);
    EXPECT_EQ(SE_Enumerate(nullptr, 0, nullptr, nullptr), 0);
    // Only the boot disk's record stays: it lives in /etc/hal.conf, not in an enclosure's file,
    // and the next scan rebuilds the file anyway.
    const std::string conf = nashal::sim::read_file(HAL_CONF_FILE);
    EXPECT_EQ(conf.rfind("[Index]\nenc_bitmap = 0x0\n[BootDisk_0]\n", 0), 0u) << conf;
    EXPECT_EQ(conf.find("Enclosure_"), std::string::npos) << "an enclosure section was left";
    EXPECT_EQ(conf.find("pd_wwn_"), std::string::npos) << "a detached disk is still indexed";
    EXPECT_EQ(nashal::sim::read_file(SE_DETACHED_FILE),
              "[Enclosure_23]\npd_bitmap = 0x2\n[Enclosure_32]\npd_bitmap = 0x0\n"
              "[Enclosure_33]\npd_bitmap = 0xC\n[Enclosure_34]\npd_bitmap = 0x1C\n"
              "[Enclosure_0]\npd_bitmap = 0xFE\n")
        << "children go first, in rising order of id, then the root, each with its disks";
    EXPECT_EQ(nashal::sim::read_file(SE_ENC_MAP_FILE), map_);

    ASSERT_EQ(SE_Sys_Attach("root", 1), 0);
    EXPECT_EQ(se_lookup_id("root"), 0);
    EXPECT_EQ(SE_Enumerate(nullptr, 0, nullptr, nullptr), 1);
    ASSERT_EQ(SE_Scan(), 0);
    EXPECT_EQ(nashal::sim::read_file(HAL_CONF_FILE), golden_conf_)
        << "a scan after the hot-plug events must give the first boot's file again";
    EXPECT_EQ(nashal::sim::read_file(SE_ENC_MAP_FILE), map_);
}

// A released id forgets the disks that left with the enclosure, and the next attach takes the
// lowest free id of the range again.
TEST_F(HotPlug, ReleasedIdForgetsTheDisksThatLeft) {
    ASSERT_TRUE(nashal::sim::write_file("/etc/enclosure_23.conf", "[Index]\npd_bitmap = 0x2\n"));
    ASSERT_EQ(SE_Sys_Detach("root_cache"), 0);
    ASSERT_EQ(SE_Release_Id(23), 0);
    EXPECT_EQ(nashal::sim::read_file(SE_DETACHED_FILE),
              "[Enclosure_23]\npd_bitmap = 0x2\ndetached = 1\n");
    EXPECT_EQ(field(SE_ENC_MAP_FILE, "Index", "enc_uid_root_cache"), "<missing>");
    EXPECT_EQ(field(SE_ENC_MAP_FILE, "Index", "23"), "<missing>");
    EXPECT_EQ(SE_Is_Id_Available(23), 1);

    EXPECT_EQ(SE_Hotswap_Check_PD(23, 1), 0) << "a disk of a released id was taken as returning";
    EXPECT_FALSE(nashal::sim::exists(SE_DETACHED_FILE) &&
                 field(SE_DETACHED_FILE, "Enclosure_23", "pd_bitmap") != "<missing>")
        << "the record of a released id stays after it was consulted";

    ASSERT_EQ(SE_Sys_Attach("root_cache", 1), 0);
    EXPECT_EQ(se_lookup_id("root_cache"), 23);
    EXPECT_EQ(field(SE_ENC_MAP_FILE, "Index", "enc_uid_root_cache"), "23");
    EXPECT_EQ(field(SE_ENC_MAP_FILE, "Index", "23"), "enc_uid_root_cache");
}
