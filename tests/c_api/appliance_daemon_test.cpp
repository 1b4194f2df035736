// The C daemon of appliance_daemon.c (compiled as C11), run inside a copy of an example board:
// code that knows only the public C headers drives the whole appliance through them.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sim/appliance.h"

extern "C" int drive_appliance(void);

TEST(CApi, CDaemonDrivesAWholeAppliance) {
    auto app = nashal::sim::Appliance::copy_of(NASHAL_EXAMPLES_DIR "/x86-8bay");
    ASSERT_TRUE(app.activate());
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        _exit(drive_appliance());
    }
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "faults of the C daemon (see stderr)";
}
