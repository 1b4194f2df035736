// Enclosure services through the tools: the bounded reader of their output, the SES pages read
// and written through the sg_ses stand-in, inquiry texts through sg_inq, and the rule that a
// device's own text never reaches a shell.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "nashal/comm_ses.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "topology/trace_levels.h"
#include "topology/ses_pages.h"

using namespace nashal::sim;

namespace {

TEST(PopenReader, FillsTheBufferToItsLastByteButNotBeyond) {
    char buf[16];
    // 15 bytes: exactly size-1.
    EXPECT_EQ(comm_sys_read_from_popen("printf 123456789012345", buf, sizeof buf), 15);
    EXPECT_STREQ(buf, "123456789012345");
    EXPECT_EQ(comm_sys_read_from_popen("printf 1234567890123456", buf, sizeof buf), -1)
        << "a sixteenth byte would leave no room for the terminator";
    EXPECT_EQ(comm_sys_read_from_popen("true", buf, sizeof buf), -1)
        << "a tool that prints nothing has failed, whatever its exit status";
    EXPECT_EQ(comm_sys_read_from_popen("printf x; exit 3", buf, sizeof buf), 1)
        << "the exit status is not examined";
}

TEST(PopenReader, CountsBinaryOutputWithZeros) {
    char buf[16];
    ASSERT_EQ(comm_sys_read_from_popen("printf 'a\\000b\\000\\377'", buf, sizeof buf), 5);
    EXPECT_EQ(std::string(buf, 5), std::string("a\0b\0\xff", 5));
    EXPECT_EQ(buf[5], '\0');
}

TEST(PopenReader, EndlessOutputStopsAtTheBufferWithoutHanging) {
    char buf[64];
    EXPECT_EQ(comm_sys_read_from_popen("yes", buf, sizeof buf), -1);
}

TEST(PopenReader, OverflowTraceTellsTheBytesStoredWhenTheNextOneCame) {
    auto app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    char buf[16];
    // 600 bytes arrive in one read; the trace must still say that the buffer was full.
    EXPECT_EQ(comm_sys_read_from_popen("head -c 600 /dev/zero", buf, sizeof buf), -1);
    EXPECT_NE(read_file("/var/log/hal_lib.log")
                  .find("System Error, BUFFER overflow,cmd = head -c 600 /dev/zero,count = 15\n"),
              std::string::npos)
        << read_file("/var/log/hal_lib.log");
}

TEST(SesOffsets, OverallElementCountsAsIndexOne) {
    const uint32_t types[][2] = {{4, 3}, {3, 5}, {0x17, 8}};
    struct {
        uint32_t type;
        int index;
        int result;
        int offset;
    } cases[] = {
        {3, 1, 0, 24}, {4, 3, 0, 16},    {4, 4, -1, 0},    {4, 0, -1, 0},
        {4, 1, 0, 8},  {0x17, 1, 0, 48}, {0x17, 8, 0, 76}, {2, 1, -1, 0},
    };
    for (const auto &c : cases) {
        int offset = 0;
        EXPECT_EQ(comm_sys_get_ses_control_element_offset(c.type, c.index, types, 3, &offset),
                  c.result)
            << "type " << c.type << " index " << c.index;
        EXPECT_EQ(offset, c.offset) << "type " << c.type << " index " << c.index;
    }
}

TEST(SesDecoders, ConfigPageListsTypesOfTheFirstEnclosure) {
    unsigned char page[64] = {0x01, 0, 0, 0x30, 0, 0, 0, 0,
                              // enclosure descriptor: 2 type headers, 4 bytes of identity
                              0x11, 0, 2, 4, 1, 2, 3, 4,
                              // type headers
                              0x17, 12, 0, 0, 0x02, 2, 0, 0};
    uint32_t types[4][2] = {};
    ASSERT_EQ(nashal::topology::ses_decode_config_page(page, 24, types, 4), 2);
    EXPECT_EQ(types[0][0], 0x17u);
    EXPECT_EQ(types[0][1], 12u);
    EXPECT_EQ(types[1][0], 0x02u);
    EXPECT_EQ(types[1][1], 2u);
    EXPECT_EQ(nashal::topology::ses_decode_config_page(page, 24, types, 1), -1)
        << "more types than the caller's list holds";
}

// A page fills the caller's buffer whole at `size` bytes, and that counts as an overflow: the
// last byte that fits is size - 1.
TEST(SesDecoders, RawTextOverflowsWhenItReachesTheCallersSize) {
    unsigned char bytes[5];
    const char text[] = "  02 00\n 00 0c  \n";
    EXPECT_EQ(nashal::topology::ses_decode_raw_text(text, strlen(text), bytes, 5), 4);
    EXPECT_EQ(bytes[3], 0x0c);
    EXPECT_EQ(nashal::topology::ses_decode_raw_text(text, strlen(text), bytes, 4), -1);
}

// A configuration page may promise more elements than the 256-byte status page holds: an
// element is given only when all its four bytes lie in the page.
TEST(SesOffsets, ElementsOutsideTheStatusPageAreRefused) {
    const uint32_t fits[][2] = {{0x17, 62}};
    const uint32_t hostile[][2] = {{0x02, 2}, {0x17, 255}};
    struct {
        const uint32_t (*types)[2];
        int count;
        int index;
        int page;
        int result;
        int offset;
    } cases[] = {
        {fits, 1, 62, 256, 0, 252},     // its last byte is the page's last
        {fits, 1, 62, 255, -1, -1},     // a page one byte shorter
        {hostile, 2, 59, 256, 0, 252},  // 4 + 12 of the supplies, then 4 + 4 * 58
        {hostile, 2, 60, 256, -1, -1}, {hostile, 2, 255, 256, -1, -1},
        {hostile, 2, 1, 0, -1, -1},  // no page at all
    };
    for (const auto &c : cases) {
        int offset = -1;
        EXPECT_EQ(nashal::topology::ses_element_in_page(c.types[c.count - 1][0], c.index, c.types,
                                                        c.count, c.page, &offset, "caller"),
                  c.result)
            << "element " << c.index << " in a page of " << c.page;
        EXPECT_EQ(offset, c.offset) << "element " << c.index << " in a page of " << c.page;
    }
}

class SesStandIn : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app.activate());
        // Two power supplies, four slots.
        write_file("/sim/ses/sg5",
                   "type 0x02 2\ntype 0x17 4\n"
                   "element 0x02 1 01 00 00 20\n"
                   "element 0x17 3 01 00 00 00\n");
    }
    Appliance app = Appliance::fresh();
};

