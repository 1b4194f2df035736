// The enclosure query and control interface against hand-written registry files: the health
// record built from the monitoring service's file, the buzzer settings, SAS-only reboots, the
// cache enclosures behind the log names. The buzzer and reboot backends are replaced here and
// record what reached them.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/ini_conf.h"
#include "sim/appliance.h"
#include "sim/clock.h"
#include "sim/fs.h"
#include "topology/trace_levels.h"

namespace {

std::vector<std::string> g_sent;  // "buzzer root 1", "reboot sg9"

}  // namespace

extern "C" int se_sys_set_buzzer(const char *enc_sys_id, int mode) {
    g_sent.push_back("buzzer " + std::string(enc_sys_id) + " " + std::to_string(mode));
    return 0;
}

extern "C" int se_sys_set_reboot(const char *enc_sys_id) {
    g_sent.push_back("reboot " + std::string(enc_sys_id));
    return 0;
}

namespace {

struct Enclosure {
    int enc_id;
    const char *sys_id;
    int protocol;
    uint32_t capability;
    int fans;
};

class EnclosureQueries : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        g_sent.clear();
    }
    static void attach(const Enclosure &e) {
        std::string s = "Enclosure_" + std::to_string(e.enc_id);
        Ini_Conf_Set_Field_Int(HAL_CONF_FILE, s.c_str(), "enc_id", e.enc_id, INI_CONF_DEC);
        Ini_Conf_Set_Field(HAL_CONF_FILE, s.c_str(), "enc_sys_id", e.sys_id);
        Ini_Conf_Set_Field_Int(HAL_CONF_FILE, s.c_str(), "protocol", e.protocol, INI_CONF_DEC);
        Ini_Conf_Set_Field_Int(HAL_CONF_FILE, s.c_str(), "capability",
                               static_cast<int32_t>(e.capability), INI_CONF_HEX);
        Ini_Conf_Set_Field_Int(HAL_CONF_FILE, s.c_str(), "max_fan_num", e.fans, INI_CONF_DEC);
        Ini_Conf_Bitmap_Set_Bit(HAL_CONF_FILE, "Index", "enc_bitmap", e.enc_id);
        Ini_Conf_Set_Field_Int(HAL_CONF_FILE, "Index",
                               ("enc_sysid_" + std::string(e.sys_id)).c_str(), e.enc_id,
                               INI_CONF_DEC);
    }
    static void em(int enc_id, const std::string &body) {
        nashal::sim::write_file("/tmp/em/em_" + std::to_string(enc_id) + ".info",
                                "[INFO]\n" + body);
    }
    static void setting(const char *section, const char *field, const char *value) {
        Ini_Conf_Set_Field(SE_SYSTEM_CONF_FILE, section, field, value);
    }
    nashal::sim::Appliance app_ = nashal::sim::Appliance::fresh();
};

constexpr uint32_t kRootCap = CAP_INTERNAL | CAP_REDUNDANT_POWER;

SE_SYSTEM_STATUS unset_status() {
    SE_SYSTEM_STATUS s;
    memset(&s, 0x5a, sizeof s);
    return s;
}

