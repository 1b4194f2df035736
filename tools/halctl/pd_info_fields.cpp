#include "pd_info_fields.h"

#include <cstdio>
#include <cstring>

namespace halctl {

std::string pd_capability_names(unsigned capabilities) {
    static const struct {
        unsigned bit;
        const char *name;
    } kNames[] = {{PD_CAP_WWN, "WWN"},
                  {PD_CAP_SMART, "SMART"},
                  {PD_CAP_SELF_TEST, "SELF_TEST"},
                  {PD_CAP_SSD, "SSD"},
                  {PD_CAP_SERIAL, "SERIAL"},
                  {PD_CAP_BOOT, "BOOT"},
                  {PD_CAP_STANDBY, "STANDBY"},
                  {PD_CAP_NO_DISK, "NO_DISK"},
                  {PD_CAP_ERC, "ERC"},
                  {PD_CAP_TRIM, "TRIM"},
                  {PD_CAP_CACHEABLE, "CACHEABLE"}};
    std::string names;
    for (const auto &n : kNames) {
        if (capabilities & n.bit)
            names += (names.empty() ? "" : ",") + std::string(n.name);
    }
    return names;
}

Output::Record pd_info_record(const PD_INFO &info, bool wwn_is_text) {
    std::string wwn;
    if (wwn_is_text) {
        wwn = std::string(reinterpret_cast<const char *>(info.wwn),
                          strnlen(reinterpret_cast<const char *>(info.wwn), sizeof info.wwn));
    } else if (info.capabilities & PD_CAP_WWN) {
        char hex[3];
        for (int i = 0; i < 8; ++i) {
            snprintf(hex, sizeof hex, "%02x", info.wwn[i]);
            wwn += hex;
        }
    }
    auto text = [](const char *field, size_t size) {
        return std::string(field, strnlen(field, size));
    };
    return {Output::number("port_id", info.port_id),
            Output::text("pd_sys_id", text(info.pd_sys_id, sizeof info.pd_sys_id)),
            Output::text("enc_sys_id", text(info.enc_sys_id, sizeof info.enc_sys_id)),
            Output::text("pd_sys_name", text(info.pd_sys_name, sizeof info.pd_sys_name)),
            Output::text("pd_ctrl_name", text(info.pd_ctrl_name, sizeof info.pd_ctrl_name)),
            Output::text("pd_bus_name", text(info.pd_bus_name, sizeof info.pd_bus_name)),
            Output::text("wwn", wwn),
            Output::number("type", info.type),
            Output::number("speed", info.speed),
            Output::number("max_speed", info.max_speed),
            Output::text("read_speed", text(info.read_speed, sizeof info.read_speed)),
            Output::text("vendor", text(info.vendor, sizeof info.vendor)),
            Output::text("model", text(info.model, sizeof info.model)),
            Output::text("serial_no", text(info.serial_no, sizeof info.serial_no)),
            Output::text("revision", text(info.revision, sizeof info.revision)),
            Output::hex("protocol_version", info.protocol_version),
            Output::number("status", info.status),
            Output::hex("capabilities", info.capabilities),
            Output::text("capability_names", pd_capability_names(info.capabilities)),
            Output::number("sector_size", info.sector_size),
            Output::number("capacity", static_cast<long long>(info.capacity))};
}

}  // namespace halctl
