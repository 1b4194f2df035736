// Backend calls the motherboard facade forwards to that are built elsewhere: the network
// port MAC routes, the SAS host adapter service and the external SAS connectors of the
// enclosure backend, the disk behind a connector, and the expander firmware writer. Declared
// as their owners name them; pending_facade_parts.cpp holds weak stand-ins that fail with -1
// and a trace until the real definitions are linked in.
#ifndef NASHAL_FACADE_PENDING_FACADE_PARTS_H
#define NASHAL_FACADE_PENDING_FACADE_PARTS_H

extern "C" {
int se_sys_get_mac(int port, char *text, int size);
int se_sys_set_mac(int port, const char *text);
int se_sys_get_SAS_HBA_info(int slot, char *name, int name_size, char *serial, int serial_size,
                            char *firmware, int firmware_size, char *wwn, int wwn_size);
int se_sys_upgrade_hba_fw(int slot, const char *image, char *version, int version_size,
                          int sas_version);
int se_sys_get_connector_info(const char *enc_sys_id, int *connector_count,
                              int *ports_in_connector);
int pd_sys_get_sys_name_in_connector(const char *enc_sys_id, int connector, int port_in_connector,
                                     char *name, int size);
int SAS_Expander_Upgrade_Img(const char *device, const char *image, char *version, int size);
}

#endif  // NASHAL_FACADE_PENDING_FACADE_PARTS_H
