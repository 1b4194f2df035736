// The real backend on virtual appliances: a boot scan of the example boards, what
// /etc/hal.conf holds afterwards, and the hot-plug entries.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "nashal/comm_ses.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/conf_field.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/clock.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

namespace {

const std::string kExamples = NASHAL_EXAMPLES_DIR;

using nashal::test::field;

// The field names of one section, in file order.
std::vector<std::string> keys_of(const std::string &text, const std::string &section) {
    std::vector<std::string> keys;
    std::istringstream in(text);
    std::string line;
    bool inside = false;
    while (std::getline(in, line)) {
        if (!line.empty() && line[0] == '[') {
            inside = line == "[" + section + "]";
            continue;
        }
        auto eq = line.find('=');
        if (inside && eq != std::string::npos) {
            std::string key = line.substr(0, eq);
            key.erase(key.find_last_not_of(' ') + 1);
            keys.push_back(key);
        }
    }
    return keys;
}

std::vector<std::string> enumerate(unsigned int capacity = MAX_SE_SYS_ENUM) {
    std::vector<char *> ids(capacity + 1, nullptr);
    int count = se_sys_enumerate(ids.data(), capacity);
    std::vector<std::string> out;
    for (int i = 0; i < count && i < static_cast<int>(capacity); ++i) {
        out.push_back(ids[static_cast<size_t>(i)]);
        free(ids[static_cast<size_t>(i)]);
    }
    return out;
}

class Board : public ::testing::Test {
  protected:
    void boot(const char *board) {
        app_ = nashal::sim::Appliance::copy_of(kExamples + "/" + board);
        ASSERT_TRUE(app_.activate());
    }
    nashal::sim::Appliance app_ = nashal::sim::Appliance::fresh();
};

}  // namespace

TEST_F(Board, FirstBootGivesEachRootKindItsId) {
    boot("x86-8bay");
    ASSERT_EQ(SE_Scan(), 0);
    const std::map<std::string, int> expected = {
        {"root", 0}, {"root_boot", 32}, {"root_usb", 33}, {"root_esata", 34}, {"root_cache", 23}};
    for (const auto &[sys_id, id] : expected)
        EXPECT_EQ(se_lookup_id(sys_id.c_str()), id) << sys_id;
    EXPECT_EQ(SE_Enumerate(nullptr, 0, nullptr, nullptr), 5);
}

TEST_F(Board, SecondScanKeepsIdsAndAddsNoMapEntries) {
    boot("x86-8bay");
    ASSERT_EQ(SE_Scan(), 0);
    std::string map_after_first = nashal::sim::read_file(SE_ENC_MAP_FILE);
    std::string conf_after_first = nashal::sim::read_file(HAL_CONF_FILE);
    ASSERT_EQ(SE_Scan(), 0);
    EXPECT_EQ(nashal::sim::read_file(SE_ENC_MAP_FILE), map_after_first)
        << "a second boot with the same hardware changed the persistent map";
    EXPECT_EQ(nashal::sim::read_file(HAL_CONF_FILE), conf_after_first);
}

TEST_F(Board, HalConfHoldsTheFieldsInOrder) {
    boot("x86-8bay");
    ASSERT_EQ(SE_Scan(), 0);
    std::string text = nashal::sim::read_file(HAL_CONF_FILE);
    EXPECT_THAT(keys_of(text, "Enclosure_0"),
                ElementsAreArray({"enc_id", "enc_sys_id", "vendor", "model", "status", "protocol",
                                  "capability", "max_disk_num", "max_fan_num", "max_temp_num",
                                  "max_pcie_num", "max_nic_num", "max_conn_num",
                                  "enc_parent_sys_id", "enc_parent_port_id", "stack_id", "revision",
                                  "cache_port_bitmap", "child_bitmap"}));
    EXPECT_EQ(field(HAL_CONF_FILE, "Enclosure_0", "model"), "NX-800");
    EXPECT_EQ(field(HAL_CONF_FILE, "Enclosure_0", "max_disk_num"), "8");
    EXPECT_EQ(field(HAL_CONF_FILE, "Enclosure_0", "max_pcie_num"), "1");
    EXPECT_EQ(field(HAL_CONF_FILE, "Enclosure_23", "stack_id"), "1");
    EXPECT_EQ(field(HAL_CONF_FILE, "Index", "enc_sysid_root_cache"), "23");

    ENC_INFO cache;
    memset(&cache, 0, sizeof cache);
    ASSERT_EQ(SE_Get_Info(23, &cache), 0);
    EXPECT_STREQ(cache.enc_sys_id, "root_cache");
    EXPECT_EQ(cache.capability, CAP_INTERNAL);
    EXPECT_EQ(cache.protocol, ENC_PROTOCOL_SATA);
    EXPECT_EQ(cache.cache_port_bitmap, 0x2u) << "one cache slot is bit 1";
    ENC_INFO boot_dev;
    memset(&boot_dev, 0, sizeof boot_dev);
    ASSERT_EQ(SE_Get_Info(32, &boot_dev), 0);
    EXPECT_EQ(boot_dev.protocol, ENC_PROTOCOL_BOOT);
    EXPECT_EQ(boot_dev.capability, 0u);
}

