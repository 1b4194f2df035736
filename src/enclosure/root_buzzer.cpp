// The main unit's buzzer. A controller board plays a pattern itself; otherwise the PC speaker
// sounds it, beep by beep, timed by the machine seam's sleeps. One pattern holds the buzzer lock
// for its whole length, so two processes never sound into each other.
#include <fcntl.h>
#include <unistd.h>

#include "enclosure/enclosure_kinds.h"
#include "enclosure/panel_methods.h"
#include "enclosure/panel_drivers.h"
#include "enclosure/root_panel.h"
#include "enclosure/pc_speaker_layout.h"
#include "foundation/raii.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/se_sys.h"
#include "os/os_seam.h"
#include "topology/model_file.h"

using namespace nashal::enclosure;

namespace {

constexpr const char *kBuzzerLock = "/var/lock/buzzer.lck";

using namespace nashal::pc_speaker;
constexpr unsigned kToneHz = 800;
constexpr useconds_t kShortBeepUs = 500000;

// One step of a pattern: a beep (S or L), then a pause in microseconds.
struct Step {
    char beep;
    useconds_t pause_us;
};
struct Pattern {
    int modes[12];
    Step steps[5];
};

// Modes end at -1; steps end at a beep of 0.
const Pattern kPatterns[] = {
    {{0, 100, -1}, {{'S', 0}, {0, 0}}},
    {{1, 101, -1}, {{'L', 0}, {0, 0}}},
    {{2, -1}, {{'S', 1000000}, {'S', 1000000}, {'S', 0}, {0, 0}}},
    {{3, 4, 5, 6, 7, 10, 11, 15, 16, 17, 18, -1}, {{'L', 2000000}, {'L', 0}, {0, 0}}},
    {{19, 20, -1}, {{'L', 2000000}, {'L', 0}, {0, 0}}},
    {{8, 9, -1}, {{'L', 2000000}, {'L', 2000000}, {'L', 0}, {0, 0}}},
    {{12, 13, -1}, {{'L', 500000}, {'S', 250000}, {'S', 0}, {0, 0}}},
    {{14, -1}, {{'S', 125000}, {'S', 125000}, {'S', 0}, {0, 0}}},
};

const Pattern *pattern_of(int mode) {
    for (const Pattern &p : kPatterns) {
        for (int m : p.modes) {
            if (m < 0)
                break;
            if (m == mode)
                return &p;
        }
    }
    return nullptr;
}

bool capability(int32_t *cap) {
    return nashal::topology::model_int(nashal::topology::kSystemEnclosure, "CAP", cap,
                                       INI_CONF_HEX);
}

}  // namespace

extern "C" {

int root_beep(int long_beep) {
    int32_t cap = 0;
    capability(&cap);
    const int command = long_beep ? panel_cmd::kLongBeep : panel_cmd::kShortBeep;
    if (cap & CAP_PIC)
        return pic_sys_send_cmd(kRootId, kRootId, command);
    if (cap & CAP_MCU)
        return mcu_sys_send_cmd(kRootId, kRootId, command);
    os_ioperm(kGatePort, 1, 1);
    os_ioperm(kTimer2Port, 2, 1);
    const unsigned divisor = kTimerHz / kToneHz;
    os_outb(kTimer2SquareWave, kTimerControlPort);
    os_outb(static_cast<uint8_t>(divisor & 0xFF), kTimer2Port);
    os_outb(static_cast<uint8_t>(divisor >> 8), kTimer2Port);
    os_outb(static_cast<uint8_t>(os_inb(kGatePort) | kGateBits), kGatePort);
    if (long_beep)
        os_sleep(1);
    else
        os_usleep(kShortBeepUs);
    os_outb(static_cast<uint8_t>(os_inb(kGatePort) & ~kGateBits), kGatePort);
    return 0;
}

int root_set_buzzer(int mode) {
    int32_t cap = 0;
    if (!capability(&cap))
        return -1;
    nashal::FileDescriptor lock(open(kBuzzerLock, O_RDWR | O_CREAT | O_CLOEXEC, 0700));
    if (!lock) {
        ERR_TRACE(HAL_TRACE_INFO, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (fcntl(lock.get(), F_SETLKW, &whole) != 0) {
        ERR_TRACE(HAL_TRACE_INFO, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    if (cap & CAP_PIC) {
        pic_sys_send_cmd(kRootId, kRootId, mode + panel_cmd::kBuzzerBase);
    } else if (cap & CAP_MCU) {
        mcu_sys_send_cmd(kRootId, kRootId, mode + panel_cmd::kBuzzerBase);
    } else if (const Pattern *p = pattern_of(mode)) {
        for (const Step &s : p->steps) {
            if (!s.beep)
                break;
            root_beep(s.beep == 'L');
            if (s.pause_us)
                os_usleep(s.pause_us);
        }
    }
    whole.l_type = F_UNLCK;
    fcntl(lock.get(), F_SETLK, &whole);
    return 0;
}

}  // extern "C"
