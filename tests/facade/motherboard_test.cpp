// The motherboard facade on example boards: counts and port names come from the registered
// records after a scan, USB and eSATA ports are numbered from 0 at this interface (one below the
// registry's), and the profiles fall back to their defaults. An off-by-one here is a daemon
// that shows the disk of the neighbouring port.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "nashal/hal_mb.h"
#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/ini_conf.h"
#include "nashal/net_sys.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

Appliance board(const char *name) {
    return Appliance::copy_of(std::string(NASHAL_EXAMPLES_DIR) + "/" + name);
}

}  // namespace

// One scan serves the whole check: a scan of this board takes long.
TEST(Motherboard, CountsAndPortNamesComeFromTheRegisteredEnclosures) {
    Appliance app = board("x86-8bay");
    ASSERT_TRUE(app.activate());
    // Nothing registered yet: every count is 0 and no port has a name.
    EXPECT_EQ(HAL_MB_Get_USB_Count(), 0);
    EXPECT_EQ(HAL_MB_Get_NIC_Count(), 0);
    char name[32] = "x";
    EXPECT_EQ(HAL_MB_Get_USB_Sys_Name(1, name, sizeof name), -1);

    ASSERT_EQ(SE_Scan(), 0);
    EXPECT_EQ(HAL_MB_Get_USB_Count(), 4);
    EXPECT_EQ(HAL_MB_Get_eSATA_Count(), 2);
    EXPECT_EQ(HAL_MB_Get_PCIe_Slot_Count(), 1);
    EXPECT_EQ(HAL_MB_Get_NIC_Count(), 2);

    int usb = -1, esata = -1;
    ASSERT_EQ(SE_Get_Id_By_Sys_Id("root_usb", &usb), 0);
    ASSERT_EQ(SE_Get_Id_By_Sys_Id("root_esata", &esata), 0);
    // For each port the facade must name what the registry holds one port higher.
    struct Ports {
        int enc_id, count;
        int (*facade)(int, char *, int);
    } kinds[] = {{usb, 4, HAL_MB_Get_USB_Sys_Name}, {esata, 2, HAL_MB_Get_eSATA_Sys_Name}};
    for (const Ports &k : kinds) {
        for (int port = 0; port < k.count; ++port) {
            char via_facade[32] = {}, in_registry[32] = {};
            int want = PD_Get_Sys_Name(k.enc_id, port + 1, in_registry, sizeof in_registry);
            EXPECT_EQ(k.facade(port, via_facade, sizeof via_facade), want) << port;
            EXPECT_STREQ(via_facade, in_registry) << "enclosure " << k.enc_id << " port " << port;
        }
    }
    // The SuperSpeed disk sits in chassis port 2, facade port 1.
    char disk[32] = {};
    ASSERT_EQ(HAL_MB_Get_USB_Sys_Name(1, disk, sizeof disk), 0);
    EXPECT_NE(std::string(disk), "");

    // "USB3_PORT_BITMAP = 0x6": chassis ports 1 and 2, facade ports 0 and 1; the result is the
    // port's bit, not 1.
    struct Case {
        int port, result;
    } cases[] = {{0, 2}, {1, 4}, {2, 0}, {3, 0}, {30, 0}, {31, 0}, {-2, 0}};
    for (const Case &c : cases)
        EXPECT_EQ(HAL_MB_Is_USB_Port_3_0(c.port), c.result) << c.port;
}

TEST(Motherboard, EnclosuresOnAUsbPortAreOnlyUsbOnesOfThatPort) {
    Appliance app = board("soc-2bay");
    ASSERT_TRUE(app.activate());
    struct Box {
        int id, protocol;
        const char *parent;
        int parent_port;
    } boxes[] = {
        {10, ENC_PROTOCOL_USB, "root_usb", 2},  // the one that hangs on facade port 1
        {11, ENC_PROTOCOL_USB, "root_usb", 3},  // another port
        {12, ENC_PROTOCOL_SAS, "root_usb", 2},  // same port, not a USB enclosure
        {13, ENC_PROTOCOL_USB, "root", 2},      // same port number on another parent
    };
    for (const Box &b : boxes) {
        ENC_INFO info{};
        std::snprintf(info.enc_sys_id, sizeof info.enc_sys_id, "usb_box%d", b.id);
        info.protocol = b.protocol;
        std::snprintf(info.enc_parent_sys_id, sizeof info.enc_parent_sys_id, "%s", b.parent);
        info.enc_parent_port_id = b.parent_port;
        ASSERT_EQ(se_write_conf(b.id, &info), 0);
        ASSERT_GE(Ini_Conf_Bitmap_Set_Bit(HAL_CONF_FILE, "Index", "enc_bitmap", b.id), 0);
    }
    int ids[8] = {};
    ASSERT_EQ(MB_SE_Enum_By_Root_USB_Port(1, ids, 8), 1);
    EXPECT_EQ(ids[0], 10);
    EXPECT_EQ(MB_SE_Enum_By_Root_USB_Port(0, ids, 8), 0);
    EXPECT_EQ(mb_se_usb_port_filter(0, reinterpret_cast<void *>(intptr_t{0})), -2)
        << "the main unit itself counted as a USB box";
}

