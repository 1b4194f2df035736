/* Network ports: renaming the Ethernet interfaces so that eth0, eth1, ... match the labels on
 * the case (by the PCI position the model file gives each "System Network %d" row), link speed,
 * and the MAC address and serial number kept in the adapter's EEPROM, read and written with
 * /usr/sbin/ethtool. Results are 0 on success and -1 on failure unless said otherwise. */
#ifndef NASHAL_NET_SYS_H
#define NASHAL_NET_SYS_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* At most this many interfaces are renamed, and "MAX_NET_PORT_NUM" may name at most this many
 * rows. */
#define NET_MAX_PORTS 10
/* Interface names, as the kernel's IFNAMSIZ. */
#define NET_NAME_LEN 16

/* Link speed codes of net_sys_get_speed. */
#define NET_SPEED_UNKNOWN 0
#define NET_SPEED_10M 1
#define NET_SPEED_100M 2
#define NET_SPEED_1G 3
#define NET_SPEED_10G 4

/* EEPROM magic of the adapters whose MAC sits at a known place: (PCI device id << 16) | PCI
 * vendor id, also the magic ethtool must be given to write. */
#define NET_MAGIC_INTEL_X540 0x15288086u
#define NET_MAGIC_BROADCOM_5720 0x169314E4u
#define NET_MAGIC_INTEL_I354 0x1F418086u

/* One interface during renaming. */
typedef struct NET_CB {
    uint32_t domain;          /* PCI domain */
    char dev_bus[HAL_ID_LEN]; /* bus text, or "B-1:virtual" */
    char bridge_bus[HAL_ID_LEN];
    int32_t pci_switch_port; /* device number behind a PCIe switch, -1 without one */
    int32_t port;            /* function of the device, or PHY address of a virtual one */
    char name[NET_NAME_LEN]; /* current name */
    char new_name[NET_NAME_LEN];
    uint32_t old_state; /* 1 when it was up before renaming */
} NET_CB;

/* Renames the interfaces to the model file's order. The number of interfaces, or -1. Must run
 * alone, before the interfaces are in use. */
int net_sys_enumerate(void);
/* The number of interfaces named eth<digit>... in /sys/class/net. */
int net_sys_get_wire_count(void);
/* Link speed code of eth<port>: 0 with the code, -1 when the link is down or unreadable. */
int net_sys_get_speed(int port, int *code);
/* The MAC address of eth<port> from its EEPROM; `length` at least 6. */
int net_sys_get_mac(int port, unsigned char *buffer, int length);
/* Writes the MAC address (6 bytes) to the EEPROM and to the running interface. With
 * "MAC_MASK" and "DEV_PORT" in the model file, byte 5 of `mac` gets the port added in. */
int net_sys_set_mac(int port, unsigned char *mac, int length);
/* The adapter's serial number (text behind "SN:" in the EEPROM) into `buffer` of `size`. */
int net_sys_get_sn(int port, char *buffer, int size);
/* Writes "SN:<text>" (24 bytes, zero padded) to the EEPROM. */
int net_sys_set_sn(int port, const char *text);

/* The steps of net_sys_enumerate, exported for tools and tests. */
int net_dev_init(NET_CB *table, int max);
int net_dev_getinfo(NET_CB *cb, const char *name);
int parse_net_port_from_path(const char *path, int32_t *switch_port, int32_t *port);
int is_pci_bridge(const char *a, const char *b);
int net_dev_conf_mapping(NET_CB *table, int count);
int net_dev_assign_newname(NET_CB *table, int count);
int set_net_state(const char *name, int up, uint32_t *old_state);
int change_net_name(const char *old_name, const char *new_name);
int get_net_phy_addr(const char *name, int32_t *phy);
int get_net_magic(int port, uint32_t *magic);
int get_mac_start_offset(int port, uint32_t magic, int *offset);
int get_alternate_mac_start_offset(int port, uint32_t magic, int *offset);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_NET_SYS_H */