TEST_F(Board, SocBoardWithoutEsataEnumeratesNoEsataEnclosure) {
    boot("soc-2bay");
    EXPECT_THAT(enumerate(), ElementsAre("root", "root_boot", "root_usb"));
    ASSERT_EQ(SE_Scan(), 0);
    EXPECT_EQ(se_lookup_id("root_esata"), -1);
    EXPECT_EQ(se_lookup_id("root_usb"), 33);
    EXPECT_EQ(field(HAL_CONF_FILE, "Enclosure_0", "model"), "NX-200 LE");
}

TEST_F(Board, InternalSasBoardHasCacheBaysButNoEsataAndKeepsItsExpanderInside) {
    boot("x86-12bay-sas");
    EXPECT_THAT(enumerate(), ElementsAre("root", "root_boot", "root_usb", "root_cache"));
    ASSERT_EQ(SE_Scan(), 0);
    EXPECT_EQ(se_lookup_id("root_esata"), -1);
    EXPECT_EQ(SE_Enumerate(nullptr, 0, nullptr, nullptr), 4)
        << "the unit's own SAS expander must not be attached as an expansion enclosure";
    ENC_INFO root;
    memset(&root, 0, sizeof root);
    ASSERT_EQ(SE_Get_Info(0, &root), 0);
    EXPECT_EQ(root.capability,
              CAP_INTERNAL | CAP_CACHE_ENCLOSURE | CAP_INTERNAL_SAS | CAP_NO_ESATA);
    ENC_INFO cache;
    memset(&cache, 0, sizeof cache);
    ASSERT_EQ(SE_Get_Info(23, &cache), 0);
    EXPECT_EQ(cache.cache_port_bitmap, 0x6u) << "two cache slots are bits 1 and 2";
    char real[HAL_ID_LEN] = "";
    ASSERT_EQ(se_sys_get_real_enc_sys_id("root", real, sizeof real), 0);
    EXPECT_STREQ(real, "sg10") << "the main unit's SAS services are those of its own expander";
}

// The eSATA and cache kinds are appended behind the first three without a look at the
// capacity, so a caller with room for three still learns that there are five. Those two are
// not written, though: whatever the kinds' order, this library never writes behind a caller's
// array (a safety rule of its own; a caller can't have counted on the overrun).
TEST_F(Board, OverfullEnumerationCountsEveryKindButWritesOnlyWhatFits) {
    boot("x86-8bay");
    EXPECT_TRUE(enumerate(2).empty()) << "below three entries nothing is enumerated";
    char *ids[4] = {nullptr, nullptr, nullptr, nullptr};
    EXPECT_EQ(se_sys_enumerate(ids, 3), 5) << "the result tells how many there were";
    EXPECT_EQ(ids[3], nullptr) << "an entry was written past the caller's array";
    for (char *id : ids)
        free(id);
}

TEST_F(Board, ModelWithoutCapHasEsataButNoCache) {
    app_ = nashal::sim::Appliance::fresh();
    ASSERT_TRUE(app_.activate());
    ASSERT_TRUE(nashal::sim::write_file(SE_MODEL_CONF_FILE, "[System Enclosure]\nMODEL = A-1\n"));
    EXPECT_THAT(enumerate(), ElementsAre("root", "root_boot", "root_usb", "root_esata"));
}

