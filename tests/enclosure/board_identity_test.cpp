// The board's identity where the model file says it is kept: serial number, MAC addresses and
// model prefix on the boot disk, read back byte for byte where a manufacturing tool put them;
// places that are missing or blank; and the SAS adapter's service, whose flash must keep the
// board's name and serial number.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "nashal/se_board.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sas_shelf.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

namespace {

constexpr long kPrefixPlace = 7864448;

// A boot disk "/dev/sda" (a flash device as the model names it) with partitions 1 and 6.
class BootDiskIdentity : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app.activate());
        describe("BOARD_SN_DEVICE = BOOT1:0x100\nETH_MAC_DEVICE = BOOT1:512\n");
        partition("/dev/sda1", 4096);
        partition("/dev/sda6", kPrefixPlace + 4096);
    }
    static void describe(const std::string &keys, const std::string &model = "XY-451U RP",
                         const std::string &boot = "/dev/sda") {
        write_file("/etc/model.conf",
                   "[System Enclosure]\nMODEL = " + model + "\nCAP = 0\n" + keys +
                       "[Boot Enclosure]\nMAX_DISK_NUM = 1\n"
                       "DISK_DRV_TYPE = FLASH\n[Boot Disk 1]\nFLASH_SYS_NAME = " +
                       boot + "\n");
        unlink("/etc/platform.conf");
    }
    static void partition(const char *path, long size) {
        write_file(path, "");
        ASSERT_EQ(truncate(path, size), 0);
    }
    static std::string bytes_at(const char *path, long offset, size_t n) {
        return read_file(path).substr(static_cast<size_t>(offset), n);
    }
    Appliance app = Appliance::fresh();
};

TEST_F(BootDiskIdentity, SerialAndMacsSitAtTheirOffsetsAndReadBackAsWritten) {
    ASSERT_EQ(se_sys_set_board_sn("root", "NX8A24070001"), 0);
    ASSERT_EQ(se_sys_set_board_sn("root", "SHORT"), 0);
    EXPECT_EQ(bytes_at("/dev/sda1", 0x100, 8), std::string("SHORT\0"
                                                           "07",
                                                           8))
        << "the serial goes with its terminator and nothing else is touched";
    char text[32];
    ASSERT_EQ(se_sys_get_board_sn("root", text, sizeof text), 0);
    EXPECT_STREQ(text, "SHORT");

    ASSERT_EQ(se_sys_set_mac(1, "00:11:32:AA:BB:01"), 0);
    EXPECT_EQ(bytes_at("/dev/sda1", 512 + 18, 18), std::string("00:11:32:AA:BB:01\0", 18));
    ASSERT_EQ(se_sys_get_mac(1, text, sizeof text), 0);
    EXPECT_STREQ(text, "00:11:32:AA:BB:01");
    // A place that reads fine is the answer, even when nothing was ever written there.
    ASSERT_EQ(se_sys_get_mac(0, text, sizeof text), 0);
    EXPECT_STREQ(text, "");
}

TEST_F(BootDiskIdentity, APrefixReplacesTheModelHeadAndItsSuffixInTheShownName) {
    char name[64];
    ASSERT_EQ(se_sys_get_display_name("root", name, sizeof name), 0);
    EXPECT_STREQ(name, "XY-451U RP") << "no prefix on a blank disk";
    char prefix[16];
    EXPECT_EQ(se_sys_get_model_prefix_name("root", prefix, sizeof prefix), -1);

    ASSERT_EQ(se_sys_set_model_prefix_name("root", "ZZ"), 0);
    EXPECT_EQ(bytes_at("/dev/sda6", kPrefixPlace, 12), std::string("MP=ZZ\0\0\0\0\0\0\0", 12));
    unlink("/etc/platform.conf");
    ASSERT_EQ(se_sys_get_display_name("root", name, sizeof name), 0);
    EXPECT_STREQ(name, "ZZ-451U");

    EXPECT_EQ(se_sys_set_model_prefix_name("root", "ABCDEFGHI"), -1) << "9 characters";
    EXPECT_EQ(se_sys_set_model_prefix_name("usb_1-1", "AB"), -1);
    ASSERT_EQ(se_sys_set_model_prefix_name("root", "ABCDEFGH"), 0);
    EXPECT_EQ(se_sys_get_model_prefix_name("root", prefix, 8), -1) << "too small for 8";
    ASSERT_EQ(se_sys_get_model_prefix_name("root", prefix, 9), 0);
    EXPECT_STREQ(prefix, "ABCDEFGH");
}

