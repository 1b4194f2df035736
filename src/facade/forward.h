// The one shape of a facade call: trace the entry, turn enc_id into the enclosure's enc_sys_id,
// and hand it to the backend. An enclosure that is not attached is -1 before any hardware is
// touched.
#ifndef NASHAL_FACADE_FORWARD_H
#define NASHAL_FACADE_FORWARD_H

#include "nashal/hal_trace.h"
#include "registry/registry_files.h"

namespace nashal::facade {

enum class Trace { kNone, kEntry };

template <typename Call>
int forward(const char *who, Trace trace, int enc_id, Call call) {
    if (trace == Trace::kEntry)
        ERR_TRACE(HAL_TRACE_CALL, "%s: got called with(%d).\n", who, enc_id);
    char sys_id[HAL_ID_LEN];
    if (!registry::lookup_sys_id(enc_id, sys_id))
        return -1;
    return call(static_cast<const char *>(sys_id));
}

// The same for a call about one disk slot of the enclosure.
template <typename Call>
int forward_port(const char *who, int enc_id, int port_id, Call call) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with(%d, %d).\n", who, enc_id, port_id);
    return forward(who, Trace::kNone, enc_id, call);
}

}  // namespace nashal::facade

#endif  // NASHAL_FACADE_FORWARD_H
