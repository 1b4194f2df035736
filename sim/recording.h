// Recordings: a box (real or virtual) copied into an appliance directory, so that a field report
// can be replayed on a laptop.
//
// A recording is an appliance directory that holds what the library read on the box and nothing
// else: the model and store files of /etc, the sysfs subtrees it walks (links, attribute values),
// /dev as node descriptions, the answers of every outside program it ran (as scripted answers in
// sim/answers/) and every SG_IO answer keyed by its command block (sim/recording/sg_io/). The
// manifest sim/recording/manifest lists each recorded entry and each one left out. Its layout is
// a user interface: docs/virtual-appliance.md describes it.
#ifndef NASHAL_SIM_RECORDING_H
#define NASHAL_SIM_RECORDING_H

#include <functional>
#include <string>
#include <vector>

namespace nashal::sim {

// Paths inside an appliance directory (relative) or inside an active view (absolute).
constexpr const char *kRecordingDir = "sim/recording";
constexpr const char *kRecordingManifest = "sim/recording/manifest";
constexpr const char *kRecordingSgIoDir = "sim/recording/sg_io";
constexpr const char *kRecordingOutDir = "sim/recording/out";
constexpr const char *kRecordingAnswersDir = "sim/recording/answers";
// No attribute, model file or program answer comes near this; a larger file is left out of a
// recording, and a recording that holds one is refused.
constexpr long long kRecordedFileLimit = 1 << 20;
// The manifest names every recorded file, link and folder: a shelf board's runs over a
// megabyte. It has a bound of its own.
constexpr long long kManifestLimit = 64 << 20;

struct RecordSummary {
    int files = 0;
    int links = 0;
    int nodes = 0;
    int program_answers = 0;
    int sg_io_answers = 0;
    int left_out = 0;
};

// A question asked while recording ("disks-found root") and what the box answered.
struct RecordedQuestion {
    std::string question;
    std::string answer;
};

// Records the box this process sees into `dir` (created if missing or empty). Files are copied
// first, as they stand; then `run_queries` runs in a child process with SG_IO answers and
// outside programs recorded, in a private view whose /etc, /tmp, /var, /run and /sim take
// writes away, so that nothing of the box changes. The questions it returns are kept in the
// recording with their answers. Returns false with the reason in `error`.
bool record_box(const std::string &dir,
                const std::function<std::vector<RecordedQuestion>()> &run_queries,
                RecordSummary &summary, std::string &error);

// Whether `dir` holds a recording (its manifest).
bool is_recording(const std::string &dir);

// Checks a recording before it is entered: every recorded sysfs, /dev and answer entry is
// there, no link leads out of the directory, no file is larger than a recording holds. False
// with the first problem in `problem`, naming the path.
bool check_recording(const std::string &dir, std::string &problem);

// Inside an active recording: SG_IO on /dev/sg* answered from sim/recording/sg_io/; a command
// block the recording lacks fails with ENODATA and a message naming the node and block.
void attach_sg_io_replay();

}  // namespace nashal::sim

#endif  // NASHAL_SIM_RECORDING_H
