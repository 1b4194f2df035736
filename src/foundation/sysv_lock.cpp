#include "foundation/sysv_lock.h"

#include <errno.h>
#include <sys/ipc.h>
#include <sys/sem.h>

#include "nashal/hal_trace.h"

namespace nashal {

namespace {
constexpr int kAttempts = 3;

// glibc leaves the argument union of semctl to the caller.
union SemArg {
    int val;
    struct semid_ds *buf;
    unsigned short *array;
};
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
    struct sembuf take = {0, -1, SEM_UNDO};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (semop(id, &take, 1) == 0) {
            *semid = id;
            return 0;
        }
    }
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): get semaphore fail.\n", who, __LINE__);
    return -1;
}

int sysv_lock_release(int semid) {
    struct sembuf give = {0, 1, SEM_UNDO};
    return semop(semid, &give, 1) == 0 ? 0 : -1;
}

}  // namespace nashal
