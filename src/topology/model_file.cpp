// The one reader of the model files.
#include "topology/model_file.h"

namespace nashal::topology {

bool model_text(const char *section, const char *key, char *out, size_t size, const char *file) {
    if (!out || size == 0)
        return false;
    out[0] = '\0';
    int room = size > 0x7fffffff ? 0x7fffffff : static_cast<int>(size);
    if (Ini_Conf_Get_Field(file, section, key, out, room) > 0 && out[0] != '\0')
        return true;
    out[0] = '\0';
    return false;
}

bool model_int(const char *section, const char *key, int32_t *out, int format, const char *file) {
    int32_t value = 0;
    if (Ini_Conf_Get_Field_Int(file, section, key, &value, format) <= 0)
        return false;
    *out = value;
    return true;
}

int32_t model_int_or(const char *section, const char *key, int32_t fallback, int format,
                     const char *file) {
    int32_t value = fallback;
    model_int(section, key, &value, format, file);
    return value;
}

uint32_t root_capability() {
    return static_cast<uint32_t>(model_int_or(kSystemEnclosure, "CAP", 0, INI_CONF_HEX));
}

}  // namespace nashal::topology
