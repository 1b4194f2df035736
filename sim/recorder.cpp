// Recording a box: its files copied as they stand, then the queries run with every SG_IO answer
// and every outside program's answer kept, in a private view that takes the box's writes away.
#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <sstream>
#include <vector>

#include "os/os_seam.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/recording.h"
#include "sim/recording_sg_io.h"

namespace nashal::sim {
namespace {

// The files of /etc the library reads: the model files and its own stores. Anything else of
// /etc (the box's accounts, its network set-up) stays out of a recording.
bool etc_file_recorded(const std::string &name) {
    auto starts = [&](const char *p) { return name.rfind(p, 0) == 0; };
    auto ends = [&](const char *s) {
        size_t n = strlen(s);
        return name.size() >= n && name.compare(name.size() - n, n, s) == 0;
    };
    return name == "model.conf" || name == "hal.conf" || name == "platform.conf" ||
           (starts("model_") && ends(".conf")) || (starts("enclosure_") && ends(".conf"));
}

bool etc_config_file_recorded(const std::string &name) {
    return name == "Vornix.conf" || name == "enclosure.map" || name == "smart.conf" ||
           (name.rfind("smart_", 0) == 0);
}

// Top-level sysfs folders the library walks; the rest (kernel, module, firmware, fs, power)
// is left out. Of /sys/bus, only each bus's device links.
const char *const kSysWalked[] = {"devices", "class", "block", "dev"};
// Folders of /dev that are other file systems, never board state.
const char *const kDevSkipped[] = {"pts", "shm", "mqueue", "hugepages"};

struct Recorder {
    int dirfd = -1;
    std::vector<std::string> manifest;
    RecordSummary *summary = nullptr;

    void left_out(const std::string &rel, const std::string &why) {
        manifest.push_back("left-out\t" + rel + "\t" + why);
        ++summary->left_out;
    }

    bool make_dir(const std::string &rel) {
        std::string at;
        for (size_t i = 0; i <= rel.size(); ++i) {
            if (i < rel.size() && rel[i] != '/')
                continue;
            at = rel.substr(0, i);
            if (!at.empty() && ::mkdirat(dirfd, at.c_str(), 0755) != 0 && errno != EEXIST)
                return false;
        }
        return true;
    }

    bool write_rel(const std::string &rel, const std::string &bytes) {
        size_t slash = rel.find_last_of('/');
        if (slash != std::string::npos && !make_dir(rel.substr(0, slash)))
            return false;
        int fd = ::openat(dirfd, rel.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC,
                          0644);
        if (fd < 0)
            return false;
        bool ok = write_all(fd, bytes);
        return ::close(fd) == 0 && ok;
    }

    // Stops just past the limit, so that a huge or endless file costs next to nothing.
    static bool read_bounded(const std::string &path, std::string &out, int &error) {
        int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0) {
            error = errno;
            return false;
        }
        bool ok = read_all(fd, out, static_cast<size_t>(kRecordedFileLimit));
        if (!ok)
            error = errno;
        ::close(fd);
        return ok;
    }

