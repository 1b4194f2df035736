#include "sim/buzzer_model.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <sstream>
#include <string>

#include "enclosure/pc_speaker_layout.h"
#include "sim/clock.h"
#include "sim/fs.h"

namespace nashal::sim {
namespace {

constexpr const char *kLog = "/sim/buzzer.log";
using nashal::pc_speaker::kGateBits;
using nashal::pc_speaker::kGatePort;
using nashal::pc_speaker::kTimerHz;
constexpr uint16_t kCounterPort = nashal::pc_speaker::kTimer2Port;
constexpr uint16_t kControlPort = nashal::pc_speaker::kTimerControlPort;

// One line per event, appended in one write so that processes never mix their lines.
void log_event(const char *what, unsigned hz) {
    char line[96];
    int n = std::snprintf(line, sizeof line, "%d %lld %s %u\n", static_cast<int>(getpid()),
                          static_cast<long long>(clock_now_us()), what, hz);
    int fd = ::open(kLog, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    if (::write(fd, line, static_cast<size_t>(n)) != n) {
        // A lost line shows as a missing beep in the test that reads the log.
    }
    ::close(fd);
}

}  // namespace

uint8_t BuzzerModel::inb(uint16_t port) {
    return port == kGatePort ? gate_ : 0xFF;
}

void BuzzerModel::outb(uint8_t value, uint16_t port) {
    if (port == kControlPort) {
        divisor_bytes_ = 0;
    } else if (port == kCounterPort) {
        if (divisor_bytes_ == 0)
            divisor_ = value;
        else
            divisor_ = static_cast<uint16_t>(divisor_ | (value << 8));
        divisor_bytes_ = (divisor_bytes_ + 1) % 2;
    } else if (port == kGatePort) {
        const bool was = (gate_ & kGateBits) == kGateBits;
        const bool now = (value & kGateBits) == kGateBits;
        gate_ = value;
        if (!was && now)
            log_event("on", divisor_ ? kTimerHz / divisor_ : 0);
        else if (was && !now)
            log_event("off", 0);
    }
}

std::shared_ptr<BuzzerModel> attach_buzzer() {
    auto model = std::make_shared<BuzzerModel>();
    register_ports(kCounterPort, 2, model);
    register_ports(kGatePort, 1, model);
    return model;
}

std::vector<Beep> buzzer_beeps() {
    std::vector<Beep> beeps;
    std::map<pid_t, size_t> sounding;
    std::istringstream lines(read_file(kLog));
    std::string what;
    long long at = 0;
    int pid = 0;
    unsigned hz = 0;
    while (lines >> pid >> at >> what >> hz) {
        if (what == "on") {
            sounding[pid] = beeps.size();
            beeps.push_back({pid, at, -1, hz});
        } else if (sounding.count(pid)) {
            Beep &b = beeps[sounding[pid]];
            b.length_us = at - b.start_us;
            sounding.erase(pid);
        }
    }
    return beeps;
}

}  // namespace nashal::sim
