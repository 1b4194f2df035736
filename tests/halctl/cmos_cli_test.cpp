// halctl cmos as a field engineer uses it on a board: the power-loss policy, EuP and the C2F
// reservation shown and set, with every change landing in the board's CMOS bytes (its
// /sim/cmos.bin) and read back by the next run, as after a reboot.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "halctl/halctl_runner.h"
#include "sim/fs.h"

namespace {

// The x86-8bay board keeps its power byte at CMOS index 0x7E and its C2F byte at 0x5C, behind
// port 0x70, in a 128-byte CMOS with 8192 MB of memory (supported sizes 1, 2 and 4).
constexpr size_t kPowerIndex = 0x7E;
constexpr size_t kC2fIndex = 0x5C;
constexpr size_t kCmosSize = 128;

using halctl_test::Result;

// An example board with its CMOS as the BIOS would find it.
class Board : public halctl_test::Board {
  public:
    explicit Board(const std::string &name) : halctl_test::Board(name) {}

    // The CMOS as the BIOS would find it at the next power-on.
    std::string cmos() const { return nashal::sim::read_file(dir() + "/sim/cmos.bin"); }
    int byte(size_t index) const {
        std::string bytes = cmos();
        return index < bytes.size() ? static_cast<uint8_t>(bytes[index]) : -1;
    }
    // Puts the bytes the BIOS left, before halctl runs.
    void seed(size_t index, uint8_t value) const {
        std::string bytes = cmos();
        bytes.resize(kCmosSize, '\0');
        bytes[index] = static_cast<char>(value);
        ASSERT_TRUE(nashal::sim::write_file(dir() + "/sim/cmos.bin", bytes));
    }
    void set_memory_mb(int mb) const {
        ASSERT_TRUE(nashal::sim::write_file(
            dir() + "/sim/cmos.conf", "port 70\nsize 128\nmemory_mb " + std::to_string(mb) + "\n"));
    }
};

std::string hex(int byte) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "0x%02x", byte);
    return buf;
}

}  // namespace

TEST(CmosCli, RecoveryModeIsWrittenInTheFormTheBiosMarkedTheByteWith) {
    // A byte the BIOS never initialised takes the plain codes; one whose low bits are 1 takes
    // the initialised codes. The same mode must read back either way.
    struct Case {
        uint8_t seeded;
        int mode;
        uint8_t written;
        int initialised;
    } cases[] = {
        {0x00, 1, 0x40, 0}, {0x00, 0, 0x80, 0}, {0x00, 2, 0x00, 0}, {0x01, 1, 0x81, 1},
        {0x01, 2, 0xC1, 1}, {0xC1, 0, 0x01, 1}, {0x3F, 1, 0x7F, 0},  // EuP and the low bits are
                                                                     // kept
    };
    Board board("x86-8bay");
    for (const Case &c : cases) {
        board.seed(kPowerIndex, c.seeded);
        std::string what = "mode " + std::to_string(c.mode) + " over " + hex(c.seeded);
        ASSERT_EQ(board.run("cmos recovery " + std::to_string(c.mode)).status, 0) << what;
        EXPECT_EQ(board.byte(kPowerIndex), c.written)
            << what << ": the BIOS would find the wrong power-loss policy";
        Result shown = board.run("--json cmos recovery");
        ASSERT_EQ(shown.status, 0) << what;
        EXPECT_EQ(shown.out,
                  "{\"schema\": \"nashal.halctl/1\", \"mode\": " + std::to_string(c.mode) +
                      ", \"bios_initialised\": " + std::to_string(c.initialised) +
                      ", \"power_byte\": \"" + hex(c.written) + "\"}\n")
            << what;
    }
    // Code 1 has no mode in the initialised form: shown as none, not as a number.
    board.seed(kPowerIndex, 0x41);
    Result none = board.run("--json cmos recovery");
    ASSERT_EQ(none.status, 0);
    EXPECT_NE(none.out.find("\"mode\": null"), std::string::npos) << none.out;
}

