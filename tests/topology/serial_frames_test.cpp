// LEDs behind a CPLD or an MCU on a serial line: the frame must reach the chip byte for byte,
// a missing or wrong answer must cost exactly the three tries, and two processes driving LEDs
// on the same line must never garble each other's frames.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "nashal/comm_port.h"
#include "nashal/hal_trace.h"
#include "sim/appliance.h"
#include "sim/clock.h"
#include "sim/fs.h"
#include "sim/serial_peer.h"

using namespace nashal::sim;

namespace {

class SerialFrames : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
    }
    void attach(SerialResponder responder, int link = 0) {
        peer_ = SerialPeer::attach(link, std::move(responder));
        ASSERT_NE(peer_, nullptr);
    }
    // A writable copy of a model value, as the callers hand it over.
    int send(const std::string &value, int enable) {
        char buf[HAL_ID_LEN];
        std::strncpy(buf, value.c_str(), sizeof buf - 1);
        buf[sizeof buf - 1] = '\0';
        return common_sys_send_uart_data(buf, enable);
    }
    std::string log() const { return read_file("/var/log/hal_lib.log"); }

    Appliance app_ = Appliance::fresh();
    std::unique_ptr<SerialPeer> peer_;
};

constexpr int64_t kTryTimeoutUs = UART_REPLY_TIMEOUT_MS * 1000LL;

}  // namespace

TEST_F(SerialFrames, CpldTriesUntilItsAcknowledgementAndNoMore) {
    struct Case {
        const char *what;
        SerialResponder responder;
        int rc;
        size_t tries;
        int64_t waited_us;
    } cases[] = {
        {"acknowledged at once", cpld_acknowledging_from(0), 0, 1, 0},
        {"acknowledged on the third try", cpld_acknowledging_from(2), 0, 3, 2 * kTryTimeoutUs},
        {"never answers", silent_peer(), -1, 3, 3 * kTryTimeoutUs},
        {"answers with something other than U", cpld_answering('N'), -1, 3, 0},
    };
    for (Case &c : cases) {
        attach(std::move(c.responder));
        int64_t before = clock_slept_us();
        EXPECT_EQ(__uart_send_cpld_data(0, 0x4A), c.rc) << c.what;
        EXPECT_EQ(peer_->frames().size(), c.tries) << c.what;
        EXPECT_EQ(peer_->wire(), Bytes(c.tries, 0x4A)) << c.what;
        EXPECT_EQ(clock_slept_us() - before, c.waited_us)
            << c.what << ": each unanswered try waits 3000 ms, on the virtual clock";
        peer_.reset();
    }
}

TEST_F(SerialFrames, CpldValueSendsTheOnOrOffByteToItsLink) {
    attach(cpld_acknowledging_from(0), 0);
    auto second = SerialPeer::attach(1, cpld_acknowledging_from(0));
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(send("UART0:CPLD:4A:4B", 1), 0);
    EXPECT_EQ(send("UART0:CPLD:4A:4B", 0), 0);
    EXPECT_EQ(send("UART1:CPLD:1F:2E", 1), 0);
    EXPECT_EQ(send("UART3:CPLD:1F:2E", 0), 0) << "any link but 0 is the second line";
    EXPECT_EQ(peer_->wire(), (Bytes{0x4A, 0x4B}));
    EXPECT_EQ(second->wire(), (Bytes{0x1F, 0x2E}));
    EXPECT_TRUE(exists("/var/lock/uart_0.lck"));
    EXPECT_TRUE(exists("/var/lock/uart_3.lck")) << "the lock is named by the link number";
}

