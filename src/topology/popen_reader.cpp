// The one reader of outside programs' output. Tools print raw binary pages as well as text, so
// the reader counts bytes instead of trusting a terminator, and it never stores more than the
// caller's buffer holds.
#include <cstdio>
#include <cstring>

#include "foundation/raii.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"

extern "C" {
int comm_sys_read_from_popen(const char *command, char *buffer, int size) {
    if (!command || !buffer || size <= 0)
        return -1;
    memset(buffer, 0, static_cast<size_t>(size));
    nashal::PipeHandle pipe(popen(command, "r"));
    if (!pipe) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):popen failed, cmd = %s\n", __func__, __LINE__, command);
        return -1;
    }
    const int room = size - 1;
    int count = 0;
    char chunk[512];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, pipe.get())) > 0) {
        // Store what fits first, so that the trace tells the count at the moment the byte that
        // has no room came: size - 1.
        size_t fits = n < static_cast<size_t>(room - count) ? n : static_cast<size_t>(room - count);
        memcpy(buffer + count, chunk, fits);
        count += static_cast<int>(fits);
        if (fits < n) {
            // Closing our end makes a tool that still writes die of SIGPIPE, so the wait in
            // pclose ends.
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error, BUFFER overflow,cmd = %s,count = %d\n",
                      __func__, __LINE__, command, count);
            pipe.close();
            memset(buffer, 0, static_cast<size_t>(size));
            return -1;
        }
    }
    pipe.close();  // the exit status is of no interest: a failing tool prints nothing
    if (count == 0) {
        ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):no output, cmd = %s\n", __func__, __LINE__, command);
        return -1;
    }
    buffer[count] = '\0';
    return count;
}
}  // extern "C"
