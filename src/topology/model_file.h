// The one reader of the model files. Every part of the library that asks the board's
// description a question asks it here, with one rule: a key that is missing or empty means the
// feature is absent, and the caller keeps its default.
#ifndef NASHAL_TOPOLOGY_MODEL_FILE_H
#define NASHAL_TOPOLOGY_MODEL_FILE_H

#include <cstddef>
#include <cstdint>

#include "nashal/comm_model.h"
#include "nashal/ini_conf.h"
#include "nashal/se_sys.h"

namespace nashal::topology {

constexpr const char *kModelConf = SE_MODEL_CONF_FILE;
constexpr const char *kModelExtConf = COMM_MODEL_EXT_CONF;
constexpr const char *kSystemEnclosure = "System Enclosure";
constexpr const char *kInternalSas = "System Internal SAS";

// A text key into out (size bytes, cut there and terminated). True when the key holds a
// non-empty value; otherwise false with out empty.
bool model_text(const char *section, const char *key, char *out, size_t size,
                const char *file = kModelConf);

template <size_t N>
bool model_text(const char *section, const char *key, char (&out)[N],
                const char *file = kModelConf) {
    return model_text(section, key, out, N, file);
}

// An integer key in `format` (INI_CONF_DEC or INI_CONF_HEX). True when it was read; otherwise
// false and *out keeps the caller's default.
bool model_int(const char *section, const char *key, int32_t *out, int format = INI_CONF_DEC,
               const char *file = kModelConf);

// The integer, or `fallback` when the key can't be read.
int32_t model_int_or(const char *section, const char *key, int32_t fallback,
                     int format = INI_CONF_DEC, const char *file = kModelConf);

// "CAP" of the main unit, read afresh each time: nothing caches the word.
uint32_t root_capability();

}  // namespace nashal::topology

#endif  // NASHAL_TOPOLOGY_MODEL_FILE_H
