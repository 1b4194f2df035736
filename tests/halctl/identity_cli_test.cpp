// halctl's identity commands as a field engineer uses them on a board: reading the ROMs,
// writing a field, the display, the chosen model file and the power supplies.
#include <gtest/gtest.h>

#include <string>

#include "halctl_runner.h"

using halctl_test::Board;

TEST(IdentityCli, VpdShowsFieldsAndChecksumsAndVpdSetRefusesWhatDoesntFit) {
    Board board("x86-8bay");
    auto shown = board.run("--json vpd 0");
    ASSERT_EQ(shown.status, 0);
    EXPECT_NE(
        shown.out.find(R"("id": "0:3", "field": "board serial number", "value": "MB8A2407001234")"),
        std::string::npos)
        << shown.out;
    EXPECT_NE(shown.out.find(R"("field": "product area checksum", "value": "ok")"),
              std::string::npos);

    struct Case {
        const char *args;
        int status;
    } cases[] = {
        {"vpd-set 0 3 ABCDEFGHIJKLMNOP", 1},  // 16 characters in a 16-byte field
        {"vpd-set 0 0 2040/01/01-00:00", 1},  // a date the ROM can't hold
        {"vpd-set 0 5 0x12", 1},              // binary data
        {"vpd-set 0 11 x", 2},                // no such field
        {"vpd-set 2 1 x", 2},
        {"vpd-set 1 0 0x100", 1},  // one byte
        {"vpd-set 0 3 ABCDEFGHIJKLMNO", 0},
        {"vpd-set 1 3 2025/01/31-12:00", 0},
        {"vpd-set 1 0 0x23", 0},
    };
    for (const Case &c : cases)
        EXPECT_EQ(board.run(c.args).status, c.status) << c.args;
    auto after = board.run("vpd");
    EXPECT_NE(after.out.find("ABCDEFGHIJKLMNO"), std::string::npos);
    EXPECT_NE(after.out.find("2025/01/31-12:00"), std::string::npos);
    EXPECT_NE(after.out.find("0x23"), std::string::npos);
    EXPECT_EQ(after.out.find("BAD"), std::string::npos) << after.out;
}

TEST(IdentityCli, ABrokenChecksumIsShownAndTheModelTellsWhyItWasChosen) {
    Board board("x86-8bay");
    std::string rom = nashal::sim::read_file(board.dir() + "/sim/vpd_bp.bin");
    rom[47] = static_cast<char>(rom[47] + 1);
    nashal::sim::write_file(board.dir() + "/sim/vpd_bp.bin", rom);
    auto shown = board.run("--json vpd 1");
    EXPECT_NE(shown.out.find(R"("field": "chassis area checksum", "value": "BAD")"),
              std::string::npos)
        << shown.out;

    auto model = board.run("--json model");
    ASSERT_EQ(model.status, 0);
    EXPECT_NE(model.out.find(R"("model_file": "/etc/model_NX800_B8SAT_03_02.conf")"),
              std::string::npos)
        << model.out;
    EXPECT_NE(model.out.find(R"("bp_part_number": "BPL-B8SAT020")"), std::string::npos);
}

TEST(IdentityCli, EdidAndPowerSuppliesReportTheirState) {
    Board board("x86-8bay");
    auto edid = board.run("--json edid");
    ASSERT_EQ(edid.status, 0);
    EXPECT_NE(edid.out.find(R"("state": "ok", "manufacturer": "VRN")"), std::string::npos)
        << edid.out;

    Board sas("x86-12bay-sas");
    nashal::sim::write_file(sas.dir() + "/sim/psu2.conf", "status 0x0040\n");
    auto psu = sas.run("--json psu");
    ASSERT_EQ(psu.status, 0);
    EXPECT_NE(psu.out.find(R"({"supply": 1, "state": "on", "temperature": 41, "fan_rpm": 1000)"),
              std::string::npos)
        << psu.out;
    EXPECT_NE(psu.out.find(R"({"supply": 2, "state": "off")"), std::string::npos) << psu.out;
}
