// halctl ses as a field engineer uses it on the shelves board: the elements of an attached shelf
// as its enclosure services device reports them now, a failed fan among them, and the clear
// refusals for enclosures that are no shelf.
#include <gtest/gtest.h>

#include <string>

#include "halctl/halctl_runner.h"
#include "sim/fs.h"
#include "sim/sas_shelf.h"

using namespace nashal::sim;

namespace {

TEST(SesCli, AShelfShowsEveryElementDecodedAndAFailedFanAmongThem) {
    halctl_test::Board board("x86-sas-shelves");
    // The 12-bay shelf attached as enclosure 1 (its SES device is sg12), as a scan records it.
    ASSERT_TRUE(write_file(board.dir() + "/etc/hal.conf",
                           "[Enclosure_0]\nenc_sys_id = root\n[Enclosure_1]\nenc_sys_id = sg12\n"));
    // Fan 2 of the shelf stops: critical, no speed.
    set_ses_element(board.dir(), 12, 0x03, 2, {0x02, 0x00, 0x00, 0x00});
    auto r = board.run("ses 1");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("array device slot"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("3000 rpm"), std::string::npos) << "the fans that still turn";
    EXPECT_NE(r.out.find("30 C"), std::string::npos) << "the sensors";
    EXPECT_NE(r.out.find("(external)"), std::string::npos) << "the shelf's external connectors";

    r = board.run("--json ses 1");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("\"kind\": \"cooling\", \"element\": 2, \"status\": 2, \"value\": \"0 "
                         "rpm\", \"bytes\": \"02 00 00 00\""),
              std::string::npos)
        << r.out;

    // The root is no shelf, 7 isn't attached: failures; a name for an id is a usage error.
    struct Case {
        const char *args;
        int status;
    } cases[] = {{"ses 0", 1}, {"ses 7", 1}, {"ses one", 2}, {"ses", 2}};
    for (const Case &c : cases)
        EXPECT_EQ(board.run(c.args).status, c.status) << c.args;
}

}  // namespace
