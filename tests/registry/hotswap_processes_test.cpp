// SE_Hotswap_Check_PD is the one locked read-modify-write of the enclosure registry: the disk
// events of one returning enclosure run in separate processes, and each disk that left with the
// enclosure must be reported as returning to exactly one of them.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

#include "nashal/hal_se.h"
#include "nashal/ini_conf.h"
#include "sim/appliance.h"

namespace {

constexpr int kProcesses = 4;
constexpr int kPorts = 32;

// What each process won: a bit per port for which it was told "returning".
std::vector<uint32_t> race_for_ports(int enc_id) {
    int go[2], results[2];
    if (pipe(go) != 0 || pipe(results) != 0)
        return {};
    std::vector<pid_t> children;
    for (int p = 0; p < kProcesses; ++p) {
        fflush(nullptr);
        pid_t pid = fork();
        if (pid == 0) {
            close(go[1]);
            char c;
            // Every process starts when the parent closes the pipe, so that they really race.
            (void)!read(go[0], &c, 1);
            uint32_t won = 0;
            for (int i = 0; i < kPorts; ++i) {
                // Half of them walk the ports upward, half downward: every port is contended.
                int port = p % 2 ? kPorts - 1 - i : i;
                if (SE_Hotswap_Check_PD(enc_id, port) == 1)
                    won |= 1u << port;
            }
            _exit(write(results[1], &won, sizeof won) == sizeof won ? 0 : 1);
        }
        children.push_back(pid);
    }
    close(go[0]);
    close(results[1]);
    close(go[1]);
    std::vector<uint32_t> won;
    uint32_t mask;
    while (read(results[0], &mask, sizeof mask) == sizeof mask)
        won.push_back(mask);
    close(results[0]);
    for (pid_t pid : children) {
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a disk event process died";
    }
    return won;
}

std::string section(int enc_id) {
    return "Enclosure_" + std::to_string(enc_id);
}

}  // namespace

TEST(HotswapProcesses, EachDiskThatLeftIsReportedReturningToExactlyOneProcess) {
    auto app = nashal::sim::Appliance::fresh();
    ASSERT_TRUE(app.activate());
    struct Case {
        uint32_t left;  // the pd_bitmap saved at the enclosure's detach
        bool released;  // its id was released meanwhile
    };
    const Case cases[] = {{0xffffffffu, false}, {0x8000a5a1u, false}, {0xffffffffu, true}};
    int enc_id = 3;
    for (const Case &c : cases) {
        ++enc_id;
        std::string sec = section(enc_id);
        ASSERT_GT(Ini_Conf_Set_Field_Int(SE_DETACHED_FILE, sec.c_str(), "pd_bitmap",
                                         static_cast<int32_t>(c.left), INI_CONF_HEX),
                  0);
        if (c.released) {
            ASSERT_EQ(SE_Release_Id(enc_id), -1) << "an id that isn't in the map";
        }
        std::vector<uint32_t> won = race_for_ports(enc_id);
        ASSERT_EQ(won.size(), static_cast<size_t>(kProcesses));
        uint32_t all = 0;
        for (uint32_t w : won) {
            EXPECT_EQ(all & w, 0u)
                << "a disk of enclosure " << enc_id << " was reported returning twice: ports 0x"
                << std::hex << (all & w);
            all |= w;
        }
        EXPECT_EQ(all, c.released ? 0u : c.left)
            << "enclosure " << enc_id << (c.released ? " had its id released" : "");
        int32_t rest = 0;
        EXPECT_EQ(
            Ini_Conf_Get_Field_Int(SE_DETACHED_FILE, sec.c_str(), "pd_bitmap", &rest, INI_CONF_HEX),
            c.released ? -1 : 1)
            << "a released enclosure's record goes at the first check";
        EXPECT_EQ(rest, 0) << "every port was cleared once reported";
    }
}
