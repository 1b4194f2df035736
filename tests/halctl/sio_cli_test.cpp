// halctl sio as a field engineer uses it on a board: which chip the model names, and one GPIO
// driven by hand and read back by a later run, as the chip keeps it between calls.
#include <gtest/gtest.h>

#include <string>

#include "halctl/halctl_runner.h"
#include "sim/fs.h"

namespace {

using halctl_test::Board;

}  // namespace

TEST(SioCli, InfoNamesTheModelsChipItsIdAndGpioBase) {
    struct Case {
        const char *board;
        const char *out;
    } cases[] = {
        {"x86-8bay",
         R"({"schema": "nashal.halctl/1", "chip": "IT87", "index": 1, "id": "0x5a01", "gpio_base": "0xa00"})"},
        {"x86-12bay-sas",
         R"({"schema": "nashal.halctl/1", "chip": "F71869A", "index": 0, "id": "0x5a00", "gpio_base": "0x290"})"},
    };
    for (const Case &c : cases) {
        Board board(c.board);
        auto r = board.run("--json sio info");
        EXPECT_EQ(r.status, 0) << c.board;
        EXPECT_EQ(r.out, std::string(c.out) + "\n") << c.board;
    }
    Board bare("x86-pcie-sas");
    EXPECT_EQ(bare.run("sio info").status, 1) << "a model without SIO_DEVICE";
}

TEST(SioCli, GpioDrivenInOneRunReadsBackInTheNext) {
    Board board("x86-12bay-sas");
    auto on = board.run("--json sio gpio FRONT_USB_LED 1");
    EXPECT_EQ(on.status, 0);
    EXPECT_EQ(
        on.out,
        R"({"schema": "nashal.halctl/1", "gpio": "SIO:IF2:B3", "group": "0xf2", "bit": 3, "value": 1})"
        "\n");
    auto read = board.run("--json sio gpio SIO:IF2:B3");
    EXPECT_NE(read.out.find("\"value\": 1"), std::string::npos) << read.out;
    EXPECT_EQ(board.run("sio gpio SIO:IF2:B3 0").status, 0);
    EXPECT_NE(board.run("--json sio gpio SIO:IF2:B3").out.find("\"value\": 0"), std::string::npos);

    EXPECT_EQ(board.run("sio gpio SIO:F2:B3").status, 2) << "no I: not a GPIO";
    EXPECT_EQ(board.run("sio gpio SIO:IF2:B3 2").status, 2);
    EXPECT_EQ(board.run("sio gpio NO_SUCH_KEY").status, 1);
    EXPECT_EQ(board.run("sio gpio SIO:IF2:B9 1").status, 1) << "a bit outside the byte";
}
