// The monitor: one forked process per enclosure that alone owns the controller's serial line.
// It publishes what the controller reports in small files under /tmp/em, serves the orders of
// its queue one at a time between polls of the line, and quits when the controller falls
// silent, so that the next se_sys_getinfo starts a fresh one.
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "controllers/controller_frames.h"
#include "controllers/controller_link.h"
#include "foundation/raii.h"
#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "nashal/se_sys.h"
#include "os/os_seam.h"
#include "topology/model_file.h"

namespace nashal::controllers {
namespace {

constexpr int kPollMs = 1000;
constexpr time_t kFanPollSeconds = 5;
constexpr time_t kPowerPollSeconds = 5;
constexpr time_t kFirstPortCheckSeconds = 20;
constexpr time_t kPortCheckSeconds = 5;
// The parent waits for the child's start-up in rounds of this many milliseconds, at most this
// many rounds: a child that dies before it is ready ends the wait at once.
constexpr int kStartRoundMs = 1000;
constexpr int kStartRounds = 30;

// What the monitor last wrote, per process: only changes reach the files.
struct Remembered {
    int temp_written = -1000;  // what the file holds
    int temp_reading = -1000;  // the last reading, written or not
    int fan_err[2] = {-1000, -1000};
    int pwr_err[2] = {-1000, -1000};
    int fan_speed[2] = {-1000, -1000};
};
Remembered &remembered() {
    static Remembered r;
    return r;
}

void write_value(const char *id, const char *name, int value) {
    char path[HAL_NAME_LEN];
    if (!em_path(path, id, name))
        return;
    FileDescriptor fd(::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!fd)
        return;
    char text[16];
    int n = std::snprintf(text, sizeof text, "%d", value);
    (void)!::write(fd.get(), text, static_cast<size_t>(n));
}

// Files "fan%d_err", "pwr%d_err", "fan%d_speed": the kind's word and the number 1 or 2.
void write_numbered(int (&memory)[2], const char *id, const char *word, const char *what,
                    int number, int value, bool force) {
    if (number < 1 || number > 2)
        return;
    if (!force && memory[number - 1] == value)
        return;
    memory[number - 1] = value;
    char name[24];
    std::snprintf(name, sizeof name, "%s%d_%s", word, number, what);
    write_value(id, name, value);
}

void power_button(const LinkKind &kind, int fd, const char *who) {
    int32_t mode = 0;
    if (Ini_Conf_Get_Field_Int(HAL_CONF_FILE, "Global", "Service Mode", &mode, INI_CONF_DEC) < 0 ||
        mode < 1)
        mode = 0;
    char command[HAL_CMD_LEN];
    if (mode == 0) {
        const uint32_t cap = topology::root_capability();
        se_sys_blink_power_led("root", 1);
        if ((cap & CAP_LCD) &&
            hal_build_command(who, command, sizeof command, "%s -s 3", "/sbin/lcd_tool") > 0)
            (void)!system(command);
        const uint8_t beep = kShortBeep;
        write_line(fd, &beep, 1);
        if (hal_build_command(who, command, sizeof command, "%s", "/etc/init.d/power_button.sh") >
            0)
            (void)!system(command);
        return;
    }
    if (mode != 1)
        return;
    // The MCU's button bounces: within 2 seconds of the last press that ran the event, a press
    // runs nothing.
    if (kind.mcu) {
        static bool pressed_before = false;
        static time_t last_press = 0;
        const time_t now = os_time(nullptr);
        if (pressed_before && now - last_press < 2)
            return;
        pressed_before = true;
        last_press = now;
    }
    if (hal_build_command(who, command, sizeof command, "%s --se_pwb", "/sbin/hal_event") > 0)
        (void)!system(command);
}

void act_on(const LinkKind &kind, int fd, const char *id, uint8_t byte, const char *who) {
    if (byte >= kTempFirst && byte <= kTempLast) {
        write_sys_temp(kind, id, byte - kTempFirst, false);
        return;
    }
    switch (byte) {
        case kHighTemp75:
            write_sys_temp(kind, id, 75, false);
            return;
        case kHighTemp80:
            write_sys_temp(kind, id, 80, false);
            return;
        case kFan1Failed:
            write_fan_err(id, 1, 1, false);
            return;
        case kFan1Good:
            write_fan_err(id, 1, 0, false);
            return;
        case kFan2Failed:
            write_fan_err(id, 2, 1, false);
            return;
        case kFan2Good:
            write_fan_err(id, 2, 0, false);
            return;
        case kPower1Failed:
            write_pwr_err(id, 1, 1, false);
            return;
        case kPower2Failed:
            write_pwr_err(id, 2, 1, false);
            return;
        case kPower1Good:
            write_pwr_err(id, 1, 0, false);
            return;
        case kPower2Good:
            write_pwr_err(id, 2, 0, false);
            return;
        case kPowerButton:
            power_button(kind, fd, who);
            return;
        default:
            break;
    }
    if (kind.mcu && (byte == kMcuQuiet1 || byte == kMcuQuiet2))
        return;
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):%s receive 0x%x unsupport.\n", who, __LINE__, kind.word,
              byte);
}