TEST(CmosCli, EupTogglesItsBitAloneAndIsReadBack) {
    Board board("x86-8bay");
    board.seed(kPowerIndex, 0x81);
    ASSERT_EQ(board.run("cmos eup 1").status, 0);
    EXPECT_EQ(board.byte(kPowerIndex), 0xA1);
    Result on = board.run("--json cmos eup");
    ASSERT_EQ(on.status, 0);
    EXPECT_EQ(on.out, "{\"schema\": \"nashal.halctl/1\", \"eup\": 1, \"power_byte\": \"0xa1\"}\n");

    ASSERT_EQ(board.run("cmos eup 0").status, 0);
    EXPECT_EQ(board.byte(kPowerIndex), 0x81) << "switching EuP off touched the recovery bits";
    EXPECT_NE(board.run("--json cmos recovery").out.find("\"mode\": 1"), std::string::npos)
        << "the power-loss policy changed with EuP";
}

TEST(CmosCli, C2fIsSetWithinWhatTheMemoryAdmitsAndReadBackOnlyWhenValid) {
    Board board("x86-8bay");
    EXPECT_EQ(board.run("cmos c2f").status, 1) << "a byte the BIOS never wrote is no setting";

    struct Step {
        const char *args;
        int status;
        int byte;  // the C2F byte afterwards
    } steps[] = {
        {"cmos c2f 1 4", 0, 0xB1},  {"cmos c2f 1 8", 1, 0xB1},  // no memory admits 8
        {"cmos c2f 1 3", 1, 0xB1},                              // nor a size without its bit
        {"cmos c2f 0 -1", 0, 0x91},                             // -1 keeps the size
        {"cmos c2f 1 2", 0, 0x71},  {"cmos c2f 1 1", 0, 0x31},
    };
    for (const Step &s : steps) {
        EXPECT_EQ(board.run(s.args).status, s.status) << s.args;
        EXPECT_EQ(board.byte(kC2fIndex), s.byte) << s.args;
    }
    board.seed(kC2fIndex, 0xB1);
    Result shown = board.run("--json cmos c2f");
    ASSERT_EQ(shown.status, 0);
    EXPECT_EQ(shown.out,
              "{\"schema\": \"nashal.halctl/1\", \"enable\": 1, \"size\": 4, \"supported_sizes\": "
              "\"0x16\"}\n");

    board.set_memory_mb(4096);  // sizes 1 and 2 only
    EXPECT_EQ(board.run("cmos c2f 1 4").status, 1) << "4 GB of memory can't reserve size 4";
    EXPECT_NE(board.run("--json cmos c2f").out.find("\"supported_sizes\": \"0x6\""),
              std::string::npos);
    EXPECT_EQ(board.byte(kC2fIndex), 0xB1);
}

TEST(CmosCli, UsageErrorsAreToldFromBoardsWithoutCmos) {
    Board board("x86-8bay");
    board.seed(kPowerIndex, 0x81);
    for (const char *args :
         {"cmos", "cmos bogus", "cmos recovery 3", "cmos recovery 4", "cmos recovery -1",
          "cmos recovery x", "cmos recovery 1 2", "cmos eup 2", "cmos eup on", "cmos c2f 1",
          "cmos c2f 2 1", "cmos c2f 1 9"}) {
        EXPECT_EQ(board.run(args).status, 2) << args;
    }
    EXPECT_EQ(board.byte(kPowerIndex), 0x81) << "a refused command changed the power byte";

    Board bare("soc-2bay");  // no CMOS store in its model file
    for (const char *args : {"cmos recovery", "cmos recovery 1", "cmos eup", "cmos eup 1",
                             "cmos c2f", "cmos c2f 1 1"}) {
        EXPECT_EQ(bare.run(args).status, 1) << args;
    }
}
