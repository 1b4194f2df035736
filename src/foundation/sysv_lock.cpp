#include "foundation/sysv_lock.h"

#include <errno.h>
#include <sys/ipc.h>
#include <sys/sem.h>

#include <ctime>

#include "nashal/hal_trace.h"

namespace nashal {

namespace {
constexpr int kAttempts = 3;
// A holder keeps a lock for one transfer or configuration cycle, milliseconds at most. The bound
// only matters when something is badly wrong: rather than hang a caller for ever, an attempt
// gives up after this long and the take fails with its trace.
constexpr time_t kAttemptSeconds = 5;

// glibc leaves the argument union of semctl to the caller.
union SemArg {
    int val;
    struct semid_ds *buf;
    unsigned short *array;
};
// A set that nobody has ever operated on and whose value is 0 was created by a process that died
// before it could raise it to 1. Without this the lock would stay taken until reboot.
void repair_orphaned_set(int id) {
    struct semid_ds ds {};
    SemArg arg{};
    arg.buf = &ds;
    if (semctl(id, 0, IPC_STAT, arg) == 0 && ds.sem_otime == 0 && semctl(id, 0, GETVAL) == 0) {
        arg.val = 1;
        semctl(id, 0, SETVAL, arg);
    }
}
}  // namespace

int sysv_lock_acquire(const char *who, int key, int *semid) {
    bool creator = true;
    int id = semget(key, 1, IPC_CREAT | IPC_EXCL | 0666);
    if (id < 0 && errno == EEXIST) {
        creator = false;
        id = semget(key, 1, IPC_CREAT | 0666);
    }
    if (id < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", who, __LINE__);
        return -1;
    }
    if (creator) {
        SemArg arg{};
        arg.val = 1;
        if (semctl(id, 0, SETVAL, arg) < 0) {
            semctl(id, 0, IPC_RMID);
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error\n", who, __LINE__);
            return -1;
        }
    }
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        struct sembuf take = {0, -1, SEM_UNDO};
        struct timespec bound = {kAttemptSeconds, 0};
        if (semtimedop(id, &take, 1, &bound) == 0) {
            if (semid)
                *semid = id;
            return 0;
        }
        if (errno == EAGAIN)
            repair_orphaned_set(id);
    }
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): get semaphore fail.\n", who, __LINE__);
    return -1;
}

int sysv_lock_release(int semid) {
    struct sembuf give = {0, 1, SEM_UNDO};
    return semop(semid, &give, 1) == 0 ? 0 : -1;
}

}  // namespace nashal