// The queue key, or -1 with the trace.
bool queue_key(const char *id, key_t *key, const char *who) {
    if (create_msgkey(id, key) == 0)
        return true;
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):create_msgkey fail\n", who, __LINE__);
    return false;
}

struct Monitor {
    const LinkKind &kind;
    const char *who;
    const char *enc_sys_id;
    char id[HAL_ID_LEN];
    int no_fan_poll;
    int no_data_limit;
    bool port_check;
    int fd = -1;
    int queue = -1;
};

bool create_daemon_link(const Monitor &m) {
    char link[HAL_NAME_LEN];
    if (!make_em_dir() || !em_path(link, m.id, m.kind.link_suffix))
        return false;
    char target[32];
    std::snprintf(target, sizeof target, "/proc/%d\n", static_cast<int>(getpid()));
    ::unlink(link);
    return ::symlink(target, link) == 0;
}

// The link goes with its monitor, unless a newer monitor has already put its own in its place
// (this one was taken for dead): that one's link stays.
void remove_own_link(const Monitor &m) {
    char link[HAL_NAME_LEN], target[32] = {};
    if (!em_path(link, m.id, m.kind.link_suffix) || ::readlink(link, target, sizeof target - 1) < 0)
        return;
    const char *slash = std::strrchr(target, '/');
    if (std::atoi(slash ? slash + 1 : target) == static_cast<int>(getpid()))
        ::unlink(link);
}

void poll_fans(const Monitor &m) {
    const uint8_t commands[2] = {kFan1Speed, kFan2Speed};
    for (int fan = 1; fan <= 2; ++fan) {
        unsigned char value = 0;
        if (handle_command(m.kind, m.fd, m.id, commands[fan - 1], 0, 0, &value, m.who) == 0)
            write_fan_speed(m.id, fan, value * kFanRpmUnit, false);
    }
}

// The MCU's supplies are asked for by the board's own route as well as reported on the line;
// the file takes whichever came last.
void poll_power(const Monitor &m) {
    for (int supply = 1; supply <= 2; ++supply) {
        char key[24], value[HAL_ID_LEN];
        std::snprintf(key, sizeof key, "REDUNDANT_POWER_%d", supply);
        if (!topology::model_text("System IO", key, value))
            continue;
        int status = 0;
        se_sys_get_power_supply_status(m.enc_sys_id, supply, &status);
        write_pwr_err(m.id, supply, status == -1 ? -1 : 0, false);
    }
}

[[noreturn]] void run(Monitor &m) {
    int no_data = 0;
    time_t last_fan_poll = 0;
    time_t last_power_poll = 0;
    bool power_polled = false;
    time_t last_port_check = os_time(nullptr);
    time_t port_period = kFirstPortCheckSeconds;
    for (;;) {
        if (m.port_check && os_time(nullptr) - last_port_check > port_period) {
            int bus = 0, dev = 0;
            if (check_usb_expander_all_ports_exist(m.enc_sys_id, &bus, &dev) != 0) {
                ERR_TRACE(HAL_TRACE_WARN, "%s(%d):enc_sys_id = %s: All ports exist ..\n", m.who,
                          __LINE__, m.enc_sys_id);
                m.port_check = false;
            } else {
                ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Reset usb hub bus:num = %d:%d ..\n", m.who,
                          __LINE__, bus, dev);
                reset_usb_hub(bus, dev);
                last_port_check = os_time(nullptr);
                port_period = kPortCheckSeconds;
            }
        }
        const int got = parse_data_in(m.kind, m.fd, m.id, m.who);
        if (got < 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): %s monitor for %s quit.\n", m.who, __LINE__,
                      m.kind.word, m.id);
            break;
        }
        if (got == 0) {
            if (no_data >= m.no_data_limit) {
                ERR_TRACE(HAL_TRACE_ERROR,
                          "%s(%d): %s monitor for %s can't get any data from %s, quit..\n", m.who,
                          __LINE__, m.kind.word, m.id, m.kind.word);
                break;
            }
            ++no_data;
        } else {
            no_data = 0;
        }
        const time_t now = os_time(nullptr);
        if (m.kind.mcu) {
            if (!power_polled || now - last_power_poll > kPowerPollSeconds) {
                power_polled = true;
                last_power_poll = now;
                poll_power(m);
            }
            // A clock set back must not stop the fan poll.
            if (m.no_fan_poll == 0 && now < last_fan_poll)
                last_fan_poll = now;
        }
        if (m.no_fan_poll == 0 && now - last_fan_poll > kFanPollSeconds) {
            last_fan_poll = now;
            poll_fans(m);
        }
        PIC_REQUEST request = {};
        if (msgrcv(m.queue, &request, kRequestPayload, 0, IPC_NOWAIT) >= 0) {
            if (request.command == kQuitCommand) {
                ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): %s monitor for %s normally quit.\n", m.who,
                          __LINE__, m.kind.word, m.id);
                break;
            }
            handle_command(m.kind, m.fd, m.id, request.command, request.offset, request.length,
                           request.data, m.who);
        } else if (errno != ENOMSG && errno != EINTR) {
            if (!m.kind.mcu)
                ERR_TRACE(HAL_TRACE_ERROR,
                          "%s(%d): %s monitor for %s abnormally quit,errno = %d.\n", m.who,
                          __LINE__, m.kind.word, m.id, errno);
            break;
        }
    }
    msgctl(m.queue, IPC_RMID, nullptr);
    ::close(m.fd);
    remove_own_link(m);
    _exit(1);
}

