// HM_: sensors, fans and the power path by enc_id, handed on to the enclosure's backend. The
// power button and the CMOS settings belong to the main unit: their calls only check that the
// enclosure named exists.
#include "facade/forward.h"
#include "nashal/comm_port.h"
#include "nashal/hal_hm.h"
#include "nashal/se_sys.h"

using nashal::facade::forward;
using nashal::facade::Trace;

extern "C" {

int HM_Get_Temperature(int enc_id, int sensor, double *temperature) {
    return forward(__func__, Trace::kNone, enc_id,
                   [&](const char *id) { return se_sys_get_temp(id, sensor, temperature); });
}

int HM_Get_Voltage(int enc_id, int index) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with(%d, %d).\n", __func__, enc_id, index);
    return forward(__func__, Trace::kNone, enc_id,
                   [&](const char *id) { return se_sys_get_voltage(id, index); });
}

int HM_Get_Fan(int enc_id, int fan, int *speed, int *status) {
    return forward(__func__, Trace::kNone, enc_id,
                   [&](const char *id) { return se_sys_get_fan_speed(id, fan, speed, status); });
}

int HM_Set_Fan_Speed(int enc_id, int fan, int level) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_set_fan_speed(id, fan, level); });
}

int HM_Set_Fan_Speed_By_PWM(int enc_id, int fan, int pwm) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_set_fan_pwm(id, fan, pwm); });
}

int HM_Set_EUP_State(int enc_id, int state) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_set_eup(id, state); });
}

int HM_Get_EUP_State(int enc_id, int *state) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_get_eup(id, state); });
}

int HM_Set_Power_Recovery_Mode(int enc_id, int mode) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_set_power_recovery_mode(id, mode); });
}

int HM_Get_Power_Recovery_Mode(int enc_id, int *mode) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_get_power_recovery_mode(id, mode); });
}

int HM_Set_WOL(int enc_id, int state) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *id) { return se_sys_set_wol(id, state); });
}

int HM_Set_Power_Button_Mode(int enc_id, int mode) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *) { return se_sys_set_pwb_mode(mode); });
}

int HM_Get_Power_Button_Status(int enc_id, int *status) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *) { return se_sys_get_pwb_status(status); });
}

int HM_Set_C2F_Param(int enc_id, int enable, int size) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *) { return se_sys_set_c2f_to_cmos(enable, size); });
}

int HM_Get_C2F_Param(int enc_id, int32_t *enable, int32_t *size) {
    return forward(__func__, Trace::kEntry, enc_id,
                   [&](const char *) { return se_sys_get_c2f_from_cmos(enable, size); });
}

}  // extern "C"
