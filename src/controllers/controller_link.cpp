// The client half of the controller links and the line primitives both halves use: queue keys,
// the sign-of-life check, the line's settings and bounded waits, orders on the queue, EEPROM
// accesses through the FIFO, and the readers of the monitor's files.
#include "controllers/controller_link.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "controllers/controller_frames.h"
#include "foundation/raii.h"
#include "foundation/sysv_lock.h"
#include "foundation/text.h"
#include "nashal/hal_trace.h"
#include "nashal/mcu_sys.h"
#include "nashal/se_sys.h"
#include "os/os_seam.h"

namespace nashal::controllers {

const LinkKind kPicLink = {
    false, "PIC", "pic", PIC_LOCK_KEY, B19200 | CS8 | CREAD | CLOCAL, kPicSerialOffset};
const LinkKind kMcuLink = {
    true, "MCU", "mcu", MCU_LOCK_KEY, B115200 | CS8 | CREAD | CLOCAL, kMcuSerialOffset};
static_assert(sizeof(key_t) == sizeof(int32_t), "a queue key is 32 bits");
static_assert((B19200 | CS8 | CREAD | CLOCAL) == 0x8BE, "PIC line flags");
static_assert((B115200 | CS8 | CREAD | CLOCAL) == 0x18B2, "MCU line flags");

bool controller_id_of(const char *enc_sys_id, char (&out)[HAL_ID_LEN]) {
    out[0] = '\0';
    if (!enc_sys_id)
        return false;
    if (std::strcmp(enc_sys_id, "root") == 0) {
        hal_copy(out, "root");
        return true;
    }
    if (std::strncmp(enc_sys_id, "usb", 3) == 0 && std::strlen(enc_sys_id) >= 4) {
        hal_copy(out, enc_sys_id + 4);
        return true;
    }
    return false;
}

bool em_path(char (&out)[HAL_NAME_LEN], const char *id, const char *suffix) {
    int n = std::snprintf(out, sizeof out, "%s/em_%s.%s", PIC_EM_DIR, id, suffix);
    return n > 0 && static_cast<size_t>(n) < sizeof out;
}

bool make_em_dir() {
    struct stat st;
    if (::stat(PIC_EM_DIR, &st) == 0)
        return true;
    return ::mkdir(PIC_EM_DIR, 0700) == 0 || errno == EEXIST;
}

namespace {

// The monitor names itself after its enclosure (prctl PR_SET_NAME, cut to 15 characters by the
// kernel). A pid that lives but goes by another name, or a zombie of a monitor whose parent has
// not reaped it, is not our monitor: the link is stale. Nothing here ever signals that pid.
bool is_our_monitor(pid_t pid, const char *id) {
    char path[HAL_NAME_LEN];
    std::snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(pid));
    FileDescriptor fd(::open(path, O_RDONLY | O_CLOEXEC));
    if (!fd)
        return false;
    char stat_text[256] = {};
    ssize_t n = ::read(fd.get(), stat_text, sizeof stat_text - 1);
    if (n <= 0)
        return false;
    const char *open_paren = std::strchr(stat_text, '(');
    const char *close_paren = std::strrchr(stat_text, ')');
    if (!open_paren || !close_paren || close_paren < open_paren || close_paren[1] != ' ')
        return false;
    const char state = close_paren[2];
    if (state == 'Z' || state == 'X' || state == 'x')
        return false;
    char expected[HAL_ID_LEN + 4];
    if (std::strcmp(id, "root") == 0)
        hal_copy(expected, "root");
    else
        std::snprintf(expected, sizeof expected, "usb_%s", id);
    expected[15] = '\0';
    const size_t len = static_cast<size_t>(close_paren - open_paren - 1);
    if (len != std::strlen(expected) || std::strncmp(open_paren + 1, expected, len) != 0)
        return false;
    // A monitor of another IPC namespace (a container, another virtual appliance) can't read
    // our queue: it is not ours. Where the namespace can't be read, the name decides.
    char ns_path[HAL_NAME_LEN], theirs[64] = {}, ours[64] = {};
    std::snprintf(ns_path, sizeof ns_path, "/proc/%d/ns/ipc", static_cast<int>(pid));
    if (::readlink(ns_path, theirs, sizeof theirs - 1) <= 0 ||
        ::readlink("/proc/self/ns/ipc", ours, sizeof ours - 1) <= 0)
        return true;
    return std::strcmp(theirs, ours) == 0;
}

}  // namespace

