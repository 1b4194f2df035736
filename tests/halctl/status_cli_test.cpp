// The daemons' most frequent questions through halctl on the example board x86-8bay: a disk
// by number, name and WWN, the status event register, an enclosure's health.
#include <gtest/gtest.h>

#include <string>

#include "halctl/halctl_runner.h"
#include "sim/fs.h"

using halctl_test::Board;

TEST(StatusCli, LookupEventsAndHealth) {
    Board board("x86-8bay");
    ASSERT_EQ(board.run("scan").status, 0);
    const std::string sda =
        R"("name": "/dev/sda", "dev_no": "0x800", "major": 8, "minor": 0, "enc_id": 0, )"
        R"("port_id": 1, "log_name": "Host: Drive1"})";
    for (const char *what : {"/dev/sda", "2048", "0x800", "50014EE2B0000001"}) {
        auto r = board.run(std::string("--json lookup ") + what);
        EXPECT_EQ(r.status, 0) << what;
        EXPECT_NE(r.out.find(sda), std::string::npos) << what << ": " << r.out;
    }
    // A partition is numbered and names its disk's place.
    auto part = board.run("--json lookup /dev/sdb3");
    EXPECT_NE(part.out.find(R"("dev_no": "0x813")"), std::string::npos) << part.out;
    EXPECT_NE(part.out.find(R"("port_id": 2)"), std::string::npos) << part.out;
    EXPECT_EQ(board.run("lookup /dev/sda16").status, 1);
    EXPECT_EQ(board.run("lookup 0x300").status, 1);
    EXPECT_EQ(board.run("lookup FFFF000000000000").status, 1);

    EXPECT_EQ(board.run("event set 32").status, 2);
    EXPECT_EQ(board.run("event set 4").status, 0);
    auto ev = board.run("--json event set 12");
    EXPECT_NE(ev.out.find(R"("events": "0x00001010")"), std::string::npos) << ev.out;
    EXPECT_EQ(nashal::sim::read_file(board.dir() + "/var/ledvalue"), "0x00001010");
    ev = board.run("--json event clear all");
    EXPECT_NE(ev.out.find(R"("events": "0x00000000")"), std::string::npos) << ev.out;

    nashal::sim::write_file(board.dir() + "/tmp/em/em_0.info",
                            "[INFO]\nFANS_1 = 1\nFANR_1 = 1380\nFANS_2 = 0\nTEMP_0 = 46\n");
    auto st = board.run("--json status");
    EXPECT_EQ(st.status, 0);
    EXPECT_NE(st.out.find(R"("monitored": 1, "temperature_0": 46, "temperature_1": -1)"),
              std::string::npos)
        << st.out;
    EXPECT_NE(st.out.find(R"({"part": "fan", "index": 1, "status": 0, "speed": 1380, )"),
              std::string::npos)
        << st.out;
    EXPECT_NE(st.out.find(R"({"part": "fan", "index": 2, "status": -1, "speed": -1, )"),
              std::string::npos)
        << st.out;
    EXPECT_EQ(board.run("status 9").status, 1) << "not attached";
}
