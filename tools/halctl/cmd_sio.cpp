// sio: the board's Super I/O chip as a field engineer checks it: which chip the model names, its
// id and GPIO base, and any one GPIO read or driven by hand.
#include <string>

#include "drivers/superio_access.h"
#include "drivers/superio_chips.h"
#include "drivers/superio_services.h"
#include "halctl.h"
#include "nashal/comm_model.h"
#include "nashal/sio_sys.h"
#include "topology/model_file.h"

namespace {

using halctl::Output;

// The model's chip, or a failure message.
bool model_chip(int *chip, std::string *name) {
    char text[32];
    if (!nashal::superio::model_chip_name(text))
        return false;
    *name = text;
    *chip = nashal::superio::chip_index_of(text);
    return true;
}

int info(halctl::Context &ctx) {
    int chip = -1;
    std::string name;
    if (!model_chip(&chip, &name))
        return halctl::failure("the model file names no SIO_DEVICE");
    if (chip < 0)
        return halctl::failure("SIO_DEVICE \"" + name + "\" is not a chip the library knows");
    uint16_t id = 0;
    const bool has_id = get_chip_id(chip, &id) == 0;
    uint32_t base = 0;
    {
        nashal::superio::SioLock lock(__func__, __LINE__);
        if (!lock)
            return halctl::failure("the Super I/O lock can't be taken");
        base = nashal::superio::gpio_base(chip);
    }
    ctx.out.record({Output::text("chip", name), Output::number("index", chip),
                    has_id ? Output::hex("id", id) : Output::none("id", "none"),
                    Output::hex("gpio base", base)});
    return halctl::kOk;
}

// GPIO is a model value ("SIO:I2:B3") or a key of "System IO" ("FRONT_USB_LED").
int gpio(halctl::Context &ctx) {
    if (ctx.args.size() < 2 || ctx.args.size() > 3)
        return halctl::usage_error(ctx, "sio gpio takes a GPIO and optionally 0 or 1");
    int chip = -1;
    std::string name;
    if (!model_chip(&chip, &name) || chip < 0)
        return halctl::failure("the model file names no chip the library knows");
    std::string text = ctx.args[1];
    char value[32];
    if (text.find(':') == std::string::npos) {
        if (!nashal::topology::model_text(SIO_MODEL_SECTION, text.c_str(), value))
            return halctl::failure("no key " + text + " in section \"System IO\"");
        text = value;
    }
    int32_t index = -1, bit = 0;
    if (comm_sys_parse_c_gpio(text.c_str(), &index, &bit) < 0)
        return halctl::usage_error(ctx, "GPIO is like SIO:I2:B3 (hexadecimal) or a System IO key");
    if (ctx.args.size() == 3) {
        if (ctx.args[2] != "0" && ctx.args[2] != "1")
            return halctl::usage_error(ctx, "the value is 0 or 1");
        if (set_gpio_bit(chip, index, bit, ctx.args[2] == "1") != 0)
            return halctl::failure("the GPIO can't be written (see the trace log)");
    }
    int v = get_gpio_bit(chip, index, bit);
    if (v < 0)
        return halctl::failure("the GPIO can't be read (see the trace log)");
    ctx.out.record({Output::text("gpio", text), Output::hex("group", static_cast<unsigned>(index)),
                    Output::number("bit", bit), Output::number("value", v)});
    return halctl::kOk;
}

}  // namespace

HALCTL_COMMAND(cmd_sio, "sio", "info | gpio GPIO [0|1]",
               "show the Super I/O chip, or read or drive one of its GPIOs (1 = active)") {
    if (ctx.args.empty())
        return halctl::usage_error(ctx, "sio needs info or gpio");
    if (ctx.args[0] == "info")
        return info(ctx);
    if (ctx.args[0] == "gpio")
        return gpio(ctx);
    return halctl::usage_error(ctx, "sio needs info or gpio");
}
