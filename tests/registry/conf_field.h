// A field of one of the registry's INI files (/etc/hal.conf, the disk files) as a test compares
// it: its text, or "<missing>" when the library reads none, so that an absent field and an
// empty one don't look alike in a failure.
#ifndef NASHAL_TESTS_REGISTRY_CONF_FIELD_H
#define NASHAL_TESTS_REGISTRY_CONF_FIELD_H

#include <string>

#include "nashal/ini_conf.h"

namespace nashal::test {

inline std::string field(const char *file, const std::string &section, const std::string &key) {
    char value[64] = {};
    if (Ini_Conf_Get_Field(file, section.c_str(), key.c_str(), value, sizeof value) <= 0)
        return "<missing>";
    return value;
}

}  // namespace nashal::test

#endif  // NASHAL_TESTS_REGISTRY_CONF_FIELD_H
