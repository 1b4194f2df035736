// See sas_shelf.h. The element layout of a shelf's SES description:
//   array device slots (0x17, one per bay), power supplies (0x02, 2), cooling (0x03, 6),
//   temperature sensors (0x04, 4), display (0x0c, 2), enclosure (0x0e, 1), SAS connectors
//   (0x19, 4: the overall element, two external connectors and one internal).
// Expander phys: 0-3 unused, 4-7 the in port, 8-11 the out port, 12 on one per bay.
#include "sim/sas_shelf.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "sim/fs.h"

namespace nashal::sim {

namespace {

constexpr int kFirstBayPhy = 12;
constexpr int kOutPortFirstPhy = 8;

// One "element" line of the description.
std::string element_line(int type, int index, const std::vector<int> &bytes) {
    char line[96];
    snprintf(line, sizeof line, "element 0x%x %d %02x %02x %02x %02x\n", type, index, bytes[0],
             bytes[1], bytes[2], bytes[3]);
    return line;
}

std::string ses_path(const std::string &root, int ses_sg) {
    return root + "/sim/ses/sg" + std::to_string(ses_sg);
}

}  // namespace

std::string next_block_name(const std::string &name) {
    std::string letters = name.substr(2);
    int i = static_cast<int>(letters.size()) - 1;
    while (i >= 0 && letters[static_cast<size_t>(i)] == 'z')
        letters[static_cast<size_t>(i--)] = 'a';
    if (i < 0)
        letters.insert(letters.begin(), 'a');
    else
        ++letters[static_cast<size_t>(i)];
    return "sd" + letters;
}

std::string build_sas_adapter(SysfsTree &t, int bus) {
    auto root = t.pci_root(0, 0);
    auto root_port = t.pci_bridge(root, 0, 0, 1, 0, bus);
    return t.pci_function(root_port, 0, bus, 0, 0, kPciClassSas);
}

// What the kernel's ses driver makes of the enclosure services device: an enclosure class device
// with one component per slot (named by its number, as no element descriptors are given), each
// linked to the disk it holds and the disk linked back ("enclosure_device:<component>").
static void kernel_enclosure(SysfsTree &t, const std::string &ses_device, const SasShelfDesc &d,
                             const std::vector<std::pair<int, std::string>> &disks) {
    const std::string hctl = ses_device.substr(ses_device.rfind('/') + 1);
    const std::string enc = ses_device + "/enclosure/" + hctl;
    char id[24];
    snprintf(id, sizeof id, "0x%016llx\n", static_cast<unsigned long long>(d.sas_address));
    t.attribute(enc, "id", id);
    t.attribute(enc, "components", std::to_string(d.bays) + "\n");
    symlink_relative(t.at(ses_device), t.at(enc + "/device"));
    symlink_relative(t.at(enc), t.at("/sys/class/enclosure/" + hctl));
    for (int bay = 1; bay <= d.bays; ++bay) {
        const std::string name = std::to_string(bay - 1);
        const std::string component = enc + "/" + name;
        auto disk = std::find_if(disks.begin(), disks.end(),
                                 [bay](const auto &entry) { return entry.first == bay; });
        t.attribute(component, "type", "array device\n");
        t.attribute(component, "slot", name + "\n");
        t.attribute(component, "status", disk == disks.end() ? "not installed\n" : "OK\n");
        for (const char *attr : {"fault", "locate", "active"})
            t.attribute(component, attr, "0\n");
        t.attribute(component, "power_status", "on\n");
        if (disk != disks.end()) {
            symlink_relative(t.at(disk->second), t.at(component + "/device"));
            symlink_relative(t.at(component), t.at(disk->second + "/enclosure_device:" + name));
        }
    }
}

SasShelf build_sas_shelf(SysfsTree &t, const std::string &upstream_port, const SasShelfDesc &d) {
    SasShelf shelf;
    shelf.name = "expander-" + std::to_string(d.host) + ":" + std::to_string(d.number);
    const std::string prefix = std::to_string(d.host) + ":" + std::to_string(d.number);
    shelf.expander =
        t.sas_expander(upstream_port, shelf.name, kFirstBayPhy + d.bays, d.sas_address);
    auto port_name = [&](int n) { return "port-" + prefix + ":" + std::to_string(n); };
    auto phy_path = [&](int phy) {
        return shelf.expander + "/phy-" + prefix + ":" + std::to_string(phy);
    };

    std::ostringstream ses;
    ses << "# SAS shelf " << shelf.name << ", " << d.bays << " bays\n"
        << "vendor " << d.vendor << "\nproduct " << d.product << "\nrevision 0110\n";
    char id[40];
    snprintf(id, sizeof id, "logical_id %016llx\n", static_cast<unsigned long long>(d.sas_address));
    ses << id;
    snprintf(id, sizeof id, "sas_address %016llx\n",
             static_cast<unsigned long long>(d.sas_address));
    ses << id;
    ses << "type 0x17 " << d.bays << "\ntype 0x02 2\ntype 0x03 6\ntype 0x04 4\n"
        << "type 0x0c 2\ntype 0x0e 1\ntype 0x19 4\n";

    std::vector<std::pair<int, std::string>> disk_devices;  // bay, .../H:C:T:L
    std::string block = d.first_block;
    int sg = d.first_disk_sg;
    int target = d.first_target;
    for (int bay = 1; bay <= d.bays; ++bay) {
        std::string port = t.sas_port(shelf.expander, port_name(bay - 1));
        t.sas_wire(phy_path(kFirstBayPhy + bay - 1), port);
        if (std::find(d.empty_bays.begin(), d.empty_bays.end(), bay) != d.empty_bays.end()) {
            ses << element_line(0x17, bay, {0x05, 0, 0, 0});
            continue;
        }
        uint64_t address = d.sas_address + 0x100 + static_cast<uint64_t>(bay);
        std::string end = t.sas_end_device(port, address, kFirstBayPhy + bay - 1);
        ScsiDesc disk = ScsiDesc::disk(sg, block, "SEAGATE", "ST4000NM0023");
        disk.sas_address = address;
        disk_devices.emplace_back(bay, t.scsi_device(end, {d.host, 0, target, 0}, disk).device);
        char addr[24];
        snprintf(addr, sizeof addr, "%016llx", static_cast<unsigned long long>(address));
        write_file(t.at("/sim/inq/sg" + std::to_string(sg)),
                   "type 0\nvendor SEAGATE\nmodel ST4000NM0023\nrev 0004\nserial Z1Z0" +
                       std::to_string(1000 + sg) + "\nsas_address " + addr + "\n");
        // The Additional Element Status page counts only individual elements, the slots
        // first: bay k is element index k-1.
        ses << "device_address " << bay - 1 << " " << addr << "\n";
        ses << element_line(0x17, bay, {0x01, 0, 0, 0});
        shelf.bays.push_back(bay);
        shelf.disk_sgs.push_back(sg);
        shelf.blocks.push_back(block);
        shelf.disk_addresses.push_back(address);
        block = next_block_name(block);
        ++sg;
        ++target;
    }

    // The enclosure services device sits on a virtual phy of its own.
    std::string ses_port = t.sas_port(shelf.expander, port_name(d.bays));
    std::string ses_end = t.sas_end_device(ses_port, d.sas_address + 0x3e, kFirstBayPhy + d.bays);
    std::string ses_device = t.scsi_device(ses_end, {d.host, 0, target, 0},
                                           ScsiDesc::enclosure(d.ses_sg, d.vendor, d.product))
                                 .device;
    kernel_enclosure(t, ses_device, d, disk_devices);
    write_file(t.at("/sim/inq/sg" + std::to_string(d.ses_sg)),
               "type 13\nvendor " + d.vendor + "\nmodel " + d.product + "\nrev 0110\nserial " +
                   d.serial + "\n");

    shelf.out_port = t.sas_port(shelf.expander, port_name(d.bays + 1));
    for (int phy = kOutPortFirstPhy; phy < kOutPortFirstPhy + 4; ++phy)
        t.sas_wire(phy_path(phy), shelf.out_port);

    // Power supplies OK, fans at 3000 rpm, sensors at 30 degrees, external connectors 1 and 2.
    for (int i = 0; i <= 2; ++i)
        ses << element_line(0x02, i, {0x01, 0, 0, 0});
    for (int i = 0; i <= 6; ++i)
        ses << element_line(0x03, i, {0x01, 0x01, 0x2c, 0x03});
    for (int i = 0; i <= 4; ++i)
        ses << element_line(0x04, i, {0x01, 0, 50, 0});
    ses << element_line(0x19, 1, {0x01, 0x02, 0, 0}) << element_line(0x19, 2, {0x01, 0x02, 0, 0})
        << element_line(0x19, 3, {0x01, 0x20, 0, 0})
        << "connector 1 11\nconnector 2 10\nconnector 3 00\n";
    write_file(ses_path(t.at(""), d.ses_sg), ses.str());
    return shelf;
}

void set_ses_element(const std::string &root, int ses_sg, int type, int index,
                     const std::vector<int> &bytes) {
    std::string text = read_file(ses_path(root, ses_sg));
    char key[32];
    snprintf(key, sizeof key, "element 0x%x %d ", type, index);
    std::istringstream in(text);
    std::string line, out;
    while (std::getline(in, line))
        if (line.rfind(key, 0) != 0)
            out += line + "\n";
    std::vector<int> b = bytes;
    b.resize(4, 0);
    out += element_line(type, index, b);
    write_file(ses_path(root, ses_sg), out);
}

std::vector<int> ses_element(const std::string &root, int ses_sg, int type, int index) {
    std::istringstream in(read_file(ses_path(root, ses_sg)));
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string key, t, i;
        if (!(words >> key >> t >> i) || key != "element" || std::stoi(t, nullptr, 0) != type ||
            std::stoi(i, nullptr, 0) != index)
            continue;
        std::vector<int> bytes;
        std::string b;
        while (words >> b)
            bytes.push_back(std::stoi(b, nullptr, 16));
        bytes.resize(4, 0);
        return bytes;
    }
    return {0, 0, 0, 0};
}

}  // namespace nashal::sim
