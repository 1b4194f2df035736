#include "appliance.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "clock.h"
#include "foundation/raii.h"
#include "cmos_model.h"
#include "i2c_bus_model.h"
#include "nashal/se_model.h"
#include "buzzer_model.h"
#include "soc_hub_model.h"
#include "superio_model.h"
#include "controller_emulator.h"
#include "net_model.h"
#include "devices.h"
#include "fs.h"
#include "gpiolib_pins.h"
#include "io_port_model.h"
#include "recording.h"
#include "sg_io_model.h"

#ifndef NASHAL_SIM_TOOL_BUILD_PATH
#define NASHAL_SIM_TOOL_BUILD_PATH ""
#endif

namespace nashal::sim {
namespace {

// The directories of an appliance that stand over the machine's own.
const char *const kOwnedTopDirs[] = {"etc", "sys", "dev", "sbin", "tmp", "var", "sim"};

const char *const kSkeleton[] = {"etc",     "etc/config", "etc/init.d",   "sys", "dev",
                                 "sbin",    "usr/sbin",   "tmp",          "var", "var/lock",
                                 "var/log", "lib",        "proc/bus/pci", "sim"};

// Device nodes of the machine that every program needs and that carry no board state.
const char *const kCarriedNodes[] = {"null", "zero", "full", "random", "urandom", "tty"};

struct ViewState {
    int real_root = -1;
    int real_cwd = -1;
    std::string view_dir;
    // What activation itself put into the appliance directory (stand-in links, mount points for
    // carried device nodes); taken away again on leaving, so a board's folder keeps only its own
    // state.
    std::vector<std::string> scaffolding;
    // The process that entered the appliance: only it ends the appliance's background processes
    // (a forked child leaving by accident must not end its parent, which shares the namespace).
    pid_t owner = 0;
};

ViewState &view() {
    static ViewState v;
    return v;
}

bool fail(const char *what, const std::string &path = {}) {
    fprintf(stderr, "virtual appliance: %s %s: %s\n", what, path.c_str(), strerror(errno));
    return false;
}

bool bind_mount(const std::string &source, const std::string &target, bool recursive = false) {
    unsigned long flags = MS_BIND | (recursive ? MS_REC : 0);
    if (::mount(source.c_str(), target.c_str(), nullptr, flags, nullptr) != 0)
        return fail("can't bind", source + " -> " + target);
    return true;
}

bool is_dir(const std::string &path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool is_link(const std::string &path) {
    struct stat st;
    return ::lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode);
}

bool write_proc(const char *path, const std::string &text) {
    int fd = ::open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    bool ok = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::close(fd);
    return ok;
}

}  // namespace

// Without root, a user namespace gives the rights for the mount and IPC namespaces.
bool enter_private_namespaces(int flags) {
    if (::geteuid() != 0) {
        uid_t uid = ::geteuid();
        gid_t gid = ::getegid();
        if (::unshare(CLONE_NEWUSER) != 0)
            return fail("can't create a user namespace");
        write_proc("/proc/self/setgroups", "deny");
        if (!write_proc("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1") ||
            !write_proc("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1"))
            return fail("can't map the user");
    }
    if (::unshare(CLONE_NEWNS | flags) != 0)
        return fail("can't create the private namespaces");
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return fail("can't make the mounts private");
    return true;
}

namespace {

std::string self_dir() {
    char buf[PATH_MAX];
    ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0)
        return {};
    buf[n] = '\0';
    std::string p(buf);
    return p.substr(0, p.find_last_of('/'));
}

// The one program behind every stand-in: next to the running program, in the installed
// libexec folder, or in the build tree that made this library.
std::string stand_in_binary() {
    std::string here = self_dir();
    const std::string candidates[] = {here + "/nashal-sim-tool", here + "/../sim/nashal-sim-tool",
                                      here + "/../libexec/nashal/nashal-sim-tool",
                                      NASHAL_SIM_TOOL_BUILD_PATH};
    for (const auto &c : candidates) {
        if (!c.empty() && ::access(c.c_str(), X_OK) == 0) {
            char real[PATH_MAX];
            if (::realpath(c.c_str(), real))
                return real;
        }
    }
    return {};
}

// Where the stand-in program stands inside the view: in the view's own root, because the
// folder it was built in may be hidden by the appliance (a build tree under /tmp).
constexpr const char *kStandInInView = "/.nashal-sim/nashal-sim-tool";

// Links each stand-in into the appliance unless the board brings its own program there.
void install_stand_ins(const std::string &dir) {
    for (const auto &prog : stand_in_programs()) {
        std::string link = dir + prog;
        if (exists(link) && !is_link(link))
            continue;
        if (is_link(link) && exists(link) && is_dir(link))
            continue;
        if (symlink_exact(kStandInInView, link))
            view().scaffolding.push_back(link);
    }
}

// Carries the stand-in program into the view.
bool carry_stand_in(const std::string &view_dir) {
    std::string tool = stand_in_binary();
    if (tool.empty()) {
        fprintf(stderr, "virtual appliance: stand-in program not found; outside programs fail\n");
        return true;
    }
    std::string target = view_dir + kStandInInView;
    if (!write_file(target, "", 0755))
        return fail("can't place the stand-in", target);
    return bind_mount(tool, target);
}

bool carry_dev(const std::string &dir, const std::string &view_dir) {
    for (const char *node : kCarriedNodes) {
        std::string target = view_dir + "/dev/" + node;
        if (!exists(target) && write_file(target, ""))
            view().scaffolding.push_back(dir + "/dev/" + node);
        if (!exists(std::string("/dev/") + node))
            continue;
        if (!bind_mount(std::string("/dev/") + node, target))
            return false;
    }
    make_dirs(view_dir + "/dev/pts");
    if (!bind_mount("/dev/pts", view_dir + "/dev/pts"))
        return false;
    // The kernel finds the pseudo-terminal instance from the multiplexer's own file system, so
    // /dev/ptmx is the one inside the carried /dev/pts, as in a container.
    std::string ptmx = view_dir + "/dev/ptmx";
    if (!is_link(ptmx)) {
        ::unlink(ptmx.c_str());
        if (::symlink("pts/ptmx", ptmx.c_str()) != 0)
            return fail("can't link", ptmx);
        view().scaffolding.push_back(dir + "/dev/ptmx");
    }
    // A private /dev/shm, as the IPC namespace is private: POSIX shared memory and named
    // semaphores of one test never meet another's.
    make_dirs(view_dir + "/dev/shm");
    if (::mount("tmpfs", (view_dir + "/dev/shm").c_str(), "tmpfs", 0, "mode=1777") != 0)
        return fail("can't mount /dev/shm");
    return true;
}

// Builds the view: a tmpfs root holding the machine's own tree, with the appliance's folders
// bound over the paths the system names.
bool build_view(const std::string &dir, const std::string &view_dir) {
    if (::mount("tmpfs", view_dir.c_str(), "tmpfs", 0, "mode=0755") != 0)
        return fail("can't mount the view", view_dir);
    for (const auto &name : list_dir("/")) {
        bool owned = false;
        for (const char *top : kOwnedTopDirs)
            owned = owned || name == top;
        std::string real = "/" + name;
        std::string target = view_dir + "/" + name;
        if (owned) {
            make_dirs(target);
            continue;
        }
        if (is_link(real)) {
            char buf[PATH_MAX];
            ssize_t n = ::readlink(real.c_str(), buf, sizeof buf - 1);
            if (n <= 0)
                continue;
            buf[n] = '\0';
            if (::symlink(buf, target.c_str()) != 0)
                return fail("can't link", target);
        } else if (is_dir(real)) {
            make_dirs(target);
            if (!bind_mount(real, target, true))
                return false;
        } else {
            write_file(target, "");
            if (!bind_mount(real, target))
                return false;
        }
    }
    for (const char *top : kOwnedTopDirs) {
        make_dirs(dir + "/" + top);
        make_dirs(view_dir + "/" + top);
        if (!bind_mount(dir + "/" + top, view_dir + "/" + top))
            return false;
    }
    if (is_dir(dir + "/usr/sbin") && is_dir(view_dir + "/usr/sbin") &&
        !bind_mount(dir + "/usr/sbin", view_dir + "/usr/sbin"))
        return false;
    if (is_dir(dir + "/proc/bus/pci") && is_dir(view_dir + "/proc/bus/pci") &&
        !bind_mount(dir + "/proc/bus/pci", view_dir + "/proc/bus/pci"))
        return false;
    // lib/: only what the board describes (kernel modules, firmware) stands over the machine's
    // folders; the machine's own libraries stay, or no program would start.
    for (const auto &name : list_dir(dir + "/lib")) {
        char real[PATH_MAX];
        if (!::realpath(("/lib/" + name).c_str(), real))
            continue;
        if (is_dir(dir + "/lib/" + name) && !bind_mount(dir + "/lib/" + name, view_dir + real))
            return false;
    }
    return carry_stand_in(view_dir) && carry_dev(dir, view_dir);
}

}  // namespace