// The child's start: its link, its queue (taking over one a killed monitor left behind, with
// whatever orders are in it), its line and its first files. Returns only on success.
void child_start(Monitor &m, const char *device, key_t key) {
    if (!create_daemon_link(m))
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):can't create directory %s!\n", m.who, __LINE__,
                  PIC_EM_DIR);
    m.queue = msgget(key, IPC_CREAT | 0666);
    ERR_TRACE(HAL_TRACE_WARN, "%s(%d): msgkey = 0x%x, msgid = %d\n", m.who, __LINE__,
              static_cast<unsigned>(key), m.queue);
    if (m.queue < 0) {
        if (errno == EEXIST)
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): same msgkey found,exit..\n", m.who, __LINE__);
        else
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", m.who, __LINE__);
        _exit(1);
    }
    m.fd = open_line(m.kind, device, m.who);
    if (m.fd < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Init %s UART fail\n", m.who, __LINE__, m.kind.word);
        msgctl(m.queue, IPC_RMID, nullptr);
        _exit(1);
    }
    prctl(PR_SET_NAME, m.enc_sys_id);
    write_sys_temp(m.kind, m.id, 35, true);
    for (int n = 1; n <= 2; ++n) {
        write_fan_err(m.id, n, 0, true);
        write_pwr_err(m.id, n, 0, true);
        write_fan_speed(m.id, n, 0, true);
    }
    if (std::strcmp(m.id, "root") == 0)
        handle_command(m.kind, m.fd, m.id, kWolOn, 0, 0, nullptr, m.who);
}

// The start-up rendezvous: a process-shared semaphore in shared memory that the child posts
// when it is ready. The parent also holds the read end of a pipe whose only write end the child
// closes once it has posted (or loses when it dies), so the parent's wait ends either way and
// is bounded, where a bare sem_wait would hang for good on a child that failed.
struct Rendezvous {
    char name[HAL_NAME_LEN] = {};
    FileDescriptor shm;
    sem_t *sem = nullptr;
    int pipe_fds[2] = {-1, -1};

    bool open(const char *id) {
        std::snprintf(name, sizeof name, "/process_sync_%s", id);
        shm.reset(shm_open(name, O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        if (!shm || ftruncate(shm.get(), 16) != 0)
            return false;
        void *p = mmap(nullptr, 16, PROT_READ | PROT_WRITE, MAP_SHARED, shm.get(), 0);
        if (p == MAP_FAILED)
            return false;
        sem = static_cast<sem_t *>(p);
        return sem_init(sem, 1, 0) == 0 && pipe2(pipe_fds, O_CLOEXEC) == 0;
    }
    ~Rendezvous() {
        if (sem) {
            sem_destroy(sem);
            munmap(sem, 16);
        }
        if (name[0])
            shm_unlink(name);
        for (int fd : pipe_fds)
            if (fd >= 0)
                ::close(fd);
    }
    // The parent's wait: true once the child has posted.
    bool wait_for(pid_t child) {
        ::close(pipe_fds[1]);
        pipe_fds[1] = -1;
        for (int round = 0; round < kStartRounds; ++round) {
            struct pollfd p = {pipe_fds[0], POLLIN, 0};
            if (os_poll(&p, 1, kStartRoundMs) != 0)
                break;
        }
        if (sem_trywait(sem) == 0)
            return true;
        waitpid(child, nullptr, WNOHANG);
        return false;
    }
};

}  // namespace

void write_sys_temp(const LinkKind &kind, const char *id, int degrees, bool force) {
    Remembered &r = remembered();
    if (force) {
        if (!make_em_dir())
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):can't create directory %s!\n", __func__, __LINE__,
                      PIC_EM_DIR);
    } else {
        if (degrees == r.temp_written)
            return;
        // A reading far from the last one is only remembered: a single wild reading never
        // reaches the file, and a real jump reaches it at the next reading.
        const bool wild = !kind.mcu && std::abs(degrees - r.temp_reading) > 3;
        r.temp_reading = degrees;
        if (wild)
            return;
    }
    r.temp_reading = degrees;
    r.temp_written = degrees;
    write_value(id, "sys_temp", degrees);
}

