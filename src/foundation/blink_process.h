// Background blink processes: an LED toggled in software by a small process of its own, named
// for the LED, recorded by a symbolic link "/proc/<pid>\n" under /tmp, and ended only by signal
// 9 from the next call for that LED. The records are not locked: two callers racing can leave
// two blinkers, of which only the last is recorded.
#ifndef NASHAL_FOUNDATION_BLINK_PROCESS_H
#define NASHAL_FOUNDATION_BLINK_PROCESS_H

#include <sys/types.h>

#include <functional>

namespace nashal {

// The pid a record names, when that process still runs under `name`; otherwise -1. A pid that
// now belongs to some other program is not ours to kill, so the name is checked too.
pid_t blink_record_pid(const char *link, const char *name);

// (Re)writes the record: unlink, then a link whose target is "/proc/<pid>\n".
void blink_record_set(const char *link, pid_t pid);

// Ends the recorded blinker with signal 9, if one runs, and removes the record (a stale one too).
void blink_stop(const char *link, const char *name);

// Starts `toggle` in a detached process named `name` (descriptors 0 to 2 closed, a session of
// its own) that calls it for ever, and records it at `link`. Returns once the record is written,
// so a stop that follows at once always finds it; false when no process could be made.
bool blink_start(const char *link, const char *name, const std::function<void()> &toggle);

// The same with a record of the caller's own: `record` runs with the blinker's pid before this
// returns. Returns the pid, or -1 when no process could be made.
pid_t blink_spawn(const char *name, const std::function<void()> &toggle,
                  const std::function<void(pid_t)> &record);

// True when `pid` is a running process named `name`.
bool blink_running(pid_t pid, const char *name);

}  // namespace nashal

#endif  // NASHAL_FOUNDATION_BLINK_PROCESS_H
