// pd_sys_getinfo on whole boards: the record each kind of disk gets (SATA from its IDENTIFY
// data, SAS through sg_inq and sg_readcap, USB from sysfs), the cache bitmap, the USB disks that
// are not taken, and tools that answer garbage.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "disk/disk_info.h"
#include "nashal/ini_conf.h"
#include "nashal/pd_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

class ExampleBoard : public ::testing::Test {
  protected:
    void enter(const char *board) {
        app_ = std::make_unique<Appliance>(
            Appliance::copy_of(std::string(NASHAL_EXAMPLES_DIR) + "/" + board));
        ASSERT_TRUE(app_->activate());
    }
    PD_INFO info(const char *enc, const char *pd, int expect = 0) {
        PD_INFO p;
        memset(&p, 0x5a, sizeof p);  // pd_sys_getinfo clears it
        EXPECT_EQ(pd_sys_getinfo(enc, pd, &p), expect) << enc << " " << pd;
        return p;
    }
    std::unique_ptr<Appliance> app_;
};

TEST_F(ExampleBoard, SataDisksInRootGetTheirIdentifyDataSlotAndLinkSpeed) {
    enter("x86-8bay");
    PD_INFO hdd = info("root", "sg0");
    EXPECT_EQ(hdd.port_id, 1);
    EXPECT_STREQ(hdd.pd_sys_id, "sg0");
    EXPECT_STREQ(hdd.enc_sys_id, "root");
    EXPECT_STREQ(hdd.pd_sys_name, "/dev/sda");
    EXPECT_STREQ(hdd.pd_ctrl_name, "/dev/sg0");
    EXPECT_STREQ(hdd.pd_bus_name, "0:0:0:0");
    EXPECT_EQ(hdd.type, PD_TYPE_SATA);
    EXPECT_STREQ(hdd.vendor, "WDC");
    EXPECT_STREQ(hdd.model, "WD40EFRX-68N32N0");
    EXPECT_STREQ(hdd.serial_no, "WD-WCC7K0000001");
    EXPECT_STREQ(hdd.revision, "82.00A82");
    EXPECT_EQ(hdd.capacity, 7814037168ull);
    EXPECT_EQ(hdd.sector_size, 512u);
    EXPECT_EQ(hdd.speed, PD_LINK_SPEED_6G);
    EXPECT_EQ(hdd.max_speed, PD_LINK_SPEED_6G);
    const unsigned char wwn[8] = {0x50, 0x01, 0x4e, 0xe2, 0xb0, 0x00, 0x00, 0x01};
    EXPECT_EQ(memcmp(hdd.wwn, wwn, 8), 0);
    EXPECT_EQ(hdd.capabilities, PD_CAP_WWN | PD_CAP_SMART | PD_CAP_SELF_TEST | PD_CAP_SERIAL |
                                    PD_CAP_STANDBY | PD_CAP_ERC);
    EXPECT_EQ(hdd.status, 0);
    EXPECT_STREQ(hdd.read_speed, "");

    PD_INFO pmp = info("root_esata", "sg9");
    EXPECT_EQ(pmp.port_id, -1) << "behind a port multiplier: no bay of its own";
    EXPECT_STREQ(pmp.vendor, "Seagate");
    EXPECT_EQ(pmp.max_speed, PD_LINK_SPEED_6G) << "the link's limit overrides the model's 3G";
}

TEST_F(ExampleBoard, CacheableFollowsTheBitmapForSsdsInRootAndAnyDiskInRootCache) {
    enter("x86-8bay");
    // sg4 is the SSD in bay 5, sg0 a rotating disk in bay 1, sg7 the M.2 disk of the cache.
    struct Case {
        const char *root_bitmap;
        const char *cache_bitmap;
        bool ssd5, hdd1, cache1;
    } cases[] = {
        {"0x20", "0x2", true, false, true},
        {"0x10", "0x1", false, false, false},
        {"0xFFFFFFFF", "0xFFFFFFFF", true, false, true},
        {"0x1DF", "0x0", false, false, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.root_bitmap);
        Ini_Conf_Set_Field("/etc/model.conf", "System Enclosure", "SYSTEM_DISK_CACHEABLE_BITMAP",
                           c.root_bitmap);
        Ini_Conf_Set_Field("/etc/model.conf", "Cache Enclosure", "SYSTEM_DISK_CACHEABLE_BITMAP",
                           c.cache_bitmap);
        EXPECT_EQ((info("root", "sg4").capabilities & PD_CAP_CACHEABLE) != 0, c.ssd5);
        EXPECT_EQ((info("root", "sg0").capabilities & PD_CAP_CACHEABLE) != 0, c.hdd1);
        EXPECT_EQ((info("root_cache", "sg7").capabilities & PD_CAP_CACHEABLE) != 0, c.cache1);
    }
    PD_INFO ssd = info("root", "sg4");
    EXPECT_EQ(ssd.capabilities & (PD_CAP_SSD | PD_CAP_TRIM), PD_CAP_SSD | PD_CAP_TRIM);
}

