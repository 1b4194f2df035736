// Small file builders for tests and device descriptions. Paths are real paths of the box
// ("/sys/class/scsi_generic/sg0"); while an appliance is active they land in it.
#ifndef NASHAL_SIM_FS_H
#define NASHAL_SIM_FS_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace nashal::sim {

// mkdir -p.
bool make_dirs(const std::string &path, unsigned mode = 0755);
// Writes a whole file, creating its parent directories.
bool write_file(const std::string &path, const std::string &content, unsigned mode = 0644);
bool append_file(const std::string &path, const std::string &content);
// Writes all of `content` to an open descriptor, across short writes and interruptions.
bool write_all(int fd, const std::string &content);
// Appends what `fd` holds to `out`, up to its end or until `out` is past `limit`: a huge or
// endless file then costs one buffer more than the limit. False on a read error (errno kept).
bool read_all(int fd, std::string &out, size_t limit = static_cast<size_t>(-1));
// Reads a whole file; empty when it is missing.
std::string read_file(const std::string &path);
bool exists(const std::string &path);
// The lines of a file, without their newlines; empty when it is missing.
std::vector<std::string> read_lines(const std::string &path);
// A board description (/sim/*.conf): one entry a line, split into words on white space. Blank
// lines are passed over and a word starting with '#' ends its line, so comments may stand alone
// or after an entry. Only entries of at least `min_words` words are kept: a reader indexes them
// without checking, and a short line is ignored as a line it doesn't know would be.
using DescriptionEntry = std::vector<std::string>;
std::vector<DescriptionEntry> read_description(const std::string &path, size_t min_words = 1);
// "key value" lines whose value is the rest of the line as it stands, spaces and all (vendor
// texts, board names). Lines that are blank, start with '#' or hold no space are passed over; a
// key given twice keeps its last value.
std::map<std::string, std::string> text_settings(const std::string &text);
// A hexadecimal word of a description ("a20", "0x70"); 0 when it holds none.
unsigned long hex_word(const std::string &word);
// Creates link -> target, with the target written relative to the link's directory, as the
// kernel writes sysfs links ("../../devices/pci0000:00/..."). Creates parents of the link.
bool symlink_relative(const std::string &target, const std::string &link);
// Creates link -> target exactly as given.
bool symlink_exact(const std::string &target, const std::string &link);
// rm -rf.
void remove_tree(const std::string &path);
// Names in a directory, sorted, without "." and "..".
std::vector<std::string> list_dir(const std::string &path);

}  // namespace nashal::sim

#endif  // NASHAL_SIM_FS_H
