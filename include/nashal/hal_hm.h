/* The hardware monitor by enc_id: sensors, fans and the settings of the power path, handed on to
 * the enclosure's backend. No state and no policy here; units and values are the backend's.
 * Every call returns -1 when enc_id is not attached, without touching the hardware. */
#ifndef NASHAL_HAL_HM_H
#define NASHAL_HAL_HM_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

int HM_Get_Temperature(int enc_id, int sensor, double *temperature);
int HM_Get_Voltage(int enc_id, int index);
int HM_Get_Fan(int enc_id, int fan, int *speed, int *status);
int HM_Set_Fan_Speed(int enc_id, int fan, int level);
int HM_Set_Fan_Speed_By_PWM(int enc_id, int fan, int pwm);
int HM_Set_EUP_State(int enc_id, int state);
int HM_Get_EUP_State(int enc_id, int *state);
int HM_Set_Power_Recovery_Mode(int enc_id, int mode);
int HM_Get_Power_Recovery_Mode(int enc_id, int *mode);
int HM_Set_WOL(int enc_id, int state);
/* These four act on the main unit whatever enclosure is named: enc_id only has to exist. */
int HM_Set_Power_Button_Mode(int enc_id, int mode);
int HM_Get_Power_Button_Status(int enc_id, int *status);
int HM_Set_C2F_Param(int enc_id, int enable, int size);
int HM_Get_C2F_Param(int enc_id, int32_t *enable, int32_t *size);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_HM_H */
