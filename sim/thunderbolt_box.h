// Thunderbolt expansion boxes for virtual appliances. The host's Thunderbolt controller sits
// behind a root port and shows up as a PCIe switch whose downstream ports are the host ports.
// Each box on a port is a PCIe switch of its own: one downstream port leads to the box's SATA
// controller (an AHCI function that also carries the box's I2C adapter, "i2c-N", N above 99),
// another tunnels on to the next box of the chain.
//
//   SysfsTree t;
//   ThunderboltHost host(t, t.pci_root(0, 0), {});        // root port 00:01.0, buses from 0x10
//   ThunderboltBoxDesc d;                                  // i2c-101, disks on ATA ports 0 and 2
//   host.add_box(1, d);                                    // first box on host port 1
//
// gives, for a disk, /sys/class/scsi_generic/sg0 -> ../../devices/pci0000:00/0000:00:01.0/
// 0000:10:00.0/0000:11:01.0/0000:12:00.0/0000:13:02.0/0000:15:00.0/ata1/host0/target0:0:0/
// 0:0:0:0/scsi_generic/sg0 (root port, host switch and host port 1, box switch and its port to
// the controller, controller).
#ifndef NASHAL_SIM_THUNDERBOLT_BOX_H
#define NASHAL_SIM_THUNDERBOLT_BOX_H

#include <cstdint>
#include <string>
#include <vector>

#include "sim/sysfs_builders.h"

namespace nashal::sim {

// Where the host's controller is, and its host ports' device numbers on its switch.
struct ThunderboltHostDesc {
    int domain = 0;
    int root_port_device = 1;  // the root port 00:dd.0, the model's "DEV_BUS"
    int first_bus = 0x10;      // buses are handed out upwards from here
    int port1 = 0x1;           // "THUNDERBOLT_SWITCH_PORT1"
    int port2 = 0x4;           // "THUNDERBOLT_SWITCH_PORT2"
};

struct ThunderboltBoxDesc {
    int i2c_bus = 101;
    int tunnel_port = 0x4;  // box switch port to the next box: "THUNDERBOLT_SWITCH_PORT"
    int sata_port = 0x2;    // box switch port to the SATA controller: "PCI_SWITCH_PORT"
    uint16_t sata_vendor = 0x1b21;
    uint16_t sata_device = 0x0625;
    int ata_ports = 4;                  // ports of the controller, ataN with N from first_ata
    std::vector<int> disk_ports{0, 2};  // ports (from 0) that hold a disk
    int first_ata = 1;                  // libata numbers ports and hosts across the whole box
    int first_host = 0;
    int first_sg = 0;  // sg numbers of the disks, port by port
    std::string first_block = "sda";
};

struct ThunderboltBox {
    std::string upstream;    // the box switch's upstream port
    std::string tunnel;      // its downstream port to the next box
    std::string controller;  // the SATA controller
    std::vector<int> disk_sgs;
};

class ThunderboltHost {
  public:
    ThunderboltHost(SysfsTree &t, const std::string &pci_root, const ThunderboltHostDesc &d);
    // A box at the end of host port `port` (1 or 2).
    ThunderboltBox add_box(int port, const ThunderboltBoxDesc &d);
    const std::string &root_port() const { return root_port_; }

  private:
    struct Tail {
        std::string bridge;
        int secondary_bus;
    };
    SysfsTree &t_;
    int domain_;
    int next_bus_;
    std::string root_port_;
    Tail tails_[2];
};

// The model lines of a host with these boxes: "Thunderbolt Enclosure" of /etc/model.conf.
std::string thunderbolt_host_model(const ThunderboltHostDesc &d);
// /etc/model_jbod.conf of a box like `d` with `bays` slots, one per ATA port, its monitor at
// I2C address 0x2c and its lights on a register chip at 0x20.
std::string thunderbolt_box_model(const ThunderboltBoxDesc &d, int bays);

}  // namespace nashal::sim

#endif  // NASHAL_SIM_THUNDERBOLT_BOX_H