const std::vector<std::string> &stand_in_programs() {
    static const std::vector<std::string> progs = {
        "/sbin/sg_inq",
        "/sbin/sg_logs",
        "/sbin/sg_readcap",
        "/sbin/sg_requests",
        "/sbin/sg_senddiag",
        "/sbin/sg_start",
        "/sbin/sg_ses",
        "/sbin/sg_raw",
        "/sbin/sginfo",
        "/sbin/sg_write_buffer",
        "/sbin/hdparm",
        "/sbin/lsiutil",
        "/sbin/sas2flash",
        "/sbin/sas3flash",
        "/sbin/udevadm",
        "/sbin/ifconfig",
        "/sbin/insmod",
        "/sbin/rmmod",
        "/sbin/lsmod",
        "/sbin/log_tool",
        "/sbin/lcd_tool",
        "/sbin/daemon_mgr",
        "/sbin/hal_daemon",
        "/sbin/hal_event",
        "/sbin/vcfg",
        "/sbin/pidof",
        "/usr/sbin/ethtool",
        "/etc/init.d/pd_attach",
        "/etc/init.d/pd_detach",
        "/etc/init.d/power_button.sh",
    };
    return progs;
}

void make_skeleton(const std::string &dir) {
    for (const char *sub : kSkeleton)
        make_dirs(dir + "/" + sub);
}

