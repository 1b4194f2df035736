// conf: the configuration store as the library sees it, for reading and mending the registry
// files by hand (/etc/hal.conf, /etc/enclosure_%d.conf, /etc/config/enclosure.map, ...).
// A section of "-" stands for the fields before the first section.
#include <string>
#include <vector>

#include "halctl.h"
#include "nashal/ini_conf.h"

namespace {

using halctl::Output;

const char *section_arg(const std::string &s) {
    return s == "-" ? nullptr : s.c_str();
}

bool int_arg(const std::string &text, int &out) {
    long long v = 0;
    if (!halctl::parse_int(text, v) || v < -2147483648LL || v > 0xffffffffLL)
        return false;
    out = static_cast<int>(static_cast<uint32_t>(v));
    return true;
}

int get(halctl::Context &ctx, const std::vector<std::string> &a) {
    if (a.size() != 3)
        return halctl::usage_error(ctx, "conf get FILE SECTION FIELD");
    char buf[512];
    if (Ini_Conf_Get_Field(a[0].c_str(), section_arg(a[1]), a[2].c_str(), buf, sizeof buf) < 1)
        return halctl::failure("no field " + a[2] + " in " + a[1] + " of " + a[0]);
    ctx.out.record({Output::text("value", buf)});
    return halctl::kOk;
}

int set(halctl::Context &ctx, const std::vector<std::string> &a) {
    if (a.size() != 4)
        return halctl::usage_error(ctx, "conf set FILE SECTION FIELD VALUE");
    if (Ini_Conf_Set_Field(a[0].c_str(), section_arg(a[1]), a[2].c_str(), a[3].c_str()) < 0)
        return halctl::failure("can't write " + a[0]);
    ctx.out.message(a[2] + " = " + a[3]);
    return halctl::kOk;
}

int get_int(halctl::Context &ctx, const std::vector<std::string> &a, int format) {
    if (a.size() != 3)
        return halctl::usage_error(ctx, "conf int|hex FILE SECTION FIELD");
    int32_t v = 0;
    if (Ini_Conf_Get_Field_Int(a[0].c_str(), section_arg(a[1]), a[2].c_str(), &v, format) < 1)
        return halctl::failure("no number in " + a[2] + " of " + a[1] + " of " + a[0]);
    ctx.out.record(
        {format ? Output::hex("value", static_cast<uint32_t>(v)) : Output::number("value", v)});
    return halctl::kOk;
}

int remove(halctl::Context &ctx, const std::vector<std::string> &a) {
    if (a.size() != 2 && a.size() != 3)
        return halctl::usage_error(ctx, "conf remove FILE SECTION [FIELD]");
    int r = a.size() == 3 ? Ini_Conf_Remove_Field(a[0].c_str(), section_arg(a[1]), a[2].c_str())
                          : Ini_Conf_Remove_Section(a[0].c_str(), a[1].c_str());
    if (r < 0)
        return halctl::failure("can't change " + a[0]);
    ctx.out.message("removed");
    return halctl::kOk;
}

int bits(halctl::Context &ctx, const std::vector<std::string> &a) {
    if (a.size() != 3)
        return halctl::usage_error(ctx, "conf bits FILE SECTION FIELD");
    int n = Ini_Conf_Bitmap_Enumerate(a[0].c_str(), section_arg(a[1]), a[2].c_str(), nullptr, 0,
                                      nullptr, nullptr);
    std::vector<int> set_bits(static_cast<size_t>(n > 0 ? n : 0));
    Ini_Conf_Bitmap_Enumerate(a[0].c_str(), section_arg(a[1]), a[2].c_str(), set_bits.data(), n,
                              nullptr, nullptr);
    std::vector<Output::Record> rows;
    for (int b : set_bits)
        rows.push_back({Output::number("bit", b)});
    ctx.out.table(rows);
    return halctl::kOk;
}

int bit_change(halctl::Context &ctx, const std::vector<std::string> &a, bool on) {
    int bit = 0;
    if (a.size() != 4 || !int_arg(a[3], bit) || bit < 0)
        return halctl::usage_error(ctx, "conf set-bit|reset-bit FILE SECTION FIELD BIT");
    int r = on ? Ini_Conf_Bitmap_Set_Bit(a[0].c_str(), section_arg(a[1]), a[2].c_str(), bit)
               : Ini_Conf_Bitmap_Reset_Bit(a[0].c_str(), section_arg(a[1]), a[2].c_str(), bit);
    if (on ? r < 0 : r != 0)
        return halctl::failure("can't change " + a[0]);
    ctx.out.message("bit " + std::to_string(bit) + (on ? " set" : " cleared"));
    return halctl::kOk;
}

int next_free(halctl::Context &ctx, const std::vector<std::string> &a) {
    int start = 0;
    if (a.size() < 3 || a.size() > 5 || (a.size() >= 4 && (!int_arg(a[3], start) || start < 0)) ||
        (a.size() == 5 && a[4] != "mark"))
        return halctl::usage_error(ctx, "conf next-free FILE SECTION FIELD [START [mark]]");
    int bit = -1;
    if (Ini_Conf_Bitmap_Get_Next_Free_Bit(a[0].c_str(), section_arg(a[1]), a[2].c_str(), &bit,
                                          start, a.size() == 5 ? 1 : 0) != 0)
        return halctl::failure("no free bit in " + a[2]);
    ctx.out.record({Output::number("bit", bit)});
    return halctl::kOk;
}

}  // namespace

HALCTL_COMMAND(cmd_conf, "conf",
               "get|set|int|hex|remove|bits|set-bit|reset-bit|next-free FILE SECTION ...",
               "read or change a store file field by field (SECTION - for none)") {
    if (ctx.args.empty())
        return halctl::usage_error(ctx, "conf needs a subcommand");
    const std::string &sub = ctx.args[0];
    std::vector<std::string> a(ctx.args.begin() + 1, ctx.args.end());
    if (sub == "get")
        return get(ctx, a);
    if (sub == "set")
        return set(ctx, a);
    if (sub == "int")
        return get_int(ctx, a, 0);
    if (sub == "hex")
        return get_int(ctx, a, 1);
    if (sub == "remove")
        return remove(ctx, a);
    if (sub == "bits")
        return bits(ctx, a);
    if (sub == "set-bit")
        return bit_change(ctx, a, true);
    if (sub == "reset-bit")
        return bit_change(ctx, a, false);
    if (sub == "next-free")
        return next_free(ctx, a);
    return halctl::usage_error(ctx, "unknown conf subcommand " + sub);
}
