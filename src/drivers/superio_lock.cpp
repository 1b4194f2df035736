// The one cross-process lock on the Super I/O chip: a System V semaphore that the kernel gives
// back (SEM_UNDO) when its holder dies, since blink processes are ended with signal 9 at any
// moment, possibly in the middle of a configuration cycle.
#include <sys/ipc.h>
#include <sys/sem.h>

#include <cerrno>
#include <ctime>

#include "drivers/superio_access.h"
#include "drivers/superio_chips.h"
#include "nashal/hal_trace.h"

namespace {

constexpr int kAttempts = 3;
// A holder keeps the lock for one configuration cycle, microseconds on a box. The bound only
// matters when something is badly wrong: rather than hang a caller for ever, an attempt gives up
// after this long and the call fails with its trace.
constexpr time_t kAttemptSeconds = 5;

union semun_arg {
    int val;
    struct semid_ds *buf;
};

// A set that nobody has ever operated on and whose value is 0 was created by a process that died
// before it could set the value to 1. Without this the lock would stay taken until reboot.
void repair_orphaned_set(int id) {
    struct semid_ds ds {};
    semun_arg arg;
    arg.buf = &ds;
    if (semctl(id, 0, IPC_STAT, arg) == 0 && ds.sem_otime == 0 && semctl(id, 0, GETVAL) == 0) {
        arg.val = 1;
        semctl(id, 0, SETVAL, arg);
    }
}

}  // namespace

extern "C" {

int acquire_sio_lock(int key, int *semaphore_id) {
    bool creator = true;
    int id = semget(key, 1, IPC_CREAT | IPC_EXCL | 0666);
    if (id < 0 && errno == EEXIST) {
        creator = false;
        id = semget(key, 1, IPC_CREAT | 0666);
    }
    if (id < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", __func__, __LINE__);
        return -1;
    }
    if (creator) {
        semun_arg arg;
        arg.val = 1;
        if (semctl(id, 0, SETVAL, arg) < 0) {
            semctl(id, 0, IPC_RMID);
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", __func__, __LINE__);
            return -1;
        }
    }
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        struct sembuf op = {0, -1, SEM_UNDO};
        struct timespec bound = {kAttemptSeconds, 0};
        if (semtimedop(id, &op, 1, &bound) == 0) {
            if (semaphore_id)
                *semaphore_id = id;
            return 0;
        }
        if (errno == EAGAIN)
            repair_orphaned_set(id);
    }
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): get semaphore fail.\n", __func__, __LINE__);
    return -1;
}

int release_sio_lock(int semaphore_id) {
    struct sembuf op = {0, 1, SEM_UNDO};
    return semop(semaphore_id, &op, 1) == 0 ? 0 : -1;
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
