// Owners of the descriptors, streams and directories the library opens, so that no early
// return leaks one. Each closes what it holds on destruction; release() hands it over.
#ifndef NASHAL_FOUNDATION_RAII_H
#define NASHAL_FOUNDATION_RAII_H

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

namespace nashal {

class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : fd_(fd) {}
    FileDescriptor(FileDescriptor &&o) noexcept : fd_(std::exchange(o.fd_, -1)) {}
    FileDescriptor &operator=(FileDescriptor &&o) noexcept {
        if (this != &o)
            reset(std::exchange(o.fd_, -1));
        return *this;
    }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    ~FileDescriptor() { reset(); }

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    explicit operator bool() const { return valid(); }
    int release() { return std::exchange(fd_, -1); }
    void reset(int fd = -1) {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = fd;
    }

  private:
    int fd_ = -1;
};

// A FILE* from fopen or fdopen.
class FileHandle {
  public:
    FileHandle() = default;
    explicit FileHandle(FILE *f) : f_(f) {}
    FileHandle(FileHandle &&o) noexcept : f_(std::exchange(o.f_, nullptr)) {}
    FileHandle &operator=(FileHandle &&o) noexcept {
        if (this != &o)
            reset(std::exchange(o.f_, nullptr));
        return *this;
    }
    FileHandle(const FileHandle &) = delete;
    FileHandle &operator=(const FileHandle &) = delete;
    ~FileHandle() { reset(); }

    FILE *get() const { return f_; }
    explicit operator bool() const { return f_ != nullptr; }
    FILE *release() { return std::exchange(f_, nullptr); }
    void reset(FILE *f = nullptr) {
        if (f_)
            fclose(f_);
        f_ = f;
    }

  private:
    FILE *f_ = nullptr;
};

// A stream from popen; close() gives the command's wait status.
class PipeHandle {
  public:
    PipeHandle() = default;
    explicit PipeHandle(FILE *f) : f_(f) {}
    PipeHandle(PipeHandle &&o) noexcept : f_(std::exchange(o.f_, nullptr)) {}
    PipeHandle(const PipeHandle &) = delete;
    PipeHandle &operator=(const PipeHandle &) = delete;
    PipeHandle &operator=(PipeHandle &&) = delete;
    ~PipeHandle() { close(); }

    FILE *get() const { return f_; }
    explicit operator bool() const { return f_ != nullptr; }
    int close() {
        if (!f_)
            return -1;
        int status = pclose(f_);
        f_ = nullptr;
        return status;
    }

  private:
    FILE *f_ = nullptr;
};

class DirHandle {
  public:
    DirHandle() = default;
    explicit DirHandle(DIR *d) : d_(d) {}
    DirHandle(DirHandle &&o) noexcept : d_(std::exchange(o.d_, nullptr)) {}
    DirHandle(const DirHandle &) = delete;
    DirHandle &operator=(const DirHandle &) = delete;
    DirHandle &operator=(DirHandle &&) = delete;
    ~DirHandle() {
        if (d_)
            closedir(d_);
    }

    DIR *get() const { return d_; }
    explicit operator bool() const { return d_ != nullptr; }

  private:
    DIR *d_ = nullptr;
};

}  // namespace nashal

#endif  // NASHAL_FOUNDATION_RAII_H
