// The processor's speed from its model name, apart from the file reads so it can be checked
// on any text.
#ifndef NASHAL_ENCLOSURE_CPU_INFO_H
#define NASHAL_ENCLOSURE_CPU_INFO_H

namespace nashal::enclosure {

// "Intel(R) Atom(TM) CPU D2700 @ 2.13GHz" gives 2130; "... @ 800MHz" gives 800. -1 without an
// "@" or a unit behind it.
int cpu_speed_from_model_name(const char *model_name);

}  // namespace nashal::enclosure

#endif  // NASHAL_ENCLOSURE_CPU_INFO_H
