// GPIO_Set_NAS_Status_LED: the one status lamp of the main unit shows the most serious of many
// conditions at once. Every process that knows a condition sets or clears its bit in the shared
// event register /var/ledvalue, and the lamp is then driven from the whole register.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "foundation/raii.h"
#include "nashal/hal_gpio.h"
#include "nashal/hal_trace.h"
#include "os/os_seam.h"

namespace {

constexpr int kMainUnit = 0;
constexpr uint32_t kEventBlinkBothLater = 0x2u;
// How long bit 1 shows green blinking before both colours blink.
constexpr unsigned kBlinkBothDelaySeconds = 5;

// Holds the register's flock for the read-modify-write only: the lamp is driven after release.
class RegisterLock {
  public:
    explicit RegisterLock(int fd) : fd_(fd), held_(flock(fd, LOCK_EX) == 0) {}
    ~RegisterLock() { release(); }
    RegisterLock(const RegisterLock &) = delete;
    RegisterLock &operator=(const RegisterLock &) = delete;
    bool held() const { return held_; }
    void release() {
        if (held_)
            flock(fd_, LOCK_UN);
        held_ = false;
    }

  private:
    int fd_;
    bool held_;
};

uint32_t read_register(int fd) {
    char text[65] = {};
    ssize_t n = pread(fd, text, sizeof text - 1, 0);
    if (n <= 0)
        return 0;
    return static_cast<uint32_t>(strtol(text, nullptr, 0));
}

uint32_t next_value(uint32_t old, uint32_t event, int status) {
    if (event == 0)
        return 0;
    if (event == GPIO_STATUS_EVENT_ONLY)
        return GPIO_STATUS_EVENT_ONLY;
    return status ? old | event : old & ~event;
}

// The lamp for a register value, the highest group first.
void drive_lamp(uint32_t value) {
    if (value & GPIO_STATUS_EVENT_OFF) {
        GPIO_Enable_Status_LED(kMainUnit, GPIO_STATUS_LED_GREEN, 0);
    } else if (value & GPIO_STATUS_EVENT_BLINK_BOTH) {
        GPIO_Enable_Status_LED_BLINK(kMainUnit, GPIO_STATUS_LED_BOTH, 1);
    } else if (value & GPIO_STATUS_EVENT_RED) {
        GPIO_Enable_Status_LED(kMainUnit, GPIO_STATUS_LED_RED, 1);
    } else if (value & GPIO_STATUS_EVENT_BLINK_RED) {
        GPIO_Enable_Status_LED_BLINK(kMainUnit, GPIO_STATUS_LED_RED, 1);
    } else if (value & GPIO_STATUS_EVENT_BLINK_GREEN) {
        GPIO_Enable_Status_LED_BLINK(kMainUnit, GPIO_STATUS_LED_GREEN, 1);
        if (value & kEventBlinkBothLater) {
            os_sleep(kBlinkBothDelaySeconds);
            GPIO_Enable_Status_LED_BLINK(kMainUnit, GPIO_STATUS_LED_BOTH, 1);
        }
    } else if (value & GPIO_STATUS_EVENT_DARK) {
        GPIO_Enable_Status_LED(kMainUnit, GPIO_STATUS_LED_GREEN, 0);
    } else {
        GPIO_Enable_Status_LED(kMainUnit, GPIO_STATUS_LED_GREEN, 1);
    }
}

}  // namespace

extern "C" int GPIO_Set_NAS_Status_LED(uint32_t event, int status) {
    nashal::FileDescriptor fd(open(GPIO_STATUS_EVENT_FILE, O_RDWR | O_CREAT | O_CLOEXEC, 0700));
    if (!fd)
        return -1;
    uint32_t value = 0;
    {
        RegisterLock lock(fd.get());
        if (!lock.held())
            return -1;
        uint32_t old = read_register(fd.get());
        ERR_TRACE(HAL_TRACE_INFO, "%s: event = 0x%x,status = %d, value = 0x%x\n", __func__, event,
                  status, old);
        value = next_value(old, event, status);
        char text[16];
        int n = snprintf(text, sizeof text, "0x%08x", value);
        // Always ten characters, so the old text is overwritten whole. A failed write is
        // ignored: the lamp still shows the new value.
        (void)!pwrite(fd.get(), text, static_cast<size_t>(n), 0);
    }
    fd.reset();
    drive_lamp(value);
    return 0;
}