TEST_F(EnclosureQueries, SystemStatusReadsTheMonitoringFile) {
    attach({0, "root", ENC_PROTOCOL_ROOT, kRootCap, 3});
    em(0,
       "FANS_1 = 1\nFANR_1 = 1200\nFANS_2 = 0\nFANR_2 = 900\nTEMP_0 = 41\nTEMP_1 = 38\n"
       "PWRS_1 = 1\nPWRT_1 = 50\nPWRR_1 = 3000\nPWRS_2 = 0\nPWRT_2 = 60\n");

    // One supply (redundancy not enabled): the first works, the second is the caller's.
    SE_SYSTEM_STATUS s = unset_status();
    ASSERT_EQ(SE_Get_System_Status(0, &s), 0);
    EXPECT_EQ(s.fan_num, 3);
    EXPECT_EQ(s.power_num, 1);
    EXPECT_EQ(s.fan_status[0], SE_FAN_OK);
    EXPECT_EQ(s.fan_speed[0], 1200);
    EXPECT_EQ(s.fan_status[1], SE_FAN_FAILED);
    EXPECT_EQ(s.fan_speed[1], -1) << "a failed fan's speed is not read";
    EXPECT_EQ(s.fan_status[2], SE_FAN_UNKNOWN) << "FANS_3 is missing";
    EXPECT_EQ(s.fan_speed[2], -1);
    EXPECT_EQ(s.temperature[0], 41);
    EXPECT_EQ(s.temperature[1], 38);
    EXPECT_EQ(s.power_status[0], SE_POWER_OK);
    EXPECT_EQ(s.power_temperature[0], -1);
    EXPECT_EQ(s.power_fan_speed[0], -1);
    EXPECT_EQ(s.power_status[1], 0x5a5a5a5a) << "the second supply stays as the caller left it";

    // Redundant power enabled (any case): both supplies from the file.
    setting("System", "Redundant Power Enable", "true");
    s = unset_status();
    ASSERT_EQ(SE_Get_System_Status(0, &s), 0);
    EXPECT_EQ(s.power_num, 2);
    EXPECT_EQ(s.power_status[0], SE_POWER_OK);
    EXPECT_EQ(s.power_temperature[0], 50);
    EXPECT_EQ(s.power_fan_speed[0], 3000);
    EXPECT_EQ(s.power_status[1], SE_POWER_FAILED);
    EXPECT_EQ(s.power_temperature[1], -1) << "a failed supply's readings are not read";
}

TEST_F(EnclosureQueries, SystemStatusFailsWithoutFileOrWithTooManyFans) {
    attach({0, "root", ENC_PROTOCOL_ROOT, kRootCap, 7});
    em(0, "FANS_1 = 1\n");
    SE_SYSTEM_STATUS s = unset_status();
    EXPECT_EQ(nashal::test::trace_level_fault(
                  HAL_TRACE_ERROR, "SE_Get_System_Status\\(\\d+\\): System Error\\.",
                  [&] { EXPECT_EQ(SE_Get_System_Status(0, &s), -1) << "seven fans"; }),
              "");
    attach({23, "root_cache", ENC_PROTOCOL_ROOT, CAP_INTERNAL, 0});
    unlink("/var/log/hal_lib.log");
    EXPECT_EQ(SE_Get_System_Status(23, &s), -1) << "no monitoring file";
    EXPECT_FALSE(nashal::test::log_has_line(".*System Error.*"))
        << "the cache module has no monitor: its missing file is no error";
    EXPECT_EQ(SE_Get_System_Status(9, &s), -1) << "not attached";
}

TEST_F(EnclosureQueries, BuzzerSettingsSilenceTheirOwnModes) {
    attach({0, "root", ENC_PROTOCOL_ROOT, kRootCap, 2});
    const struct {
        const char *quiet;    // "Buzzer Quiet Enable", null: missing
        const char *warning;  // "Buzzer Warning Enable"
        int mode;
        bool sounds;
    } cases[] = {
        {nullptr, nullptr, 1, true},   {nullptr, nullptr, 100, true}, {"TRUE", nullptr, 100, false},
        {"true", nullptr, 101, false}, {"TRUE", nullptr, 1, true},    {nullptr, "FALSE", 1, false},
        {nullptr, "false", 0, false},  {nullptr, "FALSE", 100, true}, {"FALSE", "TRUE", 101, true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << "quiet " << (c.quiet ? c.quiet : "-") << " warning "
                                        << (c.warning ? c.warning : "-") << " mode " << c.mode);
        unlink(SE_SYSTEM_CONF_FILE);
        if (c.quiet)
            setting("MISC", "Buzzer Quiet Enable", c.quiet);
        if (c.warning)
            setting("MISC", "Buzzer Warning Enable", c.warning);
        g_sent.clear();
        EXPECT_EQ(SE_Set_Buzzer(0, c.mode), c.sounds ? 0 : -1);
        EXPECT_EQ(g_sent.size(), c.sounds ? 1u : 0u);
    }
    EXPECT_EQ(SE_Set_Buzzer(4, 1), -1) << "not attached";
}

