// Device emulators plugged into the library's machine seam (src/os/). While an appliance is
// active, ioctls on device nodes are answered by the handler registered for the node's path,
// port I/O by the chip model registered for the port range, /dev/mem mappings by the
// memory window registered for the address, and network ioctls by the network
// handler. Anything unregistered fails the way a missing device would (ENODEV, or 0xff from a
// port), so the real machine is never touched.
#ifndef NASHAL_SIM_DEVICES_H
#define NASHAL_SIM_DEVICES_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace nashal::sim {

// Answers one ioctl on an open device node. Return as ioctl(2) does; set errno on failure.
using IoctlHandler = std::function<int(int fd, unsigned long request, void *arg)>;

// Handler for every ioctl on fds whose /proc/self/fd link is exactly `device_path`
// ("/dev/sg3", "/dev/i2c-0", "/dev/bus/usb/001/002").
void register_ioctl_device(const std::string &device_path, IoctlHandler handler);
// Handler for ioctls on every node whose path begins with `prefix` ("/dev/sg") and that has no
// handler of its own; the handler tells nodes apart with device_path_of(fd).
void register_ioctl_prefix(const std::string &prefix, IoctlHandler handler);
// The path an open descriptor names ("/dev/sg3"), empty if unknown.
std::string device_path_of(int fd);
// Handler for ioctls on sockets (SIOCGIFFLAGS, SIOCSIFNAME, SIOCETHTOOL, ...).
void register_socket_ioctl(IoctlHandler handler);

// A chip that answers a range of I/O ports.
class PortModel {
  public:
    virtual ~PortModel() = default;
    virtual uint8_t inb(uint16_t port) = 0;
    virtual void outb(uint8_t value, uint16_t port) = 0;
    virtual uint32_t inl(uint16_t port) { return inb(port); }
    virtual void outl(uint32_t value, uint16_t port) { outb(static_cast<uint8_t>(value), port); }
};

void register_ports(uint16_t first, uint16_t count, std::shared_ptr<PortModel> model);
// Ports granted by ioperm so far (the library must ask before it touches a port).
bool port_permitted(uint16_t port);

// A window of physical memory reached through /dev/mem: a mapping of /dev/mem at a physical
// address in [base, base + size) maps `backing_file` at the same distance from its start
// instead, shared, so that forked children and later processes see one set of registers. A
// mapping of /dev/mem outside every window fails with EPERM, as a kernel that restricts
// /dev/mem refuses memory no driver claims.
void register_memory_window(uint64_t base, uint64_t size, const std::string &backing_file);

// Installs and removes the seam hooks for ioctl and port I/O; drops every registration.
void devices_install();
void devices_uninstall();

}  // namespace nashal::sim

#endif  // NASHAL_SIM_DEVICES_H
