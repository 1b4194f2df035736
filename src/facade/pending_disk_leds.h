// The disk lamps of the disk backend that the panel facade drives. They are built with the disk
// LED routes; until those are linked in, a call sees a null address and fails with -1 and a
// trace. This header goes when they are built.
#ifndef NASHAL_FACADE_PENDING_DISK_LEDS_H
#define NASHAL_FACADE_PENDING_DISK_LEDS_H

extern "C" {
__attribute__((weak)) int pd_sys_set_err_led(const char *enc_sys_id, int port_id, int on);
__attribute__((weak)) int pd_sys_set_present_led(const char *enc_sys_id, int port_id, int on);
__attribute__((weak)) int pd_sys_set_active_led(const char *enc_sys_id, int port_id, int on);
__attribute__((weak)) int pd_sys_set_ident_led(const char *enc_sys_id, int port_id, int on,
                                               int err_state);
}

#endif  // NASHAL_FACADE_PENDING_DISK_LEDS_H
