// One recorded SG_IO answer, as sim/recording/sg_io/<node>/<block in hex> holds it: what the
// recorder writes and the replay reads, in one place.
#ifndef NASHAL_SIM_RECORDING_SG_IO_H
#define NASHAL_SIM_RECORDING_SG_IO_H

#include <scsi/sg.h>

#include <cstdint>
#include <string>

namespace nashal::sim {

struct RecordedSgIo {
    int result = 0;  // what the ioctl returned
    int error = 0;   // its errno when it failed
    int status = 0, masked_status = 0, msg_status = 0, host_status = 0, driver_status = 0;
    int resid = 0;
    unsigned duration = 0, info = 0;
    std::string sense;  // the sense bytes the device wrote
    std::string data;   // the bytes it moved to the host
};

// "85 08 2e 00 ..." and its file name form "85082e00...".
std::string hex_spaced(const uint8_t *bytes, size_t n);
std::string hex_packed(const uint8_t *bytes, size_t n);

// The answer as the device gave it to `hdr` (after the ioctl returned `result`).
RecordedSgIo answer_of(const sg_io_hdr_t &hdr, int result, int error);
// The text form (the data go to a file of their own) and back.
std::string answer_text(const RecordedSgIo &answer);
bool parse_answer_text(const std::string &text, RecordedSgIo &answer);

}  // namespace nashal::sim

#endif  // NASHAL_SIM_RECORDING_SG_IO_H
