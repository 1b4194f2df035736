// halctl net and printers on the x86-8bay board, each command a process of its own as on the
// box: a rename made by one run is what the next run sees, and the EEPROM stays with its
// adapter whatever the interface is called.
#include <gtest/gtest.h>

#include <string>

#include "halctl/halctl_runner.h"
#include "sim/fs.h"

namespace {

using halctl_test::Board;

// The kernel found LAN 2 (00:1c.5) first; the model file puts LAN 1 (00:1c.4) at eth0.
TEST(NetCli, RenameOnTheBoardIsSeenByTheNextRun) {
    Board board("x86-8bay");
    const std::string lan1 = "\"dev_bus\": \"B00:D28:F4\"";
    auto before = board.run("--json net");
    ASSERT_EQ(before.status, 0);
    EXPECT_NE(before.out.find("{\"name\": \"eth1\", \"domain\": 0, " + lan1), std::string::npos)
        << before.out;

    ASSERT_EQ(board.run("net rename").status, 0);
    auto after = board.run("--json net");
    EXPECT_NE(after.out.find("{\"name\": \"eth0\", \"domain\": 0, " + lan1), std::string::npos)
        << after.out;
    EXPECT_NE(after.out.find("\"mac\": \"00:08:9b:c4:10:20\""), std::string::npos) << after.out;
    // LAN 1's adapter keeps its serial number under its new name.
    EXPECT_NE(board.run("--json net sn 0").out.find("\"sn\": \"NX800L1A0001\""), std::string::npos);

    const std::string state = nashal::sim::read_file(board.dir() + "/sim/net.conf");
    ASSERT_EQ(board.run("net rename").status, 0);
    EXPECT_EQ(nashal::sim::read_file(board.dir() + "/sim/net.conf"), state);
    EXPECT_EQ(board.run("net mac 0 zz").status, 2);
}

TEST(PrinterCli, FirstBootRecordsThePrinterInFrontPortTwo) {
    Board board("x86-8bay");
    ASSERT_EQ(board.run("scan").status, 0);
    EXPECT_EQ(board.run("--json printers").out,
              "{\"schema\": \"nashal.halctl/1\", \"items\": [{\"id\": 2, \"prt_sys_id\": \"lp0\", "
              "\"port_id\": 2, \"vendor\": \"Acme Imaging\", "
              "\"model\": \"Inkline 500\"}]}\n");
    EXPECT_EQ(board.run("printers detach lp0").status, 0);
    EXPECT_EQ(board.run("--json printers").out,
              "{\"schema\": \"nashal.halctl/1\", \"items\": []}\n");
    EXPECT_EQ(board.run("printers detach lp0").status, 1);
}

}  // namespace
