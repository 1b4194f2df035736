// halctl's disk commands on an example board: disk-probe prints what the backend collects, in
// JSON too; the registry commands refuse what they can't answer.
#include <gtest/gtest.h>

#include <string>

#include "halctl/halctl_runner.h"

using halctl_test::Board;

TEST(DiskCli, ProbePrintsTheCollectedRecordAndRegistryCommandsRefuseUnknownDisks) {
    Board board("x86-8bay");
    auto probe = board.run("--json disk-probe sg4");
    ASSERT_EQ(probe.status, 0) << probe.out;
    for (const char *part :
         {"\"port_id\": 5", "\"enc_sys_id\": \"root\"", "\"model\": \"SSD 860 EVO 1TB\"",
          "\"wwn\": \"5002538e40000001\"", "\"capacity\": 1953525168",
          "\"capability_names\": \"WWN,SMART,SELF_TEST,SSD,SERIAL,STANDBY,TRIM,CACHEABLE\""})
        EXPECT_NE(probe.out.find(part), std::string::npos) << part << " in " << probe.out;
    EXPECT_NE(board.run("disk-probe sg11").status, 0) << "an empty card reader slot is no disk";
    EXPECT_NE(board.run("disk 0 1").status, 0) << "nothing is recorded before a scan";
    EXPECT_NE(board.run("pd-detach root sg0").status, 0);
    EXPECT_NE(board.run("disk 0").status, 0);
}