TEST_F(Board, CacheBitmapCoversEverySlotButBitZero) {
    app_ = nashal::sim::Appliance::fresh();
    ASSERT_TRUE(app_.activate());
    struct Case {
        const char *disks;
        uint32_t bitmap;
    } cases[] = {{"0", 0u}, {"1", 0x2u}, {"4", 0x1Eu}, {"30", 0x7FFFFFFEu}, {"31", 0xFFFFFFFEu}};
    for (const auto &c : cases) {
        ASSERT_TRUE(nashal::sim::write_file(
            SE_MODEL_CONF_FILE,
            std::string("[Cache Enclosure]\nMAX_DISK_NUM = ") + c.disks + "\n"));
        ENC_INFO info;
        ASSERT_EQ(se_sys_getinfo("root_cache", &info), 0);
        EXPECT_EQ(info.cache_port_bitmap, c.bitmap) << c.disks << " cache slots";
    }
}

TEST_F(Board, PcieSlotCountsItsDisksAndFailsWithoutScsiGeneric) {
    app_ = nashal::sim::Appliance::fresh();
    ASSERT_TRUE(app_.activate());
    ASSERT_TRUE(nashal::sim::write_file(SE_MODEL_CONF_FILE,
                                        "[System PCIE SLOT 2]\nDEV_BUS = B03:D00:F0\n"));
    nashal::sim::remove_tree("/sys/class/scsi_generic");
    ENC_INFO info;
    ASSERT_EQ(se_sys_getinfo("root_pcie_2", &info), 0);
    EXPECT_EQ(info.max_disk_num, -1) << "an unreadable sysfs is told by -1";
    EXPECT_EQ(info.cache_port_bitmap, 0xFFFFFFFFu);
    EXPECT_EQ(info.protocol, ENC_PROTOCOL_PCIE);
    EXPECT_EQ(info.capability, CAP_INTERNAL);
    EXPECT_EQ(get_pcie_port_max_disknum("System PCIE SLOT 9"), 0) << "no DEV_BUS, no disks";
}

TEST_F(Board, UnknownIdsAndControllersWithoutMonitorsAreNotAttached) {
    boot("x86-8bay");
    ENC_INFO info;
    EXPECT_EQ(se_sys_getinfo("bogus", &info), -1);
    EXPECT_EQ(se_sys_getinfo(nullptr, &info), -1);
    ASSERT_TRUE(nashal::sim::write_file(SE_MODEL_CONF_FILE,
                                        "[System Enclosure]\nMODEL = NX-1\nCAP = 0x400000\n"));
    EXPECT_EQ(se_sys_getinfo("root", &info), -1)
        << "a PIC whose monitor can't be started must keep the enclosure out";
    EXPECT_EQ(se_attach("root", 0), -1);
}

TEST_F(Board, ExistAnswersPerKind) {
    boot("x86-8bay");
    struct Case {
        const char *id;
        int exist;
    } cases[] = {{"root", 1},      {"root_usb", 1},    {"root_esata", 1}, {"root_cache", 1},
                 {"root_boot", 0}, {"root_pcie_1", 0}, {"i2c-101", 0},    {"sg3", 0},
                 {"usbx", -1},     {"usb_9-9", 0}};
    for (const auto &c : cases)
        EXPECT_EQ(SE_Sys_Exist(c.id), c.exist) << c.id;

    ASSERT_TRUE(nashal::sim::make_dirs("/sys/devices/pci0000:00/usb2/2-1"));
    ASSERT_TRUE(nashal::sim::make_dirs("/sys/bus/usb/devices"));
    ASSERT_TRUE(nashal::sim::symlink_relative("/sys/devices/pci0000:00/usb2/2-1",
                                              "/sys/bus/usb/devices/2-1"));
    EXPECT_EQ(SE_Sys_Exist("usb_2-1"), 1) << "a USB device that stays is present";
}

