/* Model configuration value parsing (comm_sys_ parsers of model-file values). */
#ifndef NASHAL_COMM_MODEL_H
#define NASHAL_COMM_MODEL_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_COMM_MODEL_H */