Appliance::Appliance(std::string dir, bool owned) : dir_(std::move(dir)), owned_(owned) {}

Appliance Appliance::fresh() {
    char tmpl[] = "/tmp/nashal-appliance-XXXXXX";
    const char *made = ::mkdtemp(tmpl);
    if (!made) {
        perror("virtual appliance: mkdtemp");
        std::abort();
    }
    make_skeleton(made);
    return Appliance(made, true);
}

Appliance Appliance::copy_of(const std::string &source_dir) {
    Appliance a = fresh();
    std::string cmd = "cp -a '" + source_dir + "/.' '" + a.dir_ + "/'";
    if (std::system(cmd.c_str()) != 0)
        fprintf(stderr, "virtual appliance: copy failed\n");
    make_skeleton(a.dir_);
    return a;
}

Appliance Appliance::open(const std::string &dir) {
    char real[PATH_MAX];
    std::string d = ::realpath(dir.c_str(), real) ? std::string(real) : dir;
    make_skeleton(d);
    return Appliance(d, false);
}

Appliance::Appliance(Appliance &&other) noexcept
    : dir_(std::move(other.dir_)),
      owned_(other.owned_),
      active_(other.active_),
      keep_background_(other.keep_background_) {
    other.owned_ = false;
    other.active_ = false;
}

Appliance &Appliance::operator=(Appliance &&other) noexcept {
    if (this != &other) {
        this->~Appliance();
        new (this) Appliance(std::move(other));
    }
    return *this;
}

Appliance::~Appliance() {
    if (active_)
        deactivate();
    if (owned_ && !dir_.empty())
        remove_tree(dir_);
}

