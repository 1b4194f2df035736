// One read of a store file, answered field by field.
//
// A record reader (SE_Get_Info, PD_Get_Info, ...) takes a dozen or more fields from one file.
// Asked one field at a time, the store opens, reads and closes the file for each, and a change
// made by another process between two of those reads gives a record that mixes two versions of
// the file. A snapshot reads the file once, as one store query does, and answers every field
// from those bytes with the store's own readers, so each answer is what the Ini_Conf_* call
// would have given on the file as it was read. Files are only ever replaced whole (by rename),
// so the bytes are one version of the file.
//
//   nashal::ini::Snapshot conf("/etc/enclosure_3.conf");
//   conf.get_field("PhysicalDisk_1", "serial", info->serial, sizeof info->serial);
//   conf.get_field_int("PhysicalDisk_1", "type", &type, INI_CONF_DEC);
//
// A snapshot of a missing or unreadable file answers every query as the store does for such a
// file (-1, nothing found). It holds its own copy of the bytes: store calls made while it lives
// (an enumeration callback, say) don't disturb it. A snapshot is for the thread that took it.
#ifndef NASHAL_FOUNDATION_INI_SNAPSHOT_H
#define NASHAL_FOUNDATION_INI_SNAPSHOT_H

#include <cstdint>
#include <string>
#include <string_view>

#include "nashal/ini_conf.h"

namespace nashal::ini {

class Snapshot {
  public:
    explicit Snapshot(const char *file);

    // Whether the file existed and was read.
    bool present() const { return present_; }

    // The results of Ini_Conf_Get_Field, _Get_Field_Int, _Bitmap_Is_Bit_Set and
    // _Bitmap_Enumerate on the file as it was read.
    int get_field(const char *section, const char *field, char *out, int size) const;
    int get_field_int(const char *section, const char *field, int32_t *out, int format) const;
    int bitmap_is_bit_set(const char *section, const char *field, int bit) const;
    int bitmap_enumerate(const char *section, const char *field, int *array, int capacity,
                         INI_CONF_BITMAP_CB callback, void *cookie) const;

  private:
    // The bytes a query in the section has to look at: from the section's first header on,
    // found once for the section asked last (a record asks one section for all its fields).
    std::string_view bytes_for(const char *section) const;

    std::string bytes_;
    bool present_ = false;
    mutable std::string last_section_;
    mutable size_t last_start_ = 0;
    mutable bool have_last_ = false;
};

// The store's readers on a file's bytes: each public query is a read of the file followed by
// one of these, and the snapshot calls the same ones.
int text_field(std::string_view bytes, const char *section, const char *field, char *out, int size);
int int_field(std::string_view bytes, const char *section, const char *field, int32_t *out,
              int format);
int bit_of_bitmap(std::string_view bytes, const char *section, const char *field, int bit);
int enumerate_bitmap(std::string_view bytes, const char *section, const char *field, int *array,
                     int capacity, INI_CONF_BITMAP_CB callback, void *cookie);

}  // namespace nashal::ini

#endif  // NASHAL_FOUNDATION_INI_SNAPSHOT_H
