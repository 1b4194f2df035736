// The disk service calls by enclosure and slot: each finds the disk in the registry's records
// and reaches the right backend by the disk's type, and the SMART summary and read-speed
// measurement combine the cache, the settings and the record. Records are written here as the
// registry writes them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "nashal/pd_smart.h"
#include "nashal/pd_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sas_disk_model.h"
#include "sim/sata_smart_model.h"
#include "sim/sg_io_model.h"

using namespace nashal::sim;

namespace {

class DiskServices : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        write_file("/var/log/hal_lib.log.conf", "ffff:/var/log/hal_lib.log\n");
        enclosure(0, "root", 0x80000000u, 0);
        enclosure(2, "sg9", 0, 3);  // a SAS expansion enclosure
        AtaDiskDesc disk;
        disk.erc = true;
        for (int sg : {1, 2}) {
            std::string node = "sg" + std::to_string(sg);
            write_file("/dev/" + node, "");
            ASSERT_TRUE(describe_ata_disk("", node, disk));
            ASSERT_TRUE(describe_ata_smart("", node, typical_hdd_smart()));
        }
        disk_record(0, 1, "sg1", PD_TYPE_SATA);
        disk_record(0, 2, "sg4", PD_TYPE_SAS);
        disk_record(0, 3, "sg5", PD_TYPE_USB);
        disk_record(2, 1, "sg2", PD_TYPE_SATA);
    }
    static void enclosure(int enc_id, const char *sys_id, uint32_t capability, int protocol) {
        std::string s = "Enclosure_" + std::to_string(enc_id);
        Ini_Conf_Set_Field("/etc/hal.conf", s.c_str(), "enc_sys_id", sys_id);
        Ini_Conf_Set_Field_Int("/etc/hal.conf", s.c_str(), "capability",
                               static_cast<int32_t>(capability), INI_CONF_HEX);
        Ini_Conf_Set_Field_Int("/etc/hal.conf", s.c_str(), "protocol", protocol, INI_CONF_DEC);
    }
    static void disk_record(int enc_id, int port_id, const char *sg, int type) {
        std::string f = "/etc/enclosure_" + std::to_string(enc_id) + ".conf";
        std::string s = "PhysicalDisk_" + std::to_string(port_id);
        auto set = [&](const char *field, const std::string &v) {
            Ini_Conf_Set_Field(f.c_str(), s.c_str(), field, v.c_str());
        };
        set("port_id", std::to_string(port_id));
        set("pd_sys_id", sg);
        set("enc_sys_id", enc_id ? "sg9" : "root");
        set("pd_sys_name", "/dev/sdb");
        set("pd_ctrl_name", std::string("/dev/") + sg);
        set("type", std::to_string(type));
        set("vendor", "Seagate");
        set("model", "ST4000VN008-2DR166");
        set("revision", "SC60");
        set("sector_size", "512");
        set("capacity", "7814037168");
        set("read_speed", "none");
    }
    static std::string log() { return read_file("/var/log/hal_lib.log"); }
    Appliance app_ = Appliance::fresh();
};

TEST_F(DiskServices, SataDisksAreServedByTheAtaBackend) {
    SMART_ATTR a[SMART_ATTR_MAX];
    int status = -5, test_status, percent, short_min, ext_min;
    EXPECT_EQ(PD_SMART_Get_ATA_Info(0, 1, &status, a, SMART_ATTR_MAX, &test_status, &percent,
                                    &short_min, &ext_min),
              30);
    EXPECT_EQ(status, 0);
    int power = -1;
    EXPECT_EQ(PD_Get_Power_Status(0, 1, &power), 0);
    EXPECT_EQ(power, 1);
    EXPECT_EQ(PD_Set_Power_Standby(0, 1), 0);
    EXPECT_EQ(ata_state("", "sg1", "power"), "standby");
    EXPECT_EQ(PD_Set_Self_Test_Mode(0, 1, PD_SELF_TEST_SHORT), 0);
    EXPECT_EQ(ata_state("", "sg1", "self_test").substr(0, 6), "short ");
    int timer = -1;
    EXPECT_EQ(PD_Set_Error_Recovery_Timer(0, 1, 1, 70), 0);
    EXPECT_EQ(PD_Get_Error_Recovery_Timer(0, 1, 1, &timer), 0);
    EXPECT_EQ(timer, 70);
    EXPECT_EQ(PD_Get_SCSI_Self_Test_Status(0, 1, &status, &percent), -1);
    EXPECT_NE(log().find("PD_Get_SCSI_Self_Test_Status: unknown physical disk type 0.\n"),
              std::string::npos);
}