void write_fan_err(const char *id, int fan, int value, bool force) {
    write_numbered(remembered().fan_err, id, "fan", "err", fan, value, force);
}
void write_pwr_err(const char *id, int supply, int value, bool force) {
    write_numbered(remembered().pwr_err, id, "pwr", "err", supply, value, force);
}
void write_fan_speed(const char *id, int fan, int value, bool force) {
    write_numbered(remembered().fan_speed, id, "fan", "speed", fan, value, force);
}

int parse_data_in(const LinkKind &kind, int fd, const char *id, const char *who) {
    struct pollfd p = {fd, POLLIN, 0};
    if (os_poll(&p, 1, kPollMs) < 1)
        return 0;
    if (!(p.revents & POLLIN))
        return -1;
    uint8_t data[64];
    std::memset(data, 0, sizeof data);
    ssize_t n = ::read(fd, data, sizeof data);
    if (n < 1)
        return -1;
    for (ssize_t i = 0; i < n; ++i)
        act_on(kind, fd, id, data[i], who);
    return static_cast<int>(n);
}

int start_monitor(const LinkKind &kind, const char *who, const char *enc_sys_id, int no_fan_poll) {
    Monitor m{kind, who, enc_sys_id, {}, no_fan_poll, 0, false};
    if (enc_sys_id && std::strcmp(enc_sys_id, "root") == 0) {
        hal_copy(m.id, "root");
        m.no_data_limit = PIC_ROOT_NO_DATA_LIMIT;
    } else if (enc_sys_id && std::strncmp(enc_sys_id, "usb", 3) == 0 &&
               controller_id_of(enc_sys_id, m.id)) {
        m.no_data_limit = PIC_USB_NO_DATA_LIMIT;
        m.port_check = true;
    } else {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", who, __LINE__);
        return -1;
    }
    // Every se_sys_getinfo passes here: a live monitor is kept, a dead one's link has just been
    // removed and a new one starts, taking its queue over.
    if (monitor_alive(kind, m.id) == 0)
        return 0;
    char device[HAL_ID_LEN] = {};
    int got = kind.mcu ? se_sys_get_MCU_devname(enc_sys_id, device, sizeof device)
                       : se_sys_get_PIC_devname(enc_sys_id, device, sizeof device);
    if (got != 0)
        return -1;
    key_t key = 0;
    if (!queue_key(m.id, &key, who))
        return -1;

    Rendezvous rendezvous;
    if (!rendezvous.open(m.id)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", who, __LINE__);
        return -1;
    }
    pid_t child = fork();
    if (child < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", who, __LINE__);
        return -1;
    }
    if (child > 0) {
        if (!rendezvous.wait_for(child)) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): %s monitor for %s did not start\n", who, __LINE__,
                      kind.word, m.id);
            return -1;
        }
        return 0;
    }
    // The monitor: detached from the caller's session, deaf to every signal it can block, and
    // holding none of the caller's terminal or pipes open (a caller reading a command's output
    // to its end must not wait for the monitor).
    ::close(rendezvous.pipe_fds[0]);
    const int null_fd = ::open("/dev/null", O_RDWR);
    if (null_fd >= 0) {
        for (int fd = 0; fd <= 2; ++fd)
            ::dup2(null_fd, fd);
        if (null_fd > 2)
            ::close(null_fd);
    }
    (void)!chdir("/");
    umask(022);
    setsid();
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    child_start(m, device, key);
    sem_post(rendezvous.sem);
    ::close(rendezvous.shm.release());
    ::close(rendezvous.pipe_fds[1]);
    run(m);
}

}  // namespace nashal::controllers
