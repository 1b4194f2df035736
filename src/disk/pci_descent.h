// The walk from a model slot's PCI function down to the disk controller, shared by the
// forward lookups and by the reverse one.
#ifndef NASHAL_DISK_PCI_DESCENT_H
#define NASHAL_DISK_PCI_DESCENT_H

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

}  // namespace nashal::disk

#endif  // NASHAL_DISK_PCI_DESCENT_H
