// Command frames to the small chips that drive some LEDs over a serial line: a CPLD that takes
// one byte and acknowledges with "U", and an MCU that takes a byte list with an XOR checksum and
// answers with a 3-byte status frame. A frame holds the link's lock file with all its retries,
// so the bytes of two processes never mix on the wire.
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/raii.h"
#include "nashal/comm_port.h"
#include "nashal/hal_trace.h"
#include "os/os_seam.h"

namespace {

const char *link_device(int link) {
    return link == 0 ? "/dev/ttyS0" : "/dev/ttyS1";
}

// The link's lock: a write lock on the whole lock file, waited for, held until destruction.
// Closing the descriptor releases it; the file itself stays.
class LinkLock {
  public:
    explicit LinkLock(int link) {
        char path[HAL_NAME_LEN];
        std::snprintf(path, sizeof(path), "%s_%d.lck", UART_LOCK_PREFIX, link);
        fd_.reset(::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0700));
        if (!fd_)
            return;
        struct flock fl = {};
        fl.l_type = F_WRLCK;
        fl.l_whence = SEEK_SET;
        int r;
        do {
            r = ::fcntl(fd_.get(), F_SETLKW, &fl);
        } while (r != 0 && errno == EINTR);
        locked_ = r == 0;
    }
    LinkLock(const LinkLock &) = delete;
    LinkLock &operator=(const LinkLock &) = delete;
    ~LinkLock() {
        if (locked_) {
            struct flock fl = {};
            fl.l_type = F_UNLCK;
            fl.l_whence = SEEK_SET;
            ::fcntl(fd_.get(), F_SETLK, &fl);
        }
    }
    bool held() const { return locked_; }

  private:
    nashal::FileDescriptor fd_;
    bool locked_ = false;
};

// 115200 baud, 8 data bits, no parity, receiver on, modem lines ignored, input parity errors
// ignored, no other processing; pending input is dropped first so that a stale byte can't pass
// for the answer. The line is opened without blocking: a port whose settings were left without
// CLOCAL would otherwise wait in open() for a carrier that a CPLD or MCU never raises, with the
// link's lock held. Once CLOCAL is set the descriptor goes back to blocking reads and writes.
nashal::FileDescriptor open_link(int link) {
    nashal::FileDescriptor fd(
        ::open(link_device(link), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!fd)
        return fd;
    struct termios tio;
    std::memset(&tio, 0, sizeof(tio));
    tio.c_cflag = CS8 | CLOCAL | CREAD;
    tio.c_iflag = IGNPAR;
    tio.c_oflag = 0;
    tio.c_lflag = 0;
    tio.c_cc[VMIN] = 1;
    tio.c_cc[VTIME] = 0;
    cfsetispeed(&tio, B115200);
    cfsetospeed(&tio, B115200);
    tcflush(fd.get(), TCIFLUSH);
    tcsetattr(fd.get(), TCSANOW, &tio);
    int flags = ::fcntl(fd.get(), F_GETFL);
    if (flags >= 0)
        ::fcntl(fd.get(), F_SETFL, flags & ~O_NONBLOCK);
    return fd;
}

// Waits for input on the link for up to the reply timeout.
bool reply_pending(int fd) {
    struct pollfd p = {fd, POLLIN, 0};
    return os_poll(&p, 1, UART_REPLY_TIMEOUT_MS) > 0 && (p.revents & POLLIN);
}

bool write_frame(int fd, const uint8_t *bytes, size_t length) {
    size_t done = 0;
    while (done < length) {
        ssize_t n = ::write(fd, bytes + done, length - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// Sends one frame on the link with all its retries, under the link's lock held throughout, so
// another process's frame never lands between our bytes or takes our reply. `accepted` reads
// the reply that came and says whether it ends the exchange.
template <typename Accepted>
int send_frame(const char *who, int link, const uint8_t *frame, size_t length, Accepted accepted) {
    LinkLock lock(link);
    if (!lock.held()) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", who, __LINE__);
        return -1;
    }
    nashal::FileDescriptor fd = open_link(link);
    if (!fd) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", who, __LINE__);
        return -1;
    }
    for (int attempt = 0; attempt < UART_TRIES; ++attempt) {
        write_frame(fd.get(), frame, length);
        if (reply_pending(fd.get()) && accepted(fd.get()))
            return 0;
    }
    return -1;
}

}  // namespace

extern "C" {

int __uart_send_cpld_data(int link, uint8_t byte) {
    return send_frame(__func__, link, &byte, 1, [](int fd) {
        uint8_t reply = 0;
        return ::read(fd, &reply, 1) == 1 && reply == UART_CPLD_ACK;
    });
}

int __uart_send_mcu_data(int link, const char *list) {
    if (!list)
        return -1;
    // The frame is built in a cleared buffer and sent as a text: it ends before its first zero
    // byte, so a zero in the list (or a checksum of zero) shortens the frame. The controllers
    // in the field expect exactly that. One byte of the buffer is kept for the checksum; a list
    // that would not leave room for it is refused rather than written past the buffer.
    uint8_t frame[UART_MCU_FRAME_MAX] = {};
    size_t count = 0;
    const char *p = list;
    while (*p) {
        size_t len = std::strcspn(p, ",");
        if (len > 0) {
            if (count >= UART_MCU_FRAME_MAX - 1) {
                ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error.\n", __func__, __LINE__);
                return -1;
            }
            frame[count++] = static_cast<uint8_t>(std::strtoul(p, nullptr, 16));
        }
        p += len;
        if (*p == ',')
            ++p;
    }
    if (count == 0)
        return -1;
    uint8_t checksum = 0;
    for (size_t i = 0; i < count; ++i)
        checksum ^= frame[i];
    frame[count] = checksum;
    size_t length = strnlen(reinterpret_cast<const char *>(frame), sizeof(frame));

    const char *who = __func__;
    return send_frame(who, link, frame, length, [who](int fd) {
        uint8_t reply[UART_MCU_REPLY_LEN] = {};
        ssize_t n = ::read(fd, reply, sizeof(reply));
        if (n != UART_MCU_REPLY_LEN || reply[2] != (reply[0] ^ reply[1]))
            return false;
        if (reply[1] == UART_MCU_STATUS_OK)
            return true;
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error: Error Num = 0x%x\n", who, __LINE__,
                  static_cast<unsigned>(reply[1]));
        return false;
    });
}

int common_sys_send_uart_data(char *value, int enable) {
    if (!value)
        return -1;
    // "UART<link>:<protocol>:<on>:<off>"; the link number starts at the fifth character, so a
    // value shorter than the word "UART" has none (and can't be read past its end).
    char *protocol = std::strchr(value, ':');
    if (!protocol || strnlen(value, 4) < 4)
        return -1;
    *protocol++ = '\0';
    int link = std::atoi(value + 4);
    char *on = std::strchr(protocol, ':');
    if (!on)
        return -1;
    *on++ = '\0';
    if (std::strcmp(protocol, "CPLD") == 0) {
        char *off = std::strchr(on, ':');
        if (!off)
            return -1;
        *off++ = '\0';
        const char *chosen = enable ? on : off;
        return __uart_send_cpld_data(link, static_cast<uint8_t>(std::strtoul(chosen, nullptr, 16)));
    }
    if (std::strcmp(protocol, "MCU") == 0) {
        char *off = std::strchr(on, ':');
        if (!off)
            return -1;
        *off++ = '\0';
        return __uart_send_mcu_data(link, enable ? on : off);
    }
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error:Old format.\n", __func__, __LINE__);
    return -1;
}

}  // extern "C"
