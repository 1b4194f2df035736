// Stand-ins for /sbin/sg_ses, /sbin/sg_senddiag and /sbin/sg_write_buffer, answering from
// /sim/ses/<node> (format in docs/virtual-appliance.md). Page 1 and page 2 and the enclosure
// firmware's vendor pages (0x0f nickname, 0x81 connectors, 0x82 SAS address) are built from the
// description; a control page sent with -c changes the described status of the selected elements,
// and the vendor commands sent with sg_senddiag change the nickname and the address, so a later
// read sees it. A firmware written with sg_write_buffer waits in the description until the
// enclosure reboots.
#include <cstdio>
#include <cstdlib>
#include <algorithm>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "../fs.h"
#include "foundation/byte_order.h"
#include "topology/ses_layout.h"
#include "wire_bytes.h"
#include "sas_disk.h"
#include "stand_in.h"

namespace {

struct SesDescription {
    std::vector<std::pair<int, int>> types;                  // element type, possible elements
    std::map<std::pair<int, int>, std::vector<int>> status;  // (type, index) -> 4 bytes
    std::string vendor = "VIRTUAL";
    std::string product = "SES ENCLOSURE";
    std::string revision = "0001";
    unsigned long long logical_id = 0x5000000000000001ull;
    unsigned generation = 0;
    std::string sas_address;                      // 16 hexadecimal digits; page 0x82
    std::string nickname;                         // page 0x0f; empty: none set
    std::vector<std::pair<int, int>> connectors;  // page 0x81: element number, status byte
    std::vector<std::pair<int, unsigned long long>> devices;  // page 0x0a: element index, address
    unsigned heartbeats = 0;
    unsigned reboots = 0;
    std::string pending_revision;  // firmware written, running after the next reboot
    long mfg_bytes = -1;           // size of the last manufacturing data written (buffer 1)
};

std::string desc_path(const std::string &node) {
    return "/sim/ses/" + node;
}

bool load(const std::string &node, SesDescription &d) {
    if (!nashal::sim::exists(desc_path(node)))
        return false;
    std::istringstream in(nashal::sim::read_file(desc_path(node)));
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string key;
        if (!(words >> key) || key[0] == '#')
            continue;
        if (key == "type") {
            std::string t, c;
            words >> t >> c;
            d.types.emplace_back(std::stoi(t, nullptr, 0), std::stoi(c, nullptr, 0));
        } else if (key == "element") {
            std::string t, i;
            words >> t >> i;
            std::vector<int> bytes;
            std::string b;
            while (bytes.size() < 4 && words >> b)
                bytes.push_back(std::stoi(b, nullptr, 16) & 0xff);
            bytes.resize(4, 0);
            d.status[{std::stoi(t, nullptr, 0), std::stoi(i, nullptr, 0)}] = bytes;
        } else if (key == "vendor" || key == "product" || key == "nickname") {
            std::string rest;
            std::getline(words >> std::ws, rest);
            (key == "vendor" ? d.vendor : key == "product" ? d.product : d.nickname) = rest;
        } else if (key == "revision") {
            words >> d.revision;
        } else if (key == "logical_id") {
            std::string v;
            words >> v;
            d.logical_id = std::stoull(v, nullptr, 16);
        } else if (key == "sas_address") {
            words >> d.sas_address;
        } else if (key == "connector") {
            std::string e, st;
            words >> e >> st;
            d.connectors.emplace_back(std::stoi(e, nullptr, 0), std::stoi(st, nullptr, 16));
        } else if (key == "device_address") {
            std::string e, a;
            words >> e >> a;
            d.devices.emplace_back(std::stoi(e, nullptr, 0), std::stoull(a, nullptr, 16));
        } else if (key == "generation") {
            words >> d.generation;
        } else if (key == "heartbeats") {
            words >> d.heartbeats;
        } else if (key == "reboots") {
            words >> d.reboots;
        } else if (key == "pending_revision") {
            words >> d.pending_revision;
        } else if (key == "mfg_bytes") {
            words >> d.mfg_bytes;
        }
    }
    return true;
}

