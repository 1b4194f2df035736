// Replaying a recording: the checks made before it is entered, and SG_IO answered from it.
#include <scsi/sg.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <vector>

#include "sim/devices.h"
#include "sim/fs.h"
#include "sim/recording.h"
#include "sim/recording_sg_io.h"

namespace nashal::sim {

std::string hex_spaced(const uint8_t *bytes, size_t n) {
    std::string s;
    char b[16];
    for (size_t i = 0; i < n; ++i) {
        snprintf(b, sizeof b, "%s%02x", i ? " " : "", bytes[i]);
        s += b;
    }
    return s;
}

std::string hex_packed(const uint8_t *bytes, size_t n) {
    std::string s = hex_spaced(bytes, n);
    s.erase(std::remove(s.begin(), s.end(), ' '), s.end());
    return s;
}

RecordedSgIo answer_of(const sg_io_hdr_t &hdr, int result, int error) {
    RecordedSgIo a;
    a.result = result;
    a.error = result < 0 ? error : 0;
    a.status = hdr.status;
    a.masked_status = hdr.masked_status;
    a.msg_status = hdr.msg_status;
    a.host_status = hdr.host_status;
    a.driver_status = hdr.driver_status;
    a.resid = hdr.resid;
    a.duration = hdr.duration;
    a.info = hdr.info;
    if (result == 0 && hdr.sbp && hdr.sb_len_wr > 0)
        a.sense.assign(reinterpret_cast<const char *>(hdr.sbp),
                       std::min<size_t>(hdr.sb_len_wr, hdr.mx_sb_len));
    if (result == 0 && hdr.dxfer_direction == SG_DXFER_FROM_DEV && hdr.dxferp) {
        long moved = static_cast<long>(hdr.dxfer_len) - std::max(hdr.resid, 0);
        if (moved > 0)
            a.data.assign(static_cast<const char *>(hdr.dxferp), static_cast<size_t>(moved));
    }
    return a;
}

std::string answer_text(const RecordedSgIo &a) {
    std::ostringstream t;
    t << "ioctl " << a.result << "\nerrno " << a.error << "\nstatus " << a.status
      << "\nmasked_status " << a.masked_status << "\nmsg_status " << a.msg_status
      << "\nhost_status " << a.host_status << "\ndriver_status " << a.driver_status << "\nresid "
      << a.resid << "\nduration " << a.duration << "\ninfo " << a.info << "\nsense "
      << hex_spaced(reinterpret_cast<const uint8_t *>(a.sense.data()), a.sense.size()) << "\ndata "
      << a.data.size() << "\n";
    return t.str();
}

bool parse_answer_text(const std::string &text, RecordedSgIo &a) {
    std::istringstream lines(text);
    std::string line;
    int fields = 0;
    while (std::getline(lines, line)) {
        std::istringstream in(line);
        std::string key;
        in >> key;
        long long v = 0;
        if (key == "sense") {
            std::string byte;
            while (in >> byte && a.sense.size() < SG_MAX_SENSE)
                a.sense += static_cast<char>(strtoul(byte.c_str(), nullptr, 16));
            ++fields;
            continue;
        }
        if (!(in >> v))
            return false;
        int *target = key == "ioctl"           ? &a.result
                      : key == "errno"         ? &a.error
                      : key == "status"        ? &a.status
                      : key == "masked_status" ? &a.masked_status
                      : key == "msg_status"    ? &a.msg_status
                      : key == "host_status"   ? &a.host_status
                      : key == "driver_status" ? &a.driver_status
                      : key == "resid"         ? &a.resid
                                               : nullptr;
        if (target)
            *target = static_cast<int>(v);
        else if (key == "duration")
            a.duration = static_cast<unsigned>(v);
        else if (key == "info")
            a.info = static_cast<unsigned>(v);
        ++fields;
    }
    return fields > 0;
}

namespace {

// Folders of an appliance that stand over the box's own in the view; anything else a link
// reaches there is the laptop's.
const std::vector<std::vector<std::string>> kOwnedPrefixes = {
    {"etc"},        {"sys"},         {"dev"},
    {"sbin"},       {"tmp"},         {"var"},
    {"sim"},        {"usr", "sbin"}, {"proc", "bus", "pci"},
    {".nashal-sim"}};

std::vector<std::string> split_path(const std::string &path) {
    std::vector<std::string> parts;
    std::istringstream in(path);
    std::string part;
    while (std::getline(in, part, '/'))
        parts.push_back(part);
    return parts;
}

// Whether `comps` lies in an owned folder (full) or on the way to one (partial).
bool owned(const std::vector<std::string> &comps, bool partial_ok) {
    for (const auto &prefix : kOwnedPrefixes) {
        size_t n = std::min(prefix.size(), comps.size());
        if (!std::equal(prefix.begin(), prefix.begin() + static_cast<long>(n), comps.begin()))
            continue;
        if (comps.size() >= prefix.size() || partial_ok)
            return true;
    }
    return false;
}

std::string joined(const std::vector<std::string> &comps) {
    std::string s;
    for (const auto &c : comps)
        s += (s.empty() ? "" : "/") + c;
    return s;
}

// Follows `target` from the folder `at` as the view would, with the recording's own links, and
// says whether every step stays in the recording's folders. A component that is missing ends
// the walk there: the view can't go further either.
bool stays_inside(const std::string &dir, std::vector<std::string> at, const std::string &target,
                  int &hops) {
    if (!target.empty() && target[0] == '/')
        at.clear();
    std::vector<std::string> pending = split_path(target);
    std::reverse(pending.begin(), pending.end());
    while (!pending.empty()) {
        std::string part = pending.back();
        pending.pop_back();
        if (part.empty() || part == ".")
            continue;
        if (part == "..") {
            if (!at.empty())
                at.pop_back();
            continue;
        }
        at.push_back(part);
        if (!owned(at, true))
            return false;
        std::string real = dir + "/" + joined(at);
        char buf[PATH_MAX];
        ssize_t n = ::readlink(real.c_str(), buf, sizeof buf - 1);
        if (n < 0)
            continue;
        if (++hops > 40)
            return false;
        buf[n] = '\0';
        at.pop_back();
        if (buf[0] == '/')
            at.clear();
        std::vector<std::string> more = split_path(buf);
        for (auto it = more.rbegin(); it != more.rend(); ++it)
            pending.push_back(*it);
    }
    return owned(at, false);
}

// The library marks its living processes with links to /proc/<pid> (the enclosure monitors'
// files in /tmp/em): a replay makes them too, and they reach nothing but a process's folder.
bool is_process_marker(const char *target) {
    if (strncmp(target, "/proc/", 6) != 0 || !target[6])
        return false;
    for (const char *c = target + 6; *c; ++c)
        if (*c < '0' || *c > '9')
            return false;
    return true;
}

bool check_tree(const std::string &dir, const std::string &rel, std::string &problem) {
    for (const auto &name : list_dir(dir + "/" + rel)) {
        std::string sub = rel.empty() ? name : rel + "/" + name;
        struct stat st;
        if (::lstat((dir + "/" + sub).c_str(), &st) != 0)
            continue;
        if (S_ISLNK(st.st_mode)) {
            char buf[PATH_MAX];
            ssize_t n = ::readlink((dir + "/" + sub).c_str(), buf, sizeof buf - 1);
            buf[n < 0 ? 0 : n] = '\0';
            if (is_process_marker(buf))
                continue;
            int hops = 0;
            std::vector<std::string> at = split_path(rel);
            at.erase(std::remove(at.begin(), at.end(), ""), at.end());
            if (!stays_inside(dir, at, buf, hops)) {
                problem = "links out of it: " + sub + " -> " + buf;
                return false;
            }
        } else if (S_ISDIR(st.st_mode)) {
            if (!check_tree(dir, sub, problem))
                return false;
        } else if (S_ISREG(st.st_mode) &&
                   st.st_size > (sub == kRecordingManifest ? kManifestLimit : kRecordedFileLimit)) {
            problem = "holds " + sub + " of " + std::to_string(st.st_size) +
                      " bytes, more than a recorded file may hold";
            return false;
        }
    }
    return true;
}

// The recorded entries whose loss the replay can't notice by itself: the library would only
// see a box without that device or answer. Store files of /etc are left out: the replayed
// library rewrites them as on the box.
bool check_manifest(const std::string &dir, std::string &problem) {
    for (const auto &line : read_lines(dir + "/" + kRecordingManifest)) {
        std::vector<std::string> f;
        std::istringstream in(line);
        std::string field;
        while (std::getline(in, field, '\t'))
            f.push_back(field);
        // Folders aren't checked: a copy of a recording may lose its empty ones (git keeps
        // none), and a folder's loss shows in the entries it held.
        if (f.size() < 2 || (f[0] != "file" && f[0] != "link" && f[0] != "node"))
            continue;
        const std::string &path = f[1];
        if (path.rfind("sys/", 0) != 0 && path.rfind("dev/", 0) != 0 && path.rfind("sim/", 0) != 0)
            continue;
        struct stat st;
        if (::lstat((dir + "/" + path).c_str(), &st) != 0) {
            problem = "lacks " + path + ", which was recorded";
            return false;
        }
    }
    return true;
}

int replay_sg_io(int fd, unsigned long request, void *arg) {
    auto *hdr = static_cast<sg_io_hdr_t *>(arg);
    std::string node = device_path_of(fd);
    if (request != SG_IO || !hdr || hdr->interface_id != 'S' || !hdr->cmdp || hdr->cmd_len == 0) {
        errno = ENOTTY;
        return -1;
    }
    std::string key = hex_packed(hdr->cmdp, hdr->cmd_len);
    std::string name = node.rfind("/dev/", 0) == 0 ? node.substr(5) : node;
    std::string base = std::string("/") + kRecordingSgIoDir + "/" + name + "/" + key;
    RecordedSgIo a;
    if (!exists(base) || !parse_answer_text(read_file(base), a)) {
        fprintf(stderr, "virtual appliance: the recording holds no SG_IO answer of %s for %s\n",
                node.c_str(), hex_spaced(hdr->cmdp, hdr->cmd_len).c_str());
        errno = ENODATA;
        return -1;
    }
    if (a.result < 0) {
        errno = a.error;
        return -1;
    }
    a.data = read_file(base + ".data");
    hdr->status = static_cast<unsigned char>(a.status);
    hdr->masked_status = static_cast<unsigned char>(a.masked_status);
    hdr->msg_status = static_cast<unsigned char>(a.msg_status);
    hdr->host_status = static_cast<unsigned short>(a.host_status);
    hdr->driver_status = static_cast<unsigned short>(a.driver_status);
    hdr->duration = a.duration;
    hdr->info = a.info;
    hdr->resid = a.resid;
    if (hdr->dxfer_direction == SG_DXFER_FROM_DEV && hdr->dxferp) {
        size_t n = std::min<size_t>(a.data.size(), hdr->dxfer_len);
        memcpy(hdr->dxferp, a.data.data(), n);
        hdr->resid = static_cast<int>(hdr->dxfer_len - n);
    }
    hdr->sb_len_wr = 0;
    if (hdr->sbp) {
        size_t n = std::min<size_t>(a.sense.size(), hdr->mx_sb_len);
        memcpy(hdr->sbp, a.sense.data(), n);
        hdr->sb_len_wr = static_cast<unsigned char>(n);
    }
    return 0;
}

}  // namespace

bool is_recording(const std::string &dir) {
    struct stat st;
    return ::lstat((dir + "/" + kRecordingManifest).c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool check_recording(const std::string &dir, std::string &problem) {
    return check_tree(dir, "", problem) && check_manifest(dir, problem);
}

void attach_sg_io_replay() {
    register_ioctl_prefix("/dev/sg", replay_sg_io);
}

}  // namespace nashal::sim
