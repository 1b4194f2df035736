// Stand-in for /sbin/sg_readcap, answering from the device's /sim/inq/<node> description
// ("sectors", "block_size", "readcap16"): with -r the READ CAPACITY (10) answer in binary (last
// LBA, block length: 8 bytes), with -l -r the READ CAPACITY (16) one (32 bytes).
#include <cstdio>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/byte_order.h"
#include "inq_description.h"
#include "stand_in.h"

namespace {

std::string be32(uint32_t v) {
    uint8_t b[4];
    nashal::store_be32(b, v);
    return std::string(reinterpret_cast<const char *>(b), sizeof b);
}

std::string be64(uint64_t v) {
    uint8_t b[8];
    nashal::store_be64(b, v);
    return std::string(reinterpret_cast<const char *>(b), sizeof b);
}

int answer_sg_readcap(const std::vector<std::string> &args) {
    bool sixteen = false;
    bool raw = false;
    std::string device;
    for (const auto &a : args) {
        if (a == "-l" || a == "--long")
            sixteen = true;
        else if (a == "-r" || a == "--raw")
            raw = true;
        else if (!a.empty() && a[0] != '-')
            device = a;
    }
    std::string node = nashal::sim::tool::device_node(device);
    nashal::sim::tool::InqDescription d;
    if (node.empty() || !nashal::sim::tool::load_inq_description(node, d))
        return nashal::sim::tool::scripted_answer("sg_readcap", args);
    if (d.sectors == 0 || (sixteen && !d.readcap16)) {
        fprintf(stderr, "READ CAPACITY (%d) failed: Illegal request\n", sixteen ? 16 : 10);
        return 5;  // sg3_utils' exit status for an illegal request
    }
    uint64_t last = d.sectors - 1;
    std::string bytes;
    if (sixteen) {
        bytes = be64(last) + be32(d.block_size) + std::string(20, '\0');
    } else {
        // A device too large for 32 bits answers 0xFFFFFFFF: ask again with READ CAPACITY (16).
        bytes = be32(last > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<uint32_t>(last)) +
                be32(d.block_size);
    }
    if (!raw) {
        printf(
            "Read Capacity results:\n   Last LBA=%llu (0x%llx), Number of logical blocks=%llu\n"
            "   Logical block length=%u bytes\n",
            static_cast<unsigned long long>(last), static_cast<unsigned long long>(last),
            static_cast<unsigned long long>(d.sectors), d.block_size);
        return 0;
    }
    nashal::sim::tool::write_out(bytes);
    return 0;
}

}  // namespace

NASHAL_STAND_IN("sg_readcap", answer_sg_readcap);
