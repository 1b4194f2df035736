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
#include "sim/ata_identify_image.h"

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

}  // namespace nashal::sim

#endif  // NASHAL_SIM_SG_IO_MODEL_H
