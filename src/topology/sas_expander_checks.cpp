// What kind of enclosure an id or a USB device is: SES devices behind SAS expanders (the
// unit's own expander is kept out of the enclosure list), the parent of an expander in a chain,
// the internal expander of the main unit, and the kinds of USB device.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "topology/sysfs_read.h"

using nashal::hal_copy;
using namespace nashal::topology;

namespace {

// "CAP" of the main unit, read afresh each time; false when unreadable.
bool read_cap(uint32_t *cap) {
    int32_t value = 0;
    if (!model_int(kSystemEnclosure, "CAP", &value, INI_CONF_HEX))
        return false;
    *cap = static_cast<uint32_t>(value);
    return true;
}

// A USB attribute read as hexadecimal; -1 when it can't be read.
int usb_hex_attribute(const char *usb_bus, const char *attribute) {
    char text[HAL_ID_LEN];
    if (comm_sys_get_usb_attribute(usb_bus, attribute, text, sizeof text) != 0)
        return -1;
    return static_cast<int>(strtol(text, nullptr, 16));
}

}  // namespace

extern "C" {

int comm_sys_check_is_sas_expander(const char *enc_sys_id) {
    char sg[16];
    if (!enc_sys_id || comm_sys_get_sg_name(enc_sys_id, sg) != 0)
        return -1;
    char device[HAL_SYSFS_PATH_LEN];
    snprintf(device, sizeof device, "%s/%s/device", kScsiGenericClass, sg);
    return comm_sys_get_sdev_type(device) == SCSI_TYPE_ENCLOSURE ? 0 : -1;
}

int comm_sys_check_sas_expander_sanity(const char *sg_name) {
    uint32_t cap = 0;
    read_cap(&cap);
    if (!(cap & CAP_INTERNAL_SAS))
        return 0;
    char path[HAL_SYSFS_PATH_LEN];
    char bus_text[HAL_ID_LEN];
    char bridge_text[HAL_ID_LEN];
    int domain = 0;
    if (!sg_name || comm_sys_get_sg_path_info(sg_name, path, sizeof path) != 0 ||
        comm_sys_assemble_dev_bus_from_path(path, &domain, bus_text, sizeof bus_text, bridge_text,
                                            sizeof bridge_text) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    char dev_bus[HAL_ID_LEN] = {};
    if (!model_text(kInternalSas, "DEV_BUS", dev_bus))
        return -1;
    int32_t dev_domain = 0;  // read, as the model file names it, but not compared
    model_int(kInternalSas, "DEV_DOMAIN", &dev_domain);
    if (strcmp(bus_text, dev_bus) != 0)
        return 0;  // on another controller
    char *parent = nullptr;
    comm_sys_get_sas_bus(path, &parent, nullptr);
    if (parent)
        return 0;  // further down a chain
    ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d):This SAS expander: %s is internal.\n", __func__, __LINE__,
              sg_name);
    return -1;
}