TEST_F(ExampleBoard, UsbDisksOfRootUsbAreTakenByPowerAndSize) {
    enter("x86-8bay");
    PD_INFO stick = info("root_usb", "sg15");
    EXPECT_EQ(stick.type, PD_TYPE_USB);
    EXPECT_EQ(stick.port_id, 2);
    EXPECT_STREQ(stick.vendor, "SanDisk");
    EXPECT_STREQ(stick.model, "Ultra");
    EXPECT_STREQ(stick.serial_no, "4C530001230101117143");
    EXPECT_EQ(stick.capacity, 60063744u);
    EXPECT_EQ(stick.speed, PD_LINK_SPEED_USB_5G);
    EXPECT_EQ(stick.max_speed, 0) << "a USB disk reports no highest speed";
    EXPECT_EQ(read_file("/sys/block/sdp/events_poll_msecs"), "2000\n") << "removable: polled";

    const char *stick_dev = "/sys/bus/usb/devices/2-1/bmAttributes";
    const char *stick_size = "/sys/block/sdp/size";
    struct Case {
        const char *power;
        const char *size_512;
        int result;
    } cases[] = {
        {"c0\n", "2097150\n", -1},  // self-powered and under 1 GiB: a card reader slot
        {"c0\n", "2097152\n", 0},   // self-powered, 1 GiB
        {"80\n", "2097150\n", 0},   // bus-powered stick: any size
        {"80\n", "0\n", -1},        // no medium
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.power) + c.size_512);
        write_file(stick_dev, c.power);
        write_file(stick_size, c.size_512);
        info("root_usb", "sg15", c.result);
    }
    info("root_usb", "sg11", -1);  // the card reader's empty slot
}

TEST_F(ExampleBoard, UsbBootModuleGetsItsBlockCapacityAndTheBootBit) {
    enter("x86-8bay");
    PD_INFO boot = info("root_boot", "sg17");
    EXPECT_EQ(boot.port_id, 1);
    EXPECT_EQ(boot.capabilities, PD_CAP_BOOT);
    EXPECT_EQ(boot.type, 0);
    EXPECT_STREQ(boot.pd_sys_name, "/dev/sdr");
    EXPECT_EQ(boot.capacity, 1015808u);
    EXPECT_EQ(boot.sector_size, 512u);
}

TEST_F(ExampleBoard, SasDisksInRootAreFilledFromInquiryAndReadCapacity) {
    enter("x86-12bay-sas");
    clear_invocations();
    PD_INFO sas = info("root", "sg0");
    EXPECT_EQ(sas.type, PD_TYPE_SAS);
    EXPECT_EQ(sas.port_id, 1);
    EXPECT_STREQ(sas.vendor, "SEAGATE ") << "inquiry texts are not trimmed";
    EXPECT_STREQ(sas.model, "ST12000NM0027   ");
    EXPECT_STREQ(sas.revision, "E004");
    EXPECT_STREQ(sas.serial_no, "ZJV00001");
    EXPECT_EQ(sas.protocol_version, 0x60000u);
    EXPECT_EQ(sas.capacity, 23437770752ull);
    EXPECT_EQ(sas.sector_size, 512u);
    EXPECT_EQ(sas.capabilities & (PD_CAP_SMART | PD_CAP_SELF_TEST | PD_CAP_SERIAL | PD_CAP_SSD),
              PD_CAP_SMART | PD_CAP_SELF_TEST | PD_CAP_SERIAL);
    EXPECT_EQ(sas.speed, PD_LINK_SPEED_6G);
    EXPECT_EQ(sas.max_speed, PD_LINK_SPEED_12G);
    std::vector<std::string> runs;
    for (const auto &line : invocations()) {
        if (line.find("/sbin/sg_") == 0)
            runs.push_back(line);
    }
    EXPECT_EQ(runs, (std::vector<std::string>{
                        "/sbin/sg_inq -r /dev/sg0", "/sbin/sg_inq -p 0x80 -r /dev/sg0",
                        "/sbin/sg_inq -p 0xb1 -r /dev/sg0", "/sbin/sg_inq --page=0x83 -rr /dev/sg0",
                        "/sbin/sg_logs -p 0x0 -r /dev/sg0", "/sbin/sg_readcap -l -r /dev/sg0"}));
    EXPECT_NE(sas.capabilities & PD_CAP_STANDBY, 0u) << "it lists the power condition page";
}

