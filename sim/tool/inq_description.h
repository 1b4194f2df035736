// The description of a SCSI device of the virtual appliance, /sim/inq/<node> (format in
// docs/virtual-appliance.md), shared by the stand-ins that answer for it (sg_inq, sg_readcap).
#ifndef NASHAL_SIM_TOOL_INQ_DESCRIPTION_H
#define NASHAL_SIM_TOOL_INQ_DESCRIPTION_H

#include <cstdint>
#include <string>

#include "../fs.h"

namespace nashal::sim::tool {

struct InqDescription {
    int type = 0;
    std::string vendor, model, rev = "0001", serial;
    uint64_t sas_address = 0;  // target port designator of page 0x83
    uint64_t naa = 0;          // logical unit designator of page 0x83
    int rotation = 0;          // page 0xb1 medium rotation rate
    bool have_b1 = false;
    int version = 6;       // byte 2 of the standard inquiry: SPC-4
    uint64_t sectors = 0;  // READ CAPACITY: logical blocks (0: the device answers none)
    uint32_t block_size = 512;
    bool readcap16 = true;  // false: READ CAPACITY (16) is refused (-l fails)
};

inline bool load_inq_description(const std::string &node, InqDescription &d) {
    std::string path = "/sim/inq/" + node;
    if (!nashal::sim::exists(path))
        return false;
    for (const auto &[key, value] : nashal::sim::text_settings(nashal::sim::read_file(path))) {
        if (key == "type")
            d.type = std::stoi(value, nullptr, 0);
        else if (key == "vendor")
            d.vendor = value;
        else if (key == "model")
            d.model = value;
        else if (key == "rev")
            d.rev = value;
        else if (key == "serial")
            d.serial = value;
        else if (key == "sas_address")
            d.sas_address = std::stoull(value, nullptr, 16);
        else if (key == "naa")
            d.naa = std::stoull(value, nullptr, 16);
        else if (key == "rotation") {
            d.rotation = std::stoi(value, nullptr, 0);
            d.have_b1 = true;
        } else if (key == "version")
            d.version = std::stoi(value, nullptr, 0);
        else if (key == "sectors")
            d.sectors = std::stoull(value, nullptr, 0);
        else if (key == "block_size")
            d.block_size = static_cast<uint32_t>(std::stoul(value, nullptr, 0));
        else if (key == "readcap16")
            d.readcap16 = value != "no";
    }
    return true;
}

}  // namespace nashal::sim::tool

#endif  // NASHAL_SIM_TOOL_INQ_DESCRIPTION_H
