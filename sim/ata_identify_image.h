// Real-shaped IDENTIFY DEVICE data for the virtual appliance's SATA drives: a description of a
// drive in the terms a firmware engineer knows (model, serial, capacity, sector sizes, WWN,
// rotation, feature bits) laid out as ACS lays out the 256 words, to be written as the
// /sim/ata/<node>/identify file that the SG_IO emulator answers from.
#ifndef NASHAL_SIM_ATA_IDENTIFY_IMAGE_H
#define NASHAL_SIM_ATA_IDENTIFY_IMAGE_H

#include <array>
#include <cstdint>
#include <string>

#include "disk/ata_layout.h"

namespace nashal::sim {

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

#endif  // NASHAL_SIM_ATA_IDENTIFY_IMAGE_H
