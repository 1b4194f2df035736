// Disks coming and going on a scanned example board through the hot-plug entries, on the real
// backend: a disk put into the empty bay attaches with its hook, leaves with its record and
// index entry, a disk moved to another bay takes its WWN index along, and a scan racing a
// hot-plug attach in another process leaves every disk recorded exactly once.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/ini_conf.h"
#include "registry/conf_field.h"
#include "sim/appliance.h"
#include "sim/ata_identify_image.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

namespace {

const char *kBay8Host = "/sys/devices/pci0000:00/0000:00:1f.2/ata8/host7";

using nashal::test::field;

bool hook_ran(const std::string &line) {
    for (int tries = 0; tries < 50; ++tries) {
        for (const auto &l : invocations())
            if (l == line)
                return true;
        usleep(100 * 1000);
    }
    return false;
}

// A NAS disk put into bay 8 (the board's empty AHCI port): its sysfs and its IDENTIFY data.
void insert_into_bay_8(const std::string &serial, uint64_t wwn) {
    SysfsTree t("");
    t.scsi_device(kBay8Host, {7, 0, 0, 0}, ScsiDesc::disk(19, "sdt", "ATA", "WDC WD40EFRX-68N"));
    AtaDiskDesc d;
    d.model = "WDC WD40EFRX-68N32N0";
    d.serial = serial;
    d.sectors = 7814037168ull;
    d.wwn = wwn;
    ASSERT_TRUE(describe_ata_disk("", "sg19", d));
}

class ScannedBoard : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        ASSERT_EQ(SE_Scan(), 0);
        clear_invocations();
    }
    Appliance app_ = Appliance::copy_of(std::string(NASHAL_EXAMPLES_DIR) + "/x86-8bay");
};

TEST_F(ScannedBoard, DiskInsertedAfterTheScanAttachesLeavesAndMovesWithItsWwn) {
    insert_into_bay_8("WD-WCC7K0000099", 0x50014ee2b0000099ull);
    ASSERT_EQ(PD_Sys_Attach("root", "sg19"), 0);
    EXPECT_EQ(field("/etc/enclosure_0.conf", "PhysicalDisk_8", "pd_sys_id"), "sg19");
    EXPECT_EQ(field(HAL_CONF_FILE, "Index", "pd_wwn_50014EE2B0000099"), "00000008");
    EXPECT_TRUE(hook_ran("/etc/init.d/pd_attach 0 8 /dev/sdt"));
    EXPECT_TRUE(hook_ran("/sbin/udevadm control --env=sg19=root"));

    ASSERT_EQ(PD_Sys_Detach("root", "sg19"), 0);
    EXPECT_EQ(PD_Is_Exist(0, 8), 0);
    EXPECT_EQ(field(HAL_CONF_FILE, "Index", "pd_wwn_50014EE2B0000099"), "<missing>");
    EXPECT_TRUE(hook_ran("/etc/init.d/pd_detach 0 8 /dev/sdt"));

    // Bay 1's disk taken out and put into bay 8: the WWN index follows it.
    ASSERT_EQ(field(HAL_CONF_FILE, "Index", "pd_wwn_50014EE2B0000001"), "00000001");
    ASSERT_EQ(PD_Sys_Detach("root", "sg0"), 0);
    insert_into_bay_8("WD-WCC7K0000001", 0x50014ee2b0000001ull);
    ASSERT_EQ(PD_Sys_Attach("root", "sg19"), 0);
    EXPECT_EQ(field(HAL_CONF_FILE, "Index", "pd_wwn_50014EE2B0000001"), "00000008");
    EXPECT_EQ(PD_Enumerate(0, nullptr, 0, nullptr, nullptr), 7);
}

TEST_F(ScannedBoard, ScanRacingAHotPlugAttachRecordsEveryDiskOnce) {
    for (int round = 0; round < 2; ++round) {
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (int i = 0; i < 3; ++i)
                PD_Sys_Attach("root", "sg3");
            _exit(0);
        }
        PD_Scan(0);
        int status = 0;
        waitpid(child, &status, 0);

        std::set<std::string> ids;
        int records = 0;
        for (int port = 0; port < 32; ++port) {
            if (!PD_Is_Exist(0, port))
                continue;
            ++records;
            PD_INFO info;
            memset(&info, 0, sizeof info);
            EXPECT_EQ(PD_Get_Info(0, port, &info), 0) << "an incomplete record at " << port;
            ids.insert(info.pd_sys_id);
            EXPECT_EQ(pd_lookup_id("root", info.pd_sys_id), port);
        }
        EXPECT_EQ(records, 7) << "round " << round;
        EXPECT_EQ(ids, (std::set<std::string>{"sg0", "sg1", "sg2", "sg3", "sg4", "sg5", "sg6"}));
        EXPECT_EQ(field("/etc/enclosure_0.conf", "Index", "pd_bitmap"), "0xFE");
    }
}

}  // namespace
