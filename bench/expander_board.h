// The board two benches share: 24 bays behind the board's own SAS expander (a SAS HBA behind a
// root port, each bay on an expander phy from 8 on, as libsas lays it out) and a model file that
// names each bay by its phy.
#ifndef NASHAL_BENCH_EXPANDER_BOARD_H
#define NASHAL_BENCH_EXPANDER_BOARD_H

#include <string>

#include "sim/ata_identify_image.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"

namespace nashal::bench {

constexpr int kExpanderBays = 24;

// `sata`: the disks are SATA disks that answer IDENTIFY, else SAS disks that pass no ATA.
// `system_enclosure`: the keys of the model's "[System Enclosure]" section.
inline bool build_expander_board(bool sata, const std::string &system_enclosure) {
    using namespace nashal::sim;
    SysfsTree t;
    auto root = t.pci_root(0, 0);
    auto rp = t.pci_bridge(root, 0, 0, 1, 0, 1);
    auto hba = t.pci_function(rp, 0, 1, 0, 0, kPciClassSas, 0x1000, 0x0097);
    auto host = t.sas_host(hba, 0, 8);
    auto wide = t.sas_port(host, "port-0:0");
    auto exp = t.sas_expander(wide, "expander-0:0", 8 + kExpanderBays, 0x500304800000007full);
    std::string model = "[System Enclosure]\n" + system_enclosure;
    for (int i = 0; i < kExpanderBays; ++i) {
        std::string n = std::to_string(i);
        std::string phy_name = "phy-0:0:" + std::to_string(8 + i);
        auto port = t.sas_port(exp, "port-0:0:" + n);
        // libsas links a phy to its port and the port to its phy.
        symlink_relative(port, exp + "/" + phy_name + "/port");
        symlink_relative(exp + "/" + phy_name, port + "/" + phy_name);
        auto end = t.sas_end_device(port, 0x5000c50000000000ull + i, 8 + i);
        std::string block = "sd" + std::string(1, static_cast<char>('a' + i));
        t.scsi_device(end, {0, 0, i, 0},
                      sata ? ScsiDesc::disk(i, block, "ATA", "WDC WD40EFRX-68N")
                           : ScsiDesc::disk(i, block, "SEAGATE", "ST8000NM0075"));
        if (sata) {
            AtaDiskDesc d;
            d.model = "WDC WD40EFRX-68N32N0";
            d.serial = "WD-WCC7K00000" + n;
            d.sectors = 7814037168ull;
            d.wwn = 0x50014ee2b0000000ull + static_cast<uint64_t>(i);
            describe_ata_disk("", "sg" + n, d);
        }
        model += "[System Disk " + std::to_string(i + 1) +
                 "]\nDEV_BUS = B00:D01:F0\nDEV_PORT = " + std::to_string(8 + i) + "\n";
    }
    return write_file("/etc/model.conf", model);
}

}  // namespace nashal::bench

#endif  // NASHAL_BENCH_EXPANDER_BOARD_H