int comm_sys_get_sas_expander_parent_sysid(const char *enc_sys_id, char *parent) {
    if (!parent)
        return -1;
    parent[0] = '\0';
    char sg[16];
    if (!enc_sys_id || comm_sys_get_sg_name(enc_sys_id, sg) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    char path[HAL_SYSFS_PATH_LEN];
    if (comm_sys_get_sg_path_info(sg, path, sizeof path) != 0) {
        ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Enclosure already remove\n", __func__, __LINE__);
        return -1;
    }
    char *upper = nullptr;
    char *self = nullptr;
    if (comm_sys_get_sas_bus(path, &upper, &self) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    if (!upper) {
        hal_copy(parent, HAL_ID_LEN, "root");
        return 0;
    }
    char id[HAL_ID_LEN];
    if (comm_sys_get_sysid_of_sas_enclosure(upper, id) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Internal Error\n", __func__, __LINE__);
        return -1;
    }
    // Behind the unit's own expander, the enclosure hangs on the unit itself.
    hal_copy(parent, HAL_ID_LEN, comm_sys_check_sas_expander_sanity(id) != 0 ? "root" : id);
    return 0;
}

int comm_sys_check_usb_expander_type(const char *usb_bus, int *type_number) {
    uint32_t cap = 0;
    if (!read_cap(&cap)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    int32_t count = 0;
    if (!model_int("External Enclosure", "MAX_SUPPORT_TYPE_COUNT", &count, INI_CONF_DEC,
                   kModelExtConf)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return USB_EXPANDER_TYPE_HUB;
    }
    // The product text is only proof that the device is there; it is device text and goes
    // nowhere else.
    char product[HAL_MODEL_LEN];
    if (!usb_bus || comm_sys_get_usb_attribute(usb_bus, "product", product, sizeof product) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):usb_bus = %s can not find product\n", __func__, __LINE__,
                  usb_bus ? usb_bus : "");
        return -1;
    }
    int vendor_id = usb_hex_attribute(usb_bus, "idVendor");
    int product_id = usb_hex_attribute(usb_bus, "idProduct");
    if (vendor_id == VORN_USB_VENDOR_ID && ((product_id >> 8) & 0xff) == 0xff && product_id >= 0)
        return USB_EXPANDER_TYPE_OWN;
    for (int n = 1; n <= count; ++n) {
        int32_t listed = -1;
        if (comm_sys_get_c_ext_enclosure_integer(n, "PRODUCT_ID", &listed, 1) != 0)
            continue;
        if (listed == product_id) {
            if (type_number)
                *type_number = n;
            return (cap & CAP_USB_EXPANDER_PIC) ? USB_EXPANDER_TYPE_PIC : USB_EXPANDER_TYPE_LISTED;
        }
    }
    return USB_EXPANDER_TYPE_HUB;
}

int comm_sys_get_real_enc_sys_id(char *enc_sys_id) {
    if (!enc_sys_id)
        return -1;
    uint32_t cap = 0;
    char dev_bus[HAL_ID_LEN] = {};
    if (!read_cap(&cap) || !(cap & CAP_INTERNAL_SAS) ||
        !model_text(kInternalSas, "DEV_BUS", dev_bus))
        return -1;
    int32_t domain = 0;
    model_int(kInternalSas, "DEV_DOMAIN", &domain);
    int32_t bus = 0;
    int32_t device = 0;
    int32_t function = 0;
    char path[HAL_SYSFS_PATH_LEN];
    if (comm_sys_parse_c_dev_bus(dev_bus, &bus, &device, &function) != 0 ||
        comm_sys_get_pci_dev_path(domain, bus, device, function, path, sizeof path) != 0)
        return -1;
    char step[HAL_SYSFS_PATH_LEN];
    if (comm_sys_search_partial_filename(path, "pci_bus", nullptr, 0) != 0) {
        hal_copy(step, "/.");
    } else if (comm_sys_get_pci_bus(path, "pci_bus", nullptr, 0, step, sizeof step) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    if (strlen(path) + strlen(step) >= sizeof path) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    strcat(path, step);
    char host[HAL_ID_LEN];
    if (comm_sys_search_partial_filename(path, "host", host, sizeof host) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s:%d:Internal Error\n", __func__, __LINE__);
        return -1;
    }
    char expander[HAL_ID_LEN];
    snprintf(expander, sizeof expander, "expander-%d:0", atoi(host + strlen("host")));
    if (comm_sys_get_sysid_of_sas_enclosure(expander, enc_sys_id) != 0)
        return -1;
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):get real enc_sys_id = %s\n", __func__, __LINE__, enc_sys_id);
    return 0;
}

int se_sys_get_real_enc_sys_id(const char *id, char *buffer, int size) {
    if (!id || strcmp(id, "root") != 0)
        return -1;
    uint32_t cap = 0;
    if (!read_cap(&cap) || !(cap & CAP_INTERNAL_SAS)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NAS not support this feature\n", __func__, __LINE__);
        return -1;
    }
    if (!buffer || size < HAL_ID_LEN)
        return -1;
    return comm_sys_get_real_enc_sys_id(buffer);
}

}  // extern "C"
