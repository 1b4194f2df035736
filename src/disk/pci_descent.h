// The walk from a model slot's PCI function down to the disk controller, shared by the
// forward lookups and by the reverse one.
#ifndef NASHAL_DISK_PCI_DESCENT_H
#define NASHAL_DISK_PCI_DESCENT_H

#include "nashal/hal_types.h"

namespace nashal::disk {

// Appends "/<name>" of a "B-1:<name>" bridge text to path; other texts leave it alone.
void append_platform_bridge(char *path, const char *bridge_bus);

// From the function's directory down to the controller: "/." when the function is the
// controller itself, else one step to slot 0 behind the bridge. With allow_switch, a bridge
// behind that bridge is a PCIe switch: step to its downstream port pci_switch_port and on to
// slot 0 behind it. Traces and returns -1 when a step can't be made.
int descend_to_controller(char *path, bool allow_switch, int pci_switch_port, const char *who);

// Slot `device` (function 0) of the bus behind the bridge at path, appended to path. 0 or -1.
int append_bus_slot(char *path, const char *bridge_value, int device);

// The disk on port dev_port of the controller at path (its SCSI host, then the target, through
// the phys of a SAS controller when sas_layout allows): 0 and its "sg%d" in sys_id_out, or
// negative. Traces under the name of `who`.
int find_disk_on_controller(const char *path, int dev_port, bool sas_layout, char *sys_id_out,
                            const char *who);

// The downstream port of a PCIe switch and the controller behind it: the two components of the
// link text that follow the switch's upstream port (`upstream`, "/0000:01:00.0").
int get_pci_path_segments(const char *link, const char *upstream, char (&downstream)[HAL_ID_LEN],
                          char (&controller)[HAL_ID_LEN]);

// The device number of a PCI function name ("0000:02:01.0" gives 1); -1 for no such name.
int parse_pci_device_number(const char *function);

// Where a disk hangs, read from its sg device's link text.
struct DiskLink {
    char link[HAL_SYSFS_PATH_LEN];
    int host, channel, target, lun;
    int domain;
    char bus[HAL_ID_LEN];     // "Bbb:Ddd:Ff" of the first function below the PCI root
    char bridge[HAL_ID_LEN];  // the function behind it, or empty
};
// False when the link text, its SCSI address or its bus text can't be read.
bool read_disk_link(const char *pd_sys_id, DiskLink &out);

// Behind a PCIe switch whose upstream port (`upstream`, "/0000:01:00.0") the walk at path has
// reached: the downstream port and the controller the link text names are appended to path,
// and the disk's port on that controller (its host less the controller's lowest) and the
// downstream port's device number are returned. Traces under `who`; 0 or -1.
int port_behind_switch(const DiskLink &disk, const char *upstream, char *path,
                       int *physical_port_out, int *pci_switch_port_out, const char *who);

// Whether a disk's host can be one of a controller's, whose hosts start at `lowest`; traced
// under `caller` when not.
bool host_of_controller(int host, int lowest, const char *caller, int line);

}  // namespace nashal::disk

#endif  // NASHAL_DISK_PCI_DESCENT_H
