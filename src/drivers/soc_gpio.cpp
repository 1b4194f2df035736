// The SoC's own GPIO registers, a page of physical memory mapped through /dev/mem for each
// access: disk LEDs, the activity LED blinks, the copy and reset buttons, and the pins that tell
// one board from another at model selection.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "drivers/soc_hub_layout.h"
#include "foundation/blink_process.h"
#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/hal_trace.h"
#include "nashal/soc_sys.h"
#include "os/os_seam.h"
#include "topology/model_file.h"

using namespace nashal::drivers;
using nashal::topology::kSystemEnclosure;

namespace {

// The physical base of the register block, read once per process; 0 means not read yet.
uint32_t g_reg_base = 0;

bool read_reg_base() {
    if (g_reg_base != 0)
        return true;
    int32_t base = 0;
    if (!nashal::topology::model_int(kSystemEnclosure, "SOC_PHY_REG_BASE", &base, INI_CONF_HEX) ||
        base == 0)
        return false;
    g_reg_base = static_cast<uint32_t>(base);
    return true;
}

// One page of /dev/mem, unmapped on every path.
class MappedPage {
  public:
    MappedPage(int fd, off_t page) {
        void *p = os_mmap(nullptr, kMmioPageSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, page);
        if (p != MAP_FAILED)
            base_ = static_cast<unsigned char *>(p);
    }
    MappedPage(const MappedPage &) = delete;
    MappedPage &operator=(const MappedPage &) = delete;
    ~MappedPage() {
        if (base_)
            munmap(base_, kMmioPageSize);
    }
    explicit operator bool() const { return base_ != nullptr; }
    volatile uint32_t *word(size_t in_page) const {
        return reinterpret_cast<volatile uint32_t *>(base_ + in_page);
    }

  private:
    unsigned char *base_ = nullptr;
};

// Maps the word at base + offset and hands it to `use`. A word that isn't 32-bit aligned or a
// bit outside it is refused rather than touched: it can only come from a wrong model value.
template <typename Use>
int with_register(const char *who, int line, int32_t reg_offset, int32_t bit, Use use) {
    if (!read_reg_base() || reg_offset < 0 || (reg_offset & 3) != 0 || bit < 0 || bit > 31) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", who, line);
        return -1;
    }
    nashal::FileDescriptor mem(open(kDevMem, O_RDWR | O_SYNC));
    if (!mem) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", who, line);
        return -1;
    }
    const off_t address = static_cast<off_t>(g_reg_base) + reg_offset;
    const off_t page = address & ~static_cast<off_t>(kMmioPageSize - 1);
    MappedPage mapped(mem.get(), page);
    if (!mapped) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", who, line);
        return -1;
    }
    use(mapped.word(static_cast<size_t>(address - page)), 1u << bit);
    return 0;
}

int set_active_low_led(const char *who, int32_t reg_offset, int32_t bit, int value) {
    if (!read_reg_base())
        return -1;
    ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d): mmio_gpio_base = 0x%x,reg_off = 0x%x, group_bit = 0x%x\n",
              who, __LINE__, g_reg_base, reg_offset, bit);
    return mmio_set_gpio(reg_offset, bit, !value);
}

// A button's pin, read from "System IO" once per process (offset -1: not read yet).
struct SocButton {
    const char *key;
    int32_t reg_offset = -1;
    int32_t bit = -1;
    int inverted = 0;
};

int read_button(SocButton &button, int *value) {
    if (!read_reg_base())
        return -1;
    if (button.reg_offset < 0) {
        char text[32];
        int32_t offset = 0, bit = 0;
        if (!nashal::topology::model_text("System IO", button.key, text))
            return -1;
        int parsed = comm_sys_parse_c_gpio(text, &offset, &bit);
        if (parsed < 0)
            return -1;
        button.reg_offset = offset;
        button.bit = bit;
        button.inverted = parsed;
    }
    int level = 0;
    if (mmio_get_gpio(button.reg_offset, button.bit, &level) != 0)
        return -1;
    if (value)
        *value = button.inverted ? !level : level;
    return 0;
}

}  // namespace

extern "C" {

int mmio_set_gpio(int32_t reg_offset, int32_t bit, int value) {
    return with_register(__func__, __LINE__, reg_offset, bit,
                         [value](volatile uint32_t *word, uint32_t mask) {
                             uint32_t v = *word;
                             *word = value ? (v | mask) : (v & ~mask);
                         });
}

int mmio_get_gpio(int32_t reg_offset, int32_t bit, int *value) {
    return with_register(__func__, __LINE__, reg_offset, bit,
                         [value](volatile uint32_t *word, uint32_t mask) {
                             if (value)
                                 *value = (*word & mask) ? 1 : 0;
                         });
}

int soc_sys_set_hdd_err_led(int32_t reg_offset, int32_t bit, int value) {
    return set_active_low_led(__func__, reg_offset, bit, value);
}

int soc_sys_set_present_led(int32_t reg_offset, int32_t bit, int value) {
    return set_active_low_led(__func__, reg_offset, bit, value);
}

int soc_sys_set_active_led(int led, int32_t reg_offset, int32_t bit, int on) {
    if (!read_reg_base())
        return -1;
    char link[64];
    std::snprintf(link, sizeof link, "%s_%d", SOC_ACTIVE_BLINK_LINK, led);
    // The blink process is named for its link; the kernel keeps the first 15 characters of a
    // name, so that is what a running blink is recognised by.
    char name[16];
    nashal::hal_copy(name, link);
    pid_t pid = nashal::blink_record_pid(link, name);
    if (pid < 0) {
        unlink(link);  // a stale record: its blink is gone
        if (!on)
            return 0;
        int state = on;
        nashal::blink_start(link, name, [=]() mutable {
            mmio_set_gpio(reg_offset, bit, state);
            state = !state;
            os_usleep(125000);
        });
        return 0;
    }
    if (on)
        return 0;
    nashal::blink_stop(link, name);
    // The pin is left high: these LEDs are active low, so the LED stays dark.
    mmio_set_gpio(reg_offset, bit, 1);
    return 0;
}

int soc_sys_get_usb_button(int *value) {
    static SocButton button{"USB_COPY_BUTTON"};
    return read_button(button, value);
}

int soc_sys_get_reset_button(int *value) {
    static SocButton button{"RESET_BUTTON"};
    return read_button(button, value);
}

int soc_sys_get_gpio_val(int pin, int *value) {
    if (pin < 0 || pin >= 2 * kSocPinsPerLevelRegister) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): no SoC pin %d\n", __func__, __LINE__, pin);
        return -1;
    }
    const bool low = pin < kSocPinsPerLevelRegister;
    const int32_t reg_offset = static_cast<int32_t>(low ? kSocGpioLevelLow : kSocGpioLevelHigh);
    const int32_t bit = low ? pin : pin - kSocPinsPerLevelRegister;
    ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d): pin %d: reg_off = 0x%x, bit = %d\n", __func__, __LINE__,
              pin, reg_offset, bit);
    return mmio_get_gpio(reg_offset, bit, value);
}

}  // extern "C"
