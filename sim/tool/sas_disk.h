// The emulated SAS disk behind the stand-ins of sg_logs, sg_requests, sg_senddiag (-s), sg_start
// and sginfo. A node is a SAS disk when its /sim/inq/<node> describes a device of type 0; its
// health and state live in /sim/sas/<node>/ (format in docs/virtual-appliance.md), every file
// optional:
//   state          "key value" lines a test sets: temperature, grown defects, counters, ...
//   power          "active" (default) or "standby"; sg_start writes it
//   iec            the ten Informational Exceptions Control fields as sginfo -IX lists them
//   self_test      the running background test: "<short|extended> <start, Unix seconds>" or
//                  "<short|extended> progress <0-65535>" (held there)
//   self_test_log  finished tests, newest first: "<short|extended> <result> <hours> [<lba>]"
#ifndef NASHAL_SIM_TOOL_SAS_DISK_H
#define NASHAL_SIM_TOOL_SAS_DISK_H

#include <string>
#include <vector>

namespace nashal::sim::tool {

// sg_senddiag -s CODE DEVICE on a SAS disk; -1 when DEVICE is not one (the caller answers then).
int answer_sas_disk_self_test(const std::vector<std::string> &args);

}  // namespace nashal::sim::tool

#endif  // NASHAL_SIM_TOOL_SAS_DISK_H
