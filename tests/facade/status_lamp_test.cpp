// The main unit's status lamp and the panel facade. The lamp backend is replaced here (the
// library is a shared object, so these definitions serve its own calls too) and records what the
// lamp was told; the event register and the identify state are the real files of an appliance.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "nashal/hal_gpio.h"
#include "nashal/hal_hm.h"
#include "nashal/hal_se.h"
#include "nashal/ini_conf.h"
#include "sim/appliance.h"
#include "sim/fs.h"

namespace {

std::vector<std::string> g_lamp;  // "set 1 0", "blink 2 1": what the lamp was told, in order
int g_ident_result = 0;           // what the enclosure identify lamp answers
int g_backend_calls = 0;          // every backend call below

}  // namespace

extern "C" int se_sys_set_status_led(const char *, int colour, int enable) {
    ++g_backend_calls;
    g_lamp.push_back("set " + std::to_string(colour) + " " + std::to_string(enable));
    return 0;
}

extern "C" int se_sys_blink_status_led(const char *, int colour, int enable) {
    ++g_backend_calls;
    g_lamp.push_back("blink " + std::to_string(colour) + " " + std::to_string(enable));
    return 0;
}

extern "C" int se_sys_set_ident_led(const char *, int) {
    ++g_backend_calls;
    return g_ident_result;
}

extern "C" int se_sys_set_pwb_mode(int) {
    ++g_backend_calls;
    return 0;
}

extern "C" int se_sys_get_temp(const char *, int, double *t) {
    ++g_backend_calls;
    *t = 40.0;
    return 0;
}

namespace {

class StatusLamp : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        Ini_Conf_Set_Field(HAL_CONF_FILE, "Enclosure_0", "enc_id", "0");
        Ini_Conf_Set_Field(HAL_CONF_FILE, "Enclosure_0", "enc_sys_id", "root");
        g_lamp.clear();
        g_backend_calls = 0;
    }
    static std::string reg() { return nashal::sim::read_file(GPIO_STATUS_EVENT_FILE); }
    // The lamp after one call; the register must be ten characters every time.
    static std::string lamp_after(uint32_t event, int status) {
        g_lamp.clear();
        EXPECT_EQ(GPIO_Set_NAS_Status_LED(event, status), 0);
        EXPECT_EQ(reg().size(), 10u) << reg();
        std::string all;
        for (const std::string &s : g_lamp)
            all += (all.empty() ? "" : ", ") + s;
        return all;
    }
    nashal::sim::Appliance app_ = nashal::sim::Appliance::fresh();
};

// Each group wins over every group below it: with the group's bit and every lower group's bit
// set, the lamp shows the group. Bit 1 blinks green first and both colours 5 seconds later.
TEST_F(StatusLamp, EachGroupWinsOverTheLowerOnes) {
    const struct {
        uint32_t bit;
        const char *lamp;
    } groups[] = {
        // from the lowest priority up
        {0x0, "set 1 1"},    {0x10000, "set 1 0"}, {0x1, "blink 1 1"},   {0x100, "blink 0 1"},
        {0x1000, "set 0 1"}, {0x10, "blink 2 1"},  {0x40000, "set 1 0"},
    };
    uint32_t lower = 0;
    for (const auto &g : groups) {
        SCOPED_TRACE(testing::Message() << std::hex << "bit 0x" << g.bit);
        EXPECT_EQ(lamp_after(0, 0), "set 1 1") << "event 0 clears every condition";
        for (uint32_t b = 1; b && b <= lower; b <<= 1)
            if (lower & b)
                lamp_after(b, 1);
        EXPECT_EQ(lamp_after(g.bit, 1), g.lamp);
        lower |= g.bit;
        char want[16];
        snprintf(want, sizeof want, "0x%08x", lower);
        EXPECT_EQ(reg(), want);
    }
    EXPECT_EQ(lamp_after(0, 0), "set 1 1");
    EXPECT_EQ(lamp_after(0x2, 1), "blink 1 1, blink 2 1");
    // Bit 18 of group 16-19 darkens the lamp before everything, the rest of that group after all.
    EXPECT_EQ(lamp_after(0x40000 | 0x10, 1), "set 1 0");
}

TEST_F(StatusLamp, RegisterSetsClearsAndReplacesAsCallersExpect) {
    unlink(GPIO_STATUS_EVENT_FILE);
    EXPECT_EQ(lamp_after(0x1000, 1), "set 0 1") << "a first call creates the register";
    EXPECT_EQ(reg(), "0x00001000");
    lamp_after(0x10, 1);
    EXPECT_EQ(lamp_after(0x10, 0), "set 0 1") << "clearing one bit leaves the others";
    EXPECT_EQ(reg(), "0x00001000");
    lamp_after(0x4, 0);
    EXPECT_EQ(reg(), "0x00001000") << "clearing a bit never set changes nothing";
    EXPECT_EQ(lamp_after(0x20000, 0), "set 1 0") << "0x20000 replaces all, whatever the status";
    EXPECT_EQ(reg(), "0x00020000");
    EXPECT_EQ(lamp_after(0, 1), "set 1 1") << "event 0 clears all, whatever the status";
    EXPECT_EQ(reg(), "0x00000000");
}

