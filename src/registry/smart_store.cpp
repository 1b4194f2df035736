// The SMART cache: one small text file per disk under /tmp/smart, written by the monitoring
// service and read by the management side, so that asking about health never wakes a disk.
// All the files share one lock object, /var/lock/smart_tmp.lck: readers share it, a writer
// excludes them, so nobody ever reads half a record.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "disk/smart_layout.h"
#include "foundation/raii.h"
#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_smart.h"
#include "nashal/hal_pd.h"

namespace {

constexpr const char *kSmartDir = "/tmp/smart";
constexpr const char *kLockFile = "/var/lock/smart_tmp.lck";
constexpr const char *kCheckHealthFlag = "/tmp/smart/check_smart_health";
constexpr int kLineLen = 128;
// A cut or corrupt first line can claim any count; more entries than this can't be a disk's
// record, and allocating for them would only exhaust memory.
constexpr int32_t kMaxEntries = 4096;

struct InfoFile {
    char name[HAL_NAME_LEN];
    InfoFile(int enc_id, int port_id) {
        snprintf(name, sizeof name, "/tmp/smart/smart_%d_%d.info", enc_id, port_id);
    }
};

// The lock object held for one read or one write. fcntl record locks are what the other
// programs of the system take on this file.
class CacheLock {
  public:
    explicit CacheLock(short type) : fd_(open(kLockFile, O_RDWR | O_CREAT | O_TRUNC, 0700)) {
        if (!fd_)
            return;
        struct flock fl = {};
        fl.l_type = type;
        fl.l_whence = SEEK_SET;
        int r;
        do
            r = fcntl(fd_.get(), F_SETLKW, &fl);
        while (r < 0 && errno == EINTR);
        result_ = r;
    }
    bool opened() const { return fd_.valid(); }
    int result() const { return result_; }
    // Releases the lock; its result goes into the caller's.
    int release() {
        struct flock fl = {};
        fl.l_type = F_UNLCK;
        fl.l_whence = SEEK_SET;
        int r = fcntl(fd_.get(), F_SETLK, &fl);
        fd_.reset();
        return r;
    }

  private:
    nashal::FileDescriptor fd_;
    int result_ = -1;
};

// Splits on "," and newline as strtok does: runs of separators are one, empty fields vanish.
const char *next_token(char **save) {
    return strtok_r(nullptr, ",\n", save);
}

int32_t atoi_or_0(const char *t) {
    return t ? atoi(t) : 0;
}
int32_t strtol_or_0(const char *t) {
    return t ? static_cast<int32_t>(strtol(t, nullptr, 0)) : 0;
}

void read_header(char **save, PD_SMART_INFO *info) {
    info->head0 = atoi_or_0(next_token(save));
    info->summary_value = atoi_or_0(next_token(save));
    info->head3 = atoi_or_0(next_token(save));
    info->health = atoi_or_0(next_token(save));
    info->head6 = atoi_or_0(next_token(save));
    info->head7 = atoi_or_0(next_token(save));
    info->summary_status = atoi_or_0(next_token(save));
    info->temperature = atoi_or_0(next_token(save));
    info->head8 = strtol_or_0(next_token(save));
    info->head9 = strtol_or_0(next_token(save));
    info->head10 = strtol_or_0(next_token(save));
}

void read_entry(char *line, SMART_ATTR *a) {
    char *save = nullptr;
    const char *t = strtok_r(line, ",\n", &save);
    if (t)
        a->id = static_cast<int32_t>(strtoul(t, nullptr, 10));
    if ((t = next_token(&save)))
        nashal::hal_copy(a->name, t);
    if ((t = next_token(&save)))
        a->value = static_cast<uint8_t>(strtoul(t, nullptr, 10));
    if ((t = next_token(&save)))
        a->worst = static_cast<uint8_t>(strtoul(t, nullptr, 10));
    if ((t = next_token(&save)))
        a->thresh = static_cast<uint8_t>(strtoul(t, nullptr, 10));
    if ((t = next_token(&save)))
        a->raw = strtoull(t, nullptr, 10);
    if ((t = next_token(&save)))
        a->reserved_word = static_cast<uint16_t>(strtoul(t, nullptr, 10));
}

// Reads the record under the shared lock that the caller holds.
int read_locked(const char *path, PD_SMART_INFO **out, int lock_result) {
    struct stat st;
    if (stat(path, &st) != 0)
        return -1;
    nashal::FileHandle f(fopen(path, "r"));
    if (!f)
        return lock_result;
    char line[kLineLen];
    if (!fgets(line, sizeof line, f.get())) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: %s is empty\n", __func__, path);
        return -1;
    }
    char *save = nullptr;
    const char *first = strtok_r(line, ",\n", &save);
    int32_t count = atoi_or_0(first);
    if (count < 0 || count > kMaxEntries) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: %s claims %d entries\n", __func__, path, count);
        return -1;
    }
    auto *info = static_cast<PD_SMART_INFO *>(calloc(1, PD_SMART_INFO_SIZE(count)));
    if (!info)
        return -1;
    info->attr_count = count;
    read_header(&save, info);
    // A cut file still gives what it holds: the entries read so far, and success.
    for (int32_t i = 0; i < count && fgets(line, sizeof line, f.get()); ++i)
        read_entry(line, &info->attr[i]);
    *out = info;
    return 0;
}