int monitor_alive(const LinkKind &kind, const char *id) {
    char link[HAL_NAME_LEN];
    if (!em_path(link, id, kind.link_suffix))
        return -1;
    struct stat st;
    if (::lstat(link, &st) != 0)
        return -1;
    char target[32] = {};
    if (::readlink(link, target, sizeof target - 1) < 0) {
        ::unlink(link);
        return -1;
    }
    const char *slash = std::strrchr(target, '/');
    const pid_t pid = std::atoi(slash ? slash + 1 : target);
    char proc[HAL_NAME_LEN];
    std::snprintf(proc, sizeof proc, "/proc/%d", static_cast<int>(pid));
    if (pid <= 0 || ::lstat(proc, &st) != 0 || !is_our_monitor(pid, id)) {
        ::unlink(link);
        return -1;
    }
    return 0;
}

// Raw line: input parity errors ignored, no output or local processing, all control characters
// 0 so that read() returns at once with what is there. Opened without blocking, as a line left
// without CLOCAL would otherwise wait in open() for a carrier the controller never raises.
int open_line(const LinkKind &kind, const char *device, const char *who) {
    FileDescriptor fd(::open(device, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!fd) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): open %s fail, errno = %d\n", who, __LINE__, device,
                  errno);
        return -1;
    }
    struct termios tio;
    std::memset(&tio, 0, sizeof tio);
    tio.c_iflag = IGNPAR;
    tio.c_cflag = kind.cflag;
    tcflush(fd.get(), TCIFLUSH);
    if (tcsetattr(fd.get(), TCSANOW, &tio) != 0 && kind.mcu) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): tcsetattr %s fail, errno = %d\n", who, __LINE__, device,
                  errno);
        return -1;
    }
    return fd.release();
}

// The controller answers within a few milliseconds; the waits are counted in milliseconds as
// the protocol gives them, but spent in poll() rather than in 1 ms naps, so that each costs one
// wake-up (and the virtual appliance's clock can pass them).
int wait_bytes(int fd, int timeout_ms, uint8_t *buffer, int length, const char *who) {
    int waited = 0;
    for (;;) {
        struct pollfd p = {fd, POLLIN, 0};
        int remaining = timeout_ms - waited;
        if (remaining < 0)
            remaining = 0;
        int r = os_poll(&p, 1, remaining);
        ssize_t n = 0;
        if (r > 0) {
            n = ::read(fd, buffer, static_cast<size_t>(length));
            if (n < 0 && (errno == EAGAIN || errno == EINTR))
                n = 0;
        }
        if (n == length)
            return 0;
        if (n != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error,  ret = %d\n", who, __LINE__,
                      static_cast<int>(n));
            return static_cast<int>(n);
        }
        if (r <= 0) {
            waited = timeout_ms + 1;
        } else {
            // Readable yet nothing read (a hang-up): count one millisecond, as a nap would.
            os_usleep(1000);
            ++waited;
        }
        if (waited > timeout_ms) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error, wait over timeout(%d ms)\n", who,
                      __LINE__, timeout_ms);
            return -1;
        }
    }
}

int wait_byte(int fd, int timeout_ms, uint8_t *out, const char *who) {
    *out = 0xFF;
    return wait_bytes(fd, timeout_ms, out, 1, who);
}

bool wait_ack(int fd, int max_bytes, const char *who, int *rc, uint8_t *got) {
    *rc = 0;
    for (int i = 0; i < max_bytes; ++i) {
        *rc = wait_byte(fd, PIC_WAIT_MS, got, who);
        if (*rc != 0)
            return false;
        if (*got == kAck)
            return true;
    }
    return false;
}

bool write_line(int fd, const uint8_t *bytes, size_t length) {
    size_t done = 0;
    while (done < length) {
        ssize_t n = ::write(fd, bytes + done, length - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN) {
            struct pollfd p = {fd, POLLOUT, 0};
            if (os_poll(&p, 1, PIC_WAIT_MS) <= 0)
                return false;
            continue;
        }
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

bool open_transaction(int fd, const uint8_t *header, size_t header_length, int attention_ack_bytes,
                      int header_ack_bytes, const char *who, int *rc, uint8_t *got) {
    *rc = -1;
    *got = 0xFF;
    const uint8_t attention = kAttention;
    return write_line(fd, &attention, 1) && wait_ack(fd, attention_ack_bytes, who, rc, got) &&
           write_line(fd, header, header_length) && wait_ack(fd, header_ack_bytes, who, rc, got);
}

// The holder is a client whose every wait is bounded, and SEM_UNDO frees the semaphore if it
// dies, so the wait of a take ends.
int acquire_link_lock(int key, int *sem_id, const char *who) {
    return nashal::sysv_lock_acquire(who, key, sem_id);
}

void release_link_lock(int sem_id) {
    nashal::sysv_lock_release(sem_id);
}

namespace {

// The queue of a live monitor: a probe that creates the queue means there is none (the probe's
// queue is removed again). -1 with the trace otherwise.
int monitor_queue(const LinkKind &kind, const char *who, const char *id) {
    key_t key = 0;
    if (create_msgkey(id, &key) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):create_msgkey fail\n", who, __LINE__);
        return -1;
    }
    int probe = msgget(key, IPC_CREAT | IPC_EXCL | 0666);
    if (probe >= 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): %s monitor for %s not exist, quit..\n", who, __LINE__,
                  kind.word, id);
        msgctl(probe, IPC_RMID, nullptr);
        return -1;
    }
    if (errno != EEXIST) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", who, __LINE__);
        return -1;
    }
    int queue = msgget(key, IPC_CREAT | 0666);
    if (queue < 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", who, __LINE__);
    return queue;
}

