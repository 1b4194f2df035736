/* The configuration store, Ini_Conf_*: sections and fields in INI-like text files. */
#ifndef NASHAL_INI_CONF_H
#define NASHAL_INI_CONF_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_INI_CONF_H */
