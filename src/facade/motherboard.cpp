// The motherboard facade: the main unit's features without an enclosure id. Most calls forward
// to the enclosure backend with "root"; the counts come from the registered records, so they
// answer after a scan without touching the hardware.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "drivers/pending_drivers.h"
#include "facade/pending_facade_parts.h"
#include "foundation/text.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_mb.h"
#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "nashal/net_sys.h"
#include "nashal/se_sys.h"

namespace {

constexpr const char *kRoot = "root";
constexpr const char *kRootUsb = "root_usb";
constexpr const char *kRootEsata = "root_esata";

// The registered record of a main-unit enclosure; false when it isn't registered.
bool registered(const char *enc_sys_id, int *enc_id, ENC_INFO *info = nullptr) {
    if (SE_Get_Id_By_Sys_Id(enc_sys_id, enc_id) < 0)
        return false;
    return !info || SE_Get_Info(*enc_id, info) >= 0;
}

int32_t count_of(const char *enc_sys_id, int32_t ENC_INFO::*field) {
    int enc_id = -1;
    ENC_INFO info{};
    return registered(enc_sys_id, &enc_id, &info) ? info.*field : 0;
}

int sys_name_of(const char *enc_sys_id, int port, char *buffer, int size) {
    int enc_id = -1;
    if (!registered(enc_sys_id, &enc_id))
        return -1;
    return PD_Get_Sys_Name(enc_id, port + 1, buffer, size);
}

// The enc_sys_id of the unit's own SAS expander, in 32 bytes.
bool expander_id(char (&id)[HAL_ID_LEN]) {
    return se_sys_get_real_enc_sys_id(kRoot, id, sizeof id) == 0;
}

int temp_or_100(const char *kind) {
    char key[32];
    std::snprintf(key, sizeof key, "%s_TEMP", kind);
    int32_t degrees = 100;
    if (Ini_Conf_Get_Field_Int(HAL_UTIL_CONF_FILE, "SHUTDOWN TEMP", key, &degrees, INI_CONF_DEC) <=
        0)
        degrees = 100;
    return degrees;
}

}  // namespace

