#include "clock.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "os/os_seam.h"

namespace nashal::sim {
namespace {

struct Event {
    int64_t at_us;
    std::function<void()> fn;
};

struct Clock {
    int64_t now_us = 0;
    int64_t slept_us = 0;
    std::vector<Event> events;
    bool pace_background = false;
    pid_t installer = 0;
};

Clock &clock_state() {
    static Clock c;
    return c;
}

int64_t real_now_us() {
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000 + ts.tv_nsec / 1000;
}

// Moves the clock forward, running each due event at its own moment, in order.
void advance(int64_t us) {
    Clock &c = clock_state();
    const int64_t target = c.now_us + us;
    c.slept_us += us;
    for (;;) {
        auto due =
            std::min_element(c.events.begin(), c.events.end(),
                             [](const Event &a, const Event &b) { return a.at_us < b.at_us; });
        if (due == c.events.end() || due->at_us > target)
            break;
        c.now_us = std::max(c.now_us, due->at_us);
        auto fn = std::move(due->fn);
        c.events.erase(due);
        fn();
    }
    c.now_us = target;
}

// A session leader that isn't the process that installed the clock was detached on purpose.
void pace(int64_t us) {
    const Clock &c = clock_state();
    if (c.pace_background && getpid() != c.installer && getsid(0) == getpid()) {
        struct timespec ts = {static_cast<time_t>(us / 1000000),
                              static_cast<long>((us % 1000000) * 1000)};
        nanosleep(&ts, nullptr);
    }
}

unsigned int v_sleep(unsigned int seconds) {
    pace(static_cast<int64_t>(seconds) * 1000000);
    advance(static_cast<int64_t>(seconds) * 1000000);
    return 0;
}

int v_usleep(useconds_t usec) {
    pace(usec);
    advance(usec);
    return 0;
}

time_t v_time(time_t *out) {
    time_t t = static_cast<time_t>(clock_state().now_us / 1000000);
    if (out)
        *out = t;
    return t;
}

int v_clock_gettime(clockid_t, struct timespec *ts) {
    int64_t now = clock_state().now_us;
    ts->tv_sec = static_cast<time_t>(now / 1000000);
    ts->tv_nsec = static_cast<long>((now % 1000000) * 1000);
    return 0;
}

// Waiting for input: real descriptors (a pseudo-terminal peer) may answer, so look for a short
// real while; if nothing comes, the whole timeout passes on the virtual clock. The glance is long
// enough for a peer thread to answer on a loaded two-core machine under the sanitizers.
constexpr int kRealGlanceMs = 1000;

int v_poll(struct pollfd *fds, nfds_t nfds, int timeout_ms) {
    int glance = timeout_ms < 0 ? kRealGlanceMs : std::min(timeout_ms, kRealGlanceMs);
    int r = poll(fds, nfds, glance);
    if (r != 0)
        return r;
    if (timeout_ms > 0)
        advance(static_cast<int64_t>(timeout_ms) * 1000);
    if (timeout_ms < 0)
        return poll(fds, nfds, -1);
    return 0;
}

int v_select(int nfds, fd_set *readfds, fd_set *writefds, fd_set *exceptfds,
             struct timeval *timeout) {
    fd_set r0, w0, e0;
    if (readfds)
        r0 = *readfds;
    if (writefds)
        w0 = *writefds;
    if (exceptfds)
        e0 = *exceptfds;
    int64_t wait_us = timeout ? timeout->tv_sec * 1000000LL + timeout->tv_usec : -1;
    int64_t glance_us = kRealGlanceMs * 1000LL;
    if (wait_us >= 0 && wait_us < glance_us)
        glance_us = wait_us;
    struct timeval glance = {static_cast<time_t>(glance_us / 1000000),
                             static_cast<suseconds_t>(glance_us % 1000000)};
    int r = select(nfds, readfds, writefds, exceptfds, &glance);
    if (r != 0)
        return r;
    if (wait_us < 0) {
        if (readfds)
            *readfds = r0;
        if (writefds)
            *writefds = w0;
        if (exceptfds)
            *exceptfds = e0;
        return select(nfds, readfds, writefds, exceptfds, nullptr);
    }
    advance(wait_us);
    if (timeout)
        *timeout = {0, 0};
    return 0;
}

// The seam's clock hooks: the virtual clock's, or none (the machine's own).
void hook_clock(bool on) {
    nashal_os_hooks.sleep = on ? v_sleep : nullptr;
    nashal_os_hooks.usleep = on ? v_usleep : nullptr;
    nashal_os_hooks.time = on ? v_time : nullptr;
    nashal_os_hooks.clock_gettime = on ? v_clock_gettime : nullptr;
    nashal_os_hooks.poll = on ? v_poll : nullptr;
    nashal_os_hooks.select = on ? v_select : nullptr;
}

}  // namespace

void clock_install() {
    Clock &c = clock_state();
    c.now_us = real_now_us();
    c.slept_us = 0;
    c.events.clear();
    c.installer = getpid();
    hook_clock(true);
}

void clock_uninstall() {
    hook_clock(false);
    clock_state().events.clear();
}

int64_t clock_now_us() {
    return clock_state().now_us;
}
int64_t clock_slept_us() {
    return clock_state().slept_us;
}
void clock_advance_us(int64_t us) {
    advance(us);
}

void clock_pace_background(bool on) {
    clock_state().pace_background = on;
}

void clock_at(int64_t delay_us, std::function<void()> fn) {
    Clock &c = clock_state();
    c.events.push_back({c.now_us + delay_us, std::move(fn)});
}

}  // namespace nashal::sim
