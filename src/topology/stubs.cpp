// Placeholder bodies while the topology services are written; each answers "failure".
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"

extern "C" {

int comm_sys_check_is_sas_expander(const char *) {
    return -1;
}

int comm_sys_check_sas_expander_sanity(const char *) {
    return -1;
}

int comm_sys_get_sas_expander_parent_sysid(const char *, char *) {
    return -1;
}

int comm_sys_check_usb_expander_type(const char *, int *) {
    return -1;
}

int comm_sys_get_real_enc_sys_id(char *) {
    return -1;
}

int se_sys_get_real_enc_sys_id(const char *, char *, int) {
    return -1;
}
}