namespace {

// Every process forked while the appliance was active shares the IPC namespace made for it, and
// only those: the blinkers its programs detached. They run on their own copy of the virtual
// clock, so nothing else would ever end them.
void end_background_processes() {
    struct stat own {};
    if (::stat("/proc/self/ns/ipc", &own) != 0)
        return;
    nashal::DirHandle proc(::opendir("/proc"));
    if (!proc)
        return;
    const pid_t self = ::getpid();
    while (const dirent *e = ::readdir(proc.get())) {
        char *end = nullptr;
        const long pid = std::strtol(e->d_name, &end, 10);
        if (pid <= 0 || *end != '\0' || pid == self)
            continue;
        struct stat ns {};
        const std::string path = std::string("/proc/") + e->d_name + "/ns/ipc";
        if (::stat(path.c_str(), &ns) == 0 && ns.st_ino == own.st_ino && ns.st_dev == own.st_dev)
            ::kill(static_cast<pid_t>(pid), SIGKILL);
    }
}

// What the board's init does before any daemon starts, as /sim/boot.conf lists it (one step a
// line): "setup_model_conf" runs the model selection, so that /etc/model.conf is the board's
// own description from the first query on, as on a box that has booted.
void run_described_boot() {
    std::istringstream steps(read_file("/sim/boot.conf"));
    std::string step;
    while (steps >> step) {
        if (step[0] == '#') {
            std::getline(steps, step);
            continue;
        }
        if (step == "setup_model_conf") {
            if (se_sys_setup_model_conf() != 0)
                fprintf(stderr, "virtual appliance: model selection failed\n");
        } else {
            fprintf(stderr, "virtual appliance: /sim/boot.conf: unknown step %s\n", step.c_str());
        }
    }
}

}  // namespace

bool Appliance::activate() {
    if (active_)
        return true;
    ViewState &v = view();
    if (!v.view_dir.empty()) {
        fprintf(stderr, "virtual appliance: another appliance is active in this process\n");
        return false;
    }
    install_stand_ins(dir_);
    char tmpl[] = "/tmp/nashal-view-XXXXXX";
    if (!::mkdtemp(tmpl))
        return fail("can't make the view folder");
    std::string view_dir = tmpl;
    char cwd[PATH_MAX];
    std::string old_cwd = ::getcwd(cwd, sizeof cwd) ? cwd : "/";

    if (!enter_private_namespaces(CLONE_NEWIPC) || !build_view(dir_, view_dir)) {
        ::rmdir(view_dir.c_str());
        return false;
    }
    v.real_root = ::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
    v.real_cwd = ::open(old_cwd.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (::chdir(view_dir.c_str()) != 0 || ::chroot(".") != 0)
        return fail("can't enter the view");
    v.view_dir = view_dir;
    v.owner = ::getpid();
    // The system's shell commands use bash syntax ("&>", ">&"); /bin/sh is bash in the view.
    if (::access("/usr/bin/bash", X_OK) == 0)
        bind_mount("/usr/bin/bash", "/bin/sh");
    if (::chdir(old_cwd.c_str()) != 0 && ::chdir("/") != 0)
        return fail("can't change folder");
    clock_install();
    devices_install();
    // The chips the board describes answer from the start, as on a box that was switched on.
    attach_described_cmos();
    attach_described_i2c();
    attach_described_superio();
    attach_described_soc();
    attach_described_hub();
    attach_described_gpio();
    attach_described_io_ports();
    attach_buzzer();
    // A recording answers SG_IO as the recorded drives did, and nothing else.
    if (is_recording("/"))
        attach_sg_io_replay();
    else
        attach_sg_io_emulator();
    attach_described_controller();
    attach_network();
    active_ = true;
    run_described_boot();
    return true;
}

void Appliance::deactivate() {
    if (!active_)
        return;
    if (!keep_background_ && view().owner == ::getpid())
        end_background_processes();
    detach_described_controller();
    devices_uninstall();
    clock_uninstall();
    ViewState &v = view();
    if (::fchdir(v.real_root) != 0 || ::chroot(".") != 0)
        perror("virtual appliance: leave");
    ::umount2(v.view_dir.c_str(), MNT_DETACH);
    ::rmdir(v.view_dir.c_str());
    for (const auto &path : v.scaffolding)
        ::unlink(path.c_str());
    if (::fchdir(v.real_cwd) != 0 && ::chdir("/") != 0)
        perror("virtual appliance: chdir");
    ::close(v.real_root);
    ::close(v.real_cwd);
    v = ViewState{};
    active_ = false;
}

std::string Appliance::path(const std::string &real_path) const {
    if (active_)
        return real_path;
    return dir_ + real_path;
}

std::vector<std::string> invocations() {
    return read_lines("/sim/invocations.log");
}

void clear_invocations() {
    ::truncate("/sim/invocations.log", 0);
}

}  // namespace nashal::sim