TEST(Motherboard, ProfilesFallBackToTheirDefaults) {
    Appliance app = board("soc-2bay");
    ASSERT_TRUE(app.activate());
    HAL_TEMP_PROFILE t{};
    EXPECT_EQ(HAL_MB_Get_Temp_Profile(&t), 0);
    EXPECT_EQ(t.cpu, 100);
    EXPECT_EQ(t.sys, 100);
    EXPECT_EQ(t.disk, 100);
    EXPECT_EQ(t.power, 100);
    write_file(HAL_UTIL_CONF_FILE, "[SHUTDOWN TEMP]\nCPU_TEMP = 95\nDISK_TEMP = 60\n");
    EXPECT_EQ(HAL_MB_Get_Temp_Profile(&t), 0);
    EXPECT_EQ(t.cpu, 95);
    EXPECT_EQ(t.sys, 100);
    EXPECT_EQ(t.disk, 60);
    EXPECT_EQ(t.power, 100);

    int max = 7, free = 7;
    EXPECT_EQ(HAL_MB_Get_SS_Profile(&max, &free), -1);
    EXPECT_EQ(max, 0);
    EXPECT_EQ(free, 0);
    Ini_Conf_Set_Field_Int(HAL_CONF_FILE, "Enclosure_0", "ss_max_channels", 16, INI_CONF_DEC);
    EXPECT_EQ(HAL_MB_Get_SS_Profile(&max, &free), -1) << "one field is not a profile";
    Ini_Conf_Set_Field_Int(HAL_CONF_FILE, "Enclosure_0", "ss_free_channels", 12, INI_CONF_DEC);
    EXPECT_EQ(HAL_MB_Get_SS_Profile(&max, &free), 0);
    EXPECT_EQ(max, 16);
    EXPECT_EQ(free, 12);
}

TEST(Motherboard, NetworkCountsOnlyWiredPortTypes) {
    Appliance app = board("x86-8bay");
    ASSERT_TRUE(app.activate());
    const int wired = net_sys_get_wire_count();
    ASSERT_EQ(wired, 2);
    struct Case {
        int type, count;
    } cases[] = {{0, wired}, {2, wired}, {1, 0}, {3, 0}, {-1, 0}};
    for (const Case &c : cases)
        EXPECT_EQ(Net_NIC_Get_Count(c.type), c.count) << c.type;
    char mac[32];
    int code = 0;
    EXPECT_EQ(Net_NIC_Get_MAC(0, mac, sizeof mac), -1);
    EXPECT_EQ(Net_NIC_Set_MAC(0, "00:11:22:33:44:55"), -1);
    EXPECT_EQ(Net_NIC_Get_Speed(0, &code), -1);
}

TEST(Motherboard, ProcessorSpeedIsTheMeanOfTheCoresOrTheModelName) {
    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    const char *khz[] = {"2400000\n", "1200000\n", "", "800500\n"};
    for (int cpu = 0; cpu < 4; ++cpu) {
        if (*khz[cpu])
            write_file(
                "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cpufreq/scaling_cur_freq",
                khz[cpu]);
    }
    int mhz = 0;
    ASSERT_EQ(HAL_MB_Get_CPU_Speed(&mhz), 0);
    EXPECT_EQ(mhz, (2400 + 1200 + 800) / 3) << "an unreadable core counted";
    EXPECT_EQ(se_sys_get_cpu_running_speed("root_usb", &mhz), -1);
}