PIC_REQUEST request_of(int command) {
    PIC_REQUEST request = {};
    request.mtype = kRequestType;
    request.command = command;
    return request;
}

// Without waiting: a monitor killed with signal 9 leaves its queue behind, and once that is
// full a waiting send would hang the client for good.
int post(int queue, const PIC_REQUEST &request, const char *who) {
    if (msgsnd(queue, &request, kRequestPayload, IPC_NOWAIT) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error,request = %d, errno = %d\n", who, __LINE__,
                  request.command, errno);
        return -1;
    }
    return 0;
}

}  // namespace

int send_request(const LinkKind &kind, const char *who, const char *id, int command) {
    if (!id)
        return -1;
    int queue = monitor_queue(kind, who, id);
    if (queue < 0)
        return -1;
    return post(queue, request_of(command), who);
}

int access_eeprom(const LinkKind &kind, const char *who, const char *id, int write, int offset,
                  int length, unsigned char *buffer) {
    if (!id || !buffer || length < 0 || offset < 0)
        return -1;
    int sem = -1;
    if (acquire_link_lock(kind.lock_key, &sem, who) != 0)
        return -1;
    struct Release {
        int sem;
        ~Release() { release_link_lock(sem); }
    } release{sem};

    int queue = monitor_queue(kind, who, id);
    if (queue < 0)
        return -1;
    PIC_REQUEST request = request_of(write ? kEepromWrite : kEepromRead);
    request.offset = offset;
    request.length = length;
    FileDescriptor fifo;
    if (write) {
        if (static_cast<size_t>(length) > kEepromDataMax) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", who, __LINE__);
            return -1;
        }
        std::memcpy(request.data, buffer, static_cast<size_t>(length));
    } else {
        char path[HAL_NAME_LEN];
        if (!em_path(path, id, "fifo") || !make_em_dir())
            return -1;
        ::unlink(path);
        if (mkfifo(path, 0666) != 0 && errno != EEXIST) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error,errno = %d\n", who, __LINE__, errno);
            return -1;
        }
        ::chmod(path, 0666);
        // The reading end is opened before the order goes out and without waiting for a
        // writer: the monitor then finds its reader at once, and a dead monitor can't leave
        // this client blocked in open().
        fifo.reset(::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        if (!fifo) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error,errno = %d\n", who, __LINE__, errno);
            return -1;
        }
    }
    if (post(queue, request, who) != 0)
        return -1;
    if (write)
        return 0;

    int remaining = length;
    int last = 0;
    for (int attempt = 0; attempt < 11 && remaining > 0; ++attempt) {
        struct pollfd p = {fifo.get(), POLLIN, 0};
        int ready = os_poll(&p, 1, 500);
        ssize_t n = 0;
        if (ready > 0) {
            n = ::read(fifo.get(), buffer + (length - remaining), static_cast<size_t>(remaining));
            if (n < 0 && errno == EAGAIN)
                n = 0;
        }
        if (n < 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error,request = %d, errno = %d\n", who,
                      __LINE__, request.command, errno);
            last = static_cast<int>(n);
            break;
        }
        last = static_cast<int>(n);
        // An empty read waits half a second; a poll that timed out has waited it already.
        if (n == 0 && ready > 0)
            os_usleep(500000);
        remaining -= static_cast<int>(n);
    }
    return last;
}

int get_serial(const LinkKind &kind, const char *who, const char *id, char *buffer, int size) {
    if (!buffer || size <= 0)
        return -1;
    unsigned char record[kSerialRecordLen] = {};
    access_eeprom(kind, who, id, 0, kind.serial_offset, kSerialRecordLen, record);
    const size_t prefix = sizeof kSerialPrefix - 1;
    if (std::memcmp(record, kSerialPrefix, prefix) != 0)
        return -1;
    std::memset(buffer, 0, static_cast<size_t>(size));
    hal_copy(buffer, static_cast<size_t>(size), reinterpret_cast<const char *>(record + prefix),
             kSerialRecordLen - prefix);
    // A blank EEPROM holds 0xFF: the serial number ends at the first byte above 127.
    for (int i = 0; i < size && buffer[i]; ++i)
        if (static_cast<unsigned char>(buffer[i]) > 127) {
            buffer[i] = '\0';
            break;
        }
    return 0;
}