TEST_F(BootDiskIdentity, AMissingOrUnreachablePlaceFailsOrFallsBackAsEachRouteDoes) {
    struct Case {
        const char *what;
        std::string keys;
        std::string boot;
        int sn;   // se_sys_get_board_sn
        int mac;  // se_sys_get_mac
        const char *mac_text;
    } cases[] = {
        {"no keys", "", "/dev/sda", -1, -1, nullptr},
        {"no offset", "BOARD_SN_DEVICE = BOOT1\nETH_MAC_DEVICE = BOOT1\n", "/dev/sda", -1, 0,
         "00:00:00:00:05:09"},
        {"no such partition", "BOARD_SN_DEVICE = BOOT3:0\nETH_MAC_DEVICE = BOOT3:0\n", "/dev/sda",
         -1, 0, "00:00:00:00:05:09"},
        {"past the partition's end", "BOARD_SN_DEVICE = BOOT1:8192\nETH_MAC_DEVICE = BOOT1:8192\n",
         "/dev/sda", -1, 0, "00:00:00:00:05:09"},
        {"an unknown word", "BOARD_SN_DEVICE = EEPROM\nETH_MAC_DEVICE = EEPROM\n", "/dev/sda", -1,
         0, "00:00:00:00:05:09"},
        {"no boot disk", "BOARD_SN_DEVICE = BOOT1:0\nETH_MAC_DEVICE = BOOT1:0\n", "", -1, 0,
         "00:00:00:00:05:09"},
    };
    for (const Case &c : cases) {
        describe(c.keys, "XY-451U RP", c.boot);
        char text[32] = "untouched";
        EXPECT_EQ(se_sys_get_board_sn("root", text, sizeof text), c.sn) << c.what;
        EXPECT_EQ(se_sys_get_mac(0, text, sizeof text), c.mac) << c.what;
        if (c.mac_text) {
            EXPECT_STREQ(text, c.mac_text) << c.what;
        }
        // A plain file stands for a partition and grows where a disk would refuse.
        if (c.what != std::string("past the partition's end")) {
            EXPECT_EQ(se_sys_set_board_sn("root", "X"), -1) << c.what;
        }
    }
    // The prefix lives only on an sd disk.
    describe("", "XY-451U RP", "/dev/mmcblk0");
    EXPECT_EQ(se_sys_set_model_prefix_name("root", "ZZ"), -1);
    char prefix[16];
    EXPECT_EQ(se_sys_get_model_prefix_name("root", prefix, sizeof prefix), -1);
}

// The internal SAS adapter on PCI bus 3 behind root port 00:01.0, a SAS3 part.
class SasAdapter : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app.activate());
        SysfsTree t;
        build_sas_adapter(t);
        write_file("/etc/model.conf",
                   "[System Enclosure]\nCAP = 0x400\nMAX_PCIE_SLOT = 2\n"
                   "[System Internal SAS]\nDEV_BUS = B00:D01:F0\nEXT_CONNECTOR_COUNT = 2\n"
                   "EXT_PORTS_IN_CONNECTOR = 4\n");
        write_file("/sim/hba/slot0",
                   "pci 03\ngeneration 3\nname SAS9300-8i\nserial SP4711\n"
                   "wwn 500605b00a0b0c0d\nfirmware 12.00.00.00\n"
                   "nvdata 0c.00.00.01\n");
        write_file("/tmp/SAS9300_16.00.12.00_0e.01.00.09.bin",
                   "firmware 16.00.12.00\nnvdata 0e.01.00.09\n");
        clear_invocations();
    }
    Appliance app = Appliance::fresh();
};

