// The two halves of a disk's round trip: what enumeration lists for an enclosure, and the bay
// the reverse lookups of a hot-plug handler give each disk back.
#ifndef NASHAL_TESTS_DISK_ROUND_TRIP_H
#define NASHAL_TESTS_DISK_ROUND_TRIP_H

#include <cstdlib>
#include <string>
#include <vector>

#include "disk/disk_model.h"
#include "nashal/comm_path.h"
#include "nashal/pd_sys.h"

namespace disk_test {

// pd_sys_enumerate of an enclosure, texts freed; a null entry shows as "(null)".
inline std::vector<std::string> enumerate(const char *enc) {
    char *list[MAX_PD_SYS_ENUM] = {};
    int n = pd_sys_enumerate(enc, list, MAX_PD_SYS_ENUM);
    std::vector<std::string> out;
    for (int i = 0; i < n && i < MAX_PD_SYS_ENUM; ++i) {
        out.push_back(list[i] ? list[i] : "(null)");
        free(list[i]);
    }
    return out;
}

// The slot as the disk's information collector works it out: the physical port of the
// controller, or for a USB disk the port number of its bus name. -100: no port; -101: no bay.
inline int reverse_bay(const char *enc, const std::string &sg) {
    int physical = -1;
    int switch_port = -1;
    if (std::string(enc) == "root_usb" || std::string(enc) == "root_boot") {
        char link[HAL_SYSFS_PATH_LEN];
        char bus[HAL_ID_LEN];
        if (comm_sys_get_sg_path_info(sg.c_str(), link, sizeof(link)) < 0 ||
            !nashal::disk::usb_bus_from_path(link, bus))
            return -100;
        physical = comm_sys_get_usb_port(bus);
    } else if (get_physical_drive_port(sg.c_str(), &physical, &switch_port) != 0) {
        return -100;
    }
    PD_INFO info{};
    info.port_id = -99;
    if (get_pd_port_id(enc, sg.c_str(), physical, switch_port, &info) != 0)
        return -101;
    return info.port_id;
}

}  // namespace disk_test

#endif  // NASHAL_TESTS_DISK_ROUND_TRIP_H