TEST_F(Board, HotPlugAttachTellsUdevAndDetachTakesItOut) {
    boot("x86-8bay");
    nashal::sim::clear_invocations();
    ASSERT_EQ(SE_Sys_Attach("root", 1), 0);
    ASSERT_EQ(SE_Sys_Attach("root_esata", 1), 0);
    auto runs = nashal::sim::invocations();
    EXPECT_THAT(runs, ::testing::Contains("/sbin/udevadm control --env=root_esata=enc"));
    EXPECT_EQ(SE_Sys_Attach("root_esata", 1), -1) << "an attached enclosure attaches once";
    const int esata = se_lookup_id("root_esata");
    EXPECT_EQ(SE_Sys_Pre_Detach("root_esata"), 0);
    EXPECT_EQ(se_get_status(esata), SE_STATUS_REMOVING);
    EXPECT_EQ(SE_Sys_Detach("root_esata"), 0);
    EXPECT_EQ(se_lookup_id("root_esata"), -1);
    EXPECT_EQ(SE_Sys_Attach("root_esata", 1), 0);
    EXPECT_EQ(se_lookup_id("root_esata"), esata) << "a returning enclosure keeps its id";
}

TEST_F(Board, DisplayNameFollowsEccRedundantPowerAndTheCache) {
    app_ = nashal::sim::Appliance::fresh();
    ASSERT_TRUE(app_.activate());
    struct Case {
        const char *model_conf;
        bool ecc;
        const char *shown;
    } cases[] = {
        {"MODEL = XY-451U RP\nCAP = 0x0\n", false, "XY-451U RP"},
        {"MODEL = XY-451U RP\nCAP = 0x0\n", true, "XY-EC451U RP"},
        {"MODEL = XY-451U RP\nCAP = 0x1\n", false, "XY-451U-RP"},
        {"MODEL = XY-451U\nDISPLAY_MODEL_NAME = XY-9 Pro\nCAP = 0x1\n", true, "XY-9 Pro"},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(nashal::sim::write_file(SE_MODEL_CONF_FILE,
                                            std::string("[System Enclosure]\n") + c.model_conf));
        ASSERT_TRUE(nashal::sim::write_file(
            "/var/.system.info",
            std::string("[RAM]\nUseECC = ") + (c.ecc ? "TRUE" : "FALSE") + "\n"));
        unlink(SE_PLATFORM_CONF_FILE);
        char name[HAL_MODEL_LEN] = {};
        ASSERT_EQ(se_sys_get_display_name("root", name, sizeof name), 0) << c.model_conf;
        EXPECT_STREQ(name, c.shown);
        EXPECT_EQ(field(SE_PLATFORM_CONF_FILE, "MISC", "DISPLAY_NAME"), c.shown);
    }
    ASSERT_TRUE(nashal::sim::write_file(SE_MODEL_CONF_FILE,
                                        "[System Enclosure]\nMODEL = NODASH\nCAP = 0\n"));
    char name[HAL_MODEL_LEN] = {};
    EXPECT_EQ(se_sys_get_display_name("root", name, sizeof name), 0)
        << "the cached name stands until the model file is selected anew";
    unlink(SE_PLATFORM_CONF_FILE);
    EXPECT_EQ(se_sys_get_display_name("root", name, sizeof name), -1) << "a model without '-'";
    EXPECT_EQ(se_sys_get_display_name("root_usb", name, sizeof name), -1);
}

TEST_F(Board, OperationsOfKindsWithoutABranchFail) {
    boot("x86-8bay");
    double temp = 5;
    EXPECT_EQ(se_sys_get_temp("root_usb", 0, &temp), -1);
    EXPECT_EQ(temp, 0) << "the output is cleared first";
    EXPECT_EQ(se_sys_get_voltage("root", 0), -1);
    EXPECT_EQ(se_sys_set_fan_speed("root", 0, 8), -1);
    EXPECT_EQ(se_sys_set_7_segment_led("root", 1), -1);
    EXPECT_EQ(se_sys_set_nickname("sg1", ""), -1);
    EXPECT_EQ(se_sys_get_power_supply_status("root", 3, nullptr), -1);
    char dev[32] = {};
    EXPECT_EQ(se_sys_get_LCM_devname("root", dev, sizeof dev), -1) << "no LCM_DEV on this board";
    ASSERT_TRUE(nashal::sim::write_file(
        SE_MODEL_CONF_FILE, "[System Enclosure]\nMODEL = NX-1\nPIC_DEV = /dev/ttyS1\n"));
    EXPECT_EQ(se_sys_get_PIC_devname("root", dev, sizeof dev), 0);
    EXPECT_STREQ(dev, "/dev/ttyS1");
    EXPECT_EQ(se_sys_get_MCU_devname("root_usb", dev, sizeof dev), -1);
}