void save(const std::string &node, const SesDescription &d) {
    std::ostringstream out;
    out << "# rewritten by the stand-ins\n";
    out << "vendor " << d.vendor << "\nproduct " << d.product << "\nrevision " << d.revision
        << "\ngeneration " << d.generation << "\n";
    char id[40];
    snprintf(id, sizeof id, "logical_id %016llx\n", d.logical_id);
    out << id;
    if (!d.sas_address.empty())
        out << "sas_address " << d.sas_address << "\n";
    if (!d.nickname.empty())
        out << "nickname " << d.nickname << "\n";
    for (auto &c : d.connectors) {
        snprintf(id, sizeof id, "connector %d %02x\n", c.first, c.second);
        out << id;
    }
    for (auto &dev : d.devices) {
        char line[64];
        snprintf(line, sizeof line, "device_address %d %016llx\n", dev.first, dev.second);
        out << line;
    }
    out << "heartbeats " << d.heartbeats << "\nreboots " << d.reboots << "\n";
    if (!d.pending_revision.empty())
        out << "pending_revision " << d.pending_revision << "\n";
    if (d.mfg_bytes >= 0)
        out << "mfg_bytes " << d.mfg_bytes << "\n";
    for (auto &t : d.types)
        out << "type 0x" << std::hex << t.first << std::dec << " " << t.second << "\n";
    char line[64];
    for (auto &[key, bytes] : d.status) {
        snprintf(line, sizeof line, "element 0x%x %d %02x %02x %02x %02x\n", key.first, key.second,
                 bytes[0], bytes[1], bytes[2], bytes[3]);
        out << line;
    }
    nashal::sim::write_file(desc_path(node), out.str());
}

using namespace nashal::topology;
using nashal::sim::tool::bytes_of;
using nashal::sim::tool::put_text;

// The page header, its length counted once the page is whole.
std::string finish_page(int code, unsigned generation, const std::string &body) {
    SesPageHeader h{};
    h.page_code = static_cast<uint8_t>(code);
    nashal::store_be16(
        h.length_be,
        static_cast<uint16_t>(sizeof h - offsetof(SesPageHeader, generation_be) + body.size()));
    nashal::store_be32(h.generation_be, generation);
    return bytes_of(h) + body;
}

std::string config_page(const SesDescription &d) {
    // One enclosure descriptor: one process, subenclosure 0.
    SesEnclosureDescriptor enc{};
    enc.processes = 0x11;
    enc.type_count = static_cast<uint8_t>(d.types.size());
    enc.length = static_cast<uint8_t>(sizeof enc - kSesEncDescHeaderLen);
    nashal::store_be64(enc.logical_id_be, d.logical_id);
    put_text(enc.vendor, d.vendor);
    put_text(enc.product, d.product);
    put_text(enc.revision, d.revision);
    std::string body = bytes_of(enc);
    for (auto &t : d.types) {
        SesTypeHeader h{};
        h.type = static_cast<uint8_t>(t.first);
        h.possible = static_cast<uint8_t>(t.second);
        body += bytes_of(h);
    }
    return finish_page(0x01, d.generation, body);
}

std::string status_page(const SesDescription &d) {
    std::string body;
    for (auto &t : d.types) {
        for (int i = 0; i <= t.second; ++i) {
            auto it = d.status.find({t.first, i});
            for (size_t b = 0; b < kSesElementLen; ++b)
                body += static_cast<char>(it == d.status.end() ? 0 : it->second[b]);
        }
    }
    return finish_page(0x02, d.generation, body);
}

// The vendor pages: a 4-byte header with the length of the rest, then the page's own bytes.
std::string vendor_page(uint8_t code, const std::string &body) {
    VendorPageHeader h{};
    h.page_code = code;
    nashal::store_be16(h.length_be, static_cast<uint16_t>(body.size()));
    return bytes_of(h) + body;
}

std::string nickname_page(const SesDescription &d) {
    // Byte 6 (the second of the body) is zero when a name is set; the name from byte 12.
    std::string body(kNicknameReceiveName + kNicknameMaxLen - kVendorPageHeaderLen, '\0');
    body[kNicknameReceiveFlag - kVendorPageHeaderLen] = d.nickname.empty() ? 1 : 0;
    body.replace(kNicknameReceiveName - kVendorPageHeaderLen,
                 std::min(d.nickname.size(), kNicknameMaxLen),
                 d.nickname.substr(0, kNicknameMaxLen));
    return vendor_page(kVendorNicknamePage, body);
}

std::string connector_page(const SesDescription &d) {
    std::string body;
    for (auto &c : d.connectors) {
        ConnectorRecord r{};
        r.element_type = kSesTypeSasConnector;
        r.element_number = static_cast<uint8_t>(c.first);
        nashal::store_be16(r.length_be, sizeof r - kConnectorRecordHeaderLen);
        r.status = static_cast<uint8_t>(c.second);
        body += bytes_of(r);
    }
    return vendor_page(kVendorConnectorPage, body);
}

std::string sas_address_page(const SesDescription &d) {
    uint8_t address[kSasAddressLen] = {};
    nashal::store_be64(address,
                       d.sas_address.empty() ? 0 : std::stoull(d.sas_address, nullptr, 16));
    return vendor_page(kVendorSasAddressPage,
                       std::string(reinterpret_cast<const char *>(address), sizeof address));
}

