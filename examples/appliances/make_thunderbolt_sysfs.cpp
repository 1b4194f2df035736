// Writes the example board x86-thunderbolt: the x86-8bay board copied whole, with a Thunderbolt
// host controller behind root port 00:01.0 (buses from 0x10) carrying three boxes chained on host
// port 1 (i2c-101, i2c-102, i2c-103) and one on host port 2 (i2c-104), and a SAS card in PCIe
// slot 1 (root port 00:02.0, card 30:00.0) with disks on its ports 0 and 2: the enclosure
// "root_pcie_1". Boxes come from sim/thunderbolt_box.h, so sysfs, the box's model file and its
// I2C chips agree. Run once after changing the layout (or x86-8bay) and commit the result:
//
//   g++ -std=c++17 -I. -Iinclude -Isrc examples/appliances/make_thunderbolt_sysfs.cpp
//       sim/thunderbolt_box.cpp sim/sas_shelf.cpp sim/sysfs_builders.cpp sim/fs.cpp
//       sim/ata_identify_image.cpp -o /tmp/make_thunderbolt_sysfs &&
//       /tmp/make_thunderbolt_sysfs examples/appliances
#include <cstdio>
#include <filesystem>
#include <string>

#include "sim/ata_identify_image.h"
#include "sim/fs.h"
#include "sim/sas_shelf.h"
#include "sim/sysfs_builders.h"
#include "sim/thunderbolt_box.h"

using namespace nashal::sim;
namespace fs = std::filesystem;

namespace {

// The board's model file with PCIe expansion switched on, its slot 1 on root port 00:02.0 and
// the Thunderbolt host described.
void write_model(const std::string &dir, const ThunderboltHostDesc &host) {
    const std::string file = dir + "/etc/model_NX800_B8SAT_03_02.conf";
    std::string text = read_file(file);
    auto replace = [&](const std::string &from, const std::string &to) {
        size_t at = text.find(from);
        if (at == std::string::npos) {
            fprintf(stderr, "%s: no \"%s\"\n", file.c_str(), from.c_str());
            exit(1);
        }
        text.replace(at, from.size(), to);
    };
    replace("CAP = 0x08000000",
            "# CAP_PCIE_EXPANSION: slot cards and Thunderbolt boxes.\n"
            "CAP = 0x08008000");
    replace("DEV_BUS = B01:D00:F0", "DEV_BUS = B00:D02:F0");
    text += "\n# The Thunderbolt host controller behind root port 00:01.0.\n" +
            thunderbolt_host_model(host);
    write_file(file, text);
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s EXAMPLES_DIR\n", argv[0]);
        return 2;
    }
    const std::string dir = std::string(argv[1]) + "/x86-thunderbolt";
    fs::remove_all(dir);
    fs::copy(std::string(argv[1]) + "/x86-8bay", dir,
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    SysfsTree t(dir);
    const std::string root = "/sys/devices/pci0000:00";

    // x86-8bay ends at ata11, host15, sg18 and sdr.
    ThunderboltHostDesc host_desc;
    ThunderboltHost host(t, root, host_desc);
    int ata = 12, scsi_host = 16, sg = 19;
    std::string block = "sds";
    const int ports[] = {1, 1, 1, 2};
    const std::vector<int> disks[] = {{0, 1, 2, 3}, {0, 2}, {1}, {0, 3}};
    std::string i2c = "\n# Each Thunderbolt box: its fan and temperature monitor, its LED chip.\n";
    for (int n = 0; n < 4; ++n) {
        ThunderboltBoxDesc d;
        d.i2c_bus = 101 + n;
        d.first_ata = ata;
        d.first_host = scsi_host;
        d.first_sg = sg;
        d.first_block = block;
        d.disk_ports = disks[n];
        ThunderboltBox box = host.add_box(ports[n], d);
        for (int disk_sg : box.disk_sgs) {
            AtaDiskDesc a;
            a.model = "ST4000VN008-2DR166";
            a.serial = "ZDH0TB" + std::to_string(disk_sg);
            a.firmware = "SC60";
            a.sectors = 7814037168ull;
            a.wwn = 0x5000c500a0000000ull + static_cast<uint64_t>(disk_sg);
            a.rotation = 5980;
            describe_ata_disk(dir, "sg" + std::to_string(disk_sg), a);
            block = next_block_name(block);
        }
        ata += d.ata_ports;
        scsi_host += d.ata_ports;
        sg += static_cast<int>(box.disk_sgs.size());
        const std::string bus = "i2c-" + std::to_string(d.i2c_bus);
        const std::string base = "/sim/tb" + std::to_string(d.i2c_bus);
        i2c += bus + "   2c       nct7802   " + base + ".conf\n";
        i2c += bus + "   20       registers " + base + ".regs\n";
        write_file(dir + base + ".conf",
                   "vendor 0x50\nfan1 2400\ntemp_local 0x1e\ntemp1 0x23\ntemp2 0x21\n");
    }
    append_file(dir + "/sim/i2c.conf", i2c);
    write_file(dir + "/etc/model_jbod.conf", thunderbolt_box_model(ThunderboltBoxDesc{}, 4));

    // PCIe slot 1: a SAS card with disks on its ports 0 and 2.
    auto slot = t.pci_bridge(root, 0, 0, 2, 0, 0x30);
    auto card = t.pci_function(slot, 0, 0x30, 0, 0, kPciClassSas, 0x1000, 0x0097);
    t.pcie_link(card, 2, 8);
    auto hba = t.sas_host(card, scsi_host, 8, 0x500605b000003000ull);
    for (int port : {0, 2}) {
        auto p = t.sas_port(hba, "port-" + std::to_string(scsi_host) + ":" + std::to_string(port));
        t.sas_wire(hba + "/phy-" + std::to_string(scsi_host) + ":" + std::to_string(port), p);
        const uint64_t address = 0x5000c50000003000ull + static_cast<uint64_t>(port);
        auto end = t.sas_end_device(p, address, port);
        t.scsi_device(end, {scsi_host, 0, port, 0},
                      ScsiDesc::disk(sg, block, "SEAGATE", "ST8000NM0075"));
        char address_text[17];
        snprintf(address_text, sizeof address_text, "%016llx",
                 static_cast<unsigned long long>(address));
        write_file(dir + "/sim/inq/sg" + std::to_string(sg),
                   "type 0\nvendor SEAGATE\nmodel ST8000NM0075\nrev E004\nserial ZA1PCIE" +
                       std::to_string(port) + "\nsas_address " + address_text +
                       "\nrotation 7200\nsectors 15628053168\n");
        ++sg;
        block = next_block_name(block);
    }
    write_model(dir, host_desc);
    return 0;
}
