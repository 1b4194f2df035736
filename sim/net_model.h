// The network interfaces of the virtual appliance, answering the interface ioctls the library
// makes on a datagram socket: SIOCGIFFLAGS, SIOCSIFFLAGS, SIOCSIFNAME and SIOCETHTOOL
// (ETHTOOL_GSET). The interfaces are those of the appliance's /sys/class/net; what sysfs can't
// hold (whether an interface is up, its PHY address) lives in /sim/net.conf, one interface a
// line:
//
//   eth0 up phy 1        name, "up" or "down", PHY address
//
// Both are files of the appliance, so a rename or a state change made by one process is seen
// by the next, as on a box. A rename moves the sysfs folder and the class link, and the
// interface's line, as the kernel would; like the kernel it refuses to rename an interface that
// is up (EBUSY) or to take a name in use (EEXIST).
#ifndef NASHAL_SIM_NET_MODEL_H
#define NASHAL_SIM_NET_MODEL_H

#include <string>
#include <vector>

namespace nashal::sim {

// Registers the emulator as the appliance's socket ioctl handler (done at activation).
void attach_network();

// One line of /sim/net.conf.
struct NetState {
    std::string name;
    bool up = false;
    int phy = 0;
};

// The lines of /sim/net.conf, in order.
std::vector<NetState> net_states();
// Every SIOCSIFNAME the emulator carried out in this process, "old>new".
const std::vector<std::string> &net_renames();

}  // namespace nashal::sim

#endif  // NASHAL_SIM_NET_MODEL_H
