// Small helpers shared by the disk lookups: reading slot keys of the model file, and handing
// found ids to the caller's list without ever writing past it.
#ifndef NASHAL_DISK_DISK_MODEL_H
#define NASHAL_DISK_DISK_MODEL_H

#include <cstdint>
#include <cstdio>

#include "nashal/hal_types.h"
#include "topology/main_unit_kinds.h"
#include "topology/model_file.h"
#include "topology/slot_match.h"

namespace nashal::disk {

constexpr int kPathLen = HAL_SYSFS_PATH_LEN;
constexpr int kIdLen = HAL_ID_LEN;

using topology::bay_matches;
using topology::DomainCheck;
using topology::main_unit_enclosure;
using topology::MainUnitEnclosure;
using topology::MainUnitKind;
using topology::model_int;
using topology::model_text;
using topology::usb_slot_matches;
using topology::UsbPlace;
using topology::visit_usb_entries;

// Appends a heap copy of id at list[*stored] when *stored < room; the copy is the caller's to
// free. Returns true when it was stored.
bool list_store(char **list, int room, int *stored, const char *id);

// Appends "/<step>" style text to a 512-byte path; false (path unchanged) when it would not fit.
bool path_append(char *path, const char *text);

// True when the directory has an entry beginning with prefix.
bool dir_has_prefix(const char *directory, const char *prefix);

// The decimal number right behind prefix at the start of name ("host12" and "host" give 12 and
// -1): a name whose prefix is followed by no digit has no number, rather than 0.
int number_behind(const char *name, const char *prefix);

// The USB bus name of a disk from its link text: the component in front of the "host" one, cut
// at its ":" (".../2-1.4/2-1.4:1.0/host6/..." gives "2-1.4"). False when there is none.
bool usb_bus_from_path(const char *link, char (&bus)[kIdLen]);

// The USB link speed code of a bus name, 0 when the "speed" attribute can't be read. With
// `read` given, it tells a failed read apart from a speed that has no code (10 Gb/s, say).
int usb_link_speed(const char *bus, bool *read = nullptr);

}  // namespace nashal::disk

#endif  // NASHAL_DISK_DISK_MODEL_H
