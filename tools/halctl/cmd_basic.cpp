// version: what this halctl is.
#include <cstdio>

#include "halctl.h"

#ifndef NASHAL_VERSION
#define NASHAL_VERSION "unknown"
#endif

HALCTL_COMMAND(cmd_version, "version", "", "print the library version") {
    if (!ctx.args.empty())
        return halctl::usage_error(ctx, "version takes no arguments");
    ctx.out.record(
        {halctl::Output::text("name", "nashal"), halctl::Output::text("version", NASHAL_VERSION)});
    return halctl::kOk;
}
