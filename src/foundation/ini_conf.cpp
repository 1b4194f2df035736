// Fields of the configuration store: text and integer values, removal of fields and sections.
// Each call reads the file afresh; each change is one locked read-modify-write (ini_file.h).
// Queries and sets work on the bytes of the file; removals parse it.
#include "nashal/ini_conf.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/ini_file.h"
#include "foundation/ini_snapshot.h"
#include "foundation/ini_number.h"
#include "foundation/text.h"

using namespace nashal::ini;

namespace nashal::ini {

int text_field(std::string_view bytes, const char *section, const char *field, char *out,
               int size) {
    if (!out || size <= 0 || !field)
        return -1;
    std::string_view value;
    if (!lookup(bytes, section, field, &value))
        return -1;
    nashal::hal_copy(out, static_cast<size_t>(size), value.data(), value.size());
    return static_cast<int>(strlen(out)) + 1;
}

int int_field(std::string_view bytes, const char *section, const char *field, int32_t *out,
              int format) {
    if (!out || !field)
        return -1;
    std::string_view found;
    if (!lookup(bytes, section, field, &found))
        return -1;
    std::string value(found);
    int32_t parsed = 0;
    if (!parse_int32(value.c_str(), format, &parsed))
        return 0;
    *out = parsed;
    return 1;
}

}  // namespace nashal::ini

extern "C" int Ini_Conf_Get_Field(const char *file, const char *section, const char *field,
                                  char *out, int size) {
    if (!out || size <= 0 || !field)
        return -1;
    std::string_view bytes;
    return read_view(file, &bytes) ? text_field(bytes, section, field, out, size) : -1;
}

extern "C" int Ini_Conf_Set_Field(const char *file, const char *section, const char *field,
                                  const char *value) {
    if (!valid_section_name(section) || !valid_field_name(field) || !valid_value(value))
        return -1;
    return change_bytes(file, [&](std::string &bytes, bool, bool &changed) {
        changed = set_field(bytes, section, field, value);
        return 0;
    });
}

extern "C" int Ini_Conf_Get_Field_Int(const char *file, const char *section, const char *field,
                                      int32_t *out, int format) {
    if (!out || !field)
        return -1;
    std::string_view bytes;
    return read_view(file, &bytes) ? int_field(bytes, section, field, out, format) : -1;
}

extern "C" int Ini_Conf_Set_Field_Int(const char *file, const char *section, const char *field,
                                      int32_t value, int format) {
    char text[16];
    format_int32(value, format, text, sizeof text);
    int r = Ini_Conf_Set_Field(file, section, field, text);
    return r < 0 ? r : 1;
}

extern "C" int Ini_Conf_Remove_Field(const char *file, const char *section, const char *field) {
    if (!field)
        return -1;
    return change(file, [&](Document &doc, bool existed, bool &changed) {
        if (!existed)
            return -1;
        changed = doc.remove_field(section, field);
        return 0;
    });
}

extern "C" int Ini_Conf_Remove_Section(const char *file, const char *section) {
    if (!section)
        return -1;
    return change(file, [&](Document &doc, bool existed, bool &changed) {
        if (!existed)
            return -1;
        changed = doc.remove_section(section);
        return 0;
    });
}
