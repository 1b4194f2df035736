// halctl disks-found on a board built for the case: the bay each disk maps back to is the one
// the disk's information collector would give it, so a field engineer can trust the column.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "halctl/halctl_runner.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"

std::string run(const std::string &args) {
    return halctl_test::run_halctl(args).out;
}

TEST(DisksFound, AtaBootDeviceMapsBackToItsBay) {
    char tmpl[] = "/tmp/halctl-disks-XXXXXX";
    std::string dir = mkdtemp(tmpl);
    {
        using namespace nashal::sim;
        SysfsTree t(dir);
        auto ahci = t.pci_function(t.pci_root(0, 0), 0, 0, 0x1f, 2, kPciClassAhci);
        t.scsi_device(t.ahci_port(ahci, 1, 0), {0, 0, 0, 0}, ScsiDesc::disk(0, "sda", "ATA", "D"));
        ASSERT_TRUE(write_file(dir + "/etc/model.conf",
                               "[Boot Enclosure]\nMAX_DISK_NUM = 1\nDISK_DRV_TYPE = ATA\n"
                               "[Boot Disk 1]\nDEV_BUS = B00:D31:F2\nDEV_PORT = 0\n"));
    }
    std::string out = run("--json --root " + dir + " disks-found root_boot");
    nashal::sim::remove_tree(dir);
    EXPECT_NE(out.find("\"pd_sys_id\": \"sg0\""), std::string::npos) << out;
    EXPECT_NE(out.find("\"bay\": \"1\""), std::string::npos)
        << "an ATA boot disk is not on USB: its bay comes from its controller port\n"
        << out;
}
