#include "foundation/ini_snapshot.h"

#include "foundation/ini_document.h"
#include "foundation/ini_file.h"

namespace nashal::ini {

Snapshot::Snapshot(const char *file) {
    if (!file || !*file)
        return;
    bool existed = false;
    // Reading follows a link by itself, as a query does.
    present_ = read_bytes(file, bytes_, &existed) && existed;
    if (!present_)
        bytes_.clear();
}

std::string_view Snapshot::bytes_for(const char *section) const {
    std::string_view all(bytes_);
    if (!section)
        return all;
    if (!have_last_ || last_section_ != section) {
        last_section_ = section;
        last_start_ = section_start(all, section);
        have_last_ = true;
    }
    // No such section: no field of it can be found, in no bytes.
    return last_start_ == std::string_view::npos ? std::string_view() : all.substr(last_start_);
}

int Snapshot::get_field(const char *section, const char *field, char *out, int size) const {
    return present_ ? text_field(bytes_for(section), section, field, out, size) : -1;
}

int Snapshot::get_field_int(const char *section, const char *field, int32_t *out,
                            int format) const {
    return present_ ? int_field(bytes_for(section), section, field, out, format) : -1;
}

int Snapshot::bitmap_is_bit_set(const char *section, const char *field, int bit) const {
    return present_ ? bit_of_bitmap(bytes_for(section), section, field, bit) : 0;
}

int Snapshot::bitmap_enumerate(const char *section, const char *field, int *array, int capacity,
                               INI_CONF_BITMAP_CB callback, void *cookie) const {
    // A missing file is an empty bitmap: nothing to walk, as for the store call.
    return enumerate_bitmap(present_ ? bytes_for(section) : std::string_view(), section, field,
                            array, capacity, callback, cookie);
}

}  // namespace nashal::ini