    // Copies one entry of the box (abs) to rel, never following a link.
    void copy_entry(const std::string &abs, const std::string &rel, bool recurse) {
        if (rel.find_first_of("\t\n") != std::string::npos) {
            left_out(rel.substr(0, rel.find_first_of("\t\n")), "a name with a tab or newline");
            return;
        }
        struct stat st;
        if (::lstat(abs.c_str(), &st) != 0)
            return;
        if (S_ISLNK(st.st_mode)) {
            char buf[PATH_MAX];
            ssize_t n = ::readlink(abs.c_str(), buf, sizeof buf - 1);
            if (n <= 0)
                return left_out(rel, "unreadable link");
            buf[n] = '\0';
            size_t slash = rel.find_last_of('/');
            if (slash != std::string::npos)
                make_dir(rel.substr(0, slash));
            if (::symlinkat(buf, dirfd, rel.c_str()) != 0 && errno != EEXIST)
                return left_out(rel, strerror(errno));
            manifest.push_back("link\t" + rel + "\t" + buf);
            ++summary->links;
        } else if (S_ISDIR(st.st_mode)) {
            make_dir(rel);
            manifest.push_back("dir\t" + rel);
            if (!recurse)
                return;
            DIR *d = ::opendir(abs.c_str());
            if (!d)
                return left_out(rel, strerror(errno));
            std::vector<std::string> names;
            while (dirent *e = ::readdir(d))
                if (strcmp(e->d_name, ".") != 0 && strcmp(e->d_name, "..") != 0)
                    names.push_back(e->d_name);
            ::closedir(d);
            std::sort(names.begin(), names.end());
            for (const auto &name : names)
                copy_entry(abs + "/" + name, rel + "/" + name, true);
        } else if (S_ISREG(st.st_mode)) {
            if (!(st.st_mode & 0444))
                return left_out(rel, "write-only");
            std::string bytes;
            int error = 0;
            if (!read_bounded(abs, bytes, error))
                return left_out(rel, std::string("unreadable: ") + strerror(error));
            if (bytes.size() > static_cast<size_t>(kRecordedFileLimit))
                return left_out(rel, "larger than 1 MiB");
            if (!write_rel(rel, bytes))
                return left_out(rel, std::string("can't write: ") + strerror(errno));
            manifest.push_back("file\t" + rel + "\t" + std::to_string(bytes.size()) + "\t" +
                               std::to_string(st.st_size));
            ++summary->files;
        } else if (S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode)) {
            // A node is described, never copied: an empty file stands for it, as in any
            // appliance, and the manifest keeps its kind and numbers.
            if (!write_rel(rel, ""))
                return left_out(rel, std::string("can't write: ") + strerror(errno));
            manifest.push_back(
                std::string("node\t") + rel + "\t" + (S_ISCHR(st.st_mode) ? "char" : "block") +
                "\t" + std::to_string(major(st.st_rdev)) + ":" + std::to_string(minor(st.st_rdev)));
            ++summary->nodes;
        } else {
            left_out(rel, "neither file, folder, link nor device node");
        }
    }

    void copy_etc() {
        for (const auto &name : list_dir("/etc"))
            if (etc_file_recorded(name))
                copy_entry("/etc/" + name, "etc/" + name, false);
        for (const auto &name : list_dir("/etc/config"))
            if (etc_config_file_recorded(name))
                copy_entry("/etc/config/" + name, "etc/config/" + name, false);
        left_out("etc", "every file but the model files and the library's stores");
    }

    void copy_sys() {
        for (const auto &top : list_dir("/sys")) {
            bool walked =
                std::find_if(std::begin(kSysWalked), std::end(kSysWalked),
                             [&](const char *w) { return top == w; }) != std::end(kSysWalked);
            if (walked) {
                copy_entry("/sys/" + top, "sys/" + top, true);
            } else if (top == "bus") {
                for (const auto &bus : list_dir("/sys/bus"))
                    copy_entry("/sys/bus/" + bus + "/devices", "sys/bus/" + bus + "/devices", true);
                left_out("sys/bus", "drivers and bus settings: only each bus's devices");
            } else {
                left_out("sys/" + top, "not walked by the library");
            }
        }
    }

    void copy_dev() {
        for (const auto &name : list_dir("/dev")) {
            bool skipped =
                std::find_if(std::begin(kDevSkipped), std::end(kDevSkipped),
                             [&](const char *s) { return name == s; }) != std::end(kDevSkipped);
            if (skipped)
                left_out("dev/" + name, "another file system");
            else
                copy_entry("/dev/" + name, "dev/" + name, true);
        }
    }
};

// ---- SG_IO: every answer kept, keyed by node and command block; the first one wins ----

struct SgIoKey {
    std::string node;
    std::string block;
    bool operator<(const SgIoKey &o) const {
        return node != o.node ? node < o.node : block < o.block;
    }
};

std::map<SgIoKey, RecordedSgIo> &sg_io_answers() {
    static std::map<SgIoKey, RecordedSgIo> m;
    return m;
}

int (*g_previous_ioctl)(int, unsigned long, void *) = nullptr;

int recording_ioctl(int fd, unsigned long request, void *arg) {
    int result = g_previous_ioctl ? g_previous_ioctl(fd, request, arg) : ::ioctl(fd, request, arg);
    int error = errno;
    auto *hdr = static_cast<sg_io_hdr_t *>(arg);
    if (request == SG_IO && hdr && hdr->interface_id == 'S' && hdr->iovec_count == 0 && hdr->cmdp &&
        hdr->cmd_len > 0) {
        char link[64], target[PATH_MAX];
        snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
        ssize_t n = ::readlink(link, target, sizeof target - 1);
        if (n > 5 && strncmp(target, "/dev/", 5) == 0) {
            target[n] = '\0';
            SgIoKey key{target + 5, hex_packed(hdr->cmdp, hdr->cmd_len)};
            sg_io_answers().emplace(key, answer_of(*hdr, result, error));
        }
    }
    errno = error;
    return result;
}

