// Pass-throughs to the kernel, each with its one hook point.
#include "os/os_seam.h"

#include <sys/io.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

struct nashal_os_hooks nashal_os_hooks = {};

extern "C" {

int os_ioctl(int fd, unsigned long request, void *arg) {
    if (nashal_os_hooks.ioctl)
        return nashal_os_hooks.ioctl(fd, request, arg);
    return ioctl(fd, request, arg);
}

int os_ioperm(unsigned long from, unsigned long num, int turn_on) {
    if (nashal_os_hooks.ioperm)
        return nashal_os_hooks.ioperm(from, num, turn_on);
    return ioperm(from, num, turn_on);
}

uint8_t os_inb(uint16_t port) {
    if (nashal_os_hooks.inb)
        return nashal_os_hooks.inb(port);
    return inb(port);
}

void os_outb(uint8_t value, uint16_t port) {
    if (nashal_os_hooks.outb) {
        nashal_os_hooks.outb(value, port);
        return;
    }
    outb(value, port);
}

uint32_t os_inl(uint16_t port) {
    if (nashal_os_hooks.inl)
        return nashal_os_hooks.inl(port);
    return inl(port);
}

void os_outl(uint32_t value, uint16_t port) {
    if (nashal_os_hooks.outl) {
        nashal_os_hooks.outl(value, port);
        return;
    }
    outl(value, port);
}

unsigned int os_sleep(unsigned int seconds) {
    if (nashal_os_hooks.sleep)
        return nashal_os_hooks.sleep(seconds);
    return sleep(seconds);
}

int os_usleep(useconds_t usec) {
    if (nashal_os_hooks.usleep)
        return nashal_os_hooks.usleep(usec);
    return usleep(usec);
}

time_t os_time(time_t *out) {
    if (nashal_os_hooks.time)
        return nashal_os_hooks.time(out);
    return time(out);
}

int os_clock_gettime(clockid_t clock, struct timespec *ts) {
    if (nashal_os_hooks.clock_gettime)
        return nashal_os_hooks.clock_gettime(clock, ts);
    return clock_gettime(clock, ts);
}

int os_poll(struct pollfd *fds, nfds_t nfds, int timeout_ms) {
    if (nashal_os_hooks.poll)
        return nashal_os_hooks.poll(fds, nfds, timeout_ms);
    return poll(fds, nfds, timeout_ms);
}

int os_select(int nfds, fd_set *readfds, fd_set *writefds, fd_set *exceptfds,
              struct timeval *timeout) {
    if (nashal_os_hooks.select)
        return nashal_os_hooks.select(nfds, readfds, writefds, exceptfds, timeout);
    return select(nfds, readfds, writefds, exceptfds, timeout);
}

int os_sysinfo(struct sysinfo *info) {
    if (nashal_os_hooks.sysinfo)
        return nashal_os_hooks.sysinfo(info);
    return sysinfo(info);
}

void *os_mmap(void *addr, size_t length, int prot, int flags, int fd, off_t offset) {
    if (nashal_os_hooks.mmap)
        return nashal_os_hooks.mmap(addr, length, prot, flags, fd, offset);
    return mmap(addr, length, prot, flags, fd, offset);
}

}  // extern "C"