TEST_F(EnclosureQueries, OnlySasEnclosuresReboot) {
    attach({0, "root", ENC_PROTOCOL_ROOT, kRootCap, 2});
    attach({33, "usb_2-1", ENC_PROTOCOL_USB, 0, 0});
    int64_t before = nashal::sim::clock_now_us();
    EXPECT_EQ(SE_Reboot(-1), 0) << "no SAS enclosure";
    EXPECT_GE(nashal::sim::clock_now_us() - before, 20'000'000) << "the enclosures get 20 s";
    EXPECT_EQ(SE_Reboot(33), -1) << "a USB enclosure";
    attach({40, "sg9", ENC_PROTOCOL_SAS, 0, 0});
    attach({41, "sg12", ENC_PROTOCOL_SAS, 0, 0});
    EXPECT_EQ(SE_Reboot(-1), 2);
    EXPECT_EQ(SE_Reboot(41), 1);
    EXPECT_EQ(g_sent, (std::vector<std::string>{"reboot sg9", "reboot sg12", "reboot sg12"}));
}

TEST_F(EnclosureQueries, CacheEnclosuresAreHostInLogNames) {
    attach({0, "root", ENC_PROTOCOL_ROOT, kRootCap | CAP_CACHE_ENCLOSURE, 2});
    attach({23, "root_cache", ENC_PROTOCOL_ROOT, CAP_INTERNAL, 0});
    attach({24, "root_pcie_1", ENC_PROTOCOL_PCIE, CAP_INTERNAL, 0});
    attach({35, "root_pcie_2", ENC_PROTOCOL_PCIE, CAP_INTERNAL, 0});
    attach({36, "sg9", ENC_PROTOCOL_SAS, 0, 0});
    EXPECT_EQ(SE_Get_Cache_Enc_Id(), 23);
    uint32_t bits = 0x1;  // the caller's word is not cleared
    EXPECT_EQ(SE_Get_Pci_Cache_Enc_Id(&bits), 0);
    EXPECT_EQ(bits, 0x1u | (1u << 24)) << "an id of 32 or more has no bit";
    char name[16];
    for (auto [enc_id, want] : std::vector<std::pair<int, const char *>>{
             {0, "Host"}, {23, "Host"}, {24, "Host"}, {35, "VEXP"}, {36, "VEXP"}}) {
        EXPECT_STREQ(SE_Get_Log_Name(enc_id, name, sizeof name), want) << enc_id;
    }
    // Ids of 32 and more are tested against bit 31.
    attach({31, "root_pcie_3", ENC_PROTOCOL_PCIE, CAP_INTERNAL, 0});
    EXPECT_STREQ(SE_Get_Log_Name(35, name, sizeof name), "Host");
    EXPECT_EQ(SE_Get_Log_Name(0, nullptr, 8), nullptr);
}

TEST_F(EnclosureQueries, FieldReadsAnswerFromTheRegistry) {
    attach({0, "root", ENC_PROTOCOL_ROOT, kRootCap, 2});
    attach({33, "usb_2-1", ENC_PROTOCOL_USB, CAP_INTERNAL, 0});
    Ini_Conf_Set_Field(HAL_CONF_FILE, "Enclosure_0", "wwn", "5000C50000000001");
    Ini_Conf_Set_Field(HAL_CONF_FILE, "Enclosure_0", "status", "1");
    char text[32] = {};
    EXPECT_EQ(SE_Get_WWN(0, text, sizeof text), 0);
    EXPECT_STREQ(text, "0") << "the enc_id, not the WWN";
    EXPECT_EQ(SE_Get_WWN(5, text, sizeof text), -1);
    EXPECT_EQ(SE_Get_FAN_Num(0), 2);
    EXPECT_EQ(SE_Get_PD_Port_Num(5), 0) << "an unknown enclosure has no ports";
    EXPECT_EQ(SE_Get_Protocol(5), -1);
    EXPECT_EQ(SE_Is_Exist(0), 1);
    EXPECT_EQ(SE_Is_Exist(5), 0);
    EXPECT_EQ(SE_Is_Removing(0), 1);
    EXPECT_EQ(SE_Is_Removing(33), 0);
    EXPECT_EQ(SE_Is_USB_JBOD(33), 1);
    EXPECT_EQ(SE_Is_USB_JBOD(0), 0);
    uint32_t bitmap = 0xffff;
    EXPECT_EQ(SE_Get_Cacheable_Port_Bitmap(0, &bitmap), -1);
    EXPECT_EQ(bitmap, 0u) << "a missing bitmap reads as none";
    EXPECT_EQ(se_get_enc_ident_status(0), 0);
    EXPECT_EQ(se_set_enc_ident_status(0, 1), 0);
    EXPECT_EQ(se_get_enc_ident_status(0), 1);
}

}  // namespace
