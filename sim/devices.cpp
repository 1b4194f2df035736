#include "devices.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <map>
#include <vector>

#include "os/os_seam.h"

namespace nashal::sim {
namespace {

struct PortRange {
    uint16_t first;
    uint16_t count;
    std::shared_ptr<PortModel> model;
};

struct MemoryWindow {
    uint64_t base;
    uint64_t size;
    std::string backing_file;
};

struct Registry {
    std::map<std::string, IoctlHandler> devices;
    std::map<std::string, IoctlHandler> prefixes;
    IoctlHandler socket_handler;
    std::vector<PortRange> ports;
    std::vector<MemoryWindow> windows;
    std::vector<bool> permitted = std::vector<bool>(65536, false);
};

Registry &registry() {
    static Registry r;
    return r;
}

}  // namespace

std::string device_path_of(int fd) {
    char link[64];
    snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    char target[PATH_MAX];
    ssize_t n = readlink(link, target, sizeof target - 1);
    if (n < 0)
        return {};
    target[n] = '\0';
    return target;
}

namespace {

int sim_ioctl(int fd, unsigned long request, void *arg) {
    std::string path = device_path_of(fd);
    auto &r = registry();
    auto it = r.devices.find(path);
    if (it != r.devices.end())
        return it->second(fd, request, arg);
    for (auto &[prefix, handler] : r.prefixes) {
        if (path.rfind(prefix, 0) == 0)
            return handler(fd, request, arg);
    }
    if (path.rfind("socket:", 0) == 0 && r.socket_handler)
        return r.socket_handler(fd, request, arg);
    errno = ENODEV;
    return -1;
}

PortModel *model_for(uint16_t port) {
    for (auto &range : registry().ports) {
        if (port >= range.first && port - range.first < range.count)
            return range.model.get();
    }
    return nullptr;
}

int sim_ioperm(unsigned long from, unsigned long num, int turn_on) {
    if (from + num > 65536) {
        errno = EINVAL;
        return -1;
    }
    for (unsigned long p = from; p < from + num; ++p)
        registry().permitted[p] = turn_on != 0;
    return 0;
}

uint8_t sim_inb(uint16_t port) {
    PortModel *m = model_for(port);
    return m ? m->inb(port) : 0xff;
}

}  // namespace

uint8_t port_value(uint16_t port) {
    return sim_inb(port);
}

namespace {

void sim_outb(uint8_t value, uint16_t port) {
    if (PortModel *m = model_for(port))
        m->outb(value, port);
}

uint32_t sim_inl(uint16_t port) {
    PortModel *m = model_for(port);
    return m ? m->inl(port) : 0xffffffffu;
}

void sim_outl(uint32_t value, uint16_t port) {
    if (PortModel *m = model_for(port))
        m->outl(value, port);
}

void *sim_mmap(void *addr, size_t length, int prot, int flags, int fd, off_t offset) {
    if (device_path_of(fd) != "/dev/mem")
        return mmap(addr, length, prot, flags, fd, offset);
    const auto start = static_cast<uint64_t>(offset);
    for (const MemoryWindow &w : registry().windows) {
        if (start < w.base || start - w.base + length > w.size)
            continue;
        int backing = open(w.backing_file.c_str(), O_RDWR);
        if (backing < 0)
            return MAP_FAILED;
        void *p = mmap(addr, length, prot, flags, backing, static_cast<off_t>(start - w.base));
        close(backing);
        return p;
    }
    errno = EPERM;
    return MAP_FAILED;
}

// The seam's device hooks: the emulators', or none (the machine's own).
void hook_devices(bool on) {
    nashal_os_hooks.ioctl = on ? sim_ioctl : nullptr;
    nashal_os_hooks.ioperm = on ? sim_ioperm : nullptr;
    nashal_os_hooks.inb = on ? sim_inb : nullptr;
    nashal_os_hooks.outb = on ? sim_outb : nullptr;
    nashal_os_hooks.inl = on ? sim_inl : nullptr;
    nashal_os_hooks.outl = on ? sim_outl : nullptr;
    nashal_os_hooks.mmap = on ? sim_mmap : nullptr;
}

}  // namespace

void register_memory_window(uint64_t base, uint64_t size, const std::string &backing_file) {
    registry().windows.push_back({base, size, backing_file});
}

void register_ioctl_device(const std::string &device_path, IoctlHandler handler) {
    registry().devices[device_path] = std::move(handler);
}

void register_ioctl_prefix(const std::string &prefix, IoctlHandler handler) {
    registry().prefixes[prefix] = std::move(handler);
}

void register_socket_ioctl(IoctlHandler handler) {
    registry().socket_handler = std::move(handler);
}

void register_ports(uint16_t first, uint16_t count, std::shared_ptr<PortModel> model) {
    registry().ports.push_back({first, count, std::move(model)});
}

bool port_permitted(uint16_t port) {
    return registry().permitted[port];
}

void devices_install() {
    hook_devices(true);
}

void devices_uninstall() {
    hook_devices(false);
    auto &r = registry();
    r.devices.clear();
    r.prefixes.clear();
    r.socket_handler = nullptr;
    r.ports.clear();
    r.windows.clear();
    r.permitted.assign(65536, false);
}

}  // namespace nashal::sim
