#include "foundation/blink_process.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/raii.h"

namespace nashal {

pid_t blink_record_pid(const char *link, const char *name) {
    char target[32] = {};
    ssize_t n = readlink(link, target, sizeof target - 1);
    if (n <= 0)
        return -1;
    target[n] = '\0';
    const char *slash = std::strrchr(target, '/');
    pid_t pid = std::atoi(slash ? slash + 1 : target);
    if (pid <= 0)
        return -1;
    char proc[32];
    std::snprintf(proc, sizeof proc, "/proc/%d", static_cast<int>(pid));
    struct stat st;
    if (lstat(proc, &st) != 0)
        return -1;
    return blink_running(pid, name) ? pid : -1;
}

void blink_record_set(const char *link, pid_t pid) {
    char target[32];
    std::snprintf(target, sizeof target, "/proc/%d\n", static_cast<int>(pid));
    unlink(link);
    if (symlink(target, link) != 0)
        return;
}

void blink_stop(const char *link, const char *name) {
    pid_t pid = blink_record_pid(link, name);
    unlink(link);
    if (pid > 0)
        kill(pid, SIGKILL);
}

pid_t blink_spawn(const char *name, const std::function<void()> &toggle,
                  const std::function<void(pid_t)> &record) {
    int channel[2];
    if (pipe(channel) != 0)
        return -1;
    // Two forks: the middle process records the blinker and exits at once and is reaped here,
    // so the blinker belongs to init. A caller that lives long (a daemon) would otherwise
    // collect one zombie for every blink a later call kills.
    pid_t middle = fork();
    if (middle < 0) {
        close(channel[0]);
        close(channel[1]);
        return -1;
    }
    if (middle == 0) {
        close(channel[0]);
        // Named before the blinker is made, so that it bears the name from its first instant
        // and a stop right after this call recognises it.
        prctl(PR_SET_NAME, name, 0, 0, 0);
        pid_t blinker = fork();
        if (blinker == 0) {
            close(channel[1]);
            close(0);
            close(1);
            close(2);
            setsid();
            for (;;)
                toggle();
        }
        if (blinker > 0)
            record(blinker);
        ssize_t sent = write(channel[1], &blinker, sizeof blinker);
        _exit(sent == sizeof blinker && blinker > 0 ? 0 : 1);
    }
    close(channel[1]);
    pid_t blinker = -1;
    if (read(channel[0], &blinker, sizeof blinker) != sizeof blinker)
        blinker = -1;
    close(channel[0]);
    int status = 0;
    while (waitpid(middle, &status, 0) < 0 && errno == EINTR) {
    }
    return blinker;
}

bool blink_start(const char *link, const char *name, const std::function<void()> &toggle) {
    return blink_spawn(name, toggle, [link](pid_t pid) { blink_record_set(link, pid); }) > 0;
}

bool blink_running(pid_t pid, const char *name) {
    if (pid <= 0)
        return false;
    char comm_path[48];
    std::snprintf(comm_path, sizeof comm_path, "/proc/%d/comm", static_cast<int>(pid));
    FileHandle comm(std::fopen(comm_path, "r"));
    char comm_text[32] = {};
    if (!comm || !std::fgets(comm_text, sizeof comm_text, comm.get()))
        return false;
    comm_text[std::strcspn(comm_text, "\n")] = '\0';
    return std::strcmp(comm_text, name) == 0;
}

}  // namespace nashal
