// Pins exported by the kernel's gpiolib under /sys/class/gpio, set and read through the shell
// as the board scripts do.
#include <cstdlib>

#include "foundation/shell_command.h"
#include "nashal/comm_port.h"
#include "nashal/comm_ses.h"

extern "C" {

int common_sys_set_gpiolib(int pin, int value) {
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof(command),
                                  "echo %d > /sys/class/gpio/gpio%d/value", value, pin) >= 0)
        (void)std::system(command);
    return 0;
}

int common_sys_get_gpiolib(int pin) {
    char command[HAL_CMD_LEN];
    char answer[HAL_ID_LEN] = {};
    if (nashal::hal_build_command(__func__, command, sizeof(command),
                                  "cat /sys/class/gpio/gpio%d/value", pin) >= 0)
        comm_sys_read_from_popen(command, answer, sizeof(answer));
    // A failed read leaves the buffer empty, which reads as 0.
    return std::atoi(answer);
}

}  // extern "C"
