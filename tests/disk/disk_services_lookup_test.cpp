// The disk backend's lookups outside the registry, on the example board x86-8bay: the disk
// behind a device node, the boot disk from the model file before any scan, the external SAS
// connector on a board without one, and a slot's power switch that the model doesn't name.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "nashal/ini_conf.h"
#include "nashal/pd_sys.h"
#include "nashal/se_model.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "topology/trace_levels.h"

namespace {

class DiskServices : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        ASSERT_EQ(se_sys_setup_model_conf(), 0);
    }
    static void model(const char *section, const char *key, const char *value) {
        Ini_Conf_Set_Field(SE_MODEL_CONF_FILE, section, key, value);
    }
    nashal::sim::Appliance app_ = nashal::sim::Appliance::copy_of(NASHAL_EXAMPLES_DIR "/x86-8bay");
};

TEST_F(DiskServices, DeviceNodeLeadsToTheBackendIds) {
    const struct {
        const char *name;
        int result;
        const char *enc;
        const char *pd;
    } cases[] = {
        {"/dev/sda", 0, "root", "sg0"},
        {"/dev/sdh", 0, "root_cache", "sg7"},
        {"/dev/sdb3", 0, "root", "sg1"},  // a partition names its disk
        {"/dev/sdx", -1, "", ""},  // no such block device
        {"sda", -1, "", ""},       // not a node path
    };
    for (const auto &c : cases) {
        char enc[32] = "";
        char pd[32] = "";
        EXPECT_EQ(pd_sys_get_sys_id_by_sys_name(c.name, enc, pd), c.result) << c.name;
        if (c.result == 0) {
            EXPECT_STREQ(enc, c.enc) << c.name;
            EXPECT_STREQ(pd, c.pd) << c.name;
        }
    }
}

TEST_F(DiskServices, BootDiskComesFromTheModelFileAlone) {
    char name[32] = "";
    model("Boot Enclosure", "MAX_DISK_NUM", "2");
    model("Boot Enclosure", "DISK_DRV_TYPE", "FLASH");
    model("Boot Disk 1", "FLASH_SYS_NAME", "/dev/mmcblk0");
    EXPECT_EQ(pd_sys_get_boot_disk(0, name, sizeof name), 0);
    EXPECT_STREQ(name, "/dev/mmcblk0");
    EXPECT_EQ(pd_sys_get_boot_disk(1, name, sizeof name), -1) << "no name for the second";
    EXPECT_EQ(pd_sys_get_boot_disk(2, name, sizeof name), -1) << "beyond MAX_DISK_NUM";
    // An ATA boot disk on the port of the first bay.
    model("Boot Enclosure", "DISK_DRV_TYPE", "ATA");
    model("Boot Disk 1", "DEV_BUS", "B00:D31:F2");
    model("Boot Disk 1", "DEV_PORT", "0");
    EXPECT_EQ(pd_sys_get_boot_disk(0, name, sizeof name), 0);
    EXPECT_STREQ(name, "/dev/sda");
    model("Boot Enclosure", "DISK_DRV_TYPE", "SCSI");
    EXPECT_EQ(pd_sys_get_boot_disk(0, name, sizeof name), -1) << "no other kind is described";
}

TEST_F(DiskServices, ConnectorAndSlotPowerRefuseWhatTheBoardDoesNotHave) {
    char name[32] = "";
    EXPECT_EQ(pd_sys_get_sys_name_in_connector("sg9", 0, 0, name, sizeof name), -1);
    EXPECT_EQ(nashal::test::trace_level_fault(
                  HAL_TRACE_ERROR,
                  "pd_sys_get_sys_name_in_connector\\(\\d+\\): NAS not support this feature",
                  [&] { pd_sys_get_sys_name_in_connector("root", 0, 0, name, sizeof name); }),
              "");
    EXPECT_EQ(pd_sys_set_power_supply("root", 1, 1), -1) << "no POWER_SUPPLY for the bay";
    model("System Disk 1", "POWER_SUPPLY", "GPIO:I1C");
    EXPECT_EQ(pd_sys_set_power_supply("root", 1, 1), -1) << "only I2C switches are known";
    EXPECT_EQ(pd_sys_set_power_supply("sg9", 1, 1), 0) << "other enclosures: nothing to do";
}

}  // namespace
