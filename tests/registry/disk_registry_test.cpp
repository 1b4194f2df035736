// The disk registry's own logic against a scripted disk backend: the library is a shared object,
// so the pd_sys_enumerate, pd_sys_getinfo, pd_sys_check_rw_access and pd_sys_set_device_queue
// defined here replace the library's for its own calls too. What is tested is where a disk's
// record goes, what it holds, and what the index and the hooks say.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/ini_conf.h"
#include "registry/conf_field.h"
#include "sim/appliance.h"
#include "sim/fs.h"

namespace {

std::map<std::string, std::vector<std::string>> g_enumeration;  // by enc_sys_id
int g_enumeration_count = -1;            // what pd_sys_enumerate reports (-1: the list's length)
std::map<std::string, PD_INFO> g_disks;  // by pd_sys_id
std::map<std::string, int> g_access;     // pd_sys_check_rw_access by pd_sys_id (default 0)
std::vector<std::string> g_queues;       // pd_sys_set_device_queue calls

PD_INFO disk(const char *pd, int port, int type = PD_TYPE_SATA) {
    PD_INFO info;
    memset(&info, 0, sizeof info);
    info.port_id = port;
    snprintf(info.pd_sys_id, sizeof info.pd_sys_id, "%s", pd);
    snprintf(info.pd_sys_name, sizeof info.pd_sys_name, "/dev/sd%c", 'a' + atoi(pd + 2) % 26);
    snprintf(info.pd_ctrl_name, sizeof info.pd_ctrl_name, "/dev/%s", pd);
    snprintf(info.pd_bus_name, sizeof info.pd_bus_name, "%d:0:0:0", atoi(pd + 2));
    snprintf(info.vendor, sizeof info.vendor, "WDC");
    snprintf(info.model, sizeof info.model, "WD40EFRX-68N32N0");
    snprintf(info.serial_no, sizeof info.serial_no, "WD-%s", pd);
    snprintf(info.revision, sizeof info.revision, "82.00A82");
    info.type = type;
    info.capabilities = PD_CAP_SERIAL | PD_CAP_SMART;
    info.sector_size = 512;
    info.capacity = 7814037168ull;
    info.speed = 7;
    info.max_speed = 7;
    info.protocol_version = 0x80000;
    return info;
}

}  // namespace

extern "C" int pd_sys_enumerate(const char *enc_sys_id, char **list, int list_size) {
    const auto &ids = g_enumeration[enc_sys_id];
    for (size_t i = 0; i < ids.size() && static_cast<int>(i) < list_size; ++i)
        list[i] = strdup(ids[i].c_str());
    return g_enumeration_count >= 0 ? g_enumeration_count : static_cast<int>(ids.size());
}

extern "C" int pd_sys_getinfo(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *info) {
    memset(info, 0, sizeof *info);
    auto it = g_disks.find(pd_sys_id);
    if (it == g_disks.end())
        return -1;
    *info = it->second;
    snprintf(info->enc_sys_id, sizeof info->enc_sys_id, "%s", enc_sys_id);
    return 0;
}

extern "C" int pd_sys_check_rw_access(const char *, const char *pd_sys_id, PD_INFO *) {
    auto it = g_access.find(pd_sys_id);
    return it == g_access.end() ? 0 : it->second;
}

extern "C" int pd_sys_set_device_queue(const char *pd_sys_name) {
    g_queues.push_back(pd_sys_name);
    return 0;
}

