#include "sim/net_model.h"

#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sim/devices.h"
#include "sim/fs.h"

namespace nashal::sim {
namespace {

constexpr const char *kStateFile = "/sim/net.conf";
constexpr const char *kClass = "/sys/class/net/";

std::vector<std::string> &renames() {
    static std::vector<std::string> r;
    return r;
}

void save(const std::vector<NetState> &states) {
    std::string text;
    for (const auto &s : states)
        text += s.name + (s.up ? " up" : " down") + " phy " + std::to_string(s.phy) + "\n";
    write_file(kStateFile, text);
}

bool present(const std::string &name) {
    struct stat st;
    return !name.empty() && ::lstat((kClass + name).c_str(), &st) == 0;
}

// The interface's line; one is added for an interface sysfs shows but the file doesn't know
// (a board written by hand): down, PHY 0.
NetState &state_of(std::vector<NetState> &states, const std::string &name) {
    for (auto &s : states)
        if (s.name == name)
            return s;
    states.push_back({name, false, 0});
    return states.back();
}

std::string attribute_path(const std::string &name, const char *attribute) {
    return kClass + name + "/" + attribute;
}

int fail(int error) {
    errno = error;
    return -1;
}

std::string name_of(const char (&field)[IFNAMSIZ]) {
    return std::string(field, strnlen(field, IFNAMSIZ));
}

int get_flags(struct ifreq *ifr) {
    std::string name = name_of(ifr->ifr_name);
    if (!present(name))
        return fail(ENODEV);
    auto states = net_states();
    bool up = state_of(states, name).up;
    ifr->ifr_flags =
        static_cast<short>(IFF_BROADCAST | IFF_MULTICAST | (up ? IFF_UP | IFF_RUNNING : 0));
    return 0;
}

int set_flags(const struct ifreq *ifr) {
    std::string name = name_of(ifr->ifr_name);
    if (!present(name))
        return fail(ENODEV);
    auto states = net_states();
    bool up = (ifr->ifr_flags & IFF_UP) != 0;
    state_of(states, name).up = up;
    save(states);
    write_file(attribute_path(name, "operstate"), up ? "up\n" : "down\n");
    write_file(attribute_path(name, "flags"), up ? "0x1003\n" : "0x1002\n");
    return 0;
}

int set_name(const struct ifreq *ifr) {
    std::string from = name_of(ifr->ifr_name);
    std::string to = name_of(ifr->ifr_newname);
    if (!present(from))
        return fail(ENODEV);
    if (to.empty() || to.size() >= IFNAMSIZ || to.find('/') != std::string::npos)
        return fail(EINVAL);
    auto states = net_states();
    if (state_of(states, from).up)
        return fail(EBUSY);
    if (present(to))
        return fail(EEXIST);
    // The class link points at <device>/net/<name>: the folder and the link both take the new
    // name, so the next process's readlink sees it.
    char target[PATH_MAX];
    ssize_t n = ::readlink((kClass + from).c_str(), target, sizeof target - 1);
    if (n < 0)
        return fail(EIO);
    target[n] = '\0';
    std::string old_target = target;
    std::string new_target = old_target.substr(0, old_target.rfind('/') + 1) + to;
    std::string old_dir = std::string(kClass) + old_target;
    std::string new_dir = std::string(kClass) + new_target;
    if (::rename(old_dir.c_str(), new_dir.c_str()) != 0 || ::unlink((kClass + from).c_str()) != 0 ||
        ::symlink(new_target.c_str(), (kClass + to).c_str()) != 0)
        return fail(EIO);
    state_of(states, from).name = to;
    save(states);
    renames().push_back(from + ">" + to);
    return 0;
}

int ethtool(const struct ifreq *ifr) {
    std::string name = name_of(ifr->ifr_name);
    if (!present(name))
        return fail(ENODEV);
    uint32_t cmd = 0;
    memcpy(&cmd, ifr->ifr_data, sizeof cmd);
    if (cmd != ETHTOOL_GSET)
        return fail(EOPNOTSUPP);
    auto states = net_states();
    const NetState &s = state_of(states, name);
    // Like most drivers, the PHY answers only while the interface is up.
    if (!s.up)
        return fail(ENETDOWN);
    struct ethtool_cmd answer = {};
    answer.cmd = ETHTOOL_GSET;
    answer.phy_address = static_cast<uint8_t>(s.phy);
    ethtool_cmd_speed_set(
        &answer, static_cast<uint32_t>(atoi(read_file(attribute_path(name, "speed")).c_str())));
    memcpy(ifr->ifr_data, &answer, sizeof answer);
    return 0;
}

int net_ioctl(int, unsigned long request, void *arg) {
    auto *ifr = static_cast<struct ifreq *>(arg);
    if (!ifr)
        return fail(EFAULT);
    switch (request) {
        case SIOCGIFFLAGS:
            return get_flags(ifr);
        case SIOCSIFFLAGS:
            return set_flags(ifr);
        case SIOCSIFNAME:
            return set_name(ifr);
        case SIOCETHTOOL:
            return ethtool(ifr);
        default:
            return fail(EOPNOTSUPP);
    }
}

}  // namespace

std::vector<NetState> net_states() {
    std::vector<NetState> states;
    for (const DescriptionEntry &e : read_description(kStateFile, 2)) {
        NetState s;
        s.name = e[0];
        s.up = e[1] == "up";
        if (e.size() > 3 && e[2] == "phy")
            s.phy = std::atoi(e[3].c_str());
        states.push_back(s);
    }
    return states;
}

const std::vector<std::string> &net_renames() {
    return renames();
}

void attach_network() {
    renames().clear();
    register_socket_ioctl(net_ioctl);
}

}  // namespace nashal::sim