// Additional Element Status: one SAS descriptor with EIP per described device, one phy.
std::string additional_status_page(const SesDescription &d) {
    std::string body;
    for (auto &dev : d.devices) {
        AesDescriptorHeader h{};
        h.flags = kAesEip | kAesProtocolSas;
        h.length = static_cast<uint8_t>(sizeof h + sizeof(AesSasHeader) +
                                        sizeof(AesSasPhyDescriptor) - kAesLengthBias);
        h.element_index = static_cast<uint8_t>(dev.first);
        AesSasHeader sas{};
        sas.phy_count = 1;
        AesSasPhyDescriptor phy{};
        phy.device_type = 0x10;   // end device
        phy.target_flags = 0x08;  // SSP target
        nashal::store_be64(phy.sas_address_be, dev.second);
        body += bytes_of(h) + bytes_of(sas) + bytes_of(phy);
    }
    return finish_page(kSesAdditionalStatusPage, d.generation, body);
}

// sg_ses --raw (-r once): hexadecimal bytes as sg3_utils' hex dump without address or ASCII
// column prints them: two digits and a space each, one more space before the ninth byte of a
// line, sixteen bytes a line, no space at the end of a line.
std::string as_hex_text(const std::string &bytes) {
    std::string out;
    std::string line;
    char hex[8];
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i % 16 == 8)
            line += ' ';
        snprintf(hex, sizeof hex, "%02x ", static_cast<unsigned char>(bytes[i]));
        line += hex;
        if (i % 16 == 15 || i + 1 == bytes.size()) {
            while (!line.empty() && line.back() == ' ')
                line.pop_back();
            out += line + "\n";
            line.clear();
        }
    }
    return out;
}

// Applies a control page: each element with SELECT (bit 7 of byte 0) takes bytes 1 to 3 as
// its new status bytes 1 to 3.
void apply_control(SesDescription &d, const std::vector<int> &page) {
    size_t pos = sizeof(SesPageHeader);
    for (auto &t : d.types) {
        for (int i = 0; i <= t.second; ++i, pos += kSesElementLen) {
            if (pos + kSesElementLen > page.size())
                return;
            if (!(page[pos] & kSesElementSelect))
                continue;
            auto &bytes = d.status[{t.first, i}];
            bytes.resize(kSesElementLen, 0);
            for (size_t b = 1; b < kSesElementLen; ++b)
                bytes[b] = page[pos + b] & 0xff;
        }
    }
    ++d.generation;
}

int answer_sg_ses(const std::vector<std::string> &args) {
    int page = -1;
    int raw = 0;
    bool control = false;
    std::string data;
    std::string device;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &a = args[i];
        if (nashal::sim::tool::page_option(args, i, page))
            continue;
        if (a == "-r" || a == "--raw")
            raw += 1;
        else if (a == "-rr")
            raw += 2;
        else if (a == "-c" || a == "--control")
            control = true;
        else if (a == "-d" && i + 1 < args.size())
            data = args[++i];
        else if (a.rfind("--data=", 0) == 0)
            data = a.substr(7);
        else if (!a.empty() && a[0] != '-')
            device = a;
    }
    std::string node = nashal::sim::tool::device_node(device);
    SesDescription d;
    if (node.empty() || !load(node, d))
        return nashal::sim::tool::scripted_answer("sg_ses", args);
    if (control) {
        std::vector<int> bytes;
        std::istringstream in(data);
        std::string b;
        while (std::getline(in, b, ','))
            bytes.push_back(std::stoi(b, nullptr, 16));
        if (page != 2 || bytes.size() < sizeof(SesPageHeader)) {
            fprintf(stderr, "sg_ses: bad control page\n");
            return 1;
        }
        apply_control(d, bytes);
        save(node, d);
        return 0;
    }
    std::string bytes;
    if (page == 1)
        bytes = config_page(d);
    else if (page == 2)
        bytes = status_page(d);
    else if (page == kSesAdditionalStatusPage)
        bytes = additional_status_page(d);
    else if (page == kVendorNicknamePage)
        bytes = nickname_page(d);
    else if (page == kVendorConnectorPage && !d.connectors.empty())
        bytes = connector_page(d);
    else if (page == kVendorSasAddressPage && !d.sas_address.empty())
        bytes = sas_address_page(d);
    else {
        fprintf(stderr, "sg_ses: page not described\n");
        return 1;
    }
    nashal::sim::tool::write_out(raw >= 2 ? bytes : as_hex_text(bytes));
    return 0;
}