// Processes that each own some bits set and clear them at the same time; the register ends
// with exactly the bits their owners left set.
TEST_F(StatusLamp, ConcurrentSettersAndClearersLoseNoBit) {
    GPIO_Set_NAS_Status_LED(0, 0);
    constexpr int kProcesses = 6;
    constexpr int kRounds = 40;
    std::vector<pid_t> children;
    for (int p = 0; p < kProcesses; ++p) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            // Bits 8+p (red blink group and up, no 5-second bit) and 24+p.
            uint32_t toggled = 1u << (8 + p);
            uint32_t kept = 1u << (24 + p);
            for (int r = 0; r < kRounds; ++r) {
                GPIO_Set_NAS_Status_LED(toggled, 1);
                GPIO_Set_NAS_Status_LED(kept, 1);
                GPIO_Set_NAS_Status_LED(toggled, 0);
            }
            _exit(0);
        }
        children.push_back(pid);
    }
    for (pid_t pid : children) {
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    uint32_t want = 0;
    for (int p = 0; p < kProcesses; ++p)
        want |= 1u << (24 + p);
    char text[16];
    snprintf(text, sizeof text, "0x%08x", want);
    EXPECT_EQ(reg(), text);
}

TEST_F(StatusLamp, IdentifyStateIsWhatWasLastAskedFor) {
    EXPECT_EQ(GPIO_Get_Ident_LED(0), 0) << "never set";
    g_ident_result = -1;
    EXPECT_EQ(GPIO_Enable_Ident_LED(0, 1), -1) << "the lamp's own answer";
    EXPECT_EQ(GPIO_Get_Ident_LED(0), 1) << "recorded whatever the lamp answered";
    g_ident_result = 0;
    EXPECT_EQ(GPIO_Enable_Ident_LED(0, 0), 0);
    EXPECT_EQ(GPIO_Get_Ident_LED(0), 0);
    EXPECT_EQ(GPIO_Enable_Ident_LED(5, 1), -1) << "an enclosure that is not attached";
    EXPECT_EQ(GPIO_Get_Ident_LED(5), 0) << "and nothing recorded for it";
}

// Nothing reaches the hardware for an enclosure that isn't attached; the main unit's own
// settings answer whichever attached enclosure is named.
TEST_F(StatusLamp, FacadesTouchNoHardwareForUnknownEnclosures) {
    double t = 0;
    int v = 0;
    int32_t a = 0, b = 0;
    const std::vector<std::pair<const char *, int>> calls = {
        {"HM_Get_Temperature", HM_Get_Temperature(7, 0, &t)},
        {"HM_Get_Voltage", HM_Get_Voltage(7, 0)},
        {"HM_Get_Fan", HM_Get_Fan(7, 1, &v, &v)},
        {"HM_Set_Fan_Speed", HM_Set_Fan_Speed(7, 1, 3)},
        {"HM_Set_Fan_Speed_By_PWM", HM_Set_Fan_Speed_By_PWM(7, 1, 100)},
        {"HM_Set_EUP_State", HM_Set_EUP_State(7, 1)},
        {"HM_Get_EUP_State", HM_Get_EUP_State(7, &v)},
        {"HM_Set_Power_Recovery_Mode", HM_Set_Power_Recovery_Mode(7, 1)},
        {"HM_Get_Power_Recovery_Mode", HM_Get_Power_Recovery_Mode(7, &v)},
        {"HM_Set_WOL", HM_Set_WOL(7, 1)},
        {"HM_Set_Power_Button_Mode", HM_Set_Power_Button_Mode(7, 1)},
        {"HM_Get_Power_Button_Status", HM_Get_Power_Button_Status(7, &v)},
        {"HM_Set_C2F_Param", HM_Set_C2F_Param(7, 1, 2)},
        {"HM_Get_C2F_Param", HM_Get_C2F_Param(7, &a, &b)},
        {"GPIO_Enable_Status_LED", GPIO_Enable_Status_LED(7, 1, 1)},
        {"GPIO_Enable_Power_LED", GPIO_Enable_Power_LED(7, 1)},
        {"GPIO_Enable_HDD_ERR_LED", GPIO_Enable_HDD_ERR_LED(7, 1, 1)},
        {"GPIO_Enable_HDD_Ident_LED", GPIO_Enable_HDD_Ident_LED(7, 1, 1, 0)},
        {"GPIO_Does_Reset_Button_Press", GPIO_Does_Reset_Button_Press(7)},
        {"GPIO_Get_Power_Status", GPIO_Get_Power_Status(7, 1, &v)},
    };
    for (const auto &[name, result] : calls)
        EXPECT_EQ(result, -1) << name;
    EXPECT_EQ(g_backend_calls, 0);
    EXPECT_EQ(HM_Set_Power_Button_Mode(0, 1), 0) << "acts on the main unit";
    EXPECT_EQ(HM_Get_Temperature(0, 0, &t), 0);
    EXPECT_EQ(t, 40.0);
}

}  // namespace
