// The one cross-process lock on the Super I/O chip: the common System V semaphore lock, which
// the kernel gives back (SEM_UNDO) when its holder dies, since blink processes are ended with
// signal 9 at any moment, possibly in the middle of a configuration cycle.
#include "drivers/superio_access.h"
#include "drivers/superio_chips.h"
#include "foundation/sysv_lock.h"
#include "nashal/hal_trace.h"

extern "C" {

int acquire_sio_lock(int key, int *semaphore_id) {
    return nashal::sysv_lock_acquire(__func__, key, semaphore_id);
}

int release_sio_lock(int semaphore_id) {
    return nashal::sysv_lock_release(semaphore_id);
}

}  // extern "C"

namespace nashal::superio {

SioLock::SioLock(const char *function, int line) {
    held_ = acquire_sio_lock(SIO_LOCK_KEY, &semaphore_id_) == 0;
    if (!held_)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", function, line);
}

SioLock::~SioLock() {
    if (held_)
        release_sio_lock(semaphore_id_);
}

}  // namespace nashal::superio
