// LEDs and signals wired to a plain I/O port. The signals on such ports are active low.
#include "nashal/comm_port.h"
#include "os/os_seam.h"

namespace {

// Permission for one port. A port outside the I/O space, or one the process may not reach, is
// left alone: cut to 16 bits it would be some other port, and an access without permission
// kills the process.
bool reach_port(int port) {
    return port >= 0 && port <= 0xFFFF && os_ioperm(static_cast<unsigned long>(port), 1, 1) == 0;
}

}  // namespace

extern "C" {

int common_sys_set_ioport(int port, int value) {
    if (reach_port(port))
        os_outb(static_cast<uint8_t>(value & 0xff), static_cast<uint16_t>(port));
    return 0;
}

int common_sys_set_ioport_bit(int port, int bit, int on) {
    if (!reach_port(port))
        return 0;
    uint8_t byte = os_inb(static_cast<uint16_t>(port));
    // A bit outside the byte changes nothing (and a shift by it would be undefined).
    uint8_t mask = (bit >= 0 && bit < 8) ? static_cast<uint8_t>(1u << bit) : 0;
    if (on)
        byte &= static_cast<uint8_t>(~mask);
    else
        byte |= mask;
    os_outb(byte, static_cast<uint16_t>(port));
    return 0;
}

}  // extern "C"
