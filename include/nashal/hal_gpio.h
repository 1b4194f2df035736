/* The front panel by enc_id: the lamps of the enclosure and of its disks, the buttons, the case
 * switch, and the status event register that decides what the main unit's single status lamp
 * shows. The name is historic: a call may end in a GPIO, a Super I/O pin, a serial controller or
 * an I2C device. Every call returns -1 when enc_id is not attached. */
#ifndef NASHAL_HAL_GPIO_H
#define NASHAL_HAL_GPIO_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Colours of the status lamp. */
#define GPIO_STATUS_LED_RED 0
#define GPIO_STATUS_LED_GREEN 1
#define GPIO_STATUS_LED_BOTH 2

/* The status event register: "0x%08x" in this file, shared by every process. */
#define GPIO_STATUS_EVENT_FILE "/var/ledvalue"
/* Events in groups of four bits, each group winning over the ones listed after it:
 * bit 18 darkens the lamp, then 0xF0 blinks red and green, 0xF000 lights red, 0xF00 blinks red,
 * 0xF blinks green (bit 1: both colours after 5 seconds), the rest of 0xF0000 darkens it;
 * with no event the lamp is green. */
#define GPIO_STATUS_EVENT_OFF 0x40000u
#define GPIO_STATUS_EVENT_BLINK_BOTH 0xF0u
#define GPIO_STATUS_EVENT_RED 0xF000u
#define GPIO_STATUS_EVENT_BLINK_RED 0xF00u
#define GPIO_STATUS_EVENT_BLINK_GREEN 0xFu
#define GPIO_STATUS_EVENT_DARK 0xF0000u
/* Event 0x20000 replaces every other condition; event 0 clears them all. */
#define GPIO_STATUS_EVENT_ONLY 0x20000u

int GPIO_Enable_Status_LED(int enc_id, int colour, int enable);
int GPIO_Enable_Status_LED_BLINK(int enc_id, int colour, int enable);
int GPIO_Enable_Power_LED(int enc_id, int enable);
int GPIO_Enable_Power_LED_BLINK(int enc_id, int enable);
int GPIO_Enable_Standby_LED(int enc_id, int enable);
int GPIO_Enable_USB_LED(int enc_id, int enable);
int GPIO_Enable_USB_LED_BLINK(int enc_id, int enable);
int GPIO_Enable_HDD_ERR_LED(int enc_id, int port_id, int enable);
int GPIO_Enable_HDD_Present_LED(int enc_id, int port_id, int enable);
int GPIO_Enable_HDD_Active_LED(int enc_id, int port_id, int enable);
int GPIO_Get_Power_Status(int enc_id, int supply, int *status);
/* The main unit's 10G port and expansion-connected lamps. */
int GPIO_Enable_10G_Present_LED(int enable);
int GPIO_Enable_EXP_Present_LED(int enable);

/* 1 pressed (or open), 0 not, -1 when it can't be told. */
int GPIO_Does_Copy_Button_Press(int enc_id);
int GPIO_Does_Reset_Button_Press(int enc_id);
int GPIO_Does_Case_Cover_Open(int enc_id);

/* Sets (status non-zero) or clears the event bits and drives the main unit's status lamp from
 * the register. 0, or -1 when the register can't be opened or locked. */
int GPIO_Set_NAS_Status_LED(uint32_t event, int status);

/* The enclosure's identify lamp; the state is kept in its /etc/enclosure_%d.conf. */
int GPIO_Enable_Ident_LED(int enc_id, int enable);
/* The state as last set (not asked of the hardware); 0 if never set. */
int GPIO_Get_Ident_LED(int enc_id);
/* A disk's identify lamp; on success its bit in pd_ident_led_bitmap follows. */
int GPIO_Enable_HDD_Ident_LED(int enc_id, int port_id, int enable, int err_state);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_GPIO_H */
