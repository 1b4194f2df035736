// A PD_INFO as halctl prints it, field by field in the record's order, shared by disk-probe and
// the registry's disk listings. Capability bits are spelled out so a reader needn't decode them.
#ifndef NASHAL_HALCTL_PD_INFO_FIELDS_H
#define NASHAL_HALCTL_PD_INFO_FIELDS_H

#include <string>

#include "halctl.h"
#include "nashal/pd_sys.h"

namespace halctl {

// `wwn_is_text`: a record read back from the registry holds the name as text, one filled by the
// backend as 8 raw bytes.
Output::Record pd_info_record(const PD_INFO &info, bool wwn_is_text);

// "SMART,SELF_TEST,SSD" for a capability word.
std::string pd_capability_names(unsigned capabilities);

}  // namespace halctl

#endif  // NASHAL_HALCTL_PD_INFO_FIELDS_H
