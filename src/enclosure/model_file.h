// Reading keys of the model files. A key that can't be read means the feature is absent; the
// callers keep their default.
#ifndef NASHAL_ENCLOSURE_MODEL_FILE_H
#define NASHAL_ENCLOSURE_MODEL_FILE_H

#include <cstdint>

#include "nashal/ini_conf.h"
#include "nashal/se_sys.h"

namespace nashal::enclosure {

constexpr const char *kSystemEnclosure = "System Enclosure";

// > 0 when found, the text cut to size and terminated.
inline int model_text(const char *section, const char *key, char *out, int size,
                      const char *file = SE_MODEL_CONF_FILE) {
    return Ini_Conf_Get_Field(file, section, key, out, size);
}

// The value, or `fallback` when the key can't be read.
inline int32_t model_int(const char *section, const char *key, int format, int32_t fallback = 0,
                         const char *file = SE_MODEL_CONF_FILE) {
    int32_t value = fallback;
    if (Ini_Conf_Get_Field_Int(file, section, key, &value, format) <= 0)
        return fallback;
    return value;
}

// "CAP" of the main unit, read afresh each time: nothing caches the word.
inline uint32_t root_capability() {
    return static_cast<uint32_t>(model_int(kSystemEnclosure, "CAP", INI_CONF_HEX));
}

}  // namespace nashal::enclosure

#endif  // NASHAL_ENCLOSURE_MODEL_FILE_H
