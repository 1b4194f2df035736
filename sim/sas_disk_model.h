// The state of an emulated SAS disk, which the stand-ins of sg_logs, sg_requests, sg_senddiag,
// sg_start and sginfo answer from (sim/tool/sas_disk.h, docs/virtual-appliance.md): files in
// /sim/sas/<node>/, for a test to set and read. A node is a SAS disk when /sim/inq/<node>
// describes a device of type 0; with no state files it answers as a healthy, idle disk.
#ifndef NASHAL_SIM_SAS_DISK_MODEL_H
#define NASHAL_SIM_SAS_DISK_MODEL_H

#include <string>

namespace nashal::sim {

// Sets one "key value" line of the disk's "state" file (temperature, reference_temperature,
// grown_defects, defect_threshold, read_errors, ...), replacing the key's old line.
bool set_sas_disk_value(const std::string &root, const std::string &node, const std::string &key,
                        const std::string &value);
// Writes or reads a whole state file: "power", "iec", "self_test", "self_test_log".
bool set_sas_disk_file(const std::string &root, const std::string &node, const std::string &file,
                       const std::string &content);
std::string sas_disk_file(const std::string &root, const std::string &node,
                          const std::string &file);

}  // namespace nashal::sim

#endif  // NASHAL_SIM_SAS_DISK_MODEL_H