TEST_F(SesStandIn, ChangedElementIsSeenByTheNextStatusRead) {
    uint32_t types[32][2];
    ASSERT_EQ(comm_sys_get_ses_enc_conf("sg5", types, 32), 2);
    EXPECT_EQ(types[1][0], 0x17u);
    EXPECT_EQ(types[1][1], 4u);

    unsigned char page[256];
    int n = comm_sys_get_ses_enc_status("sg5", page, sizeof page);
    ASSERT_EQ(n, 8 + 4 * 3 + 4 * 5);
    int offset = 0;
    // The library counts the overall element as 1, so its slot 4 is the third slot element
    // (description index 3).
    ASSERT_EQ(comm_sys_get_ses_control_element_offset(0x17, 4, types, 2, &offset), 0);
    EXPECT_EQ(page[offset], 0x01) << "slot element 3 as described";

    // Ask for the locate light of that element: select it, set byte 2 bit 1.
    page[offset] = 0x80;
    page[offset + 2] = 0x02;
    ASSERT_EQ(comm_sys_send_ses_enc_control("sg5", page, n), 0);
    bool sent = false;
    for (const auto &line : invocations())
        if (line.find("/sbin/sg_ses -c -p 0x2 -d 02,00,00,24,") == 0 &&
            line.find(",80,00,02,00,") != std::string::npos &&
            line.find(" /dev/sg5") != std::string::npos)
            sent = true;
    EXPECT_TRUE(sent) << "the control page goes out as comma-separated hexadecimal bytes";

    unsigned char again[256];
    ASSERT_EQ(comm_sys_get_ses_enc_status("sg5", again, sizeof again), n);
    EXPECT_EQ(again[offset + 2], 0x02) << "the locate request did not reach the enclosure";
    EXPECT_EQ(again[offset - 4 + 2], 0x00) << "a neighbour element changed";

    // A page longer than the 1024-byte text and command hold is cut, never written past them.
    unsigned char big[400] = {};
    ASSERT_EQ(comm_sys_send_ses_enc_control("sg5", big, sizeof big), 0);
    const std::string last = invocations().back();
    EXPECT_EQ(last.rfind("/sbin/sg_ses -c -p 0x2 -d 00,00,", 0), 0u) << last;
    EXPECT_LT(last.size(), 1024u);

    unsigned char small[16];
    EXPECT_EQ(comm_sys_get_ses_enc_status("sg5", small, sizeof small), -1);
    EXPECT_EQ(comm_sys_get_ses_enc_conf("sg9", types, 32), -1) << "no enclosure answers";
}