// A PCIe slot is an enclosure only when disks hang directly on its controller; its disk count
// also takes in what is behind an expander there. "MAX_PCIE_SLOT" is hexadecimal for the
// enumeration and decimal for the root record.
TEST_F(Board, PcieSlotsAreLookedForUpToTheHexadecimalSlotCount) {
    app_ = nashal::sim::Appliance::fresh();
    ASSERT_TRUE(app_.activate());
    nashal::sim::SysfsTree t;
    auto root = t.pci_root(0, 0);
    // Slot 1: an HBA whose one disk sits behind an expander.
    auto port1 = t.pci_bridge(root, 0, 0, 1, 0, 1);
    auto hba1 = t.pci_function(port1, 0, 1, 0, 0, nashal::sim::kPciClassSas, 0x1000, 0x0097);
    auto host2 = t.sas_host(hba1, 2, 4);
    auto wide = t.sas_port(host2, "port-2:0");
    auto exp = t.sas_expander(wide, "expander-2:0", 8, 0x500304800000007full);
    auto exp_port = t.sas_port(exp, "port-2:0:0");
    auto end1 = t.sas_end_device(exp_port, 0x5000c50000000001ull, 0);
    t.scsi_device(end1, {2, 0, 0, 0},
                  nashal::sim::ScsiDesc::disk(0, "sda", "SEAGATE", "ST4000NM0023"));
    // Slot 16: an HBA with a disk on its own phy.
    auto port16 = t.pci_bridge(root, 0, 0, 2, 0, 2);
    auto hba16 = t.pci_function(port16, 0, 2, 0, 0, nashal::sim::kPciClassSas, 0x1000, 0x0097);
    auto host3 = t.sas_host(hba16, 3, 4);
    auto direct = t.sas_port(host3, "port-3:0");
    auto end16 = t.sas_end_device(direct, 0x5000c50000000002ull, 0);
    t.scsi_device(end16, {3, 0, 0, 0},
                  nashal::sim::ScsiDesc::disk(1, "sdb", "SEAGATE", "ST4000NM0023"));
    ASSERT_TRUE(nashal::sim::write_file(SE_MODEL_CONF_FILE,
                                        "[System Enclosure]\nMODEL = NX-1\nCAP = 0x8200\n"
                                        "MAX_PCIE_SLOT = 10\n"
                                        "[System PCIE SLOT 1]\nDEV_BUS = B00:D01:F0\n"
                                        "[System PCIE SLOT 16]\nDEV_BUS = B00:D02:F0\n"));

    EXPECT_THAT(enumerate(), ElementsAre("root", "root_boot", "root_usb", "root_pcie_16"))
        << "slot 16 is slot 0x10: reading the count as decimal stops at slot 10, and a slot "
           "whose only disk is behind an expander is no enclosure";
    ENC_INFO info;
    ASSERT_EQ(se_sys_getinfo("root", &info), 0);
    EXPECT_EQ(info.max_pcie_num, 10);

    ASSERT_EQ(
        Ini_Conf_Set_Field(SE_MODEL_CONF_FILE, "System Enclosure", "MAX_PCIE_SLOT", "7FFFFFFF"), 0);
    EXPECT_THAT(enumerate(), ElementsAre("root", "root_boot", "root_usb", "root_pcie_16"))
        << "a mistyped slot count must not stall the boot scan";
    ASSERT_EQ(se_sys_getinfo("root_pcie_1", &info), 0);
    EXPECT_EQ(info.max_disk_num, 1) << "the slot's count takes in disks behind an expander";
    EXPECT_EQ(info.cache_port_bitmap, 0x2u);
    ASSERT_EQ(se_sys_getinfo("root_pcie_16", &info), 0);
    EXPECT_STREQ(info.enc_sys_id, "root_pcie_16");
    EXPECT_STREQ(info.enc_parent_sys_id, "root");
    EXPECT_EQ(info.max_disk_num, 1);
}

