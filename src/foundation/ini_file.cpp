#include "foundation/ini_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
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
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't open lock file %s due to %s!\n", __func__,
                  lck.c_str(), strerror(errno));
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

// The whole file; false when it exists but can't be read, true with *existed false when it
// is missing.
bool read_all(const std::string &path, std::string &bytes, bool *existed) {
    *existed = false;
    bytes.clear();
    FileDescriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) {
        if (errno == ENOENT || errno == ENOTDIR)
            return true;
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't open %s due to %s!\n", __func__, path.c_str(),
                  strerror(errno));
        return false;
    }
    char buf[4096];
    for (;;) {
        ssize_t n = read(fd.get(), buf, sizeof buf);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            ERR_TRACE(HAL_TRACE_WARN, "%s: can't read %s due to %s!\n", __func__, path.c_str(),
                      strerror(errno));
            return false;
        }
        if (n == 0)
            break;
        bytes.append(buf, static_cast<size_t>(n));
    }
    *existed = true;
    return true;
}

}  // namespace

bool load(const std::string &path, Document &doc, bool *existed) {
    std::string bytes;
    bool found = false;
    if (!read_all(path, bytes, &found))
        return false;
    doc = Document::parse(bytes.data(), bytes.size());
    if (existed)
        *existed = found;
    return true;
}

bool save(const std::string &path, const Document &doc) {
    std::string dir = dir_of(path);
    std::string tmp = dir + "/." + base_of(path) + ".XXXXXX";
    std::vector<char> name(tmp.begin(), tmp.end());
    name.push_back('\0');
    FileDescriptor fd(mkostemp(name.data(), O_CLOEXEC));
    if (!fd) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't create a temporary file for %s due to %s!\n",
                  __func__, path.c_str(), strerror(errno));
        return false;
    }
    struct stat st;
    mode_t mode = stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644;
    std::string text = doc.serialize();
    bool ok = fchmod(fd.get(), mode) == 0 &&
              (text.empty() || write_exactly(fd.get(), text.data(), text.size()) == 0) &&
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

bool read_for_query(const char *file, std::string &bytes) {
    std::string path = store_path(file);
    bool existed = false;
    return !path.empty() && read_all(path, bytes, &existed) && existed;
}

bool query(const char *file, const char *section, const char *field, std::string *value) {
    std::string bytes;
    return read_for_query(file, bytes) && lookup(bytes, section, field, value);
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
