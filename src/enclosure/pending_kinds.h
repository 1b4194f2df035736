// Kinds of enclosure that the backend dispatches to but that are built elsewhere (Thunderbolt
// expanders). Each
// stand-in in pending_kinds.cpp finds nothing or fails with -1 and a trace; the change that builds
// a kind replaces its functions here.
#ifndef NASHAL_ENCLOSURE_PENDING_KINDS_H
#define NASHAL_ENCLOSURE_PENDING_KINDS_H

#include "enclosure/sas_expander.h"
#include "nashal/hal_types.h"
#include "nashal/se_sys.h"

extern "C" {
int thunderbolt_expander_enumerate(char **enc_sys_ids, unsigned int max_count);

int thunderbolt_expander_getinfo(const char *enc_sys_id, ENC_INFO *info);
}

namespace nashal::enclosure {
// The trace of a branch whose kind is not built yet; returns -1.
int not_built_yet(const char *who, const char *enc_sys_id, const char *branch);
}  // namespace nashal::enclosure

#endif  // NASHAL_ENCLOSURE_PENDING_KINDS_H
