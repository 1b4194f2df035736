// firmware check|write FILE ENC_ID: a SAS expander's firmware image, checked against the
// enclosure it is meant for, and written to it. The write sends the manufacturing data and the
// firmware; the enclosure runs the new firmware after its next reboot.
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "halctl.h"
#include "identity/sas_fw_image_layout.h"
#include "nashal/hal_se.h"
#include "nashal/sas_expander_fw.h"

namespace {

using halctl::Output;
namespace id = nashal::identity;

struct Target {
    std::string image;
    std::string device;  // "/dev/sg10"
    std::string model;
};

// FILE and ENC_ID of an attached SAS expansion enclosure; false with the exit status in rc.
bool parse_target(halctl::Context &ctx, Target &t, int &rc) {
    long long enc_id = 0;
    if (ctx.args.size() != 3 || !halctl::parse_int(ctx.args[2], enc_id) || enc_id < 0 ||
        enc_id > 0x7fffffff) {
        rc = halctl::usage_error(ctx, "firmware check|write takes FILE and ENC_ID");
        return false;
    }
    t.image = ctx.args[1];
    ENC_INFO info{};
    if (SE_Get_Info(static_cast<int>(enc_id), &info) != 0) {
        rc = halctl::failure("no enclosure " + std::to_string(enc_id) + " is attached (run scan)");
        return false;
    }
    std::string sys_id = info.enc_sys_id;
    if (sys_id.rfind("sg", 0) != 0) {
        rc = halctl::failure(sys_id + " is not a SAS expansion enclosure");
        return false;
    }
    t.device = "/dev/" + sys_id;
    t.model = info.model;
    return true;
}

// The image's header and whether the file holds what it says; false with the reason in why.
bool read_image(const std::string &path, id::FwImageHeader &h, std::string &why) {
    unsigned char bytes[id::kFwHeaderSize];
    if (SAS_Expander_Retrive_Img_Info(path.c_str(), bytes) != 0 ||
        !id::decode_fw_header(bytes, sizeof bytes, &h)) {
        why = path + " has no firmware image header";
        return false;
    }
    struct stat st {};
    if (stat(path.c_str(), &st) != 0 || static_cast<uint64_t>(st.st_size) < id::fw_image_end(h)) {
        why = path + " is shorter than its header says";
        return false;
    }
    return true;
}

std::string version_of(const id::FwImageHeader &h) {
    char text[16];
    snprintf(text, sizeof text, "%02d.%02d", h.major, h.minor);
    return text;
}

}  // namespace

HALCTL_COMMAND(cmd_firmware, "firmware", "check|write FILE ENC_ID",
               "check a SAS expander firmware image against an enclosure, or write it") {
    const std::string what = ctx.args.empty() ? "" : ctx.args[0];
    if (what != "check" && what != "write")
        return halctl::usage_error(ctx, "firmware takes check or write, FILE and ENC_ID");
    Target t;
    int rc = halctl::kOk;
    if (!parse_target(ctx, t, rc))
        return rc;
    id::FwImageHeader h;
    std::string why;
    if (!read_image(t.image, h, why))
        return halctl::failure(why);
    const bool fits = check_sas_fw_model(t.device.c_str(), h.model_type) == 0;
    Output::Record r = {Output::text("image", t.image),
                        Output::text("version", version_of(h)),
                        Output::number("model_type", h.model_type),
                        Output::text("device", t.device),
                        Output::text("model", t.model),
                        Output::text("fits", fits ? "yes" : "no")};
    if (what == "check") {
        ctx.out.record(r);
        return fits ? halctl::kOk : halctl::failure("the image is not for a " + t.model);
    }
    if (!fits)
        return halctl::failure("the image is not for a " + t.model + ": nothing written");
    fprintf(stderr, "writing %s (version %s) to %s: manufacturing data, then firmware ...\n",
            t.image.c_str(), version_of(h).c_str(), t.device.c_str());
    char version[16] = {};
    if (SAS_Expander_Upgrade_Img(t.device.c_str(), t.image.c_str(), version, sizeof version) != 0)
        return halctl::failure("the expander did not take the image (see the log)");
    r.push_back(Output::text("written", "yes"));
    ctx.out.record(r);
    ctx.out.message("written; the enclosure runs " + std::string(version) +
                    " after its next reboot");
    return halctl::kOk;
}
