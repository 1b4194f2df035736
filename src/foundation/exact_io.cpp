// Reads and writes that move exactly the length asked for, resuming after signals.
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "nashal/hal_trace.h"
#include "nashal/hal_util.h"

extern "C" int read_exactly(int fd, void *buffer, size_t length) {
    if (!buffer)
        return -1;
    char *at = static_cast<char *>(buffer);
    ssize_t last = 0;
    while (length > 0) {
        last = read(fd, at, length);
        if (last == 0)
            break;
        if (last < 0) {
            if (errno == EINTR)
                continue;
            ERR_TRACE(HAL_TRACE_ERROR, "%s: can't read file due to %s!\n", __func__,
                      strerror(errno));
            break;
        }
        at += last;
        length -= static_cast<size_t>(last);
    }
    return last < 1 ? -1 : 0;
}

extern "C" int write_exactly(int fd, const void *data, size_t length) {
    if (!data)
        return -1;
    const char *at = static_cast<const char *>(data);
    ssize_t last = 0;
    while (length > 0) {
        last = write(fd, at, length);
        if (last == 0)
            break;
        if (last < 0) {
            if (errno == EINTR)
                continue;
            ERR_TRACE(HAL_TRACE_ERROR, "%s: can't write file due to %s!\n", __func__,
                      strerror(errno));
            break;
        }
        at += last;
        length -= static_cast<size_t>(last);
    }
    return last < 1 ? -1 : 0;
}

extern "C" int copy_exactly(int source_fd, int target_fd, uint64_t length) {
    char buf[128];
    while (length > 0) {
        size_t n = length < sizeof buf ? static_cast<size_t>(length) : sizeof buf;
        if (read_exactly(source_fd, buf, n) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s: can't read file %d!\n", __func__, source_fd);
            return -1;
        }
        if (write_exactly(target_fd, buf, n) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s: can't write file %d!\n", __func__, target_fd);
            return -1;
        }
        length -= n;
    }
    return 0;
}