TEST_F(DiskServices, SasUsbAndUnknownDisksGetTheirFailures) {
    int out = -1;
    struct Case {
        const char *what;
        int port;
        int result;
        const char *trace;
    } cases[] = {
        // sg4 answers no tool: the SCSI backend is reached and finds an empty pipe.
        {"SAS power: the SCSI backend", 2, PD_Get_Power_Status(0, 2, &out),
         "\"/sbin/sg_requests -r /dev/sg4\""},
        {"SAS timers", 2, PD_Set_Error_Recovery_Timer(0, 2, 0, 70),
         "PD_Set_Error_Recovery_Timer: have not implement.\n"},
        {"SAS log pages", 2, PD_Get_SCSI_Log_Pages(0, 2, &out, nullptr, 0),
         "\"/sbin/sg_logs -p 0x0 -r /dev/sg4\""},
        {"USB standby", 3, PD_Set_Power_Standby(0, 3),
         "PD_Set_Power_Standby: unknown physical disk type 2.\n"},
        {"USB self test", 3, PD_Set_Self_Test_Mode(0, 3, 1),
         "PD_Set_Self_Test_Mode: unknown physical disk type 2.\n"},
        {"no disk in the slot", 7, PD_Get_Power_Status(0, 7, &out), "can't retrieve"},
        {"no such enclosure", 1, PD_Get_Power_Status(5, 1, &out), ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.result, -1);
        EXPECT_NE(log().find(c.trace), std::string::npos);
    }
    EXPECT_EQ(out, 0) << "the log pages clear the sense code before asking for it";
}

// The monitoring service's round for a SAS disk: log pages and self test through the service
// calls, a record composed from them in the cache, and the summary the management pages read.
TEST_F(DiskServices, ASasDisksHealthTemperatureAndSelfTestReachTheSmartCache) {
    write_file("/sim/inq/sg4", "type 0\nvendor SEAGATE\nmodel ST8000NM0075\n");
    write_file("/dev/sg4", "");
    set_sas_disk_value("", "sg4", "temperature", "47");
    set_sas_disk_value("", "sg4", "grown_defects", "150");
    set_sas_disk_file("", "sg4", "iec", "0 0 1 0 0 0 1 6 300 0\n");
    set_sas_disk_file("", "sg4", "self_test_log", "short 3 900\n");
    SAS_LOG_PAGE pages[16];
    int sense = 0;
    int n = PD_Get_SCSI_Log_Pages(0, 2, &sense, pages, 16);
    ASSERT_GT(n, 0);
    EXPECT_EQ(sense, 0x5D14) << "failure predicted: too many reassigned blocks";
    PD_SMART_INFO *r = static_cast<PD_SMART_INFO *>(calloc(1, PD_SMART_INFO_SIZE(0)));
    for (int i = 0; i < n; ++i) {
        if (pages[i].page == SAS_LOG_PAGE_TEMPERATURE)
            r->temperature = static_cast<int32_t>(pages[i].body.temperature.temperature.value);
        if (pages[i].page == SAS_LOG_PAGE_INFORMATIONAL_EXCEPTION &&
            pages[i].body.informational_exception.asc.value == 0x5D)
            r->health = PD_SMART_HEALTH_ERROR;
    }
    int status = -1, percent = -1;
    ASSERT_EQ(PD_Get_SCSI_Self_Test_Status(0, 2, &status, &percent), 0);
    EXPECT_EQ(status, 3) << "the last test ended in an unknown error";
    EXPECT_EQ(percent, 100);
    r->summary_status = status;
    ASSERT_EQ(PD_SMART_Write_Info(0, 2, r), 0);
    free(r);
    EXPECT_EQ(PD_SMART_Is_Error(0, 2), 1);
    PD_SMART_SUMMARY summary = {};
    ASSERT_EQ(PD_SMART_Get_Summary(0, 2, &summary), 0);
    EXPECT_EQ(summary.temperature, 47);
    EXPECT_EQ(summary.status, 3);
    int power = -1;
    ASSERT_EQ(PD_Set_Power_Standby(0, 2), 0);
    ASSERT_EQ(PD_Get_Power_Status(0, 2, &power), 0);
    EXPECT_EQ(power, 0);
}

TEST_F(DiskServices, StandbyOfASataDiskBehindASasControllerTakesTheAtaWayWhenUnsure) {
    // The collector finds nothing of the disk in sysfs, so no link speed: the ATA command is used.
    EXPECT_EQ(PD_Set_Power_Standby(2, 1), 0);
    EXPECT_EQ(ata_state("", "sg2", "power"), "standby");
}

