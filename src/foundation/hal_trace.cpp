// The trace log. Every call takes the log's fcntl lock, re-reads the one-line configuration file,
// and only then decides whether to write; that keeps the log whole across processes and lets an
// operator switch debug output on with no restart.
#include "nashal/hal_trace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "foundation/raii.h"
#include "foundation/text.h"
#include "os/os_seam.h"

namespace {

constexpr const char *kTraceConf = "/var/log/hal_lib.log.conf";
constexpr long kRotateSize = 10240;
constexpr int kConfLineLen = 32;  // fgets reads at most 31 characters

// Process-wide trace state.
int trace_mask = HAL_TRACE_DEFAULT_MASK;
int trace_to_file = 1;
char trace_path[128] = "/var/log/hal_lib.log";
char trace_line[1024];

// errno as the caller left it, given back on every return.
class ErrnoKeeper {
  public:
    ErrnoKeeper() : saved_(errno) {}
    ~ErrnoKeeper() { errno = saved_; }

  private:
    int saved_;
};

// Reads "MASK[:PATH]" from the configuration file, if there is one: its first line, at most 31
// characters, as fgets would give it. A plain read keeps a suppressed trace to the fewest calls.
void read_trace_conf() {
    nashal::FileDescriptor conf(open(kTraceConf, O_RDONLY | O_CLOEXEC));
    if (!conf)
        return;
    char line[kConfLineLen] = "";
    ssize_t n;
    do
        n = read(conf.get(), line, sizeof line - 1);
    while (n < 0 && errno == EINTR);
    conf.reset();
    line[n > 0 ? n : 0] = '\0';
    if (char *nl = static_cast<char *>(memchr(line, '\n', static_cast<size_t>(n > 0 ? n : 0))))
        nl[1] = '\0';
    char *save = nullptr;
    char *mask = strtok_r(line, ":\n", &save);
    if (mask)
        trace_mask = static_cast<int>(strtoul(mask, nullptr, 16));
    char *path = strtok_r(nullptr, ":\n", &save);
    if (path) {
        trace_to_file = 1;
        nashal::hal_copy(trace_path, path);
    } else {
        trace_to_file = 0;
    }
}

// "comm:ctime" of this process into the line buffer; its length, or 0 when there is none.
int build_prefix() {
    trace_line[0] = '\0';
    char comm_path[32];
    snprintf(comm_path, sizeof comm_path, "/proc/%d/comm", static_cast<int>(getpid()));
    nashal::FileDescriptor fd(open(comm_path, O_RDONLY | O_CLOEXEC));
    char comm[33] = "";
    ssize_t n = fd ? read(fd.get(), comm, 32) : -1;
    time_t now = os_time(nullptr);
    if (n <= 0 || comm[n - 1] != '\n')
        return 0;
    comm[n - 1] = '\0';
    char when[32];
    if (!ctime_r(&now, when))
        return 0;
    int len = snprintf(trace_line, sizeof trace_line, "%s:%s", comm, when);
    return len < 0 ? 0 : len;
}

// Moves a log above the rotation size to "<log>.bak" through the shell; status ORed in.
int rotate_if_large(int status) {
    struct stat st;
    if (stat(trace_path, &st) != 0 || st.st_size <= kRotateSize)
        return status;
    // The path comes from the operator's configuration line; one a shell would split is not
    // handed to it, and the log then keeps growing as with any failed rotation.
    if (!nashal::hal_shell_safe(trace_path))
        return status;
    char cmd[300];
    snprintf(cmd, sizeof cmd, "mv -f %s %s.bak &>/dev/null", trace_path, trace_path);
    status |= system(cmd);
    if (status == 0) {
        snprintf(cmd, sizeof cmd, "rm -f %s &>/dev/null", trace_path);
        status = system(cmd);
    }
    return status;
}

}  // namespace

extern "C" int ERR_TRACE(int level, const char *format, ...) {
    ErrnoKeeper keep_errno;

    const char *slash = strrchr(trace_path, '/');
    const char *name = slash ? slash + 1 : trace_path;
    char lock_path[160];
    snprintf(lock_path, sizeof lock_path, "/var/lock/%s.lck", name);
    // Closing the lock file releases the lock: a process's fcntl locks on a file go with the
    // close of any descriptor of it, so every return below unlocks with no call of its own.
    nashal::FileDescriptor lock(open(lock_path, O_RDWR | O_CREAT | O_CLOEXEC, 0700));
    if (!lock)
        return -1;
    struct flock fl = {};
    fl.l_type = F_WRLCK;
    fl.l_whence = SEEK_SET;
    if (fcntl(lock.get(), F_SETLKW, &fl) != 0) {
        perror("Fail to lock log file!\n");
        return -1;
    }

    read_trace_conf();
    if ((level & trace_mask) == 0)
        return 0;

    int status = build_prefix();
    nashal::FileHandle log;
    if (trace_to_file) {
        status = rotate_if_large(status);
        log.reset(fopen(trace_path, "ae"));
        if (!log) {
            perror("Fail to create log file!\n");
            return -1;
        }
    }

    size_t used = strlen(trace_line);
    va_list ap;
    va_start(ap, format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    vsnprintf(trace_line + used, sizeof trace_line - used, format, ap);
#pragma GCC diagnostic pop
    va_end(ap);

    if (log) {
        fputs(trace_line, log.get());
    } else {
        fputs(trace_line, stdout);
        fflush(stdout);
    }
    return status;
}

extern "C" int HAL_Set_Debug(int mask, const char *path) {
    trace_mask = mask;
    if (!path)
        trace_to_file = 0;
    else
        nashal::hal_copy(trace_path, path);
    return 0;
}