TEST_F(SasAdapter, AFlashKeepsTheBoardNameAndSerialAndReportsTheNewFirmware) {
    const char *image = "/tmp/SAS9300_16.00.12.00_0e.01.00.09.bin";
    char version[64] = {};
    ASSERT_EQ(se_sys_upgrade_hba_fw(0, image, version, sizeof version, 3), 0);
    EXPECT_STREQ(version, "16.00.12.00_0e.01.00.09");
    char name[32], serial[32], wwn[32];
    ASSERT_EQ(se_sys_get_SAS_HBA_info(0, name, sizeof name, serial, sizeof serial, nullptr, 0, wwn,
                                      sizeof wwn),
              0);
    EXPECT_STREQ(name, "SAS9300-8i");
    EXPECT_STREQ(serial, "SP4711");
    EXPECT_STREQ(wwn, "500605b00a0b0c0d");
    auto runs = invocations();
    EXPECT_NE(std::find(runs.begin(), runs.end(), "/sbin/sas3flash -cpci 03:0:0 -o -e 3"),
              runs.end());
    EXPECT_NE(std::find(runs.begin(), runs.end(),
                        std::string("/sbin/sas3flash -cpci 03:0:0 -f ") + image),
              runs.end());

    // The SAS2 tool finds no adapter of its kind: nothing changes and the old text is read.
    ASSERT_EQ(se_sys_upgrade_hba_fw(0, image, version, sizeof version, 2), 0);
    EXPECT_STREQ(version, "16.00.12.00_0e.01.00.09");

    char first[32], second[32];
    ASSERT_EQ(se_sys_get_SAS_FW_fileinfo(image + 5, first, sizeof first, second, sizeof second), 0);
    EXPECT_STREQ(first, "16.00.12.00");
    EXPECT_STREQ(second, "0e.01.00.09");
    EXPECT_EQ(
        se_sys_get_SAS_FW_fileinfo("SAS9300-16.00.bin", first, sizeof first, second, sizeof second),
        -1);
}

TEST_F(SasAdapter, AFlashIsRefusedForAMissingImageOrASlotTheBoardDoesntHave) {
    char version[64] = "untouched";
    EXPECT_EQ(se_sys_upgrade_hba_fw(0, "/tmp/none.bin", version, sizeof version, 3), -1);
    EXPECT_EQ(se_sys_upgrade_hba_fw(3, "/tmp/SAS9300_16.00.12.00_0e.01.00.09.bin", version,
                                    sizeof version, 3),
              -1);
    EXPECT_EQ(se_sys_upgrade_hba_fw(1, "/tmp/SAS9300_16.00.12.00_0e.01.00.09.bin", version,
                                    sizeof version, 3),
              -1)
        << "slot 1 has no DEV_BUS";
    for (const std::string &run : invocations())
        EXPECT_EQ(run.find("flash"), std::string::npos) << run;

    int connectors = 0, ports = 0;
    ASSERT_EQ(se_sys_get_connector_info("root", &connectors, &ports), 0);
    EXPECT_EQ(connectors, 2);
    EXPECT_EQ(ports, 4);
    write_file("/etc/model.conf", "[System Enclosure]\nCAP = 0\n");
    EXPECT_EQ(se_sys_get_connector_info("root", &connectors, &ports), -1);
    char fw[64];
    EXPECT_EQ(se_sys_get_SAS_HBA_info(1, nullptr, 0, nullptr, 0, fw, sizeof fw, nullptr, 0), -1);
}

}  // namespace