// ---- the private view: writes taken away, programs wrapped ----

bool failed(std::string &error, const std::string &what) {
    error = what + ": " + strerror(errno);
    return false;
}

bool enter_private_view(std::string &error) {
    if (!enter_private_namespaces(0)) {
        error = "can't enter a private mount namespace";
        return false;
    }
    return true;
}

// The folders the library writes its state to: each gets an overlay whose upper layer is
// thrown away with the view.
const char *const kWritableFolders[] = {"/etc", "/tmp", "/var", "/run", "/sim"};
// Where the wrapped programs keep what they answered (inside the overlaid /tmp).
constexpr const char *kSpool = "/tmp/.nashal-record";

bool is_real_dir(const char *path) {
    struct stat st;
    return ::lstat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

bool overlay_writable_folders(int dirfd, const std::string &dir, std::string &error) {
    const char *spool = ".record-spool";
    if (::mkdirat(dirfd, spool, 0700) != 0 && errno != EEXIST)
        return failed(error, "can't make the spool folder");
    std::string spool_path = dir + "/" + spool;
    if (::mount("tmpfs", spool_path.c_str(), "tmpfs", 0, "mode=0700") != 0)
        return failed(error, "can't mount the spool on " + spool_path);
    // Reached through a descriptor from here on: an overlaid /tmp may hide the path.
    int spool_fd = ::open(spool_path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    std::string via_fd = "/proc/self/fd/" + std::to_string(spool_fd);
    bool ok = spool_fd >= 0;
    for (const char *folder : kWritableFolders) {
        if (!ok || !is_real_dir(folder))
            continue;
        std::string name = folder + 1;
        std::string upper = "upper-" + name, work = "work-" + name;
        ::mkdirat(spool_fd, upper.c_str(), 0755);
        ::mkdirat(spool_fd, work.c_str(), 0755);
        std::string options = std::string("lowerdir=") + folder + ",upperdir=" + via_fd + "/" +
                              upper + ",workdir=" + via_fd + "/" + work;
        if (::mount("overlay", folder, "overlay", 0, options.c_str()) != 0)
            ok = failed(error, std::string("can't keep ") + folder + " unwritten");
    }
    // The overlays hold on to the spool; the recording folder needn't show it.
    ::umount2(via_fd.c_str(), MNT_DETACH);
    if (spool_fd >= 0)
        ::close(spool_fd);
    ::unlinkat(dirfd, spool, AT_REMOVEDIR);
    return ok;
}

// A wrapped program runs the box's own and keeps its arguments, its output and its status.
std::string wrapper_script(const std::string &name, const std::string &real) {
    return "#!/bin/sh\n"
           "# Runs the box's own " +
           name +
           " and keeps what it answered, for the recording.\n"
           "run=$(mktemp " +
           kSpool + "/runs/" + name + ".XXXXXX) || exec " + real +
           " \"$@\"\n"
           "printf '%s\\n' \"$*\" > \"$run.args\"\n" +
           real +
           " \"$@\" > \"$run.out\"\n"
           "status=$?\n"
           "echo $status > \"$run.exit\"\n"
           "cat \"$run.out\"\n"
           "exit $status\n";
}

// Each folder of outside programs is replaced by a mirror: the wrapped programs, and a link to
// the box's own file for every other name.
bool wrap_programs(std::string &error) {
    // Keyed by the folder's real path: /sbin and /usr/sbin are often one folder.
    std::map<std::string, std::set<std::string>> by_folder;
    for (const auto &prog : stand_in_programs()) {
        size_t slash = prog.find_last_of('/');
        char real_path[PATH_MAX];
        if (::realpath(prog.substr(0, slash).c_str(), real_path))
            by_folder[real_path].insert(prog.substr(slash + 1));
    }
    make_dirs(std::string(kSpool) + "/runs");
    int index = 0;
    for (const auto &[folder, names] : by_folder) {
        std::string key = std::to_string(index++);
        std::string real = std::string(kSpool) + "/real/" + key;
        std::string mirror = std::string(kSpool) + "/mirror/" + key;
        make_dirs(real);
        make_dirs(mirror);
        if (::mount(folder.c_str(), real.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0)
            return failed(error, "can't keep " + folder + " reachable");
        for (const auto &name : list_dir(real)) {
            if (names.count(name))
                write_file(mirror + "/" + name, wrapper_script(name, real + "/" + name), 0755);
            else
                symlink_exact(real + "/" + name, mirror + "/" + name);
        }
        if (::mount(mirror.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr) != 0)
            return failed(error, "can't wrap the programs of " + folder);
    }
    return true;
}

struct Run {
    std::string args, out;
    int status = 0;
    struct timespec at {};
};

// What the wrapped programs kept, per program, in the order they ran.
std::map<std::string, std::vector<Run>> collected_runs() {
    std::map<std::string, std::vector<Run>> runs;
    std::string spool = std::string(kSpool) + "/runs";
    for (const auto &file : list_dir(spool)) {
        if (file.size() < 5 || file.compare(file.size() - 5, 5, ".args") != 0)
            continue;
        std::string base = spool + "/" + file.substr(0, file.size() - 5);
        std::string stem = file.substr(0, file.size() - 5);
        std::string name = stem.substr(0, stem.find_last_of('.'));
        Run r;
        r.args = read_file(base + ".args");
        if (!r.args.empty() && r.args.back() == '\n')
            r.args.pop_back();
        r.out = read_file(base + ".out");
        std::string status = read_file(base + ".exit");
        r.status = status.empty() ? 1 : atoi(status.c_str());
        struct stat st;
        if (::stat((base + ".args").c_str(), &st) == 0)
            r.at = st.st_mtim;
        runs[name].push_back(r);
    }
    for (auto &[name, list] : runs)
        std::stable_sort(list.begin(), list.end(), [](const Run &a, const Run &b) {
            return a.at.tv_sec != b.at.tv_sec ? a.at.tv_sec < b.at.tv_sec
                                              : a.at.tv_nsec < b.at.tv_nsec;
        });
    return runs;
}

// Program answers become scripted answers of the stand-ins; the first answer to the same
// arguments is the one kept, as the stand-in takes the first matching record.
void write_program_answers(Recorder &rec) {
    for (const auto &[name, list] : collected_runs()) {
        std::string answers;
        std::set<std::string> seen;
        int n = 0;
        for (const auto &run : list) {
            if (run.args.find('\n') != std::string::npos) {
                rec.left_out("sim/answers/" + name, "a run with a newline in its arguments");
                continue;
            }
            if (!seen.insert(run.args).second)
                continue;
            std::string out_rel =
                std::string(kRecordingOutDir) + "/" + name + "." + std::to_string(n++);
            rec.write_rel(out_rel, run.out);
            answers += "== " + run.args + "\nstdout-file /" + out_rel + "\nexit " +
                       std::to_string(run.status) + "\n";
            rec.manifest.push_back("file\t" + out_rel + "\t" + std::to_string(run.out.size()) +
                                   "\t" + std::to_string(run.out.size()));
            rec.manifest.push_back("run\t" + name + "\t" + run.args);
            ++rec.summary->program_answers;
        }
        rec.write_rel("sim/answers/" + name, answers);
        rec.manifest.push_back("file\tsim/answers/" + name + "\t" + std::to_string(answers.size()) +
                               "\t" + std::to_string(answers.size()));
    }
}

void write_sg_io_answers(Recorder &rec) {
    for (const auto &[key, answer] : sg_io_answers()) {
        std::string rel = std::string(kRecordingSgIoDir) + "/" + key.node + "/" + key.block;
        rec.write_rel(rel, answer_text(answer));
        rec.manifest.push_back("file\t" + rel + "\t0\t0");
        if (!answer.data.empty())
            rec.write_rel(rel + ".data", answer.data);
        rec.manifest.push_back("sg_io\t" + key.node + "\t" + key.block);
        ++rec.summary->sg_io_answers;
    }
}

// Runs the queries with SG_IO recorded and their output thrown away, then writes what the
// programs and devices answered into the recording.
void run_recorded(const std::function<std::vector<RecordedQuestion>()> &run_queries,
                  Recorder &rec) {
    sg_io_answers().clear();
    g_previous_ioctl = nashal_os_hooks.ioctl;
    nashal_os_hooks.ioctl = recording_ioctl;
    int null_fd = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (null_fd >= 0)
        ::dup2(null_fd, 1);
    std::vector<RecordedQuestion> questions = run_queries();
    fflush(stdout);
    nashal_os_hooks.ioctl = g_previous_ioctl;
    for (const auto &q : questions) {
        std::string name = q.question;
        for (char &c : name)
            if (c == ' ' || c == '/')
                c = '_';
        std::string rel = std::string(kRecordingAnswersDir) + "/" + name + ".json";
        rec.write_rel(rel, q.answer);
        rec.manifest.push_back("question\t" + q.question + "\t" + rel);
    }
    write_program_answers(rec);
    write_sg_io_answers(rec);
}

bool dir_is_empty(const std::string &dir) {
    return list_dir(dir).empty();
}

}  // namespace

bool record_box(const std::string &dir,
                const std::function<std::vector<RecordedQuestion>()> &run_queries,
                RecordSummary &summary, std::string &error) {
    summary = RecordSummary{};
    if (!make_dirs(dir) || !dir_is_empty(dir)) {
        error = dir + " is not an empty folder: a recording starts from nothing";
        return false;
    }
    char real[PATH_MAX];
    std::string absolute = ::realpath(dir.c_str(), real) ? real : dir;
    Recorder rec;
    rec.summary = &summary;
    rec.dirfd = ::open(dir.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (rec.dirfd < 0)
        return failed(error, "can't open " + dir);
    rec.manifest.push_back("# nashal recording 1");
    rec.copy_etc();
    rec.copy_sys();
    rec.copy_dev();
    rec.left_out("proc", "not recorded");
    rec.left_out("sim", "the emulators' own descriptions of a virtual box");
    rec.left_out("tmp", "run-time files");
    rec.left_out("var", "run-time files");
    rec.left_out("ports",
                 "serial lines, I2C, I/O ports, CMOS and the SoC's memory-mapped "
                 "registers: their chips are not recorded");

    // The queries run in a child: its view, with the overlays and wrapped programs, dies with
    // it, and the caller keeps its own. The child leaves its manifest lines, its counts and its
    // error, if any, in a report file: a pipe would stay open in the processes the queries
    // leave behind (an enclosure monitor).
    const char *report_name = ".record-report";
    fflush(nullptr);
    pid_t child = ::fork();
    if (child < 0)
        return failed(error, "can't fork");
    if (child == 0) {
        Recorder answers;
        RecordSummary counts;
        answers.summary = &counts;
        answers.dirfd = rec.dirfd;
        std::string why;
        bool ok = enter_private_view(why) && overlay_writable_folders(rec.dirfd, absolute, why) &&
                  wrap_programs(why);
        if (ok)
            run_recorded(run_queries, answers);
        std::string report = ok ? "ok\n" : "error " + why + "\n";
        report += std::to_string(counts.program_answers) + " " +
                  std::to_string(counts.sg_io_answers) + " " + std::to_string(counts.left_out) +
                  "\n";
        for (const auto &line : answers.manifest)
            report += line + "\n";
        answers.write_rel(report_name, report);
        // Straight out: the parent owns everything at exit (buffers, leak checks, emulators).
        ::_exit(ok ? 0 : 1);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    std::string report;
    int report_fd = ::openat(rec.dirfd, report_name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (report_fd >= 0) {
        read_all(report_fd, report);
        ::close(report_fd);
    }
    ::unlinkat(rec.dirfd, report_name, 0);
    std::istringstream lines(report);
    std::string head, line;
    std::getline(lines, head);
    bool ok = head == "ok" && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!ok)
        error = head.rfind("error ", 0) == 0 ? head.substr(6) : "the queries failed";
    int programs = 0, sg_io = 0, left = 0;
    if (std::getline(lines, line))
        sscanf(line.c_str(), "%d %d %d", &programs, &sg_io, &left);
    summary.program_answers = programs;
    summary.sg_io_answers = sg_io;
    summary.left_out += left;
    while (std::getline(lines, line))
        rec.manifest.push_back(line);
    // Only a whole recording gets its manifest: without one, the folder is no recording.
    if (ok) {
        std::string manifest;
        for (const auto &line : rec.manifest)
            manifest += line + "\n";
        ok = rec.write_rel(kRecordingManifest, manifest);
        if (!ok)
            error = std::string("can't write the manifest: ") + strerror(errno);
    }
    ::close(rec.dirfd);
    return ok;
}

}  // namespace nashal::sim
