// Software blinks of the status, USB and power LEDs on the Super I/O chip. Each toggle is one
// set_gpio_bit, so the blinker takes the chip's lock for every write like any other caller;
// signal 9 can end it inside a cycle because the lock is undone by the kernel.
#include "drivers/superio_chips.h"
#include "drivers/superio_layout.h"
#include "drivers/superio_services.h"
#include "foundation/blink_process.h"
#include "nashal/sio_sys.h"
#include "os/os_seam.h"

namespace nashal::superio {
namespace {

constexpr const char *kStatusName = "sled_blink";
constexpr const char *kUsbName = "usb_led_blink";
constexpr const char *kPowerName = "pwr_led_blink";
constexpr useconds_t kTogglePeriodUs = 125000;
constexpr useconds_t kAlternatePeriodUs = 500000;

// One LED, on and off at the toggle period: in hardware on the IT87 (no process), in a
// blinker on the Fintek chips, not at all on others. Failed writes in the blinker are ignored:
// it has nobody to tell, and the next pass tries again. -1 in every case, as it always was.
int single_led_worker(const char *link, const char *name, int (*it87_blink)(int, int), int chip,
                      int gpio_index, int gpio_bit) {
    if (chip == kIT87) {
        it87_blink(gpio_index, gpio_bit);
        return -1;
    }
    if (chip != kF71869A && chip != kF81866A)
        return -1;
    int state = 1;
    blink_start(link, name, [&] {
        set_gpio_bit(chip, gpio_index, gpio_bit, state);
        state = !state;
        os_usleep(kTogglePeriodUs);
    });
    return -1;
}

}  // namespace

int usb_blink_worker(int chip, int gpio_index, int gpio_bit) {
    return single_led_worker(SIO_USB_BLINK_LINK, kUsbName, sio_it87_blink_usb_led, chip, gpio_index,
                             gpio_bit);
}

int power_blink_worker(int chip, int gpio_index, int gpio_bit) {
    return single_led_worker(SIO_POWER_BLINK_LINK, kPowerName, sio_it87_blink_power_led, chip,
                             gpio_index, gpio_bit);
}

int status_blink_worker(int chip, int red_index, int red_bit, int green_index, int green_bit,
                        int colour) {
    if (chip < 0 || chip > kNCT5523)
        return 0;
    // The IT87 blinks one colour by itself; alternating needs software on every chip.
    if (chip == kIT87 && colour == 0)
        return sio_it87_blink_status_led(red_index, red_bit), 0;
    if (chip == kIT87 && colour == 1)
        return sio_it87_blink_status_led(green_index, green_bit), 0;
    int state = 1;
    blink_start(SIO_STATUS_BLINK_LINK, kStatusName, [&] {
        if (colour == 0) {
            set_gpio_bit(chip, red_index, red_bit, state);
            os_usleep(kTogglePeriodUs);
        } else if (colour == 1) {
            set_gpio_bit(chip, green_index, green_bit, state);
            os_usleep(kTogglePeriodUs);
        } else {
            set_gpio_bit(chip, red_index, red_bit, state);
            set_gpio_bit(chip, green_index, green_bit, !state);
            os_usleep(kAlternatePeriodUs);
        }
        state = !state;
    });
    return 0;
}

void stop_status_blink() {
    blink_stop(SIO_STATUS_BLINK_LINK, kStatusName);
}
void stop_usb_blink() {
    blink_stop(SIO_USB_BLINK_LINK, kUsbName);
}
void stop_power_blink() {
    blink_stop(SIO_POWER_BLINK_LINK, kPowerName);
}

}  // namespace nashal::superio

extern "C" {

int get_status_blink_pid(void) {
    return nashal::blink_record_pid(SIO_STATUS_BLINK_LINK, nashal::superio::kStatusName);
}
int get_usb_blink_pid(void) {
    return nashal::blink_record_pid(SIO_USB_BLINK_LINK, nashal::superio::kUsbName);
}
int get_power_blink_pid(void) {
    return nashal::blink_record_pid(SIO_POWER_BLINK_LINK, nashal::superio::kPowerName);
}

}  // extern "C"
