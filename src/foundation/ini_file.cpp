#include "foundation/ini_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "nashal/hal_trace.h"
#include "nashal/hal_util.h"
#include "nashal/ini_conf.h"

// The handle of the lock pair names the lock it stands for.
struct INI_CONF_LOCK {
    dev_t dev;
    ino_t ino;
    pid_t pid;
    std::thread::id owner;
};

namespace nashal::ini {
namespace {

// A lock file this process holds through the lock pair, for one thread, possibly nested.
struct Held {
    dev_t dev;
    ino_t ino;
    pid_t pid;
    std::thread::id owner;
    int fd;
    int count;
};

std::mutex held_mutex;
std::vector<Held> held;

// Forgets the records a forked child inherited from its parent. The descriptor is closed
// without unlocking: the lock belongs to the parent's open file description.
void forget_inherited_locked() {
    pid_t me = getpid();
    for (size_t i = 0; i < held.size();) {
        if (held[i].pid != me) {
            close(held[i].fd);
            held.erase(held.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
            ++i;
        }
    }
}

Held *find_held_locked(dev_t dev, ino_t ino, std::thread::id owner) {
    for (Held &h : held)
        if (h.dev == dev && h.ino == ino && h.owner == owner)
            return &h;
    return nullptr;
}

int open_lock_file(const std::string &path, struct stat *st) {
    std::string lck = lock_path(path);
    int fd = open(lck.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't open lock file %s due to %s!\n", __func__, lck.c_str(),
                  strerror(errno));
        return -1;
    }
    if (fstat(fd, st) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

bool lock_exclusive(int fd) {
    while (flock(fd, LOCK_EX) != 0) {
        if (errno != EINTR) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s: can't lock due to %s!\n", __func__, strerror(errno));
            return false;
        }
    }
    return true;
}

std::string dir_of(const std::string &path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string base_of(const std::string &path) {
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

std::string store_path(const char *file) {
    if (!file || !*file)
        return {};
    struct stat st;
    if (lstat(file, &st) == 0 && S_ISLNK(st.st_mode)) {
        char real[PATH_MAX];
        if (realpath(file, real))
            return real;
    }
    return file;
}

std::string lock_path(const std::string &path) {
    return path + ".lck";
}

bool durable(const std::string &path) {
    return path.rfind("/etc/config/", 0) == 0;
}

namespace {

// Opens a store file for reading; -1 when it is missing (existed false) or can't be opened.
int open_for_read(const char *path, bool *existed) {
    *existed = false;
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return -1;
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't open %s due to %s!\n", __func__, path,
                  strerror(errno));
        return -1;
    }
    *existed = true;
    return fd;
}

// Room for a file's bytes, kept per thread so that reading allocates nothing once it has grown.
// What it holds is read afresh on every call: nothing of a file is remembered between calls.
struct ReadRoom {
    std::unique_ptr<char[]> data;
    size_t size = 0;
};

ReadRoom &read_room() {
    thread_local ReadRoom room;
    return room;
}

// Reads a whole file into the room; the number of bytes, or -1 (traced) on a read error.
ssize_t read_whole(int fd, const char *path, ReadRoom &room) {
    if (room.size == 0) {
        room.size = 16384;
        room.data.reset(new char[room.size]);
    }
    size_t used = 0;
    for (;;) {
        if (used == room.size) {
            std::unique_ptr<char[]> bigger(new char[room.size * 2]);
            std::memcpy(bigger.get(), room.data.get(), used);
            room.data = std::move(bigger);
            room.size *= 2;
        }
        ssize_t n = read(fd, room.data.get() + used, room.size - used);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            ERR_TRACE(HAL_TRACE_WARN, "%s: can't read %s due to %s!\n", __func__, path,
                      strerror(errno));
            return -1;
        }
        if (n == 0)
            return static_cast<ssize_t>(used);
        used += static_cast<size_t>(n);
        // A read that comes back short has met the end of the file: store files are regular
        // files, which a read fills as far as they go. A query is then one open, one read and
        // one close; only a file that fills the room is read again.
        if (used < room.size)
            return static_cast<ssize_t>(used);
    }
}

}  // namespace

bool read_bytes(const std::string &path, std::string &bytes, bool *existed) {
    bytes.clear();
    FileDescriptor fd(open_for_read(path.c_str(), existed));
    if (!fd)
        return !*existed;
    ReadRoom &room = read_room();
    ssize_t n = read_whole(fd.get(), path.c_str(), room);
    if (n < 0)
        return false;
    bytes.assign(room.data.get(), static_cast<size_t>(n));
    return true;
}

bool save(const std::string &path, std::string_view bytes) {
    std::string dir = dir_of(path);
    std::string tmp = dir + "/." + base_of(path) + ".XXXXXX";
    std::vector<char> name(tmp.begin(), tmp.end());
    name.push_back('\0');
    FileDescriptor fd(mkostemp(name.data(), O_CLOEXEC));
    if (!fd) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't create a temporary file for %s due to %s!\n", __func__,
                  path.c_str(), strerror(errno));
        return false;
    }
    struct stat st;
    mode_t mode = stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644;
    bool ok = fchmod(fd.get(), mode) == 0 &&
              (bytes.empty() || write_exactly(fd.get(), bytes.data(), bytes.size()) == 0) &&
              (!durable(path) || fsync(fd.get()) == 0);
    fd.reset();
    if (ok && rename(name.data(), path.c_str()) != 0)
        ok = false;
    if (!ok) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't write %s due to %s!\n", __func__, path.c_str(),
                  strerror(errno));
        unlink(name.data());
        return false;
    }
    if (durable(path)) {
        FileDescriptor d(open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (d)
            fsync(d.get());
    }
    return true;
}