extern "C" {

int HAL_MB_Set_Serial_No(const char *serial) {
    return se_sys_set_board_sn(kRoot, serial);
}

int HAL_MB_Get_Serial_No(char *buffer, int size) {
    return se_sys_get_board_sn(kRoot, buffer, size);
}

int HAL_MB_Get_Display_Name(char *buffer, int size) {
    return se_sys_get_display_name(kRoot, buffer, size);
}

int HAL_MB_Get_NIC_MAC(int port, char *buffer, int size) {
    return se_sys_get_mac(port, buffer, size);
}

int HAL_MB_Set_NIC_MAC(int port, const char *mac) {
    return se_sys_set_mac(port, mac);
}

int HAL_MB_Get_NIC_Speed(int port, int *code) {
    return net_sys_get_speed(port, code);
}

int HAL_MB_Get_PCIe_Info(int slot, int *link_speed, int *link_width, int *max_width) {
    return se_sys_get_pcie_link_state(kRoot, slot, link_speed, link_width, max_width);
}

int HAL_MB_ECC_Mem_Installed(void) {
    return se_sys_check_ECC_memory_installed(kRoot);
}

int HAL_MB_Get_CPU_Info(char *buffer, int size) {
    return se_sys_get_cpu_info(kRoot, buffer, size);
}

int HAL_MB_Get_CPU_Speed(int *speed) {
    return se_sys_get_cpu_running_speed(kRoot, speed);
}

int HAL_MB_Get_PCIe_Slot_Count(void) {
    return count_of(kRoot, &ENC_INFO::max_pcie_num);
}

int HAL_MB_Get_NIC_Count(void) {
    return count_of(kRoot, &ENC_INFO::max_nic_num);
}

int HAL_MB_Get_USB_Count(void) {
    return count_of(kRootUsb, &ENC_INFO::max_disk_num);
}

int HAL_MB_Get_eSATA_Count(void) {
    return count_of(kRootEsata, &ENC_INFO::max_disk_num);
}

int HAL_MB_Get_USB_Sys_Name(int port, char *buffer, int size) {
    return sys_name_of(kRootUsb, port, buffer, size);
}

int HAL_MB_Get_eSATA_Sys_Name(int port, char *buffer, int size) {
    return sys_name_of(kRootEsata, port, buffer, size);
}

int HAL_MB_Is_USB_Port_3_0(int port) {
    uint32_t bitmap = 0;
    if (se_sys_get_usb3_port(kRootUsb, &bitmap) != 0)
        return 0;
    // A port beyond the word's bits can't be SuperSpeed; shifting that far is undefined.
    if (port < -1 || port + 1 >= 32)
        return 0;
    return static_cast<int>(bitmap & (1u << (port + 1)));
}

int mb_se_usb_port_filter(int enc_id, void *port_id) {
    ENC_INFO info{};
    if (SE_Get_Info(enc_id, &info) < 0)
        return -2;
    const auto port = static_cast<int>(reinterpret_cast<intptr_t>(port_id));
    if (info.protocol == ENC_PROTOCOL_USB && std::strcmp(info.enc_parent_sys_id, kRootUsb) == 0 &&
        info.enc_parent_port_id == port)
        return 0;
    return -2;
}

int MB_SE_Enum_By_Root_USB_Port(int port, int *enc_ids, int capacity) {
    return SE_Enumerate(enc_ids, capacity, mb_se_usb_port_filter,
                        reinterpret_cast<void *>(static_cast<intptr_t>(port + 1)));
}

int HAL_MB_Get_SAS_Addr(char *buffer, int size) {
    return se_sys_get_sas_addr(kRoot, buffer, size);
}

int HAL_MB_Set_SAS_Addr(const char *address) {
    return se_sys_set_sas_addr(kRoot, address);
}

int HAL_MB_Get_Expander_SAS_Addr(char *buffer, int size) {
    char id[HAL_ID_LEN];
    if (!expander_id(id))
        return -1;
    return se_sys_get_sas_addr(id, buffer, size);
}

int HAL_MB_Set_Expander_SAS_Addr(const char *address) {
    char id[HAL_ID_LEN];
    if (!expander_id(id))
        return -1;
    return se_sys_set_sas_addr(id, address);
}

int HAL_MB_Get_External_SAS_Info(int *connector_count, int *ports_in_connector) {
    return se_sys_get_connector_info(kRoot, connector_count, ports_in_connector);
}

int HAL_MB_Get_External_SAS_PD_Sys_Name(int connector, int port_in_connector, char *name,
                                        int size) {
    return pd_sys_get_sys_name_in_connector(kRoot, connector, port_in_connector, name, size);
}

int HAL_MB_Get_SAS_Expander_FW_Version(char *buffer, int size) {
    char id[HAL_ID_LEN];
    ENC_INFO info{};
    if (!buffer || size <= 0 || !expander_id(id) || se_sys_getinfo(id, &info) < 0)
        return -1;
    nashal::hal_copy(buffer, static_cast<size_t>(size), info.revision, sizeof info.revision);
    return 0;
}

int HAL_MB_Upgrade_SAS_Expander_FW(const char *image, char *version, int size) {
    char id[HAL_ID_LEN];
    if (!expander_id(id))
        return -1;
    char device[HAL_ID_LEN + 8];
    std::snprintf(device, sizeof device, "/dev/%s", id);
    return SAS_Expander_Upgrade_Img(device, image, version, size);
}

int HAL_MB_Get_SAS_HBA_FW_Version(int slot, char *buffer, int size) {
    return se_sys_get_SAS_HBA_info(slot, nullptr, 0, nullptr, 0, buffer, size, nullptr, 0);
}

int HAL_MB_Upgrade_SAS_HBA_FW(int slot, const char *image, char *version, int version_size,
                              int sas_version) {
    return se_sys_upgrade_hba_fw(slot, image, version, version_size, sas_version);
}

int HAL_MB_Set_BBU_Status_LED(int colour, int index, int enable) {
    return se_sys_set_bbu_status_led(colour, index, enable);
}

int HAL_MB_Charge_BBU(int enable) {
    return se_sys_enable_bbu_charge(enable);
}

int HAL_MB_Discharge_BBU(int enable) {
    return se_sys_enable_bbu_discharge(enable);
}

int HAL_MB_Get_BBU_Status(BBU_STATUS *status) {
    return se_sys_get_bbu_status(status);
}

int HAL_MB_Get_Temp_Profile(HAL_TEMP_PROFILE *profile) {
    if (!profile)
        return 0;
    profile->cpu = temp_or_100("CPU");
    profile->sys = temp_or_100("SYS");
    profile->disk = temp_or_100("DISK");
    profile->power = temp_or_100("POWER");
    return 0;
}

int HAL_MB_Get_SS_Profile(int *max_channels, int *free_channels) {
    int32_t max = 0, free = 0;
    const bool have_max = Ini_Conf_Get_Field_Int(HAL_CONF_FILE, "Enclosure_0", "ss_max_channels",
                                                 &max, INI_CONF_DEC) > 0;
    const bool have_free = Ini_Conf_Get_Field_Int(HAL_CONF_FILE, "Enclosure_0", "ss_free_channels",
                                                  &free, INI_CONF_DEC) > 0;
    if (max_channels)
        *max_channels = have_max ? max : 0;
    if (free_channels)
        *free_channels = have_free ? free : 0;
    return have_max && have_free ? 0 : -1;
}

}  // extern "C"
