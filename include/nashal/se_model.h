/* Model configuration selection: which description of the board /etc/model.conf stands for.
 *
 * At start-up, before anything reads the model file, something outside the library runs
 * se_sys_setup_model_conf. The generic /etc/model.conf that the firmware ships says how the
 * board is told apart: "MULTI_CONF" (a board id made of up to eight hardware signals,
 * "MODEL_BIT0" to "MODEL_BIT7", choosing /etc/model_<id>.conf) or "MULTI_CONF_FORMAT" 1 or 2
 * (the product codes in the VPD ROMs choosing /etc/model_<codes>_<PCB>.conf). The chosen file
 * replaces /etc/model.conf by a symbolic link. */
#ifndef NASHAL_SE_MODEL_H
#define NASHAL_SE_MODEL_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* 0, or -1 with a trace (a listed candidate missing, the link not made). */
int se_sys_setup_model_conf(void);

/* The board id from the "MODEL_BIT%d" signals into *id; always 0. */
int root_get_model_conf_id(uint32_t *id);

/* One "MODEL_BIT%d": the method word into method (32 bytes), the GPIO number (-1 for a "REV"
 * signal) and whether a third field marks it inverted. 0, or -1. */
int root_get_model_bit(int bit, char *method, int *gpio, int *inverted);

/* The candidate file for the board's VPD product codes in scheme `format` (1 or 2): 0 and
 * "/etc/<name>" in path, or -1. */
int root_get_vpd_model_filename(char *path, int size, int format);

/* Of the files in /etc that begin with prefix, the one written for the newest board revision
 * that isn't newer than mb_pcb (and bp_pcb, unless it is negative). 0 and the path, or -1. */
int root_get_vpd_model_filename_by_pattern(char *path, int size, const char *prefix, int mb_pcb,
                                           int bp_pcb);

/* Clears CAP_PCIE_WIFI in the chosen model file when the module's PCIe link is down. */
void root_check_pcie_wifi_module(void);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_SE_MODEL_H */
