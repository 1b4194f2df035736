// Stand-in for /sbin/sg_inq, answering from /sim/inq/<node> (format in
// docs/virtual-appliance.md): standard inquiry and VPD pages 0x00, 0x80, 0x83, 0xb1, in
// binary with -r, -rr and --raw as the library asks for them.
#include <cstdio>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "../fs.h"
#include "inq_description.h"
#include "stand_in.h"

namespace {

using nashal::sim::tool::InqDescription;
using nashal::sim::tool::load_inq_description;

std::string padded(const std::string &text, size_t width) {
    std::string out = text.substr(0, width);
    out.resize(width, ' ');
    return out;
}

std::string be64(uint64_t v) {
    std::string out;
    for (int i = 7; i >= 0; --i)
        out += static_cast<char>((v >> (8 * i)) & 0xff);
    return out;
}

std::string vpd(int code, const std::string &body) {
    std::string page(4, '\0');
    page[1] = static_cast<char>(code);
    page[2] = static_cast<char>((body.size() >> 8) & 0xff);
    page[3] = static_cast<char>(body.size() & 0xff);
    return page + body;
}

std::string standard(const InqDescription &d) {
    std::string page(8, '\0');
    page[0] = static_cast<char>(d.type & 0x1f);
    page[2] = static_cast<char>(d.version);  // 6: SPC-4
    page[3] = 0x02;
    page[4] = 31;                          // additional length of a 36-byte answer
    page[6] = d.type == 13 ? 0x40 : 0x00;  // EncServ
    return page + padded(d.vendor, 8) + padded(d.model, 16) + padded(d.rev, 4);
}

std::string page_83(const InqDescription &d) {
    std::string body;
    if (d.naa)  // logical unit, NAA
        body += std::string{0x01, 0x03, 0x00, 0x08} + be64(d.naa);
    if (d.sas_address)  // target port, SAS, NAA, PIV
        body += std::string{0x61, static_cast<char>(0x93), 0x00, 0x08} + be64(d.sas_address);
    return vpd(0x83, body);
}

int answer_sg_inq(const std::vector<std::string> &args) {
    int page = -1;
    std::string device;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &a = args[i];
        if (a == "-p" && i + 1 < args.size())
            page = std::stoi(args[++i], nullptr, 0);
        else if (a.rfind("--page=", 0) == 0)
            page = std::stoi(a.substr(7), nullptr, 0);
        else if (!a.empty() && a[0] != '-')
            device = a;
    }
    std::string node = device.substr(device.rfind('/') + 1);
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
