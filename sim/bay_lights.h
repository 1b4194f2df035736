// The four lights of one bay of the virtual appliance (error, locate, present, activity) as a
// person in front of the box would see them, whatever drives them: a Super I/O pin, an I/O
// port bit, a gpiolib value, the bytes an I2C LED chip took, the MCU's last command for the
// bay, or a SAS shelf's SES slot element. The board's own description says which: the bay's
// model values for the main unit, the shelf's SES description for "sgN". Decoded here from
// the hardware's side, independently of the library, so a test that compares the two catches
// a light driven on the wrong pin, bay or sense.
#ifndef NASHAL_SIM_BAY_LIGHTS_H
#define NASHAL_SIM_BAY_LIGHTS_H

#include <string>

namespace nashal::sim {

// Each light: 1 lit, 0 dark, -1 the bay has no such light (or it is driven by something the
// appliance doesn't emulate: a serial frame to a CPLD, an SoC register).
struct BayLights {
    int error = -1, locate = -1, present = -1, active = -1;
};

// Lights of bay `slot` (from 1) of the enclosure "root" or a SAS shelf "sgN". Call inside the
// active appliance.
BayLights bay_lights(const std::string &enc_sys_id, int slot);

// The number of bays of the enclosure: MAX_DISK_NUM of the main unit, the slot elements of a
// shelf. 0 when unknown.
int bay_count(const std::string &enc_sys_id);

}  // namespace nashal::sim

#endif  // NASHAL_SIM_BAY_LIGHTS_H
