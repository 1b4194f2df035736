// The virtual appliance: a directory tree that stands in for a whole box.
//
// An appliance directory holds etc/, sys/, dev/, sbin/, usr/sbin/, tmp/, var/, lib/,
// proc/bus/pci/ and sim/ (device descriptions, stand-in answers, the invocation log).
// Activating it gives the calling process a private mount and IPC namespace in which the
// appliance's directories stand at the real paths (/etc, /sys, /dev, /sbin, ...), so the
// unchanged library, and every shell command it runs, sees the appliance byte for byte. The real
// machine is never written. Forked children inherit the view.
#ifndef NASHAL_SIM_APPLIANCE_H
#define NASHAL_SIM_APPLIANCE_H

#include <string>
#include <vector>

namespace nashal::sim {

class Appliance {
  public:
    // A fresh, empty appliance in a new temporary directory, removed again on destruction.
    static Appliance fresh();
    // A fresh temporary copy of an existing appliance directory (an example board).
    static Appliance copy_of(const std::string &source_dir);
    // An existing appliance directory, used in place (its state persists, as on a real box).
    static Appliance open(const std::string &dir);

    Appliance(Appliance &&other) noexcept;
    Appliance &operator=(Appliance &&other) noexcept;
    Appliance(const Appliance &) = delete;
    Appliance &operator=(const Appliance &) = delete;
    ~Appliance();

    // The appliance directory as the host sees it.
    const std::string &dir() const { return dir_; }

    // Enters the appliance: from here on /etc, /sys, /dev, ... are the appliance's, sleeps run
    // on the virtual clock, and device emulators answer the seam. Returns false (with a message
    // on stderr) when the namespaces can't be made.
    bool activate();
    // Leaves the appliance and gives the process its own machine back. Processes the appliance's
    // programs left running in the background (blinkers) end with it, unless
    // keep_background_processes() was called: a test must not leave a blinker spinning on the
    // virtual clock after it ends, while `halctl --root` lets a blink outlive the call, as on a
    // box.
    void deactivate();
    void keep_background_processes() { keep_background_ = true; }
    bool active() const { return active_; }

    // Where a real path of the box stands right now: the path itself while active, the path
    // under dir() otherwise. Builders use it so that they work before and after activation.
    std::string path(const std::string &real_path) const;

  private:
    Appliance(std::string dir, bool owned);
    std::string dir_;
    bool owned_ = false;
    bool active_ = false;
    bool keep_background_ = false;
};

// Gives the process a mount namespace of its own (plus `flags`, CLONE_NEWIPC say) with private
// mounts, entering a user namespace first when not root. False, with a message on stderr, when
// the kernel refuses.
bool enter_private_namespaces(int flags);

// Creates the skeleton directories of an appliance in dir (idempotent).
void make_skeleton(const std::string &dir);

// The stand-in programs installed into an appliance's sbin/ (and usr/sbin/, etc/init.d/).
const std::vector<std::string> &stand_in_programs();

// Lines of /sim/invocations.log: one line per run of a stand-in, its argv joined by spaces.
std::vector<std::string> invocations();
void clear_invocations();

}  // namespace nashal::sim

#endif  // NASHAL_SIM_APPLIANCE_H
