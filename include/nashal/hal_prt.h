/* USB printers: discovery (prt_sys_*) and the small registry that records them in
 * /etc/enclosure_0.conf (PRT_*). Results are 0 on success and -1 on failure unless said
 * otherwise. */
#ifndef NASHAL_HAL_PRT_H
#define NASHAL_HAL_PRT_H

#include <nashal/hal_types.h>
#include <nashal/ini_conf.h>

#ifdef __cplusplus
extern "C" {
#endif

/* prt_sys_enumerate hands back at most this many names; PRT_Scan asks for this many. */
#define MAX_PRT_SYS_ENUM 16
/* Printer ids the registry allocates itself start here; below are front-panel port numbers. */
#define PRT_FIRST_FREE_ID 16
/* A printer's vendor and model when its device id names none. */
#define PRT_UNKNOWN_TEXT "unknow"

/* One printer. The caller zeroes it: a value that can't be read leaves its field as it was. */
typedef struct PRT_INFO {
    int32_t port_id;                /* front-panel USB port, -1 when not known */
    char prt_sys_id[HAL_ID_LEN];    /* device name, "lp0" */
    char prt_ctrl_name[HAL_ID_LEN]; /* the same text */
    char vendor[HAL_ID_LEN];        /* from the IEEE 1284 device id */
    char model[HAL_MODEL_LEN];
} PRT_INFO;

/* --- registry --- */

/* Forgets the recorded printers and records those present; the count found. */
int PRT_Scan(void);
int prt_attach(const char *prt_sys_id);
int prt_detach(const char *prt_sys_id);
int prt_write_conf(int id, PRT_INFO *info);
int prt_read_conf(int id, PRT_INFO *info);
/* An enumeration callback that removes printer `id`; 0. */
int prt_remove_conf(int id, void *cookie);
/* The recorded printer ids, by the enumeration callback rule of Ini_Conf_Bitmap_Enumerate. */
int PRT_Enumerate(int *ids, int capacity, INI_CONF_BITMAP_CB callback, void *cookie);
int PRT_Get_Info(int id, PRT_INFO *info);
int PRT_Get_Id_By_Sys_Id(const char *prt_sys_id, int *id);

/* --- discovery --- */

/* Names of the printers ("lp0", ...) into `names` (heap texts, the caller frees each); the
 * number found, which may exceed `size`; -1 when the class directory can't be opened. */
int prt_sys_enumerate(char **names, int size);
/* Fills `info` for printer `name`: negative on failure; 1 when the front port was found. */
int prt_sys_getinfo(const char *name, PRT_INFO *info);
/* The enclosure a printer sits in: "root_usb", or "usb_<hub>" for an expansion enclosure. */
int prt_get_enc_sys_id(const char *name, char *enc_sys_id);
int get_printer_vendor(const char *name, char *vendor, int size);
int get_printer_model(const char *name, char *model, int size);
/* 1 with the front-panel port in *port, 0 when no port section matches, -1 on a path failure. */
int get_printer_usb_port(const char *name, int32_t *port);
/* Hot-plug entries: 0. */
int PRT_Sys_Attach(const char *prt_sys_id);
int PRT_Sys_Detach(const char *prt_sys_id);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_PRT_H */