// One line through the fixed buffer. A cut line still ends in a newline, so a value that
// overran the buffer can't swallow the next entry.
int put_line(FILE *f, char (&line)[kLineLen], int n) {
    if (n >= kLineLen)
        line[kLineLen - 2] = '\n';
    return fputs(line, f) < 0 ? -1 : 0;
}

int write_record(FILE *f, const PD_SMART_INFO *info) {
    char line[kLineLen];
    int n = snprintf(line, sizeof line, "%d,%d,%d,%d,%d,%d,%d,%d,%d,0x%04x,%d,%d\n",
                     info->attr_count, info->head0, info->summary_value, info->head3, info->health,
                     info->head6, info->head7, info->summary_status, info->temperature,
                     static_cast<unsigned>(info->head8), info->head9, info->head10);
    int result = put_line(f, line, n);
    for (int32_t i = 0; i < info->attr_count; ++i) {
        const SMART_ATTR &a = info->attr[i];
        n = snprintf(line, sizeof line, "%u,%s,%u,%u,%u,%llu,%u\n", static_cast<unsigned>(a.id),
                     a.name, a.value, a.worst, a.thresh, static_cast<unsigned long long>(a.raw),
                     a.reserved_word);
        result |= put_line(f, line, n);
    }
    return result;
}

bool watched_counter(int32_t id) {
    // Reallocated sectors, spin retries, pending sectors, uncorrectable sectors, interface
    // errors: the counters whose rise means a disk is going bad.
    return id == 5 || id == 10 || id == 197 || id == 198 || id == 199;
}

}  // namespace

extern "C" int PD_SMART_Read_Info(int enc_id, int port_id, PD_SMART_INFO **out) {
    if (!out)
        return -1;
    InfoFile file(enc_id, port_id);
    CacheLock lock(F_RDLCK);
    if (!lock.opened())
        return -1;
    int result = read_locked(file.name, out, lock.result());
    result |= lock.release();
    return result;
}

extern "C" int pd_smart_check_health(int enc_id, int port_id, const PD_SMART_INFO *info) {
    if (!info || access(kCheckHealthFlag, F_OK) != 0)
        return 0;
    PD_SMART_INFO *old = nullptr;
    if (PD_SMART_Read_Info(enc_id, port_id, &old) != 0 || !old ||
        old->attr_count != info->attr_count) {
        free(old);
        return 0;
    }
    // Entries are compared by position: a disk that reorders its attributes is not compared.
    for (int32_t i = 0; i < info->attr_count; ++i) {
        const SMART_ATTR &now = info->attr[i];
        const SMART_ATTR &was = old->attr[i];
        if (!watched_counter(now.id) || was.id != now.id || was.raw >= now.raw)
            continue;
        char log_name[32] = "";
        PD_Get_Log_Name(enc_id, port_id, log_name, sizeof log_name);
        char cmd[256];
        if (nashal::hal_build_command(
                __func__, cmd, sizeof cmd,
                "/sbin/log_tool -a \"%s S.M.A.R.T.[%u] %llu -> %llu.\" -t 1 >&/dev/null",
                nashal::in_double_quotes(log_name), static_cast<unsigned>(now.id),
                static_cast<unsigned long long>(was.raw),
                static_cast<unsigned long long>(now.raw)) > 0)
            (void)system(cmd);
    }
    free(old);
    return 0;
}

extern "C" int PD_SMART_Write_Info(int enc_id, int port_id, const PD_SMART_INFO *info) {
    if (!info)
        return -1;
    pd_smart_check_health(enc_id, port_id, info);
    InfoFile file(enc_id, port_id);
    struct stat st;
    if (stat(kSmartDir, &st) != 0 && mkdir(kSmartDir, 0700) != 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s: can't create directory %s!\n", __func__, kSmartDir);
    CacheLock lock(F_WRLCK);
    if (!lock.opened())
        return -1;
    int result = lock.result();
    // The record goes to a temporary file that replaces the old one whole: readers hold the
    // lock anyway, but a writer killed half way must not leave half a record behind either.
    char temp[HAL_NAME_LEN + 8];
    snprintf(temp, sizeof temp, "%s.XXXXXX", file.name);
    nashal::FileDescriptor fd(mkstemp(temp));
    nashal::FileHandle f(fd ? fdopen(fd.get(), "w") : nullptr);
    if (f) {
        fd.release();
        fchmod(fileno(f.get()), 0644);
        int written = write_record(f.get(), info);
        result |= written;
        if (fclose(f.release()) != 0 || rename(temp, file.name) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s: can't write %s, errno = %d\n", __func__, file.name,
                      errno);
            unlink(temp);
            result |= -1;
        }
    } else {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: can't open %s, errno = %d\n", __func__, file.name, errno);
    }
    result |= lock.release();
    return result;
}

extern "C" int PD_SMART_Clear_Info(int enc_id, int port_id) {
    InfoFile file(enc_id, port_id);
    if (access(file.name, F_OK) != 0)
        return 0;
    return unlink(file.name);
}

extern "C" int PD_SMART_Is_Error(int enc_id, int port_id) {
    PD_SMART_INFO *info = nullptr;
    int failing = 0;
    // A cache file that exists but can't be opened reads as success with no record.
    if (PD_SMART_Read_Info(enc_id, port_id, &info) == 0 && info)
        failing = info->health == PD_SMART_HEALTH_ERROR;
    free(info);
    return failing;
}

extern "C" uint8_t PD_SMART_Get_Temperature(const PD_SMART_INFO *info) {
    return info ? static_cast<uint8_t>(info->temperature & 0xff) : 0;
}
