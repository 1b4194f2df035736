// halctl controller on the example boards with a PIC and with an MCU: after a scan, the engineer
// sees the link kind, a live monitor, the controller's serial number and MACs from its EEPROM,
// and the monitor's findings as they arrive; an enclosure without a controller is refused.
#include <gtest/gtest.h>

#include <string>

#include "halctl/halctl_runner.h"

using halctl_test::Board;

namespace {

bool has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

}  // namespace

TEST(ControllerCli, ShowsEachBoardsControllerWithItsEepromFields) {
    struct Case {
        const char *board;
        const char *link;
        const char *serial;
        const char *mac0;
    } cases[] = {
        {"soc-2bay-pic", "PIC", "NX220A0042", "00:11:32:0A:00:42"},
        {"soc-2bay-mcu", "MCU", "NX240B0007", "00:11:32:0B:00:07"},
    };
    for (const Case &c : cases) {
        Board board(c.board);
        ASSERT_EQ(board.run("scan").status, 0) << c.board;
        auto shown = board.run("--json controller 0");
        EXPECT_EQ(shown.status, 0) << c.board;
        EXPECT_TRUE(has(shown.out, std::string("\"link\": \"") + c.link + "\"")) << shown.out;
        EXPECT_TRUE(has(shown.out, "\"monitor_alive\": 1")) << shown.out;
        EXPECT_TRUE(has(shown.out, std::string("\"serial\": \"") + c.serial + "\"")) << shown.out;
        EXPECT_TRUE(has(shown.out, std::string("\"mac0\": \"") + c.mac0 + "\"")) << shown.out;
        EXPECT_EQ(board.run("controller 32").status, 1) << "the boot enclosure has no controller";
        EXPECT_EQ(board.run("controller x").status, 2);
    }
}

TEST(ControllerCli, EventsFollowTheMonitorsFiles) {
    Board board("soc-2bay-pic");
    ASSERT_EQ(board.run("scan").status, 0);
    // The start-up values of the seven files, then the board's 38 degrees as reported.
    auto events = board.run("--json controller-events 0 --changes 8");
    EXPECT_EQ(events.status, 0);
    EXPECT_TRUE(has(events.out,
                    "{\"schema\": \"nashal.halctl/1\", \"file\": \"sys_temp\", \"value\": 35}\n"))
        << events.out;
    EXPECT_TRUE(has(events.out,
                    "{\"schema\": \"nashal.halctl/1\", \"file\": \"fan2_speed\", \"value\": 0}\n"))
        << events.out;
    EXPECT_TRUE(has(events.out,
                    "{\"schema\": \"nashal.halctl/1\", \"file\": \"sys_temp\", \"value\": 38}\n"))
        << events.out;
}
