// Building a device's answer from the records of the library's byte layouts.
#ifndef NASHAL_SIM_TOOL_WIRE_BYTES_H
#define NASHAL_SIM_TOOL_WIRE_BYTES_H

#include <cstddef>
#include <cstring>
#include <string>

namespace nashal::sim::tool {

// The bytes of a record, to append to an answer.
template <typename Record>
std::string bytes_of(const Record &r) {
    return std::string(reinterpret_cast<const char *>(&r), sizeof r);
}

// Copies text into a field, cut to it and padded with spaces, as SCSI ASCII fields are.
template <size_t N>
void put_text(char (&field)[N], const std::string &text) {
    std::string out = text.substr(0, N);
    out.resize(N, ' ');
    memcpy(field, out.data(), N);
}

}  // namespace nashal::sim::tool

#endif  // NASHAL_SIM_TOOL_WIRE_BYTES_H
