// disks-found: what disk enumeration sees in one enclosure, with each disk's enclosure and bay
// as the reverse lookup computes them. A field engineer checking a new model file sees at once
// a disk that is found but mapped back to another enclosure or to the wrong bay.
#include <cstdlib>
#include <cstring>
#include <string>

#include "disk/disk_model.h"
#include "halctl.h"
#include "nashal/comm_path.h"
#include "nashal/pd_sys.h"

namespace {

// The bay as the disk's information collector works it out: the port of the USB bus name for
// the USB enclosures, else the physical port on the controller.
int reverse_bay(const std::string &enc, const char *sg) {
    int physical = -1;
    int switch_port = -1;
    // A boot device is on USB or on an ATA port, as the model says; its link text tells which.
    char link[HAL_SYSFS_PATH_LEN];
    char bus[HAL_ID_LEN];
    if ((enc == "root_usb" || enc == "root_boot") &&
        comm_sys_get_sg_path_info(sg, link, sizeof(link)) >= 0 && strstr(link, "usb") &&
        nashal::disk::usb_bus_from_path(link, bus))
        physical = comm_sys_get_usb_port(bus);
    else if (enc != "root_usb")
        get_physical_drive_port(sg, &physical, &switch_port);
    PD_INFO info{};
    if (get_pd_port_id(enc.c_str(), sg, physical, switch_port, &info) != 0)
        return -100;
    return info.port_id;
}

}  // namespace

HALCTL_COMMAND(cmd_disks_found, "disks-found", "ENC_SYS_ID",
               "list the disks enumeration finds in an enclosure, with the enclosure and bay "
               "each maps back to") {
    if (ctx.args.size() != 1)
        return halctl::usage_error(ctx, "disks-found takes one enclosure id (root, root_usb, ...)");
    const std::string &enc = ctx.args[0];
    char *list[MAX_PD_SYS_ENUM] = {};
    int count = pd_sys_enumerate(enc.c_str(), list, MAX_PD_SYS_ENUM);
    if (count < 0)
        return halctl::failure("enumeration of " + enc + " failed (" + std::to_string(count) + ")");
    using halctl::Output;
    std::vector<Output::Record> rows;
    for (int i = 0; i < count && i < MAX_PD_SYS_ENUM; ++i) {
        char back[HAL_ID_LEN] = "";
        int rc = PD_Sys_Get_SE_Sys_Id(list[i], back);
        int bay = reverse_bay(enc, list[i]);
        std::string bay_text = bay == -100 ? "none" : std::to_string(bay);
        std::string note;
        if (rc == -2)
            note = "on the unit's expander, no bay lists it";
        else if (rc != 0 || enc != back)
            note = "MAPS TO ANOTHER ENCLOSURE";
        else if (bay == -100)
            note = "NO BAY MATCHES";
        else if (bay == -1)
            note = "no bay of its own (port multiplier)";
        rows.push_back({Output::text("pd_sys_id", list[i]),
                        Output::text("enc_sys_id", rc == -1 ? "?" : back),
                        Output::text("bay", bay_text), Output::text("note", note)});
        free(list[i]);
    }
    if (count > MAX_PD_SYS_ENUM)
        ctx.out.message("more disks than the list holds: " + std::to_string(count));
    ctx.out.table(rows);
    return halctl::kOk;
}
