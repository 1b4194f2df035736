// se_sys_enumerate when the expansion enclosures don't all fit the caller's array. The SAS and
// Thunderbolt enumerators defined here replace the library's for calls made inside it, so a
// crowded SAS fabric and a Thunderbolt chain that fails can be staged on an example board.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "nashal/hal_trace.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"

namespace {

int g_sas_found = 0;    // SAS enclosures on the fabric, named sg100, sg101, ...
int g_thunderbolt = 0;  // what the Thunderbolt enumerator answers

int udev_notices() {
    auto runs = nashal::sim::invocations();
    return static_cast<int>(std::count_if(runs.begin(), runs.end(), [](const std::string &l) {
        return l.rfind("/sbin/udevadm control --env=sg", 0) == 0;
    }));
}

}  // namespace

extern "C" int sas_expander_enumerate(char **ids, unsigned int max_count) {
    for (int i = 0; i < g_sas_found; ++i)
        if (ids && static_cast<unsigned int>(i) < max_count)
            ids[i] = strdup(("sg" + std::to_string(100 + i)).c_str());
    return g_sas_found;
}

extern "C" int thunderbolt_expander_enumerate(char **, unsigned int) {
    return g_thunderbolt;
}

// The x86-8bay board lists five enclosures of its own before the SAS ones. With twelve SAS
// enclosures one doesn't fit sixteen entries; a Thunderbolt chain that fails (-1) then brings
// the total back to sixteen. The udev notice must go to the SAS ids in the array and never read
// the entry behind it (the array is on the heap, so the address checker sees such a read).
TEST(Enumerate, FailedThunderboltChainAfterAnOverfullFabricReadsNothingPastTheArray) {
    auto app = nashal::sim::Appliance::copy_of(NASHAL_EXAMPLES_DIR "/x86-8bay");
    ASSERT_TRUE(app.activate());
    struct Case {
        int sas;
        int thunderbolt;
        int total;
        int notices;
    } cases[] = {
        {11, 0, 16, 11},   // exactly full: every SAS enclosure is told to udev
        {12, 0, 17, 0},    // one too many: reported by the count, and no notices
        {12, -1, 16, 11},  // the failed chain hides the overflow; the notices stay in the array
    };
    for (const auto &c : cases) {
        g_sas_found = c.sas;
        g_thunderbolt = c.thunderbolt;
        nashal::sim::clear_invocations();
        unlink("/var/log/hal_lib.log");
        HAL_Set_Debug(HAL_TRACE_ERROR, "/var/log/hal_lib.log");
        std::vector<char *> ids(MAX_SE_SYS_ENUM, nullptr);
        EXPECT_EQ(se_sys_enumerate(ids.data(), MAX_SE_SYS_ENUM), c.total)
            << c.sas << " SAS, Thunderbolt " << c.thunderbolt;
        const bool told =
            nashal::sim::read_file("/var/log/hal_lib.log")
                .find("\nse_sys_enumerate: count(17) > max_count(16)\n") != std::string::npos;
        EXPECT_EQ(told, c.total == 17) << "an overfull enumeration is told as an error, once";
        EXPECT_EQ(udev_notices(), c.notices) << c.sas << " SAS, Thunderbolt " << c.thunderbolt;
        EXPECT_STREQ(ids[5], "sg100");
        EXPECT_STREQ(ids[15], "sg110");
        for (char *id : ids)
            free(id);
    }
}