// The overflow traces of the page readers name the public function, the one an engineer looks
// for in the log, at the error level; the status page fails when it fills the buffer whole.
TEST_F(SesStandIn, PageReadersTraceOverflowsUnderTheirOwnNames) {
    uint32_t types[32][2];
    unsigned char page[64];
    const int full = 8 + 4 * 3 + 4 * 5;  // the status page of sg5
    EXPECT_EQ(comm_sys_get_ses_enc_status("sg5", page, full + 1), full);
    struct Case {
        const char *line;
        std::function<int()> call;
    } cases[] = {
        {R"(comm_sys_get_ses_enc_conf\(\d+\):System Error, BUFFER overflow:enc_sys_id = sg5)",
         [&] { return comm_sys_get_ses_enc_conf("sg5", types, 1); }},
        {R"(comm_sys_get_ses_enc_status\(\d+\):System Error, BUFFER overflow)",
         [&] { return comm_sys_get_ses_enc_status("sg5", page, full); }},
        {R"(comm_sys_read_from_popen\(\d+\):System Error, BUFFER overflow,cmd = printf 0123456789,count = 7)",
         [&] {
             return comm_sys_read_from_popen("printf 0123456789", reinterpret_cast<char *>(page),
                                             8);
         }},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(c.call(), -1) << c.line;
        EXPECT_EQ(nashal::test::trace_level_fault(HAL_TRACE_ERROR, c.line, [&] { c.call(); }), "");
    }
}

TEST_F(SesStandIn, StatusPageTextIsPrintedAsSgSesPrintsIt) {
    char text[512];
    ASSERT_GT(comm_sys_read_from_popen("/sbin/sg_ses -p 0x2 --raw /dev/sg5", text, sizeof text), 0);
    EXPECT_STREQ(text,
                 "02 00 00 24 00 00 00 00  00 00 00 00 01 00 00 20\n"
                 "00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00\n"
                 "01 00 00 00 00 00 00 00\n");
    char page[512];
    ASSERT_EQ(comm_sys_read_from_popen("/sbin/sg_ses -p 0x2 -rr /dev/sg5", page, sizeof page), 40)
        << "-rr prints the page in binary";
    EXPECT_EQ(page[0], 0x02);
    EXPECT_EQ(page[3], 0x24);
}

TEST_F(SesStandIn, InquiryTextsAreCopiedAsTheDeviceGivesThem) {
    write_file("/sim/inq/sg7",
               "type 13\nvendor $(touch /tmp/pwned)\nmodel `reboot`;x\n"
               "serial   SN 0042 ;rm   \nsas_address 5000c50012345678\n"
               "naa 5000c500aaaaaaaa\n");
    char inquiry[128];
    ASSERT_EQ(comm_sys_get_sas_inquiry_resp("/dev/sg7", inquiry, sizeof inquiry), 0);
    char vendor[9];
    char model[17];
    ASSERT_EQ(comm_sys_parse_sas_vendor_model(inquiry, vendor, model), 0);
    EXPECT_STREQ(vendor, "$(touch ");
    EXPECT_STREQ(model, "`reboot`;x      ") << "no trimming of vendor and model";

    char serial[33];
    ASSERT_EQ(comm_sys_get_sas_serial_resp("/dev/sg7", serial), 0);
    EXPECT_STREQ(serial, "SN 0042 ;rm");

    unsigned char address[8] = {};
    ASSERT_EQ(comm_sys_get_sas_target_port_address("sg7", address), 0);
    const unsigned char expected[8] = {0x50, 0x00, 0xc5, 0x00, 0x12, 0x34, 0x56, 0x78};
    EXPECT_EQ(memcmp(address, expected, 8), 0) << "the logical unit's NAA was taken instead";
    EXPECT_FALSE(exists("/tmp/pwned")) << "a device's text was run by a shell";
}

TEST_F(SesStandIn, HostileNodeNamesAreRefusedBeforeAnyShell) {
    uint32_t types[32][2];
    unsigned char page[256] = {};
    unsigned char address[8];
    char serial[33];
    EXPECT_EQ(comm_sys_get_ses_enc_conf("sg5;touch /tmp/pwned", types, 32), -1);
    EXPECT_EQ(comm_sys_get_ses_enc_status("sg5$(touch /tmp/pwned)", page, sizeof page), -1);
    EXPECT_EQ(comm_sys_send_ses_enc_control("sg5|touch /tmp/pwned", page, 16), -1);
    EXPECT_EQ(comm_sys_get_sas_target_port_address("sg`touch /tmp/pwned`", address), -1);
    EXPECT_EQ(comm_sys_get_sas_serial_resp("/dev/sg1 && touch /tmp/pwned", serial), -1);
    EXPECT_FALSE(exists("/tmp/pwned"));
    EXPECT_TRUE(invocations().empty());
}

TEST(Trim, SpacesGoAtBothEndsButStayInside) {
    char text[16] = "  A B  ";
    EXPECT_EQ(comm_sys_remove_prefix_postfix_space(text, sizeof text), 5);
    EXPECT_STREQ(text, "A B");
    char full[4] = {' ', 'x', 'y', 'z'};  // no terminator: the last byte is forced to one
    comm_sys_remove_prefix_postfix_space(full, sizeof full);
    EXPECT_STREQ(full, "xy");
}

}  // namespace