class SasFill : public ::testing::Test {
  protected:
    void SetUp() override {
        app_ = std::make_unique<Appliance>(Appliance::fresh());
        ASSERT_TRUE(app_->activate());
        write_file("/dev/sg1", "");
    }
    PD_INFO fill(const std::string &description) {
        write_file("/sim/inq/sg1", description);
        PD_INFO p{};
        strcpy(p.pd_sys_id, "sg1");
        strcpy(p.pd_ctrl_name, "/dev/sg1");
        nashal::disk::fill_sas_info("sg5", &p, true);
        return p;
    }
    std::unique_ptr<Appliance> app_;
};

TEST_F(SasFill, CapacityFallsBackToReadCapacityTenAndSsdComesFromPageB1) {
    const std::string base = "vendor HGST\nmodel HUSMM1640ASS204\nrev C29C\nserial   0QV1ABCD  \n";
    struct Case {
        const char *what;
        std::string extra;
        uint64_t capacity;
        uint32_t sector;
        bool ssd;
    } cases[] = {
        {"READ CAPACITY (16), SSD", "rotation 1\nsectors 781422768\nblock_size 512\n", 781422768,
         512, true},
        {"4096-byte blocks, rotating", "rotation 7200\nsectors 976754646\nblock_size 4096\n",
         976754646, 4096, false},
        {"no READ CAPACITY (16): the 10-byte one", "sectors 781422768\nreadcap16 no\n", 781422768,
         512, false},
        // The count is the last LBA plus one on the low 32 bits only, as it always was counted.
        {"last LBA 0x1FFFFFFFF", "sectors 8589934592\n", 0x100000000ull, 512, false},
        {"no capacity at all", "", 0, 0, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        PD_INFO p = fill(base + c.extra);
        EXPECT_EQ(p.type, PD_TYPE_SAS);
        EXPECT_STREQ(p.vendor, "HGST    ");
        EXPECT_STREQ(p.model, "HUSMM1640ASS204 ");
        EXPECT_STREQ(p.serial_no, "0QV1ABCD");
        EXPECT_EQ(p.capacity, c.capacity);
        EXPECT_EQ(p.sector_size, c.sector);
        EXPECT_EQ((p.capabilities & PD_CAP_SSD) != 0, c.ssd);
    }
}

TEST_F(SasFill, GarbageFromTheToolsLeavesEmptyTerminatedFields) {
    remove_tree("/sim/inq");
    struct Case {
        const char *what;
        std::string answer;
    } cases[] = {
        {"nothing", ""},
        {"three bytes", "\x00\x00\x06"},
        {"binary noise", std::string(300, '\xff')},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        write_file("/sim/data/answer.bin", c.answer);
        for (const char *tool : {"sg_inq", "sg_readcap"})
            write_file(std::string("/sim/answers/") + tool,
                       "== *\nstdout-file /sim/data/answer.bin\n");
        PD_INFO p{};
        strcpy(p.pd_sys_id, "sg1");
        strcpy(p.pd_ctrl_name, "/dev/sg1");
        nashal::disk::fill_sas_info("root", &p, true);
        EXPECT_LT(strlen(p.vendor), sizeof p.vendor);
        EXPECT_LT(strlen(p.model), sizeof p.model);
        EXPECT_LT(strlen(p.revision), sizeof p.revision);
        EXPECT_LT(strlen(p.serial_no), sizeof p.serial_no);
        EXPECT_FALSE(p.capabilities & PD_CAP_SSD);
    }
}

TEST(DiskInfo, NoCollectorTakesAnUnknownEnclosureAndTheRecordIsCleared) {
    auto app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    PD_INFO p;
    memset(&p, 0x5a, sizeof p);
    EXPECT_EQ(pd_sys_getinfo("nowhere", "sg0", &p), -1);
    EXPECT_EQ(p.port_id, 0);
    EXPECT_EQ(pd_sys_getinfo("root", nullptr, &p), -1);
    EXPECT_EQ(pd_sys_getinfo("root", "sg0", nullptr), -1);
}

}  // namespace
