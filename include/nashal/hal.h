/* nashal: hardware abstraction library of the storage appliances. The one header to include. */
#ifndef NASHAL_HAL_H
#define NASHAL_HAL_H

#include <nashal/hal_types.h>
#include <nashal/hal_trace.h>
#include <nashal/ini_conf.h>
#include <nashal/hal_util.h>
#include <nashal/hal_se.h>
#include <nashal/se_sys.h>
#include <nashal/comm_model.h>
#include <nashal/comm_path.h>
#include <nashal/comm_ses.h>
#include <nashal/comm_port.h>
#include <nashal/pd_sys.h>
#include <nashal/i2c_sys.h>
#include <nashal/vpd.h>
#include <nashal/edid.h>
#include <nashal/se_model.h>
#include <nashal/se_bbu.h>
#include <nashal/sio_sys.h>
#include <nashal/hal_pd.h>
#include <nashal/pd_smart.h>
#include <nashal/pic_sys.h>
#include <nashal/mcu_sys.h>
#include <nashal/net_sys.h>
#include <nashal/hal_prt.h>
#include <nashal/soc_sys.h>
#include <nashal/hal_mb.h>
#include <nashal/hal_conf.h>

#endif /* NASHAL_HAL_H */
