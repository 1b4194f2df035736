// board: the main unit's identity as the motherboard interface reports it, each from the place
// its model file names (network EEPROM, controller, boot disk): serial number, MAC addresses,
// model prefix and the name shown to the user.
#include <string>

#include "halctl.h"
#include "nashal/mcu_sys.h"
#include "nashal/pic_sys.h"
#include "nashal/se_board.h"
#include "nashal/se_sys.h"
#include "topology/model_file.h"

namespace {

using halctl::Output;

// What a reader gave, or "" when the board keeps no such thing.
std::string read_text(int result, const char *text) {
    return result == 0 ? text : "";
}

}  // namespace

HALCTL_COMMAND(cmd_board, "board", "",
               "the main unit's serial number, MAC addresses, model prefix and shown name") {
    if (!ctx.args.empty())
        return halctl::usage_error(ctx, "board takes no arguments");
    // A serial number kept by the panel controller is read through its monitor, which attach
    // starts on the box; a halctl run starts it as attach would.
    const uint32_t cap = nashal::topology::root_capability();
    if (cap & CAP_PIC)
        pic_sys_start_monitor("root", 0);
    else if (cap & CAP_MCU)
        mcu_sys_start_monitor("root", 0);
    char serial[64] = {}, prefix[16] = {}, name[128] = {};
    Output::Record r;
    r.push_back(Output::text(
        "serial", read_text(se_sys_get_board_sn("root", serial, sizeof serial), serial)));
    r.push_back(Output::text(
        "prefix", read_text(se_sys_get_model_prefix_name("root", prefix, sizeof prefix), prefix)));
    r.push_back(Output::text("display_name",
                             read_text(se_sys_get_display_name("root", name, sizeof name), name)));
    const int ports =
        nashal::topology::model_int_or(nashal::topology::kSystemEnclosure, "MAX_NET_PORT_NUM", 0);
    for (int port = 0; port < ports && port < 64; ++port) {
        char mac[32] = {};
        if (se_sys_get_mac(port, mac, sizeof mac) == 0)
            r.push_back(Output::text("mac" + std::to_string(port), mac));
    }
    ctx.out.record(r);
    return halctl::kOk;
}
