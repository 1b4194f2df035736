// The locate blink of disks: the LEDs of chosen slots, or of a whole enclosure, blinked from a
// background process of its own. Its state lives in "/tmp/ident_blink_<enc_sys_id>" ("PID",
// "ENC_IN_IDENT", "PD_IDENT_BITMAP"), so the next call, from any process, can restart it with
// one slot more or less.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "enclosure/enclosure_kinds.h"
#include "nashal/se_sys.h"
#include "enclosure/panel_drivers.h"
#include "foundation/blink_process.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "os/os_seam.h"
#include "topology/model_file.h"
#include "enclosure/sas_expander.h"
#include "nashal/hal_types.h"

using namespace nashal::enclosure;

namespace {

constexpr const char *kName = "ident_led_blink";
constexpr useconds_t kStepUs = 250000;

int slot_count(const char *id) {
    if (is(id, "root")) {
        int32_t n = 0;
        if (!nashal::topology::model_int(nashal::topology::kSystemEnclosure, "MAX_DISK_NUM", &n))
            return -1;
        return n;
    }
    ENC_INFO info = {};
    return usb_expander_getinfo(id, &info) == 0 ? info.max_disk_num : 0;
}

// The blinker: chosen slots change every step (250 ms), the rest of a flagged enclosure every
// other step.
void blink_forever(const char *id, int count, int enclosure, uint32_t bitmap) {
    int slot_phase = 1, enclosure_phase = 1;
    for (unsigned step = 0;; ++step) {
        if (step % 2 == 0) {
            for (int slot = 1; slot <= count; ++slot) {
                if (slot < 32 && (bitmap >> slot) & 1) {
                    pd_sys_set_present_led(id, slot, slot_phase);
                    pd_sys_set_err_led(id, slot, slot_phase);
                } else if (enclosure) {
                    pd_sys_set_present_led(id, slot, 0);
                    pd_sys_set_err_led(id, slot, enclosure_phase);
                }
            }
            slot_phase = !slot_phase;
            enclosure_phase = !enclosure_phase;
        } else if (bitmap > 0) {
            for (int slot = 1; slot <= count && slot < 32; ++slot) {
                if ((bitmap >> slot) & 1) {
                    pd_sys_set_present_led(id, slot, slot_phase);
                    pd_sys_set_err_led(id, slot, slot_phase);
                }
            }
            slot_phase = !slot_phase;
        }
        os_usleep(kStepUs);
    }
}

}  // namespace

extern "C" int se_sys_set_pd_ident_led(const char *id, int port_id, int enable, int err_state) {
    if (!id)
        return -1;
    const int count = slot_count(id);
    if (count < 0)
        return -1;
    char state[HAL_NAME_LEN];
    std::snprintf(state, sizeof state, "%s_%s", "/tmp/ident_blink", id);

    int32_t pid = 0, enclosure = 0, bitmap = 0;
    Ini_Conf_Get_Field_Int(state, nullptr, "PID", &pid, INI_CONF_DEC);
    if (nashal::blink_running(pid, kName)) {
        Ini_Conf_Get_Field_Int(state, nullptr, "ENC_IN_IDENT", &enclosure, INI_CONF_DEC);
        Ini_Conf_Get_Field_Int(state, nullptr, "PD_IDENT_BITMAP", &bitmap, INI_CONF_HEX);
        kill(pid, SIGKILL);
    }
    unlink(state);

    for (int slot = 1; slot <= count; ++slot)
        pd_sys_set_err_led(id, slot, 0);

    uint32_t bits = static_cast<uint32_t>(bitmap);
    const uint32_t bit = port_id > 0 && port_id < 32 ? (1u << port_id) : 0;
    bool needed;
    if (enable) {
        if (port_id == -1)
            enclosure = 1;
        else
            bits |= bit;
        needed = true;
    } else if (port_id != -1) {
        bits &= ~bit;
        needed = bits != 0 || enclosure != 0;
    } else {
        enclosure = 0;
        needed = bits > 0;
    }

    if (needed) {
        ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):se_active = %d, port_active_bitmap = 0x%x\n", __func__,
                  __LINE__, enclosure, bits);
        const int flag = enclosure;
        pid_t blinker = nashal::blink_spawn(
            kName, [&] { blink_forever(id, count, flag, bits); },
            [&](pid_t p) {
                Ini_Conf_Set_Field_Int(state, nullptr, "PID", p, INI_CONF_DEC);
                Ini_Conf_Set_Field_Int(state, nullptr, "ENC_IN_IDENT", flag, INI_CONF_DEC);
                Ini_Conf_Set_Field_Int(state, nullptr, "PD_IDENT_BITMAP",
                                       static_cast<int32_t>(bits), INI_CONF_HEX);
            });
        return blinker > 0 ? 0 : -1;
    }
    if (err_state == 1) {
        pd_sys_set_present_led(id, port_id, 0);
        pd_sys_set_err_led(id, port_id, 1);
    }
    return 0;
}