TEST_F(SerialFrames, McuFrameCarriesTheXorChecksumAndNeedsStatusZero) {
    struct Case {
        const char *what;
        SerialResponder responder;
        int rc;
        size_t tries;
    } cases[] = {
        {"status 0", mcu_replying('A', '0'), 0, 1},
        {"status other than 0", mcu_replying('A', '3'), -1, 3},
        {"reply with a bad checksum", mcu_replying('A', '0', false), -1, 3},
        {"short reply",
         [](const Bytes &, int) {
             return Bytes{'A', '0'};
         },
         -1, 3},
        {"silent", silent_peer(), -1, 3},
    };
    for (Case &c : cases) {
        attach(std::move(c.responder));
        EXPECT_EQ(send("UART0:MCU:40,31:40,30", 1), c.rc) << c.what;
        auto frames = peer_->frames();
        ASSERT_EQ(frames.size(), c.tries) << c.what;
        for (const Bytes &f : frames)
            EXPECT_EQ(f, (Bytes{0x40, 0x31, 0x71})) << c.what;
        peer_.reset();
    }
    EXPECT_NE(log().find("Error Num = 0x33"), std::string::npos)
        << "a refused status must be traced with its number";

    attach(mcu_replying('A', '0'));
    EXPECT_EQ(send("UART0:MCU:40,31:40,30", 0), 0);
    EXPECT_EQ(peer_->frames().at(0), (Bytes{0x40, 0x30, 0x70})) << "off sends the second list";
}

TEST_F(SerialFrames, McuFrameEndsAtItsFirstZeroByte) {
    // The frame is kept as a text by the controllers' protocol: a zero byte, or a checksum
    // that comes out zero, ends it early.
    attach(mcu_replying('A', '0'));
    EXPECT_EQ(__uart_send_mcu_data(0, "40,00,31"), 0);
    EXPECT_EQ(__uart_send_mcu_data(0, "40,40"), 0);
    auto frames = peer_->frames();
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0], (Bytes{0x40}));
    EXPECT_EQ(frames[1], (Bytes{0x40, 0x40}));
}

TEST_F(SerialFrames, MalformedValuesAndListsSendNothing) {
    attach(mcu_replying('A', '0'));
    for (const char *value :
         {"UART0", "UART0:CPLD", "UART0:CPLD:4A", "UART0:MCU:40", "", "UA:", "UART1:X:1:2"}) {
        EXPECT_EQ(send(value, 1), -1) << value;
    }
    EXPECT_NE(log().find("System Error:Old format."), std::string::npos)
        << "an unknown protocol word must be traced as the old format";
    EXPECT_EQ(__uart_send_mcu_data(0, ""), -1);
    EXPECT_EQ(__uart_send_mcu_data(0, ",,,"), -1);
    std::string overlong;
    for (int i = 0; i < 32; ++i)
        overlong += "1,";
    EXPECT_EQ(__uart_send_mcu_data(0, overlong.c_str()), -1)
        << "a list with no room for its checksum must be refused";
    EXPECT_TRUE(peer_->wire().empty());
}

TEST_F(SerialFrames, AMissingLineFailsAndLeavesTheLinkUnlocked) {
    EXPECT_EQ(__uart_send_cpld_data(1, 0x4A), -1);
    EXPECT_EQ(__uart_send_mcu_data(1, "40,31"), -1);
    EXPECT_NE(log().find("System Error."), std::string::npos);
    pid_t child = fork();
    if (child == 0) {
        int fd = open("/var/lock/uart_1.lck", O_RDWR);
        struct flock fl = {};
        fl.l_type = F_WRLCK;
        fl.l_whence = SEEK_SET;
        _exit(fd >= 0 && fcntl(fd, F_SETLK, &fl) == 0 ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "a failed frame left the link's lock held";
}

TEST_F(SerialFrames, TwoProcessesNeverInterleaveBytesOnTheWire) {
    // A silent CPLD makes every frame take all three tries; without the lock the tries of two
    // processes would alternate on the line.
    attach(silent_peer());
    constexpr int kFramesEach = 2;
    pid_t children[2];
    const uint8_t bytes[2] = {0xA1, 0xB2};
    for (int i = 0; i < 2; ++i) {
        children[i] = fork();
        if (children[i] == 0) {
            for (int f = 0; f < kFramesEach; ++f)
                __uart_send_cpld_data(0, bytes[i]);
            _exit(0);
        }
    }
    for (pid_t c : children)
        waitpid(c, nullptr, 0);
    Bytes wire = peer_->wire();
    ASSERT_EQ(wire.size(), 2u * kFramesEach * UART_TRIES);
    for (size_t frame = 0; frame < wire.size() / UART_TRIES; ++frame) {
        for (size_t t = 1; t < UART_TRIES; ++t) {
            EXPECT_EQ(wire[frame * UART_TRIES + t], wire[frame * UART_TRIES])
                << "bytes of two processes mixed inside frame " << frame;
        }
    }
}
