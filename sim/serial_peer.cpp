#include "sim/serial_peer.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "sim/fs.h"

namespace nashal::sim {

namespace {

// Bytes closer together than this belong to one frame: the library writes a frame in one call,
// and its replies come only after a wait, so the gap splits frames reliably.
constexpr int kFrameGapMs = 20;

void make_raw(int fd) {
    struct termios tio;
    if (tcgetattr(fd, &tio) != 0)
        return;
    cfmakeraw(&tio);
    tcsetattr(fd, TCSANOW, &tio);
}

}  // namespace

std::unique_ptr<SerialPeer> SerialPeer::attach(int link, SerialResponder responder) {
    return attach(link == 0 ? "/dev/ttyS0" : "/dev/ttyS1", std::move(responder));
}

std::unique_ptr<SerialPeer> SerialPeer::attach(const std::string &device,
                                               SerialResponder responder) {
    std::unique_ptr<SerialPeer> peer(new SerialPeer());
    peer->responder_ = std::move(responder);
    peer->master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    // Inside the appliance /dev/ptmx is a file bound in from the machine, and the kernel can't
    // find its devpts from there; the instance's own multiplexer serves the same ptys.
    if (peer->master_ < 0)
        peer->master_ = ::open("/dev/pts/ptmx", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (peer->master_ < 0 || grantpt(peer->master_) != 0 || unlockpt(peer->master_) != 0) {
        perror("serial peer: pseudo-terminal");
        return nullptr;
    }
    const char *name = ptsname(peer->master_);
    if (!name) {
        perror("serial peer: ptsname");
        return nullptr;
    }
    peer->slave_path_ = name;
    peer->slave_ = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (peer->slave_ < 0) {
        perror("serial peer: slave");
        return nullptr;
    }
    make_raw(peer->slave_);
    make_raw(peer->master_);
    peer->link_path_ = device;
    ::unlink(peer->link_path_.c_str());
    if (!symlink_exact(peer->slave_path_, peer->link_path_)) {
        perror("serial peer: link");
        return nullptr;
    }
    if (pipe2(peer->stop_, O_CLOEXEC) != 0) {
        perror("serial peer: pipe");
        return nullptr;
    }
    SerialPeer *raw = peer.get();
    peer->thread_ = std::thread([raw] { raw->serve(); });
    return peer;
}

SerialPeer::~SerialPeer() {
    if (thread_.joinable()) {
        char c = 'q';
        (void)!::write(stop_[1], &c, 1);
        thread_.join();
    }
    if (!link_path_.empty())
        ::unlink(link_path_.c_str());
    for (int fd : {master_, slave_, stop_[0], stop_[1]})
        if (fd >= 0)
            ::close(fd);
}

void SerialPeer::serve() {
    for (;;) {
        struct pollfd p[2] = {{master_, POLLIN, 0}, {stop_[0], POLLIN, 0}};
        if (::poll(p, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (p[1].revents)
            return;
        if (!(p[0].revents & POLLIN))
            continue;
        Bytes frame;
        uint8_t buf[256];
        for (;;) {
            ssize_t n = ::read(master_, buf, sizeof buf);
            if (n > 0)
                frame.insert(frame.end(), buf, buf + n);
            struct pollfd more = {master_, POLLIN, 0};
            if (n <= 0 || ::poll(&more, 1, kFrameGapMs) <= 0)
                break;
        }
        if (frame.empty())
            continue;
        int number;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            number = static_cast<int>(frames_.size());
            frames_.push_back(frame);
        }
        Bytes answer = responder_ ? responder_(frame, number) : Bytes{};
        if (!answer.empty())
            send(answer);
    }
}

bool SerialPeer::send(const Bytes &bytes) {
    std::lock_guard<std::mutex> lock(write_mutex_);
    return ::write(master_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
}

Bytes SerialPeer::wire() const {
    std::lock_guard<std::mutex> lock(mutex_);
    Bytes all;
    for (const Bytes &f : frames_)
        all.insert(all.end(), f.begin(), f.end());
    return all;
}

std::vector<Bytes> SerialPeer::frames() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return frames_;
}

uint8_t xor_checksum(const Bytes &bytes) {
    uint8_t x = 0;
    for (uint8_t b : bytes)
        x ^= b;
    return x;
}

SerialResponder cpld_acknowledging_from(int first_acked) {
    return [first_acked](const Bytes &, int number) {
        return number >= first_acked ? Bytes{'U'} : Bytes{};
    };
}

SerialResponder cpld_answering(uint8_t reply) {
    return [reply](const Bytes &, int) { return Bytes{reply}; };
}

SerialResponder silent_peer() {
    return [](const Bytes &, int) { return Bytes{}; };
}

SerialResponder mcu_replying(uint8_t first, uint8_t status, bool good_checksum) {
    return [=](const Bytes &, int) {
        uint8_t sum = static_cast<uint8_t>(first ^ status);
        return Bytes{first, status, good_checksum ? sum : static_cast<uint8_t>(sum ^ 0xff)};
    };
}

}  // namespace nashal::sim
