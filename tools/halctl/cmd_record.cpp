// record: this box copied into a folder that `halctl --root DIR` replays on a laptop.
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "halctl.h"
#include "foundation/raii.h"
#include "nashal/hal_se.h"
#include "sim/recording.h"

namespace {

using halctl::Output;

// Runs a command as `halctl --json` would, its answer caught instead of printed.
nashal::sim::RecordedQuestion ask(const char *name, const std::vector<std::string> &args) {
    nashal::sim::RecordedQuestion q{name, {}};
    for (const auto &a : args)
        q.question += " " + a;
    for (const auto &c : halctl::commands()) {
        if (std::strcmp(c.name, name) != 0)
            continue;
        fflush(stdout);
        nashal::FileDescriptor caught(memfd_create("halctl-answer", MFD_CLOEXEC));
        int saved = dup(1);
        if (caught.get() >= 0)
            dup2(caught.get(), 1);
        Output out(true);
        halctl::Context ctx{args, out};
        c.fn(ctx);
        out.finish();
        fflush(stdout);
        if (saved >= 0) {
            dup2(saved, 1);
            close(saved);
        }
        char buf[4096];
        ssize_t n;
        lseek(caught.get(), 0, SEEK_SET);
        while ((n = read(caught.get(), buf, sizeof buf)) > 0)
            q.answer.append(buf, static_cast<size_t>(n));
    }
    return q;
}

// The questions a field report starts from: the scan, what it attached, the recorded disks
// and what enumeration finds in every enclosure, the unit's own ones included when absent.
std::vector<nashal::sim::RecordedQuestion> run_queries() {
    std::vector<nashal::sim::RecordedQuestion> asked;
    asked.push_back(ask("scan", {}));
    asked.push_back(ask("enclosures", {}));
    asked.push_back(ask("disks", {}));
    std::set<std::string> sys_ids = {"root", "root_cache", "root_esata", "root_boot", "root_usb"};
    int ids[64];
    int count = SE_Enumerate(ids, 64, nullptr, nullptr);
    for (int i = 0; i < count && i < 64; ++i) {
        ENC_INFO info;
        memset(&info, 0, sizeof info);
        if (SE_Get_Info(ids[i], &info) == 0 && info.enc_sys_id[0])
            sys_ids.insert(
                std::string(info.enc_sys_id, strnlen(info.enc_sys_id, sizeof info.enc_sys_id)));
    }
    for (const auto &id : sys_ids)
        asked.push_back(ask("disks-found", {id}));
    return asked;
}

}  // namespace

HALCTL_COMMAND(cmd_record, "record", "DIR",
               "copy what the library reads on this box into DIR, a virtual appliance that "
               "--root DIR replays") {
    if (ctx.args.size() != 1)
        return halctl::usage_error(ctx, "record takes one folder");
    nashal::sim::RecordSummary summary;
    std::string error;
    if (!nashal::sim::record_box(ctx.args[0], run_queries, summary, error))
        return halctl::failure("can't record into " + ctx.args[0] + ": " + error);
    ctx.out.record({
        Output::text("recording", ctx.args[0]),
        Output::number("files", summary.files),
        Output::number("links", summary.links),
        Output::number("nodes", summary.nodes),
        Output::number("program_answers", summary.program_answers),
        Output::number("sg_io_answers", summary.sg_io_answers),
        Output::number("left_out", summary.left_out),
        Output::text("manifest", ctx.args[0] + "/" + nashal::sim::kRecordingManifest),
    });
    return halctl::kOk;
}
