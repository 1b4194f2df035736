// A board without a Super I/O chip: halctl reads its front buttons from the SoC's registers,
// which keep their state between runs as the chip does between calls.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "halctl/halctl_runner.h"

TEST(SocBoardCli, ButtonsReadTheSocPinsActiveLow) {
    halctl_test::Board board("soc-2bay");
    auto shown = board.run("--json buttons");
    ASSERT_EQ(shown.status, 0);
    EXPECT_NE(shown.out.find("\"copy\": 0"), std::string::npos) << shown.out;
    EXPECT_NE(shown.out.find("\"reset\": 0"), std::string::npos) << shown.out;

    // Hold the reset button: its pin (bit 6 of the level register at 0x10110) goes low.
    std::fstream regs(board.dir() + "/sim/soc.bin",
                      std::ios::in | std::ios::out | std::ios::binary);
    ASSERT_TRUE(regs.is_open()) << "the register block was not kept with the board";
    regs.seekp(0x10110);
    const char low_bit6[4] = {static_cast<char>(0xBF), static_cast<char>(0xFF),
                              static_cast<char>(0xFF), static_cast<char>(0xFF)};
    regs.write(low_bit6, sizeof low_bit6);
    regs.close();
    shown = board.run("--json buttons");
    EXPECT_NE(shown.out.find("\"reset\": 1"), std::string::npos) << shown.out;
    EXPECT_NE(shown.out.find("\"copy\": 0"), std::string::npos) << shown.out;
}