int set_serial(const LinkKind &kind, const char *who, const char *id, const char *serial) {
    if (!serial)
        return -1;
    char record[kSerialRecordLen] = {};
    std::snprintf(record, kSerialRecordLen - 1, "%s%s", kSerialPrefix, serial);
    return access_eeprom(kind, who, id, 1, kind.serial_offset, kSerialRecordLen,
                         reinterpret_cast<unsigned char *>(record));
}

void mac_text(const char *text, char (&out)[32]) {
    std::memset(out, 0, sizeof out);
    size_t j = 0;
    int digits = 0;
    for (const char *p = text; *p && j < sizeof out - 1; ++p) {
        out[j++] = *p;
        if (++digits % 2 != 0)
            continue;
        if (p[1] == ':')
            ++p;
        if (p[1] && j < sizeof out - 1)
            out[j++] = ':';
    }
}

bool read_value_file(const char *who, const char *id, const char *name, long *value) {
    char path[HAL_NAME_LEN];
    if (!id || !value || !em_path(path, id, name))
        return false;
    FileDescriptor fd(::open(path, O_RDONLY | O_CLOEXEC));
    char text[9] = {};
    if (!fd || ::read(fd.get(), text, 8) < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error..\n", who, __LINE__);
        return false;
    }
    *value = std::strtol(text, nullptr, 0);
    return true;
}

int direct_eeprom_read(const LinkKind &kind, const char *who, int offset, int length,
                       unsigned char *buffer, int read_length) {
    char device[HAL_ID_LEN] = {};
    int got = kind.mcu ? se_sys_get_MCU_devname("root", device, sizeof device)
                       : se_sys_get_PIC_devname("root", device, sizeof device);
    if (got != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):enc_sys_id = %s get %s devname fail\n", who, __LINE__,
                  "root", kind.word);
        return -1;
    }
    // The line is closed on every path: a failed read keeps its -1 without keeping a
    // descriptor.
    FileDescriptor fd(open_line(kind, device, who));
    if (!fd)
        return -1;
    int rc = 0;
    uint8_t got_byte = 0;
    const uint8_t header[3] = {kEepromRead, static_cast<uint8_t>(offset),
                               static_cast<uint8_t>(length)};
    if (!open_transaction(fd.get(), header, sizeof header, kReadAckBytes, kReadAckBytes, who, &rc,
                          &got_byte)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error, ret = %d, data = 0x%x\n", who, __LINE__,
                  rc, got_byte);
        return -1;
    }
    if (kind.mcu) {
        if (wait_bytes(fd.get(), PIC_WAIT_MS, buffer, read_length, who) < 0)
            return -1;
    } else {
        for (int i = 0; i < read_length; ++i)
            if (wait_byte(fd.get(), PIC_WAIT_MS, buffer + i, who) != 0)
                return -1;
    }
    const uint8_t sum = frame_checksum(buffer, static_cast<size_t>(length));
    if (sum != buffer[length]) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error, checksum dismatch,get checksum = 0x%x\n",
                  who, __LINE__, buffer[length]);
        if (kind.mcu) {
            ERR_TRACE(HAL_TRACE_ERROR,
                      "%s(%d): System Error, checksum dismatch,buf_len = %d, get mac = ", who,
                      __LINE__, read_length);
            for (int i = 0; i < read_length; ++i)
                ERR_TRACE(HAL_TRACE_ERROR, "%02x:\n", buffer[i]);
        }
        return -1;
    }
    buffer[length] = 0;
    return 0;
}

}  // namespace nashal::controllers

using namespace nashal::controllers;

// Digits count one nibble, lower-case letters a byte; a key wider than 8 nibbles would not fit
// the 32-bit key, so it fails.
extern "C" int create_msgkey(const char *pic_id, int32_t *key) {
    if (!pic_id || !key)
        return -1;
    uint32_t value = 0;
    int width = 0;
    for (const char *p = pic_id; *p; ++p) {
        if (*p >= '0' && *p <= '9') {
            value = value * 16 + static_cast<uint32_t>(*p - '0');
            width += 1;
        } else if (*p >= 'a' && *p <= 'z') {
            value = (value << 8) + static_cast<uint32_t>(*p - 'a');
            width += 2;
        }
        if (width >= 9)
            return -1;
    }
    *key = static_cast<int32_t>(value);
    return 0;
}
