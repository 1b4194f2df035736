// The SCSI generic nodes of the virtual appliance: SG_IO answered as a SATA drive behind libata's
// SAT layer answers ATA PASS-THROUGH (16), from a description per disk.
//
// A disk is described by the folder /sim/ata/<node> (node as in /dev/<node>, "sg2"):
//   identify   its IDENTIFY DEVICE data, 512 bytes exactly as the drive sends them
//   errno      optional, a decimal errno: every SG_IO on the node fails with it
// A node without an identify file is a SAS disk or a USB bridge that passes no ATA: it takes the
// request, moves no data (residual = the whole length) and answers CHECK CONDITION, ILLEGAL
// REQUEST, INVALID COMMAND OPERATION CODE, as such devices do. A shorter identify file moves
// only its bytes, leaving the rest as the residual.
//
// Every request is checked byte for byte against the form the command must have (the command
// block, direction, length and sense buffer of its row in the table); a request of a known
// command in any other form is refused with EINVAL and a "REFUSED" line. Every request is logged
// to /sim/sg_io.log: "<node> <16 block bytes in hex> dir=<d> len=<n> sense=<m>".
//
// To teach the emulator a command, add a row to kAtaCommands in sg_io_model.cpp: its block
// template, which block bytes may vary, and a handler that answers from the disk's folder.
#ifndef NASHAL_SIM_SG_IO_MODEL_H
#define NASHAL_SIM_SG_IO_MODEL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "disk/ata_layout.h"

namespace nashal::sim {

// One ATA command as the handler of its row sees it.
struct AtaExchange {
    std::string disk_dir;  // "/sim/ata/sg2"
    ata::PassThrough16 block;
    uint8_t *data;  // the transfer buffer: to fill (data-in) or to read (data-out)
    size_t data_len;
    size_t transferred = 0;  // bytes the drive moved; the rest is the residual
    // The registers the drive leaves; a handler changes what its command sets.
    ata::StatusReturnDescriptor registers{};
};

// Answers one command; false when the drive aborts it (the handler sets error and status).
using AtaHandler = bool (*)(AtaExchange &exchange);

// Registers the SG_IO emulator for every /dev/sg* node of the active appliance (done at
// activation).
void attach_sg_io_emulator();

// Lines of /sim/sg_io.log and its reset.
std::vector<std::string> sg_io_requests();
void clear_sg_io_requests();

// ---- Describing a SATA disk ----

struct AtaDiskDesc {
    std::string model;     // 40 characters at most
    std::string serial;    // 20
    std::string firmware;  // 8
    uint64_t sectors = 0;  // logical sectors
    uint32_t logical_sector_bytes = 512;
    unsigned physical_per_logical_log2 = 0;  // 3: 4096-byte physical sectors of 512 logical
    uint64_t wwn = 0;                        // 0: none
    uint16_t rotation = 7200;                // 1: solid state; 0: not reported
    bool trim = false;
    bool smart_supported = true;
    bool smart_enabled = true;
    bool self_test = true;
    bool erc = false;
    bool lba48 = true;
    uint16_t major_version = 0x01F0;  // ATA8-ACS to ACS-3 (bits 4-8)
    uint16_t minor_version = 0;
};

// The IDENTIFY DEVICE data of such a disk, as ACS lays it out.
std::array<uint8_t, ata::kIdentifyLen> identify_image(const AtaDiskDesc &disk);

// Writes /sim/ata/<node>/identify under `root` ("" in an active appliance, or a board folder).
bool describe_ata_disk(const std::string &root, const std::string &node, const AtaDiskDesc &disk);

}  // namespace nashal::sim

#endif  // NASHAL_SIM_SG_IO_MODEL_H
