// How a store file is read, replaced and locked.
//
// Reading takes no lock: a file is only ever replaced whole, by rename, so a reader sees the old
// or the new file and never a mix. Every change is one read-modify-write under the file's lock,
// "<file>.lck" beside it, taken with flock (the lock belongs to the open file description: it
// excludes other processes and other threads alike, and closing any other descriptor of the
// lock file doesn't drop it, as it would with fcntl). The new text goes to a temporary file in
// the same directory, which is renamed over the old one. Files under /etc/config/ survive
// reboots: their temporary file is synced before the rename and the directory after it. The
// other files are rebuilt at boot and are not synced.
//
// The lock pair (Ini_Conf_Write_Lock_File / Ini_Conf_Unlock_File) takes the same lock and
// records it for the calling thread of this process; a change that finds its file's lock
// recorded for the caller goes ahead without taking it again. A forked child doesn't inherit
// the record.
#ifndef NASHAL_FOUNDATION_INI_FILE_H
#define NASHAL_FOUNDATION_INI_FILE_H

#include <string>
#include <string_view>

#include "foundation/ini_document.h"
#include "foundation/raii.h"

namespace nashal::ini {

// The path the store works on: the file itself, or what it links to when it is a symbolic
// link (so that the rename replaces the target, not the link). Empty for a null or empty path.
std::string store_path(const char *file);

// The lock file of a store file.
std::string lock_path(const std::string &path);

// Reads a whole file. False when it exists but can't be read; a missing file gives no bytes
// and *existed false.
bool read_bytes(const std::string &path, std::string &bytes, bool *existed);

// Replaces the file with the bytes (temporary file and rename), keeping its mode. Traces and
// returns false on failure; the old file then stays as it was.
bool save(const std::string &path, std::string_view bytes);

// Whether the file is one that must survive a power cut (under /etc/config/).
bool durable(const std::string &path);

// The exclusive lock of one store file for one change; nothing to take when the caller holds
// the lock pair on it. False (with a trace) when the lock file can't be opened.
class ChangeLock {
  public:
    explicit ChangeLock(const std::string &path);
    explicit operator bool() const { return ok_; }

  private:
    FileDescriptor fd_;
    bool ok_ = false;
};

// Runs a read-modify-write of one file's bytes under its lock. edit(bytes, existed, changed)
// returns the call's result and sets changed when the file has to be written. A failed lock,
// read or write gives -1.
template <typename Edit>
int change_bytes(const char *file, Edit edit) {
    std::string path = store_path(file);
    if (path.empty())
        return -1;
    ChangeLock lock(path);
    if (!lock)
        return -1;
    std::string bytes;
    bool existed = false;
    if (!read_bytes(path, bytes, &existed))
        return -1;
    bool changed = false;
    int result = edit(bytes, existed, changed);
    if (changed && !save(path, bytes))
        return -1;
    return result;
}

// The same with the file parsed: edit(doc, existed, changed).
template <typename Edit>
int change(const char *file, Edit edit) {
    return change_bytes(file, [&](std::string &bytes, bool existed, bool &changed) {
        Document doc = Document::parse(bytes.data(), bytes.size());
        int result = edit(doc, existed, changed);
        if (changed)
            bytes = doc.serialize();
        return result;
    });
}

// A whole file for a query: one open, read and close, into room the calling thread keeps. False
// when the path is unusable or the file is absent or unreadable. The bytes stay valid until the
// calling thread's next read.
bool read_view(const char *file, std::string_view *bytes);

// The value of one field for a query: read_view and a scan of its bytes. False when the path is
// unusable, or the file or field is absent. The value stays valid until the calling thread's
// next read.
bool query(const char *file, const char *section, const char *field, std::string_view *value);

}  // namespace nashal::ini

#endif  // NASHAL_FOUNDATION_INI_FILE_H
