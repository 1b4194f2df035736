// halctl board and firmware as a field engineer uses them: the identity of boards that keep it
// in their panel controller, and an expander firmware image checked and written to a shelf,
// where an image for another shelf never reaches the expander.
#include <gtest/gtest.h>

#include <string>

#include "halctl_runner.h"

using halctl_test::Board;

namespace {

// An image of `type`, version 3.7, whose firmware payload begins with the revision the
// virtual shelf reports once it runs it.
std::string image(int type) {
    std::string b(525312 + 100, '\0');
    b[0] = static_cast<char>(type);
    b[2] = 3;
    b[3] = 7;
    b[4] = 10;    // firmware length
    b[12] = 100;  // manufacturing data length
    b.replace(1024, 10, "0307abcdef");
    return b;
}

TEST(BoardCli, TheSerialAndMacsComeFromThePanelController) {
    struct Case {
        const char *example, *serial, *mac0;
    } cases[] = {
        {"soc-2bay-pic", "NX220A0042", "00:11:32:0A:00:42"},
        {"soc-2bay-mcu", nullptr, "00:11:32:0B:00:07"},
    };
    for (const Case &c : cases) {
        Board board(c.example);
        auto r = board.run("--json board");
        ASSERT_EQ(r.status, 0) << c.example;
        if (c.serial) {
            EXPECT_NE(r.out.find(std::string(R"("serial": ")") + c.serial + "\""),
                      std::string::npos)
                << r.out;
        }
        EXPECT_NE(r.out.find(std::string(R"("mac0": ")") + c.mac0 + "\""), std::string::npos)
            << r.out;
        EXPECT_NE(r.out.find(R"("prefix": "")"), std::string::npos) << "no boot disk: no prefix";
    }
}

TEST(FirmwareCli, AnImageForAnotherShelfIsRefusedAndAFittingOneIsWritten) {
    Board board("x86-sas-shelves");
    ASSERT_EQ(board.run("scan").status, 0);
    nashal::sim::write_file(board.dir() + "/tmp/other.img", image(4));
    nashal::sim::write_file(board.dir() + "/tmp/any.img", image(9));
    nashal::sim::write_file(board.dir() + "/tmp/cut.img", image(9).substr(0, 525312 + 99));
    const std::string log = board.dir() + "/sim/invocations.log";
    // Enclosure 36 is the 12-bay shelf on sg12 (an unlisted model: only universal images).
    struct Case {
        const char *args;
        int status;
    } refused[] = {
        {"firmware check /tmp/other.img 36", 1},
        {"firmware write /tmp/other.img 36", 1},
        {"firmware write /tmp/cut.img 36", 1},
        {"firmware write /tmp/any.img 0", 1},  // the main unit is no expander
        {"firmware write /tmp/any.img", 2},
        {"firmware flash /tmp/any.img 36", 2},
    };
    for (const Case &c : refused)
        EXPECT_EQ(board.run(c.args).status, c.status) << c.args;
    EXPECT_EQ(nashal::sim::read_file(log).find("sg_write_buffer"), std::string::npos);

    auto check = board.run("--json firmware check /tmp/any.img 36");
    EXPECT_EQ(check.status, 0);
    EXPECT_NE(check.out.find(R"("version": "03.07", "model_type": 9, "device": "/dev/sg12", )"
                             R"("model": "JBOD-12", "fits": "yes")"),
              std::string::npos)
        << check.out;
    auto write = board.run("firmware write /tmp/any.img 36");
    EXPECT_EQ(write.status, 0) << write.out;
    EXPECT_NE(write.out.find("runs 03.07 after its next reboot"), std::string::npos) << write.out;
    std::string runs = nashal::sim::read_file(log);
    EXPECT_NE(runs.find("/sbin/sg_write_buffer --id=1 --in=/tmp/any.mfg --mode=2 /dev/sg12"),
              std::string::npos);
    EXPECT_NE(runs.find("/sbin/sg_write_buffer --id=0 --in=/tmp/any.fw --mode=2 /dev/sg12"),
              std::string::npos);
    EXPECT_NE(nashal::sim::read_file(board.dir() + "/sim/ses/sg12").find("pending_revision 0307"),
              std::string::npos);
}

}  // namespace
