// The model name shown to the user, worked out once from the model file and kept in
// /etc/platform.conf until the model file is selected anew at start-up.
#include <cstdio>
#include <cstring>

#include "enclosure/enclosure_kinds.h"
#include "foundation/text.h"
#include "nashal/hal_trace.h"
#include "nashal/se_sys.h"
#include "topology/model_file.h"

using namespace nashal::enclosure;
using nashal::topology::kSystemEnclosure;
using nashal::topology::model_int;
using nashal::topology::model_text;

extern "C" int se_sys_check_ECC_memory_installed(const char *enc_sys_id) {
    if (!is(enc_sys_id, "root"))
        return 0;
    char value[HAL_ID_LEN] = {};
    if (Ini_Conf_Get_Field("/var/.system.info", "RAM", "UseECC", value, sizeof value) <= 0)
        return 0;
    return strcmp(value, "TRUE") == 0 ? 1 : 0;
}

extern "C" int se_sys_get_display_name(const char *enc_sys_id, char *buffer, int size) {
    if (!buffer || size <= 0)
        return -1;
    const size_t out_size = static_cast<size_t>(size);
    if (Ini_Conf_Get_Field(SE_PLATFORM_CONF_FILE, "MISC", "DISPLAY_NAME", buffer, size) > 0 &&
        buffer[0] != '\0')
        return 0;
    int32_t cap = 0;
    if (!is(enc_sys_id, "root") || !model_int(kSystemEnclosure, "CAP", &cap, INI_CONF_HEX))
        return -1;

    char text[HAL_MODEL_LEN] = {};
    bool display_model = model_text(kSystemEnclosure, "DISPLAY_MODEL_NAME", text);
    if (!display_model && !model_text(kSystemEnclosure, "MODEL", text))
        return -1;

    // "XY-451U RP": head "XY-", tail "451U", suffix " RP".
    char suffix[HAL_MODEL_LEN] = {};
    if (char *space = strchr(text, ' ')) {
        nashal::hal_copy(suffix, space);
        *space = '\0';
    }
    char *dash = strchr(text, '-');
    if (!dash)
        return -1;
    char tail[HAL_MODEL_LEN] = {};
    nashal::hal_copy(tail, dash + 1);
    char head[HAL_MODEL_LEN] = {};
    nashal::hal_copy(head, sizeof head, text, static_cast<size_t>(dash - text) + 1);

    char prefix[HAL_ID_LEN] = {};
    if (se_sys_get_model_prefix_name("root", prefix, sizeof prefix) == 0 && prefix[0] != '\0') {
        snprintf(head, sizeof head, "%s-", prefix);
        suffix[0] = '\0';
    }

    char name[3 * HAL_MODEL_LEN] = {};
    if (display_model) {
        snprintf(name, sizeof name, "%s%s%s", head, tail, suffix);
    } else {
        if (se_sys_check_ECC_memory_installed("root"))
            snprintf(name, sizeof name, "%sEC%s", head, tail);
        else
            snprintf(name, sizeof name, "%s%s", head, tail);
        size_t len = strlen(name);
        snprintf(name + len, sizeof name - len, "%s",
                 (static_cast<uint32_t>(cap) & CAP_REDUNDANT_POWER) ? "-RP" : suffix);
    }
    nashal::hal_copy(buffer, out_size, name);
    if (Ini_Conf_Set_Field(SE_PLATFORM_CONF_FILE, "MISC", "DISPLAY_NAME", buffer) < 0)
        ERR_TRACE(HAL_TRACE_INFO, "%s(%d): System Internal Error.\n", __func__, __LINE__);
    return 0;
}
