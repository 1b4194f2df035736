// Stand-in for /sbin/sg_inq, answering from /sim/inq/<node> (format in
// docs/virtual-appliance.md): standard inquiry and VPD pages 0x00, 0x80, 0x83, 0xb1, in
// binary with -r, -rr and --raw as the library asks for them.
#include <cstdio>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "../fs.h"
#include "foundation/byte_order.h"
#include "topology/ses_layout.h"
#include "wire_bytes.h"
#include "inq_description.h"
#include "stand_in.h"

namespace {

using nashal::sim::tool::InqDescription;
using nashal::sim::tool::load_inq_description;

using namespace nashal::topology;
using nashal::sim::tool::bytes_of;
using nashal::sim::tool::put_text;

std::string vpd(int code, const std::string &body) {
    VpdHeader h{};
    h.page_code = static_cast<uint8_t>(code);
    nashal::store_be16(h.length_be, static_cast<uint16_t>(body.size()));
    return bytes_of(h) + body;
}

std::string standard(const InqDescription &d) {
    InquiryStandard inq{};
    inq.peripheral = static_cast<uint8_t>(d.type & kInquiryTypeMask);
    inq.version = static_cast<uint8_t>(d.version);  // 6: SPC-4
    inq.response_format = 0x02;
    inq.additional_length = static_cast<uint8_t>(sizeof inq - 5);
    inq.flags6 = d.type == 13 ? kInquiryEncServ : 0;
    put_text(inq.vendor, d.vendor);
    put_text(inq.product, d.model);
    put_text(inq.revision, d.rev);
    return bytes_of(inq);
}

// A binary NAA designator of eight bytes with its association: of the logical unit, or, with
// the SAS protocol valid, of the target port or the target device.
std::string naa_designator(uint64_t naa, unsigned association) {
    const bool sas = association != kDesigAssocLogicalUnit;
    DesignatorHeader h{};
    h.protocol_code_set =
        static_cast<uint8_t>((sas ? kDesigProtocolSas << 4 : 0) | kDesigCodeSetBinary);
    h.flags = static_cast<uint8_t>((sas ? kDesigPiv : 0) | association | kDesigTypeNaa);
    h.length = kSasAddressLen;
    uint8_t value[kSasAddressLen];
    nashal::store_be64(value, naa);
    return bytes_of(h) + std::string(reinterpret_cast<const char *>(value), sizeof value);
}

std::string page_83(const InqDescription &d) {
    std::string body;
    if (d.naa)
        body += naa_designator(d.naa, kDesigAssocLogicalUnit);
    // A SAS drive names its target port and its target device; the emulated drive gives its
    // one described address to both.
    if (d.sas_address) {
        body += naa_designator(d.sas_address, kDesigAssocTargetPort);
        body += naa_designator(d.sas_address, kDesigAssocTargetDevice);
    }
    return vpd(0x83, body);
}

int answer_sg_inq(const std::vector<std::string> &args) {
    int page = -1;
    std::string device;
    for (size_t i = 0; i < args.size(); ++i) {
        if (nashal::sim::tool::page_option(args, i, page))
            continue;
        if (!args[i].empty() && args[i][0] != '-')
            device = args[i];
    }
    std::string node = nashal::sim::tool::device_node(device);
    InqDescription d;
    if (node.empty() || !load_inq_description(node, d))
        return nashal::sim::tool::scripted_answer("sg_inq", args);
    std::string bytes;
    switch (page) {
        case -1:
            bytes = standard(d);
            break;
        case 0x00:
            bytes = vpd(0x00, std::string{0x00, static_cast<char>(0x80), static_cast<char>(0x83),
                                          static_cast<char>(0xb1)});
            break;
        case 0x80:
            bytes = vpd(0x80, d.serial);
            break;
        case 0x83:
            bytes = page_83(d);
            break;
        case 0xb1:
            if (!d.have_b1)
                return 1;
            bytes = vpd(0xb1, std::string{static_cast<char>((d.rotation >> 8) & 0xff),
                                          static_cast<char>(d.rotation & 0xff)} +
                                  std::string(58, '\0'));
            break;
        default:
            fprintf(stderr, "sg_inq: page not described\n");
            return 1;
    }
    // -r, -rr and --raw all give the answer's bytes as they are.
    nashal::sim::tool::write_out(bytes);
    return 0;
}

}  // namespace

NASHAL_STAND_IN("sg_inq", answer_sg_inq);
