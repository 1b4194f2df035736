/* The one seam between the library and what a directory tree cannot fake: device ioctls, port
 * I/O, mapped device memory, and time. Every call is a thin pass-through to the kernel unless a
 * hook is set; the virtual appliance sets the hooks to answer from emulated devices and a virtual
 * clock. Nothing else in the library is indirect: files, links, FIFOs, processes, IPC and shell
 * commands are plain POSIX on the real paths. */
#ifndef NASHAL_OS_SEAM_H
#define NASHAL_OS_SEAM_H

#include <poll.h>
#include <stdint.h>
#include <stddef.h>
#include <sys/select.h>
#include <sys/sysinfo.h>
#include <sys/types.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One hook point per primitive. A null member means "use the machine". */
struct nashal_os_hooks {
    int (*ioctl)(int fd, unsigned long request, void *arg);
    int (*ioperm)(unsigned long from, unsigned long num, int turn_on);
    uint8_t (*inb)(uint16_t port);
    void (*outb)(uint8_t value, uint16_t port);
    uint32_t (*inl)(uint16_t port);
    void (*outl)(uint32_t value, uint16_t port);
    unsigned int (*sleep)(unsigned int seconds);
    int (*usleep)(useconds_t usec);
    time_t (*time)(time_t *out);
    int (*clock_gettime)(clockid_t clock, struct timespec *ts);
    int (*poll)(struct pollfd *fds, nfds_t nfds, int timeout_ms);
    int (*select)(int nfds, fd_set *readfds, fd_set *writefds, fd_set *exceptfds,
                  struct timeval *timeout);
    int (*sysinfo)(struct sysinfo *info);
    void *(*mmap)(void *addr, size_t length, int prot, int flags, int fd, off_t offset);
};

/* The process-wide hook table; all members null on a real machine. */
extern struct nashal_os_hooks nashal_os_hooks;

int os_ioctl(int fd, unsigned long request, void *arg);
int os_ioperm(unsigned long from, unsigned long num, int turn_on);
uint8_t os_inb(uint16_t port);
void os_outb(uint8_t value, uint16_t port);
uint32_t os_inl(uint16_t port);
void os_outl(uint32_t value, uint16_t port);
unsigned int os_sleep(unsigned int seconds);
int os_usleep(useconds_t usec);
time_t os_time(time_t *out);
int os_clock_gettime(clockid_t clock, struct timespec *ts);
int os_poll(struct pollfd *fds, nfds_t nfds, int timeout_ms);
int os_select(int nfds, fd_set *readfds, fd_set *writefds, fd_set *exceptfds,
              struct timeval *timeout);
/* Machine facts a directory tree can't hold: the memory size. */
int os_sysinfo(struct sysinfo *info);
/* A mapping of a device node's memory (the SoC's registers through /dev/mem). Unmapped with
 * plain munmap. */
void *os_mmap(void *addr, size_t length, int prot, int flags, int fd, off_t offset);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_OS_SEAM_H */