TEST_F(Board, UsbDeviceThatVanishesWhileSettlingIsAbsent) {
    boot("x86-8bay");
    ASSERT_TRUE(nashal::sim::make_dirs("/sys/devices/pci0000:00/usb2/2-1"));
    ASSERT_TRUE(nashal::sim::make_dirs("/sys/bus/usb/devices"));
    ASSERT_TRUE(nashal::sim::symlink_relative("/sys/devices/pci0000:00/usb2/2-1",
                                              "/sys/bus/usb/devices/2-1"));
    nashal::sim::clock_at(1000000, [] { unlink("/sys/bus/usb/devices/2-1"); });
    EXPECT_EQ(SE_Sys_Exist("usb_2-1"), 0) << "a device gone after a second was reported present";
    EXPECT_GE(nashal::sim::clock_slept_us(), 3000000);
}

// Each operation that no kind serves tells so in the log with its own text, at level 8, the
// level of decisions worth keeping; a missing controller node is a system error, level 1.
TEST_F(Board, OperationsWithoutAKindLogTheirOwnTextAtTheirLevel) {
    boot("x86-8bay");
    ASSERT_TRUE(nashal::sim::write_file(
        SE_MODEL_CONF_FILE, "[System Enclosure]\nMODEL = NX-1\nBOARD_SN_DEVICE = FOO:1\n"));
    char text[32] = {};
    double temp = 0;
    int a = 0, b = 0;
    uint32_t conn[8] = {};
    struct Case {
        int level;
        std::function<int()> call;
        const char *logged;
    } cases[] = {
        {8, [&] { return se_sys_get_temp("bogus", 0, &temp); },
         "): enc_sys_id = bogus not implement.\n"},
        {8, [&] { return se_sys_get_fan_speed("bogus", 0, &a, &b); },
         "): enc_sys_id = bogus not implement.\n"},
        {8, [&] { return se_sys_set_fan_speed("bogus", 0, 1); }, "):NOT implement\n"},
        {8, [&] { return se_sys_set_fan_pwm("usb_1-2", 0, 1); }, "):NOT implement\n"},
        {8, [&] { return se_sys_set_status_led("bogus", 0, 1); },
         "): enc_sys_id = bogus not implement.\n"},
        {8, [&] { return se_sys_blink_status_led("bogus", 0, 1); },
         "): enc_sys_id = bogus not implement.\n"},
        {8, [&] { return se_sys_set_ident_led("bogus", 1); }, "): NOT implement.\n"},
        {8, [&] { return se_sys_set_buzzer("i2c-101", 1); },
         "): enc_sys_id = i2c-101 not implement.\n"},
        {8, [&] { return se_sys_set_7_segment_led("root", 1); }, "): Not implemented\n"},
        {8, [&] { return se_sys_get_board_sn("root_usb", text, sizeof text); },
         "): enc_sys_id = root_usb not implement.\n"},
        {8, [&] { return se_sys_get_sas_addr("bogus", text, sizeof text); },
         "): enc_sys_id = bogus not implement.\n"},
        {8, [&] { return se_sys_set_sas_addr("bogus", "5000c50000000001"); },
         "): enc_sys_id = bogus not implement.\n"},
        {8, [&] { return se_sys_get_connector_status("bogus", conn, 8); },
         "): enc_sys_id = bogus not implement.\n"},
        {8, [&] { return se_sys_get_LCM_devname("bogus", text, sizeof text); },
         "): enc_sys_id = bogus not implement.\n"},
        {1, [&] { return se_sys_get_PIC_devname("bogus", text, sizeof text); },
         "): System Error\n"},
        {1, [&] { return se_sys_get_MCU_devname("bogus", text, sizeof text); },
         "): System Error\n"},
        {1, [&] { return se_sys_get_voltage("root", 3); },
         "): got called,enc_sys_id = root, index = 3, NOT implement\n"},
        {2, [&] { return se_sys_get_board_sn("root", text, sizeof text); }, "):Not implement\n"},
    };
    for (const auto &c : cases) {
        for (int mask : {c.level, 0xFFFF & ~c.level}) {
            unlink("/var/log/hal_lib.log");
            HAL_Set_Debug(mask, "/var/log/hal_lib.log");
            EXPECT_EQ(c.call(), -1) << c.logged;
            const bool logged =
                nashal::sim::read_file("/var/log/hal_lib.log").find(c.logged) != std::string::npos;
            EXPECT_EQ(logged, mask == c.level)
                << "\"" << c.logged << "\" " << (logged ? "appears" : "is missing")
                << " with trace mask 0x" << std::hex << mask;
        }
    }
}
