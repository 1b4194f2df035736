// Writes the example board x86-sas-shelves: a main unit with no bays of its own and an external
// SAS HBA (root port 00:01.0, HBA 01:00.0, host 2) carrying three expansion shelves: a 12-bay
// shelf with a 24-bay shelf daisy-chained on its out port (port-2:0), and a 60-bay shelf on the
// second port (port-2:1). Every shelf's sysfs, SES and inquiry descriptions come from
// sim/sas_shelf.h, so they agree. Run once after changing the layout and commit the result:
//
//   g++ -std=c++17 -I. -Iinclude -Isrc examples/appliances/make_shelf_sysfs.cpp sim/sas_shelf.cpp
//       sim/sysfs_builders.cpp sim/fs.cpp -o /tmp/make_shelf_sysfs &&
//       /tmp/make_shelf_sysfs examples/appliances
#include <cstdio>
#include <string>

#include "sim/fs.h"
#include "sim/sas_shelf.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s EXAMPLES_DIR\n", argv[0]);
        return 2;
    }
    const std::string dir = std::string(argv[1]) + "/x86-sas-shelves";
    remove_tree(dir + "/sys");
    remove_tree(dir + "/dev");
    remove_tree(dir + "/sim");
    SysfsTree t(dir);
    auto root = t.pci_root(0, 0);
    auto rp = t.pci_bridge(root, 0, 0, 1, 0, 1);
    auto hba = t.pci_function(rp, 0, 1, 0, 0, kPciClassSas, 0x1000, 0x0097);
    auto host = t.sas_host(hba, 2, 8);

    SasShelfDesc twelve;
    twelve.number = 0;
    twelve.ses_sg = 12;
    twelve.first_disk_sg = 0;
    twelve.first_block = "sda";
    twelve.empty_bays = {12};
    twelve.serial = "SHELF12A";
    SasShelf first = build_sas_shelf(t, t.sas_port(host, "port-2:0"), twelve);

    SasShelfDesc chained;
    chained.number = 1;
    chained.bays = 24;
    chained.ses_sg = 37;
    chained.first_disk_sg = 13;
    chained.first_target = 20;
    chained.first_block = next_block_name(first.blocks.back());
    chained.product = "JBOD-24";
    chained.serial = "SHELF24B";
    chained.sas_address = 0x500e0eca00010000ull;
    SasShelf second = build_sas_shelf(t, first.out_port, chained);

    SasShelfDesc sixty;
    sixty.number = 2;
    sixty.bays = 60;
    sixty.ses_sg = 98;
    sixty.first_disk_sg = 38;
    sixty.first_target = 50;
    sixty.first_block = next_block_name(second.blocks.back());
    sixty.product = "JBOD-60";
    sixty.serial = "SHELF60C";
    sixty.sas_address = 0x500e0eca00020000ull;
    build_sas_shelf(t, t.sas_port(host, "port-2:1"), sixty);

    write_file(dir + "/etc/model.conf",
               "[System Enclosure]\nVENDOR = VIRTUAL\nMODEL = X86-SAS-SHELVES\nCAP = 0\n"
               "MAX_DISK_NUM = 0\n");
    return 0;
}