namespace {

using nashal::sim::read_file;

using nashal::test::field;

class DiskRegistry : public ::testing::Test {
  protected:
    void SetUp() override {
        g_enumeration.clear();
        g_enumeration_count = -1;
        g_disks.clear();
        g_access.clear();
        g_queues.clear();
        ASSERT_TRUE(app_.activate());
        enclosure(0, "root", 8);
        enclosure(33, "root_usb", 4);
        enclosure(32, "root_boot", 1);
        nashal::sim::clear_invocations();
    }
    // An attached enclosure as the enclosure registry leaves it in /etc/hal.conf.
    void enclosure(int id, const char *sys_id, int ports) {
        char section[32];
        snprintf(section, sizeof section, "Enclosure_%d", id);
        Ini_Conf_Bitmap_Set_Bit(HAL_CONF_FILE, "Index", "enc_bitmap", id);
        Ini_Conf_Set_Field_Int(HAL_CONF_FILE, "Index", (std::string("enc_sysid_") + sys_id).c_str(),
                               id, INI_CONF_DEC);
        Ini_Conf_Set_Field_Int(HAL_CONF_FILE, section, "enc_id", id, INI_CONF_DEC);
        Ini_Conf_Set_Field(HAL_CONF_FILE, section, "enc_sys_id", sys_id);
        Ini_Conf_Set_Field_Int(HAL_CONF_FILE, section, "max_disk_num", ports, INI_CONF_DEC);
    }
    // The hook lines that arrived (they run in the background).
    std::vector<std::string> hooks(const char *which, size_t expected) {
        std::vector<std::string> lines;
        for (int tries = 0; tries < 50; ++tries) {
            lines.clear();
            for (const auto &line : nashal::sim::invocations())
                if (line.rfind(std::string("/etc/init.d/") + which, 0) == 0)
                    lines.push_back(line);
            if (lines.size() >= expected)
                break;
            usleep(100 * 1000);
        }
        if (expected == 0)
            usleep(300 * 1000);
        return lines;
    }
    nashal::sim::Appliance app_ = nashal::sim::Appliance::fresh();
};

TEST_F(DiskRegistry, ScanWritesEachDiskInTheFieldOrderAndReadsItBack) {
    PD_INFO wwn_disk = disk("sg0", 1);
    wwn_disk.capabilities |= PD_CAP_WWN;
    const unsigned char name[8] = {0x50, 0x01, 0x4e, 0xe2, 0xb5, 0xa3, 0xc7, 0xd1};
    memcpy(wwn_disk.wwn, name, 8);
    wwn_disk.capacity = 0x1234567890ull;
    g_disks["sg0"] = wwn_disk;
    g_disks["sg1"] = disk("sg1", 2);
    g_enumeration["root"] = {"sg0", "sg1"};
    ASSERT_EQ(PD_Scan(0), 0);
    const std::string conf = read_file("/etc/enclosure_0.conf");
    EXPECT_NE(conf.find("[PhysicalDisk_1]\nport_id = 1\npd_sys_id = sg0\nenc_sys_id = root\n"
                        "pd_sys_name = /dev/sda\npd_ctrl_name = /dev/sg0\npd_bus_name = 0:0:0:0\n"
                        "wwn = 50014EE2B5A3C7D1\ntype = 0\nvendor = WDC\n"
                        "model = WD40EFRX-68N32N0\nserial_no = WD-sg0\nstatus = 0\n"
                        "capabilities = 19\nsector_size = 512\ncapacity = 78187493520\n"
                        "revision = 82.00A82\nprotocol_ver = 524288\nlink_speed = 7\n"
                        "max_link_speed = 7\nread_speed = none\n"),
              std::string::npos)
        << conf;
    EXPECT_EQ(field("/etc/enclosure_0.conf", "Index", "pd_bitmap"), "0x6");
    EXPECT_EQ(field("/etc/enclosure_0.conf", "Index", "pd_sysid_sg1"), "2");
    EXPECT_EQ(field(HAL_CONF_FILE, "Index", "pd_wwn_50014EE2B5A3C7D1"), "00000001");
    EXPECT_EQ(field(HAL_CONF_FILE, "Index", "pd_wwn_WD-sg1"), "00000002");
    EXPECT_THAT(hooks("pd_attach", 2),
                ::testing::UnorderedElementsAre("/etc/init.d/pd_attach 0 1 /dev/sda",
                                                "/etc/init.d/pd_attach 0 2 /dev/sdb"));
    EXPECT_EQ(g_queues, (std::vector<std::string>{"/dev/sda", "/dev/sdb"}));

    PD_INFO back;
    memset(&back, 0, sizeof back);
    ASSERT_EQ(PD_Get_Info(0, 1, &back), 0);
    PD_INFO expected = wwn_disk;
    snprintf(expected.enc_sys_id, sizeof expected.enc_sys_id, "root");
    memset(expected.wwn, 0, sizeof expected.wwn);
    snprintf(reinterpret_cast<char *>(expected.wwn), sizeof expected.wwn, "50014EE2B5A3C7D1");
    snprintf(expected.read_speed, sizeof expected.read_speed, "none");
    EXPECT_EQ(memcmp(&back, &expected, sizeof back), 0) << "a record read back differs";

    int64_t capacity = 0;
    int sector = 0;
    EXPECT_EQ(PD_Get_Capacity(0, 2, &capacity, &sector), 0);
    EXPECT_EQ(capacity, 7814037168);
    EXPECT_EQ(PD_Get_Capacity(0, 9, nullptr, nullptr), 0) << "nothing asked, nothing read";
    EXPECT_EQ(PD_Get_Capacity(0, 9, &capacity, nullptr), -1);
    EXPECT_EQ(PD_Get_Link_Speed(0, 2), 7);
    EXPECT_EQ(PD_Get_Max_Link_Speed(0, 9), 0);
    EXPECT_EQ(PD_Is_Exist(0, 2), 1);
    EXPECT_EQ(PD_Is_Exist(0, 3), 0);
    int enc = -1, port = -1;
    EXPECT_EQ(PD_Get_Id_By_Sys_Id("root", "sg1", &enc, &port), 0);
    EXPECT_EQ(enc * 100 + port, 2);
    EXPECT_EQ(PD_Get_Id_By_Sys_Id("root", "sg7", &enc, &port), -1);

    // A second scan forgets and finds again: the same file.
    ASSERT_EQ(PD_Scan(0), 0);
    EXPECT_EQ(read_file("/etc/enclosure_0.conf"), conf);
}

TEST_F(DiskRegistry, PortsOfTakenSataSlotsUsbCollisionsAndBootDisks) {
    g_disks["sg0"] = disk("sg0", 1);
    g_disks["sg1"] = disk("sg1", 1);  // a second SATA disk claiming the same port
    g_enumeration["root"] = {"sg0", "sg1"};
    ASSERT_EQ(PD_Scan(0), 0);
    EXPECT_EQ(pd_attach("root", "sg1"), 0) << "a taken port counts as attached";
    EXPECT_EQ(field("/etc/enclosure_0.conf", "Index", "pd_bitmap"), "0x2");
    EXPECT_EQ(field("/etc/enclosure_0.conf", "PhysicalDisk_1", "pd_sys_id"), "sg0");
    EXPECT_EQ(hooks("pd_attach", 1),
              std::vector<std::string>{"/etc/init.d/pd_attach 0 1 /dev/sda"});
    EXPECT_EQ(g_queues.size(), 3u) << "the queue is tuned even when the record wasn't written";

    // USB disks reporting port 1 of a 4-port enclosure: the later ones go above the ports.
    for (const char *pd : {"sg10", "sg11", "sg12"})
        g_disks[pd] = disk(pd, 1, PD_TYPE_USB);
    g_enumeration["root_usb"] = {"sg10", "sg11", "sg12"};
    ASSERT_EQ(PD_Scan(33), 0);
    EXPECT_EQ(field("/etc/enclosure_33.conf", "Index", "pd_bitmap"), "0x62");
    EXPECT_EQ(pd_lookup_id("root_usb", "sg11"), 5);
    EXPECT_EQ(pd_lookup_id("root_usb", "sg12"), 6);
    EXPECT_EQ(pd_attach("root_usb", "sg10"), 0);
    EXPECT_EQ(field("/etc/enclosure_33.conf", "Index", "pd_bitmap"), "0x62")
        << "the same device again is not a second disk";

    // Boot disks arrive numbered from 1 and are kept from 0, in /etc/hal.conf.
    PD_INFO boot = disk("sg17", 1);
    boot.capabilities = PD_CAP_BOOT;
    EXPECT_EQ(pd_write_conf(32, 1, &boot), 0);
    EXPECT_EQ(boot.port_id, 0);
    EXPECT_EQ(field(HAL_CONF_FILE, "BootDisk_0", "pd_sys_id"), "sg17");
    EXPECT_EQ(field(HAL_CONF_FILE, "BootDisk_0", "wwn"), "<missing>");
    EXPECT_EQ(field(HAL_CONF_FILE, "Index", "pd_wwn_WD-sg17"), "<missing>");
    EXPECT_FALSE(nashal::sim::exists("/etc/enclosure_32.conf"));
    for (int expected : {0, 1}) {
        PD_INFO zero = disk("sg18", 0);
        zero.capabilities = PD_CAP_BOOT;
        EXPECT_EQ(pd_write_conf(32, 0, &zero), 0);
        EXPECT_EQ(zero.port_id, expected) << "a boot disk delivered with 0 takes a free number";
    }
}

TEST_F(DiskRegistry, EveryDiskHasAWwnTextFromItsNameItsSerialOrItsId) {
    struct Case {
        bool wwn_bit;
        const char *serial;
        const char *expected;
    } cases[] = {
        {true, "S1", "5000CCA0000000AB"},
        {false, "ZJV0ABCD", "ZJV0ABCD"},
        {false, "0123456789012345678901234567890123", "01234567890123456789012345678901"},
        {true, "", "5000CCA0000000AB"},
        {false, "", "sg4"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.expected);
        PD_INFO info = disk("sg4", 3);
        info.capabilities = c.wwn_bit ? PD_CAP_WWN : 0;
        const unsigned char name[8] = {0x50, 0x00, 0xcc, 0xa0, 0, 0, 0, 0xab};
        memcpy(info.wwn, name, 8);
        snprintf(info.serial_no, sizeof info.serial_no, "%s", c.serial);
        ASSERT_EQ(pd_write_conf(0, 3, &info), 0);
        EXPECT_EQ(field("/etc/enclosure_0.conf", "PhysicalDisk_3", "wwn"), c.expected);
        uint32_t pd_id = 0;
        EXPECT_EQ(se_read_pd_wwn_index(c.expected, &pd_id), 0);
        EXPECT_EQ(pd_id, 3u);
        ASSERT_EQ(pd_remove_conf(0, 3, nullptr), 0);
        EXPECT_EQ(se_read_pd_wwn_index(c.expected, &pd_id), -1) << "the index entry stays";
        EXPECT_EQ(read_file("/etc/enclosure_0.conf"), "[Index]\npd_bitmap = 0x0\n");
    }
}

TEST_F(DiskRegistry, DetachRemovesTheRecordAndItsIndexEntriesAndRunsTheHookWithAName) {
    g_disks["sg0"] = disk("sg0", 1);
    g_disks["sg1"] = disk("sg1", 2);
    g_enumeration["root"] = {"sg0", "sg1"};
    ASSERT_EQ(PD_Scan(0), 0);
    nashal::sim::clear_invocations();
    EXPECT_EQ(PD_Sys_Detach("root", "sg0"), 0);
    EXPECT_EQ(PD_Is_Exist(0, 1), 0);
    EXPECT_EQ(field("/etc/enclosure_0.conf", "Index", "pd_sysid_sg0"), "<missing>");
    EXPECT_EQ(field(HAL_CONF_FILE, "Index", "pd_wwn_WD-sg0"), "<missing>");
    EXPECT_EQ(hooks("pd_detach", 1),
              std::vector<std::string>{"/etc/init.d/pd_detach 0 1 /dev/sda"});
    EXPECT_EQ(PD_Sys_Detach("root", "sg0"), -1) << "a detached disk is unknown";
    EXPECT_EQ(pd_detach("nowhere", "sg1"), -1);

    // A record without its device name goes without a hook.
    Ini_Conf_Remove_Field("/etc/enclosure_0.conf", "PhysicalDisk_2", "pd_sys_name");
    nashal::sim::clear_invocations();
    EXPECT_EQ(pd_detach("root", "sg1"), 0);
    EXPECT_EQ(PD_Is_Exist(0, 2), 0);
    EXPECT_TRUE(hooks("pd_detach", 0).empty());
}

TEST_F(DiskRegistry, DisksTheBackendRefusesAreNotRecorded) {
    g_disks["sg0"] = disk("sg0", 1);
    g_disks["sg1"] = disk("sg1", 2);
    g_access["sg0"] = -1;  // doesn't answer
    g_access["sg1"] = -2;  // an empty USB bridge: quietly left out
    EXPECT_EQ(pd_attach("root", "sg0"), -1);
    EXPECT_EQ(pd_attach("root", "sg1"), -2);
    EXPECT_EQ(pd_attach("root", "sg9"), -1) << "the backend knows no such disk";
    EXPECT_EQ(pd_attach("nowhere", "sg0"), -1);
    EXPECT_EQ(pd_attach(nullptr, "sg0"), -1);
    EXPECT_EQ(PD_Enumerate(0, nullptr, 0, nullptr, nullptr), 0);
    EXPECT_TRUE(g_queues.empty());
}

TEST_F(DiskRegistry, AScanRecordsTwentyFourDisksAtMost) {
    for (int i = 0; i < 30; ++i) {
        std::string pd = "sg" + std::to_string(i);
        g_disks[pd] = disk(pd.c_str(), -1, PD_TYPE_USB);
        g_enumeration["root_usb"].push_back(pd);
    }
    ASSERT_EQ(PD_Scan(33), 0);
    EXPECT_EQ(PD_Enumerate(33, nullptr, 0, nullptr, nullptr), MAX_PD_SCAN_NUM);
    EXPECT_EQ(pd_lookup_id("root_usb", "sg23"), 28) << "numbers above the 4 ports, from 5";
    EXPECT_EQ(pd_lookup_id("root_usb", "sg24"), -1);
}

TEST_F(DiskRegistry, EnumerationsFollowTheCallbackRule) {
    g_disks["sg0"] = disk("sg0", 1);
    g_disks["sg1"] = disk("sg1", 2);
    g_disks["sg2"] = disk("sg2", 3);
    g_enumeration["root"] = {"sg0", "sg1", "sg2"};
    g_disks["sg10"] = disk("sg10", 1, PD_TYPE_USB);
    g_enumeration["root_usb"] = {"sg10"};
    ASSERT_EQ(PD_Scan(0), 0);
    ASSERT_EQ(PD_Scan(33), 0);
    EXPECT_EQ(PD_Enumerate_All(nullptr, 0, nullptr, nullptr), 4) << "a null array still counts";
    uint32_t ids[2] = {};
    EXPECT_EQ(PD_Enumerate_All(ids, 2, nullptr, nullptr), 4);
    EXPECT_EQ(ids[0], 1u);
    EXPECT_EQ(ids[1], 2u);
    auto skip_port_2 = [](int, int port, void *) { return port == 2 ? -2 : 0; };
    uint32_t all[8] = {};
    EXPECT_EQ(PD_Enumerate_All(all, 8, skip_port_2, nullptr), 3);
    EXPECT_EQ(all[2], se_gen_global_pd_id(33, 1));
    auto stop_in_usb = [](int enc, int, void *) { return enc == 33 ? -1 : 0; };
    EXPECT_EQ(PD_Enumerate_All(nullptr, 0, stop_in_usb, nullptr), -1);
    int ports[4] = {};
    EXPECT_EQ(PD_Enumerate(0, ports, 4, nullptr, nullptr), 3);
    EXPECT_EQ(ports[2], 3);
}

TEST(DiskIds, PdIdPacksTheEnclosureAboveThePortAndHealthReadsTheSenseCode) {
    EXPECT_EQ(se_gen_global_pd_id(33, 2), 0x00210002u);
    EXPECT_EQ(se_gen_global_pd_id(1, 0x1ffff), 0x0001ffffu) << "the port keeps its low 16 bits";
    int enc = 0, port = 0;
    EXPECT_EQ(se_get_enc_pd_id(0x00220004u, &enc, &port), 0);
    EXPECT_EQ(enc * 1000 + port, 34004);
    EXPECT_EQ(se_get_enc_pd_id(1, nullptr, &port), -1);
    struct Case {
        int value;
        int healthy;
    } cases[] = {{0x5D00, 0}, {0x5D10, 0}, {0x0B01, 0}, {0x0000, 1}, {0x5C00, 1}, {0x15D00, 1}};
    for (const auto &c : cases)
        EXPECT_EQ(PD_Is_Report_Healthy(c.value), c.healthy) << std::hex << c.value;
}

}  // namespace
