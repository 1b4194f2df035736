// What a managed USB expansion box (kind 2) does through its PIC: temperature, fans, power
// supplies and the serial number, the PIC named by the box's USB port path. Any other kind of
// USB enclosure has no controller and fails. Also the "root_usb" queries of the chassis ports.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pic_sys.h"
#include "nashal/se_sys.h"
#include "topology/model_file.h"
#include "topology/slot_match.h"

using nashal::topology::model_int;
using nashal::topology::model_text;

namespace {

constexpr const char *kUsbEnclosure = "Usb Enclosure";

// The bus name of a managed box, and the number of its "External Type %d" section.
bool managed_box(const char *enc_sys_id, char (&usb_bus)[HAL_ID_LEN], int *type_number) {
    if (!enc_sys_id || strncmp(enc_sys_id, "usb_", 4) != 0)
        return false;
    nashal::hal_copy(usb_bus, enc_sys_id + 4);
    int number = 0;
    if (comm_sys_check_usb_expander_type(usb_bus, &number) != USB_EXPANDER_TYPE_PIC)
        return false;
    if (type_number)
        *type_number = number;
    return true;
}

bool is_root_usb(const char *who, const char *enc_sys_id) {
    if (enc_sys_id && strcmp(enc_sys_id, "root_usb") == 0)
        return true;
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d): enc_sys_id = %s not implement.\n", who, __LINE__,
              enc_sys_id ? enc_sys_id : "(null)");
    return false;
}

}  // namespace

extern "C" {

int usb_expander_get_temperature(const char *enc_sys_id, int temp_index, double *temperature) {
    char usb_bus[HAL_ID_LEN];
    if (!managed_box(enc_sys_id, usb_bus, nullptr))
        return -1;
    // The box has one sensor, on its controller.
    if (temp_index != 1) {
        ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):System Error.temp_index = %d\n", __func__, __LINE__,
                  temp_index);
        return -1;
    }
    return pic_sys_get_temp(enc_sys_id, usb_bus, temperature);
}

int usb_expander_get_fan_speed(const char *enc_sys_id, int fan_index, int *speed, int *status) {
    char usb_bus[HAL_ID_LEN];
    int type_number = 0;
    if (!managed_box(enc_sys_id, usb_bus, &type_number) || (fan_index != 0 && fan_index != 1))
        return -1;
    // "FAN_%d" names the controller's input, such as "I1": the channel is the number behind I.
    char key[HAL_ID_LEN];
    snprintf(key, sizeof key, "FAN_%d", fan_index + 1);
    char value[HAL_ID_LEN] = {};
    if (comm_sys_get_c_ext_enclosure_string(type_number, key, value, sizeof value) != 0)
        return -1;
    const char *input = strchr(value, 'I');
    if (!input)
        return -1;
    int channel = atoi(input + 1);
    int result = pic_sys_get_fan_status(enc_sys_id, usb_bus, channel, status);
    if (result == 0)
        result = pic_sys_get_fan_speed(enc_sys_id, usb_bus, channel, speed);
    return result;
}

int usb_expander_set_fan_speed(const char *enc_sys_id, int level) {
    char usb_bus[HAL_ID_LEN];
    if (!managed_box(enc_sys_id, usb_bus, nullptr))
        return -1;
    return pic_sys_set_fan_speed(enc_sys_id, usb_bus, level);
}

int usb_expander_get_power_supply_status(const char *enc_sys_id, int index, int *status) {
    char usb_bus[HAL_ID_LEN];
    if (!managed_box(enc_sys_id, usb_bus, nullptr) || (index != 1 && index != 2))
        return -1;
    return pic_sys_get_pwr_status(enc_sys_id, usb_bus, index, status);
}

// The serial number lives in the controller's EEPROM.
int usb_expander_get_sn(const char *enc_sys_id, char *buffer, int size) {
    char usb_bus[HAL_ID_LEN];
    if (!managed_box(enc_sys_id, usb_bus, nullptr))
        return -1;
    return pic_sys_get_sn(usb_bus, buffer, size);
}

int usb_expander_set_sn(const char *enc_sys_id, const char *serial) {
    char usb_bus[HAL_ID_LEN];
    if (!managed_box(enc_sys_id, usb_bus, nullptr))
        return -1;
    return pic_sys_set_sn(usb_bus, serial);
}

int se_sys_get_usb_port_count(const char *enc_sys_id, int *count) {
    if (!count || !is_root_usb(__func__, enc_sys_id))
        return -1;
    *count = 0;
    int32_t ports = 0;
    if (!model_int(kUsbEnclosure, "MAX_PORT_NUM", &ports))
        return -1;
    *count = ports;
    return 0;
}

int se_sys_get_usb3_port(const char *enc_sys_id, uint32_t *bitmap) {
    if (!bitmap || !is_root_usb(__func__, enc_sys_id))
        return -1;
    *bitmap = static_cast<uint32_t>(
        nashal::topology::model_int_or(kUsbEnclosure, "USB3_PORT_BITMAP", 0, INI_CONF_HEX));
    return 0;
}

int se_sys_get_usb_port_bus(const char *enc_sys_id, int port, char *text) {
    if (!text || !is_root_usb(__func__, enc_sys_id))
        return -1;
    char section[HAL_NAME_LEN];
    snprintf(section, sizeof section, "Usb Port %d", port);
    // With sub-sections the last one that names a bus stays.
    nashal::topology::visit_usb_entries(section, [&](const char *entry) {
        char bus[HAL_ID_LEN] = {};
        if (model_text(entry, "DEV_BUS", bus))
            snprintf(
                text, HAL_NAME_LEN, "P%04x:%s ",
                static_cast<unsigned int>(nashal::topology::model_int_or(entry, "DEV_DOMAIN", 0)),
                bus);
        return false;
    });
    return 0;
}

}  // extern "C"