TEST_F(DiskServices, SummaryAndErrorsOverManyDisks) {
    for (int port = 1; port <= 8; ++port) {
        if (port > 1)
            disk_record(0, port, "sg1", PD_TYPE_SATA);
        PD_SMART_INFO *r = static_cast<PD_SMART_INFO *>(calloc(1, PD_SMART_INFO_SIZE(0)));
        r->health = port % 3 == 0 ? PD_SMART_HEALTH_ERROR : 1;
        r->summary_status = port;
        r->summary_value = 100 + port;
        r->temperature = 0x100 + 30 + port;
        ASSERT_EQ(PD_SMART_Write_Info(0, port, r), 0);
        free(r);
    }
    write_file("/etc/config/smart.conf",
               "[SMART]\nHD 4 Last Test Type = 2\n"
               "HD 4 Last Test Time = 1700000000\n"
               "Temperature Type 4 = 0\n");
    for (int port = 1; port <= 9; ++port)
        EXPECT_EQ(PD_SMART_Is_Error(0, port), port % 3 == 0 && port <= 8 ? 1 : 0) << port;

    PD_SMART_SUMMARY s;
    ASSERT_EQ(PD_SMART_Get_Summary(0, 4, &s), 0);
    EXPECT_EQ(s.port_id, 4);
    EXPECT_EQ(s.status, 4);
    EXPECT_EQ(s.status2, 4);
    EXPECT_STREQ(s.description, "Seagate ST4000VN008-2DR166 SC60");
    EXPECT_FLOAT_EQ(s.capacity_gb, 3726.02f) << "GB of 2^30 bytes, two decimals";
    EXPECT_EQ(s.temperature, 34);
    EXPECT_EQ(s.last_test_time, 1700000000);
    EXPECT_EQ(s.last_test_type, 2);
    EXPECT_EQ(s.value, 104);
    EXPECT_EQ(s.temperature_type, 0);
    EXPECT_EQ(PD_SMART_Get_Summary(0, 9, &s), -1) << "no record, no cache";
    EXPECT_EQ(PD_SMART_Get_Summary(0, 4, nullptr), -1);
}

TEST_F(DiskServices, ReadSpeedIsMeasuredWithHdparmIntoTheRecord) {
    auto read_speed = [] {
        char buf[32] = "";
        Ini_Conf_Get_Field("/etc/enclosure_0.conf", "PhysicalDisk_1", "read_speed", buf,
                           sizeof buf);
        return std::string(buf);
    };
    write_file("/sim/answers/hdparm",
               "== -t /dev/sdb\n"
               "stdout \n"
               "stdout /dev/sdb:\n"
               "stdout  Timing buffered disk reads: 512 MB in  3.01 seconds = 170.10 MB/sec\n");
    EXPECT_EQ(PD_set_checking_read_speed(0, 1), 0);
    EXPECT_EQ(read_speed(), "170.10 MB/sec");
    write_file("/sim/answers/hdparm", "== *\nexit 5\n");
    EXPECT_EQ(PD_set_checking_read_speed(0, 1), 0);
    EXPECT_EQ(read_speed(), "fail");
    Ini_Conf_Set_Field("/etc/enclosure_0.conf", "PhysicalDisk_1", "pd_sys_name", "/dev/sdb;reboot");
    EXPECT_EQ(PD_set_checking_read_speed(0, 1), 0);
    EXPECT_EQ(read_speed(), "testing") << "a name with shell characters never reaches hdparm";
    EXPECT_EQ(PD_set_checking_read_speed(0, 7), -1);
}

}  // namespace

// On a board whose disks hang off the unit's own SAS expander, a SATA disk takes the ATA standby
// only on a link the expander can run at 12 Gb/s; on a slower one it is told the SCSI way.
TEST(DiskServicesOnABoard, StandbyBehindTheUnitsSasExpanderFollowsTheLinksTopSpeed) {
    Appliance app = Appliance::copy_of(NASHAL_EXAMPLES_DIR "/x86-12bay-sas");
    ASSERT_TRUE(app.activate());
    write_file("/var/log/hal_lib.log.conf", "ffff:/var/log/hal_lib.log\n");
    write_file("/etc/hal.conf",
               "[Enclosure_0]\nenc_sys_id = root\ncapability = 0x08000600\n"
               "protocol = 0\n");
    write_file("/etc/enclosure_0.conf",
               "[PhysicalDisk_1]\nport_id = 1\npd_sys_id = sg0\nenc_sys_id = root\ntype = 0\n");
    ASSERT_TRUE(describe_ata_disk("", "sg0", AtaDiskDesc{}));
    PD_INFO info = {};
    ASSERT_EQ(pd_sys_getinfo("root", "sg0", &info), 0);
    ASSERT_EQ(info.max_speed, PD_LINK_SPEED_12G);
    EXPECT_EQ(PD_Set_Power_Standby(0, 1), 0);
    EXPECT_EQ(ata_state("", "sg0", "power"), "standby");

    set_ata_state("", "sg0", "power", "active");
    for (const auto &phy : list_dir("/sys/class/sas_phy"))
        write_file("/sys/class/sas_phy/" + phy + "/maximum_linkrate_hw", "6.0 Gbit\n");
    EXPECT_EQ(PD_Set_Power_Standby(0, 1), 0);
    EXPECT_NE(read_file("/sim/invocations.log").find("/sbin/sg_start -p 3 -m 0 /dev/sg0\n"),
              std::string::npos)
        << "below 12 Gb/s the disk is put to standby the SCSI way";
    EXPECT_EQ(ata_state("", "sg0", "power"), "active");
}
