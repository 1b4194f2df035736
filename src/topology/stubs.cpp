// Placeholder bodies while the topology services are written; each answers "failure".
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"

extern "C" {

int comm_sys_get_ses_enc_conf(const char *, uint32_t (*)[2], int) {
    return -1;
}

int comm_sys_get_ses_enc_status(const char *, unsigned char *, int) {
    return -1;
}

int comm_sys_get_ses_control_element_offset(uint32_t, int, const uint32_t (*)[2], int, int *) {
    return -1;
}

int comm_sys_send_ses_enc_control(const char *, const unsigned char *, int) {
    return -1;
}

int comm_sys_get_sas_inquiry_resp(const char *, char *, int) {
    return -1;
}

int comm_sys_parse_sas_vendor_model(const char *, char *, char *) {
    return -1;
}

int comm_sys_get_sas_target_port_address(const char *, unsigned char *) {
    return -1;
}

int comm_sys_get_sas_serial_resp(const char *, char *) {
    return -1;
}

int comm_sys_remove_prefix_postfix_space(char *, int) {
    return -1;
}

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
