// The System V semaphore locks that chips and buses are guarded by between processes. One set
// of one semaphore per key, mode 0666, taken with SEM_UNDO so that the kernel gives the lock
// back when a holder dies in the middle of a transfer. The creator of the set raises it to 1; a
// set a dead creator left at 0 is repaired. A take waits a bounded time and is tried three times
// before it is given up, so a caller never hangs for ever.
#ifndef NASHAL_FOUNDATION_SYSV_LOCK_H
#define NASHAL_FOUNDATION_SYSV_LOCK_H

#include <utility>

namespace nashal {

// 0 and the set's id in *semid (when not null), or -1 with a trace naming `who`.
int sysv_lock_acquire(const char *who, int key, int *semid);
// One +1 with SEM_UNDO; 0 or -1.
int sysv_lock_release(int semid);

// Holds a lock for a scope. held() tells whether the take worked.
class SysvLock {
  public:
    SysvLock(const char *who, int key) { held_ = sysv_lock_acquire(who, key, &semid_) == 0; }
    SysvLock(SysvLock &&o) noexcept
        : semid_(std::exchange(o.semid_, -1)), held_(std::exchange(o.held_, false)) {}
    SysvLock(const SysvLock &) = delete;
    SysvLock &operator=(const SysvLock &) = delete;
    SysvLock &operator=(SysvLock &&) = delete;
    ~SysvLock() {
        if (held_)
            sysv_lock_release(semid_);
    }
    bool held() const { return held_; }

  private:
    int semid_ = -1;
    bool held_ = false;
};

}  // namespace nashal

#endif  // NASHAL_FOUNDATION_SYSV_LOCK_H
