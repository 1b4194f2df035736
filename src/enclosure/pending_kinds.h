// Board routes that the backend dispatches to but that are built elsewhere (board serial
// numbers). Each stand-in in pending_kinds.cpp fails with -1 and a trace; the change that builds
// a route replaces its functions here.
#ifndef NASHAL_ENCLOSURE_PENDING_KINDS_H
#define NASHAL_ENCLOSURE_PENDING_KINDS_H

#include "enclosure/sas_expander.h"
#include "nashal/hal_types.h"
#include "nashal/se_sys.h"

extern "C" {
int root_get_board_sn(char *buffer, int size);
int root_set_board_sn(const char *serial);
}

namespace nashal::enclosure {
// The trace of a branch whose kind is not built yet; returns -1.
int not_built_yet(const char *who, const char *enc_sys_id, const char *branch);
}  // namespace nashal::enclosure

#endif  // NASHAL_ENCLOSURE_PENDING_KINDS_H
