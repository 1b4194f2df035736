// SAS expansion shelves for virtual appliances: one expander with its disks and its enclosure
// services device, consistent across sysfs (expander, ports, phys, end devices with their
// sas_address, SCSI targets with generic nodes and block devices, the type 13 SES device) and
// the SES description that the sg_ses stand-in answers from (/sim/ses/sgN: element types,
// slot, fan, temperature and power supply status, connectors, the disks' addresses in the
// Additional Element Status page) and the sg_inq one (/sim/inq/sgN: serial numbers, SAS
// addresses). Shelves chain: the next one hangs on the out port of the one before.
#ifndef NASHAL_SIM_SAS_SHELF_H
#define NASHAL_SIM_SAS_SHELF_H

#include <cstdint>
#include <string>
#include <vector>

#include "sim/sysfs_builders.h"

namespace nashal::sim {

struct SasShelfDesc {
    int host = 2;                     // SCSI host of the HBA the shelf hangs on
    int number = 0;                   // N of expander-H:N, unique on the host
    int bays = 12;                    // 12, 24, 60
    int ses_sg = 10;                  // sg number of the enclosure services device
    int first_disk_sg = 11;           // sg numbers of the disks follow, bay by bay
    int first_target = 0;             // SCSI target ids follow the same way, SES device last
    std::string first_block = "sdb";  // block device of the first disk; the next ones follow
    std::vector<int> empty_bays;      // bays (from 1) that hold no disk
    std::string vendor = "VIRTUAL";   // enclosure descriptor of page 1
    std::string product = "JBOD-12";
    std::string serial = "SHELF0001";
    uint64_t sas_address = 0x500e0eca00000000ull;  // of the expander; disks derive theirs
};

struct SasShelf {
    std::string expander;       // sysfs path of expander-H:N
    std::string name;           // "expander-2:0"
    std::string out_port;       // port on the out phys where the next shelf hangs
    std::vector<int> bays;      // bay (from 1) of each disk
    std::vector<int> disk_sgs;  // its sg number
    std::vector<std::string> blocks;
    std::vector<uint64_t> disk_addresses;
};

// Block device name that follows `name` as sd names them (sdz, sdaa, ...).
std::string next_block_name(const std::string &name);

// A SAS host bus adapter at <bus>:00.0 behind root port 00:01.0 of PCI domain 0, as most
// boards carry it; returns its function's directory.
std::string build_sas_adapter(SysfsTree &t, int bus = 3);

// Builds the shelf below `upstream_port` (a host's "port-2:0" or a shelf's out_port).
SasShelf build_sas_shelf(SysfsTree &t, const std::string &upstream_port, const SasShelfDesc &d);

// Status bytes of one element in the shelf's SES description (index as SES counts it: 0 the
// overall element), so that a test can set what the enclosure reports or read what a control
// changed. `root` is the appliance's root ("" inside an active appliance).
void set_ses_element(const std::string &root, int ses_sg, int type, int index,
                     const std::vector<int> &bytes);
std::vector<int> ses_element(const std::string &root, int ses_sg, int type, int index);

}  // namespace nashal::sim

#endif  // NASHAL_SIM_SAS_SHELF_H
