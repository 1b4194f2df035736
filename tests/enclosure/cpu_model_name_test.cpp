// The processor's speed read from its model name, when no core reports its frequency.
#include <gtest/gtest.h>

#include "enclosure/cpu_info.h"

TEST(CpuModelName, SpeedIsTheFigureBehindTheAtSignInMegahertz) {
    struct Case {
        const char *name;
        int mhz;
    } cases[] = {
        {"Intel(R) Celeron(R) CPU J1900 @ 2.40GHz", 2400},
        {"Intel(R) Atom(TM) CPU D2700 @ 2.13GHz", 2130},
        {"ARMv7 Processor rev 1 (v7l) @ 800MHz", 800},
        {"Intel(R) Core(TM) i3-4130 CPU @ 3.40 GHz", 3400},
        {"ARMv7 Processor rev 1 (v7l)", -1},
        {"Some CPU @ 1.6", -1},
        {"", -1},
        {nullptr, -1},
    };
    for (const Case &c : cases)
        EXPECT_EQ(nashal::enclosure::cpu_speed_from_model_name(c.name), c.mhz)
            << (c.name ? c.name : "(null)");
}
