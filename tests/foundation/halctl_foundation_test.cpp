// halctl's debug, trace and conf commands as a field engineer uses them on an appliance
// directory: switching the trace on for every process and mending a registry file by hand.
#include <gtest/gtest.h>

#include <string>

#include "halctl/halctl_runner.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

class HalctlFoundation : public ::testing::Test {
  protected:
    halctl_test::Result halctl(const std::string &args) { return board_.run(args); }

    halctl_test::Board board_{"soc-2bay"};
    const std::string dir_ = board_.dir();
};

}  // namespace

TEST_F(HalctlFoundation, DebugWritesTheLineEveryProcessReadsAndTraceFollowsIt) {
    EXPECT_EQ(halctl("--json debug").out,
              "{\"schema\": \"nashal.halctl/1\", \"configuration\": \"none\", \"mask\": \"0xb "
              "(default)\", \"output\": "
              "\"/var/log/hal_lib.log\", \"log_size\": -1, \"rotated_copy_size\": -1}\n");
    ASSERT_EQ(halctl("debug 0x1f").status, 0);
    EXPECT_EQ(read_file(dir_ + "/var/log/hal_lib.log.conf"), "1f:/var/log/hal_lib.log\n");
    ASSERT_EQ(halctl("trace 16 register 0x2e read").status, 0);
    EXPECT_NE(read_file(dir_ + "/var/log/hal_lib.log").find("\nhalctl: register 0x2e read\n"),
              std::string::npos);
    halctl_test::Result out = halctl("debug 0xff -");
    EXPECT_NE(out.out.find("standard output"), std::string::npos) << out.out;
    EXPECT_NE(halctl("trace 8 to the console").out.find("halctl: to the console\n"),
              std::string::npos);
    ASSERT_EQ(halctl("debug default").status, 0);
    EXPECT_EQ(read_file(dir_ + "/var/log/hal_lib.log.conf"), "b:/var/log/hal_lib.log\n");
    EXPECT_EQ(halctl("debug 1 /var/log/a/path/far/too/long/to/be/read.log").status, 2);
    EXPECT_EQ(halctl("debug lots").status, 2);
    EXPECT_EQ(halctl("trace 0 nothing").status, 2);
}

TEST_F(HalctlFoundation, ConfReadsAndMendsAStoreFile) {
    ASSERT_EQ(halctl("conf set /etc/hal.conf Enclosure_0 enc_sys_id root").status, 0);
    ASSERT_EQ(halctl("conf set /etc/hal.conf Index enc_bitmap 0x5").status, 0);
    ASSERT_EQ(halctl("conf set /etc/enclosure_upgrade.info - enc_bitmap 0x2").status, 0);
    EXPECT_EQ(halctl("--json conf get /etc/hal.conf Enclosure_0 enc_sys_id").out,
              "{\"schema\": \"nashal.halctl/1\", \"value\": \"root\"}\n");
    EXPECT_EQ(halctl("--json conf get /etc/enclosure_upgrade.info - enc_bitmap").out,
              "{\"schema\": \"nashal.halctl/1\", \"value\": \"0x2\"}\n");
    EXPECT_EQ(halctl("--json conf bits /etc/hal.conf Index enc_bitmap").out,
              "{\"schema\": \"nashal.halctl/1\", \"items\": [{\"bit\": 0},\n  {\"bit\": 2}]}\n");
    EXPECT_EQ(halctl("--json conf next-free /etc/hal.conf Index enc_bitmap 0 mark").out,
              "{\"schema\": \"nashal.halctl/1\", \"bit\": 1}\n");
    EXPECT_EQ(halctl("--json conf hex /etc/hal.conf Index enc_bitmap").out,
              "{\"schema\": \"nashal.halctl/1\", \"value\": \"0x7\"}\n");
    ASSERT_EQ(halctl("conf reset-bit /etc/hal.conf Index enc_bitmap 0").status, 0);
    EXPECT_EQ(halctl("--json conf int /etc/hal.conf Index enc_bitmap").status, 0);
    ASSERT_EQ(halctl("conf remove /etc/hal.conf Enclosure_0").status, 0);
    EXPECT_EQ(read_file(dir_ + "/etc/hal.conf"), "[Index]\nenc_bitmap = 0x6\n");
    EXPECT_EQ(halctl("conf get /etc/hal.conf Enclosure_0 enc_sys_id").status, 1);
    EXPECT_EQ(halctl("conf get /etc/hal.conf Enclosure_0").status, 2);
    EXPECT_EQ(halctl("conf frobnicate /etc/hal.conf").status, 2);
}