// sg_senddiag -p -r H,H,... /dev/sgN: the raw bytes of one diagnostic page. Page 0x80 counts
// heartbeats and reboots and sets the SAS address; page 0x0f sets the nickname.
int answer_sg_senddiag(const std::vector<std::string> &args) {
    // A self test (-s) goes to a SAS disk.
    if (int status = nashal::sim::tool::answer_sas_disk_self_test(args); status >= 0)
        return status;
    std::string data;
    std::string device;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "-r" && i + 1 < args.size())
            data = args[++i];
        else if (args[i].rfind("--raw=", 0) == 0)
            data = args[i].substr(6);
        else if (!args[i].empty() && args[i][0] != '-')
            device = args[i];
    }
    std::string node = nashal::sim::tool::device_node(device);
    SesDescription d;
    if (node.empty() || data.empty() || !load(node, d))
        return nashal::sim::tool::scripted_answer("sg_senddiag", args);
    std::vector<uint8_t> bytes;
    std::istringstream in(data);
    std::string b;
    while (std::getline(in, b, ','))
        bytes.push_back(static_cast<uint8_t>(std::stoi(b, nullptr, 16)));
    if (bytes.size() < kVendorPageHeaderLen ||
        nashal::load_be16(bytes.data() + kVendorPageLengthOffset) + kVendorPageHeaderLen !=
            bytes.size()) {
        fprintf(stderr, "sg_senddiag: page length disagrees with the bytes given\n");
        return 1;
    }
    if (bytes[0] == kVendorCommandPage && bytes.size() >= sizeof(VendorCommandPage)) {
        const uint8_t sub = bytes[offsetof(VendorCommandPage, subcommand)];
        if (sub == kVendorHeartbeat) {
            ++d.heartbeats;
        } else if (sub == kVendorReboot) {
            ++d.reboots;
            if (!d.pending_revision.empty())
                d.revision = d.pending_revision;
            d.pending_revision.clear();
        } else if (sub == kVendorSetSasAddress &&
                   bytes.size() == sizeof(VendorCommandPage) + kSasAddressLen) {
            char hex[17];
            snprintf(hex, sizeof hex, "%016llx",
                     static_cast<unsigned long long>(
                         nashal::load_be64(bytes.data() + sizeof(VendorCommandPage))));
            d.sas_address = hex;
        } else {
            fprintf(stderr, "sg_senddiag: unknown sub-command\n");
            return 1;
        }
    } else if (bytes[0] == kVendorNicknamePage && bytes.size() == kNicknameSendLen) {
        const char *name = reinterpret_cast<const char *>(bytes.data() + kNicknameSendName);
        d.nickname.assign(name, strnlen(name, kNicknameMaxLen));
    } else {
        fprintf(stderr, "sg_senddiag: page not described\n");
        return 1;
    }
    save(node, d);
    return 0;
}

// sg_write_buffer --id=N --in=FILE --mode=2 /dev/sgN: the expander takes its manufacturing data
// in buffer 1 and its firmware in buffer 0. The virtual expander's firmware payload begins with
// the four characters of the revision it reports once it runs (after a reboot). Exit statuses
// as sg3_utils gives them: 15 for a file that can't be read, 5 for a request the device refuses.
int answer_sg_write_buffer(const std::vector<std::string> &args) {
    std::string device, in;
    int id = -1, mode = -1;
    for (const std::string &a : args) {
        if (a.rfind("--id=", 0) == 0)
            id = std::atoi(a.c_str() + 5);
        else if (a.rfind("--in=", 0) == 0)
            in = a.substr(5);
        else if (a.rfind("--mode=", 0) == 0)
            mode = std::atoi(a.c_str() + 7);
        else if (!a.empty() && a[0] != '-')
            device = a;
    }
    std::string node = nashal::sim::tool::device_node(device);
    SesDescription d;
    if (node.empty() || !load(node, d))
        return nashal::sim::tool::scripted_answer("sg_write_buffer", args);
    if (in.empty() || !nashal::sim::exists(in)) {
        fprintf(stderr, "sg_write_buffer: unable to open input file: %s\n", in.c_str());
        return 15;
    }
    const std::string payload = nashal::sim::read_file(in);
    const bool firmware_ok =
        payload.size() >= 4 && std::all_of(payload.begin(), payload.begin() + 4,
                                           [](char c) { return c > 0x20 && c < 0x7f; });
    if (mode != 2 || (id != 0 && id != 1) || (id == 0 && !firmware_ok)) {
        fprintf(stderr, "Write buffer: Illegal request\n");
        return 5;
    }
    if (id == 1)
        d.mfg_bytes = static_cast<long>(payload.size());
    else
        d.pending_revision = payload.substr(0, 4);
    save(node, d);
    return 0;
}

}  // namespace

NASHAL_STAND_IN("sg_write_buffer", answer_sg_write_buffer);
NASHAL_STAND_IN("sg_ses", answer_sg_ses);
NASHAL_STAND_IN("sg_senddiag", answer_sg_senddiag);
