// Exact transfers, size texts for the management interface, and id and MAC conversions.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "nashal/hal_trace.h"
#include "nashal/hal_util.h"
#include "sim/appliance.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

// Failures trace; traces belong inside an appliance.
class Util : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(app_.activate()); }
    Appliance app_ = Appliance::fresh();
};

std::string size_str(uint64_t count, uint64_t unit_size, int unit) {
    char buf[32];
    return Get_Size_Str(count, unit_size, unit, buf, sizeof buf);
}

void on_alarm(int) {}

}  // namespace

TEST_F(Util, ReadExactlyNeedsEveryByte) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    ASSERT_EQ(write(fds[1], "abcdef", 6), 6);
    char buf[8] = {};
    EXPECT_EQ(read_exactly(fds[0], buf, 4), 0);
    EXPECT_STREQ(buf, "abcd");
    close(fds[1]);
    EXPECT_EQ(read_exactly(fds[0], buf, 4), -1) << "end of file after part of the length";
    EXPECT_EQ(read_exactly(fds[0], buf, 0), -1) << "a length of 0";
    EXPECT_EQ(read_exactly(fds[0], nullptr, 4), -1);
    close(fds[0]);
    EXPECT_EQ(read_exactly(-1, buf, 4), -1);
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("read_exactly: can't read file due to"),
              std::string::npos);
}

TEST_F(Util, ReadInterruptedBySignalContinuesWhereItStood) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    pid_t writer = fork();
    if (writer == 0) {
        close(fds[0]);
        (void)!write(fds[1], "ab", 2);
        usleep(300000);
        kill(getppid(), SIGALRM);
        usleep(300000);
        (void)!write(fds[1], "cd", 2);
        _exit(0);
    }
    close(fds[1]);
    struct sigaction sa = {};
    sa.sa_handler = on_alarm;  // no SA_RESTART: the read returns EINTR
    sigaction(SIGALRM, &sa, nullptr);
    char buf[5] = {};
    EXPECT_EQ(read_exactly(fds[0], buf, 4), 0);
    EXPECT_STREQ(buf, "abcd");
    waitpid(writer, nullptr, 0);
    close(fds[0]);
}

TEST_F(Util, WriteAndCopyExactly) {
    int src = open("/tmp/src", O_RDWR | O_CREAT | O_TRUNC, 0644);
    std::string data(1000, 'z');
    data[999] = 'e';
    ASSERT_EQ(write_exactly(src, data.data(), data.size()), 0);
    lseek(src, 0, SEEK_SET);
    int dst = open("/tmp/dst", O_RDWR | O_CREAT | O_TRUNC, 0644);
    EXPECT_EQ(copy_exactly(src, dst, 1000), 0);
    EXPECT_EQ(read_file("/tmp/dst"), data);
    EXPECT_EQ(copy_exactly(src, dst, 0), 0);
    EXPECT_EQ(copy_exactly(src, dst, 1), -1) << "the source is at its end";
    close(src);
    close(dst);
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("copy_exactly: can't read file"),
              std::string::npos);
}

TEST_F(Util, SizeTextHasTwoDecimalsAndRisesOnlyWithTwoOfTheNextUnit) {
    struct Case {
        uint64_t count, unit_size;
        int unit;
        const char *text;
    } cases[] = {
        {1536, 1, SIZE_UNIT_AUTO, "1536 Bytes"},
        {2048, 1, SIZE_UNIT_AUTO, "2.00 KB"},
        {3, 512, SIZE_UNIT_AUTO, "1536 Bytes"},
        {3072, 1024, SIZE_UNIT_AUTO, "3.00 MB"},
        {1536, 1024 * 1024, SIZE_UNIT_AUTO, "1536.00 MB"},
        {3907029168ull, 512, SIZE_UNIT_AUTO, "1863.02 GB"},  // a 2 TB disk
        {3907029168ull, 512, SIZE_UNIT_TB, "1.82 TB"},
        {1536, 1, SIZE_UNIT_KB, "1.50 KB"},
        {1023, 1, SIZE_UNIT_KB, "0.00 KB"},     // 0.999 rounds up and loses its carry
        {2047, 1024, SIZE_UNIT_MB, "1.00 MB"},  // 1.999 rounds up and loses its carry
        {100, 1, SIZE_UNIT_BYTES, "100 Bytes"},
        {100, 1, SIZE_UNIT_INVALID, "N/A"},
        {0, 1, SIZE_UNIT_AUTO, "0 Bytes"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(size_str(c.count, c.unit_size, c.unit), c.text)
            << c.count << " x " << c.unit_size << " unit " << c.unit;
}

TEST(UtilText, HexadecimalOfBytesIsUpperCase) {
    const unsigned char bytes[] = {0x00, 0xab, 0x1f};
    char buf[8];
    EXPECT_STREQ(num_to_ascii(bytes, 2, buf, sizeof buf), "00AB");
    EXPECT_STREQ(num_to_ascii(bytes, 3, buf, 5), "00AB") << "cut at the buffer";
}

TEST(UtilText, IdTableLookup) {
    const ID_STR_PAIR table[] = {{1, "USB"}, {2, "ATA"}, {5, "FLASH"}};
    EXPECT_STREQ(get_str_from_id(table, 3, 5), "FLASH");
    EXPECT_EQ(get_str_from_id(table, 3, 3), nullptr);
    EXPECT_EQ(get_str_from_id(table, 0, 1), nullptr);
    EXPECT_EQ(get_str_from_id(nullptr, 3, 1), nullptr);
}

TEST(UtilText, MacTextToBytes) {
    unsigned char mac[6] = {};
    EXPECT_EQ(Translate_MAC_ASCII_To_Bin("aa:bb:cc", mac, 6), 3);
    EXPECT_EQ(mac[0], 0xaa);
    EXPECT_EQ(mac[2], 0xcc);
    EXPECT_EQ(Translate_MAC_ASCII_To_Bin("a:bb", mac, 6), 1) << "a lone digit is dropped";
    EXPECT_EQ(mac[0], 0xbb);
    EXPECT_EQ(Translate_MAC_ASCII_To_Bin("00089BAABBCC", mac, 6), 6);
    EXPECT_EQ(mac[2], 0x9b);
    EXPECT_EQ(Translate_MAC_ASCII_To_Bin("00:08:9b:aa:bb:cc:dd", mac, 6), 6) << "capacity";
    EXPECT_EQ(Translate_MAC_ASCII_To_Bin("", mac, 6), 0);
}

TEST(UtilText, MacBytesToText) {
    const unsigned char mac[6] = {0x00, 0x08, 0x9b, 0xaa, 0xbb, 0xcc};
    char buf[18];
    EXPECT_EQ(Translate_MAC_Bin_To_ASCII(mac, 6, buf, 18), 17);
    EXPECT_STREQ(buf, "00:08:9B:AA:BB:CC");
    EXPECT_EQ(Translate_MAC_Bin_To_ASCII(mac, 6, buf, 17), 0) << "needs 3 x count";
    EXPECT_STREQ(buf, "");
}