ChangeLock::ChangeLock(const std::string &path) {
    struct stat st;
    int fd = open_lock_file(path, &st);
    if (fd < 0)
        return;
    {
        std::lock_guard<std::mutex> guard(held_mutex);
        forget_inherited_locked();
        if (find_held_locked(st.st_dev, st.st_ino, std::this_thread::get_id())) {
            close(fd);
            ok_ = true;
            return;
        }
    }
    fd_.reset(fd);
    ok_ = lock_exclusive(fd);
}

bool read_view(const char *file, std::string_view *bytes) {
    if (!file || !*file)
        return false;
    // Reading follows a link by itself: the link only matters to the rename of a change.
    bool existed = false;
    FileDescriptor fd(open_for_read(file, &existed));
    if (!fd)
        return false;
    ReadRoom &room = read_room();
    ssize_t n = read_whole(fd.get(), file, room);
    if (n < 0)
        return false;
    *bytes = std::string_view(room.data.get(), static_cast<size_t>(n));
    return true;
}

bool query(const char *file, const char *section, const char *field, std::string_view *value) {
    std::string_view bytes;
    return read_view(file, &bytes) && lookup(bytes, section, field, value);
}

}  // namespace nashal::ini

using namespace nashal::ini;

extern "C" INI_CONF_LOCK *Ini_Conf_Write_Lock_File(const char *file) {
    std::string path = store_path(file);
    if (path.empty())
        return nullptr;
    struct stat st;
    int fd = open_lock_file(path, &st);
    if (fd < 0)
        return nullptr;
    std::thread::id me = std::this_thread::get_id();
    {
        std::lock_guard<std::mutex> guard(held_mutex);
        forget_inherited_locked();
        if (Held *h = find_held_locked(st.st_dev, st.st_ino, me)) {
            close(fd);
            ++h->count;
            return new INI_CONF_LOCK{st.st_dev, st.st_ino, getpid(), me};
        }
    }
    if (!lock_exclusive(fd)) {
        close(fd);
        return nullptr;
    }
    std::lock_guard<std::mutex> guard(held_mutex);
    held.push_back(Held{st.st_dev, st.st_ino, getpid(), me, fd, 1});
    return new INI_CONF_LOCK{st.st_dev, st.st_ino, getpid(), me};
}

extern "C" int Ini_Conf_Unlock_File(INI_CONF_LOCK *handle) {
    if (!handle)
        return -1;
    int result = -1;
    {
        std::lock_guard<std::mutex> guard(held_mutex);
        forget_inherited_locked();
        Held *h = handle->pid == getpid()
                      ? find_held_locked(handle->dev, handle->ino, handle->owner)
                      : nullptr;
        if (h) {
            if (--h->count == 0) {
                close(h->fd);
                held.erase(held.begin() + (h - held.data()));
            }
            result = 0;
        }
    }
    delete handle;
    return result;
}
