// Stand-in for /sbin/sg_ses, answering from /sim/ses/<node> (format in
// docs/virtual-appliance.md). Page 1 and page 2 are built from the description; a control page
// sent with -c changes the described status of the selected elements, so a later read sees it.
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "../fs.h"
#include "stand_in.h"

namespace {

struct SesDescription {
    std::vector<std::pair<int, int>> types;                  // element type, possible elements
    std::map<std::pair<int, int>, std::vector<int>> status;  // (type, index) -> 4 bytes
    std::string vendor = "VIRTUAL";
    std::string product = "SES ENCLOSURE";
    unsigned generation = 0;
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
        } else if (key == "vendor" || key == "product") {
            std::string rest;
            std::getline(words >> std::ws, rest);
            (key == "vendor" ? d.vendor : d.product) = rest;
        } else if (key == "generation") {
            words >> d.generation;
        }
    }
    return true;
}

void save(const std::string &node, const SesDescription &d) {
    std::ostringstream out;
    out << "# rewritten by sg_ses -c\n";
    out << "vendor " << d.vendor << "\nproduct " << d.product << "\ngeneration " << d.generation
        << "\n";
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

void put_be16(std::string &page, size_t at, size_t value) {
    page[at] = static_cast<char>((value >> 8) & 0xff);
    page[at + 1] = static_cast<char>(value & 0xff);
}

void put_be32(std::string &page, size_t at, unsigned value) {
    for (int i = 0; i < 4; ++i)
        page[at + i] = static_cast<char>((value >> (24 - 8 * i)) & 0xff);
}

std::string padded(const std::string &text, size_t width) {
    std::string out = text.substr(0, width);
    out.resize(width, ' ');
    return out;
}

std::string config_page(const SesDescription &d) {
    std::string page(8, '\0');
    page[0] = 0x01;
    put_be32(page, 4, d.generation);
    // Enclosure descriptor: one process, subenclosure 0, 36 bytes of identity.
    std::string enc(4, '\0');
    enc[0] = 0x11;
    enc[2] = static_cast<char>(d.types.size());
    enc[3] = 36;
    enc += std::string("\x50\x00\x00\x00\x00\x00\x00\x01", 8);  // logical identifier
    enc += padded(d.vendor, 8) + padded(d.product, 16) + "0001";
    page += enc;
    for (auto &t : d.types)
        page += std::string{static_cast<char>(t.first), static_cast<char>(t.second), 0, 0};
    put_be16(page, 2, page.size() - 4);
    return page;
}

std::string status_page(const SesDescription &d) {
    std::string page(8, '\0');
    page[0] = 0x02;
    put_be32(page, 4, d.generation);
    for (auto &t : d.types) {
        for (int i = 0; i <= t.second; ++i) {
            auto it = d.status.find({t.first, i});
            for (int b = 0; b < 4; ++b)
                page += static_cast<char>(it == d.status.end() ? 0 : it->second[b]);
        }
    }
    put_be16(page, 2, page.size() - 4);
    return page;
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
    size_t pos = 8;
    for (auto &t : d.types) {
        for (int i = 0; i <= t.second; ++i, pos += 4) {
            if (pos + 4 > page.size())
                return;
            if (!(page[pos] & 0x80))
                continue;
            auto &bytes = d.status[{t.first, i}];
            bytes.resize(4, 0);
            for (int b = 1; b < 4; ++b)
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
        if (a == "-p" && i + 1 < args.size())
            page = std::stoi(args[++i], nullptr, 0);
        else if (a.rfind("--page=", 0) == 0)
            page = std::stoi(a.substr(7), nullptr, 0);
        else if (a == "-r" || a == "--raw")
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
    std::string node = device.substr(device.rfind('/') + 1);
    SesDescription d;
    if (node.empty() || !load(node, d))
        return nashal::sim::tool::scripted_answer("sg_ses", args);
    if (control) {
        std::vector<int> bytes;
        std::istringstream in(data);
        std::string b;
        while (std::getline(in, b, ','))
            bytes.push_back(std::stoi(b, nullptr, 16));
        if (page != 2 || bytes.size() < 8) {
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
    else {
        fprintf(stderr, "sg_ses: page not described\n");
        return 1;
    }
    nashal::sim::tool::write_out(raw >= 2 ? bytes : as_hex_text(bytes));
    return 0;
}

}  // namespace

NASHAL_STAND_IN("sg_ses", answer_sg_ses);
