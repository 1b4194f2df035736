// Thunderbolt expansion boxes ("i2c-%d"). A box is a PCIe switch at the end of a Thunderbolt
// tunnel: one of its downstream ports leads to the box's SATA controller, which also carries the
// I2C adapter the box is controlled through; another leads on to the next box of the chain. The
// host has two ports, each with up to 7 boxes chained on it. A box is known by the number of its
// I2C adapter, which the kernel numbers above 99 for such adapters.
#include <dirent.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "enclosure/enclosure_kinds.h"
#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "nashal/i2c_sys.h"
#include "nashal/se_sys.h"
#include "topology/model_file.h"

using nashal::hal_copy;
using nashal::topology::model_int;
using nashal::topology::model_text;

namespace {

// Boxes a host port can chain.
constexpr int kChainLength = 7;

constexpr const char *kHostSection = "Thunderbolt Enclosure";
constexpr const char *kBoxSection = "System Enclosure";
constexpr const char *kSataSection = "Sata Controller 1";
constexpr const char *kSystemIo = "System IO";
constexpr const char *kPortKeys[] = {"THUNDERBOLT_SWITCH_PORT1", "THUNDERBOLT_SWITCH_PORT2"};

// NCT7802Y: the mode register and the value that enables its temperature inputs.
constexpr int kHwmModeRegister = 34;
constexpr int kHwmModeValue = 106;

// The sysfs directory of the host's Thunderbolt controller; false when the model has none or it
// isn't there.
bool host_controller(char (&path)[HAL_SYSFS_PATH_LEN]) {
    char dev_bus[HAL_ID_LEN] = {};
    if (!model_text(kHostSection, "DEV_BUS", dev_bus))
        return false;
    if (!(nashal::topology::root_capability() & CAP_PCIE_EXPANSION))
        return false;
    int32_t bus = 0;
    int32_t device = 0;
    int32_t function = 0;
    if (comm_sys_parse_c_dev_bus(dev_bus, &bus, &device, &function) != 0)
        return false;
    snprintf(path, sizeof path, "/sys/bus/pci/devices/0000:%02x:%02x.%x", bus, device, function);
    nashal::DirHandle dir(opendir(path));
    return static_cast<bool>(dir);
}

// The I2C buses of the boxes on one host port, by position (index 0 is position 1); positions
// with no box hold 0 or less. False when the port's key is missing.
bool chain_buses(const char *path, int port_index, int (&buses)[kChainLength]) {
    int32_t port = 0;
    if (!model_int(kHostSection, kPortKeys[port_index], &port, INI_CONF_HEX))
        return false;
    for (int position = 1; position <= kChainLength; ++position)
        buses[position - 1] =
            common_sys_check_num_thunderbolt_expander_exists("i2c", path, position, port);
    return true;
}

// A box is at a place when its I2C bus number is above 99.
bool answers(int bus) {
    return bus > 99;
}

// "HWM_UNIT" of the box's file as an I2C address; the failures trace as the caller's.
bool hwm_address(const char *who, int line, int32_t *address) {
    char value[HAL_ID_LEN] = {};
    if (!model_text(kSystemIo, "HWM_UNIT", value, sizeof value, COMM_MODEL_JBOD_CONF)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Wrong CONFIG SECTION = %s or FIELD = %s in file %s\n",
                  who, line, kSystemIo, "HWM_UNIT", COMM_MODEL_JBOD_CONF);
        return false;
    }
    if (comm_sys_parse_c_i2c(value, address) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Parsing error at hwm_unit %s\n", who, line, value);
        return false;
    }
    return true;
}

}  // namespace

extern "C" {

int common_sys_get_thunderbolt_i2c_bus(const char *path, const char *vendor, const char *device) {
    if (!path || !vendor || !device)
        return -1;
    const char *files[] = {"vendor", "device"};
    const char *wanted[] = {vendor, device};
    for (int i = 0; i < 2; ++i) {
        char file[HAL_SYSFS_PATH_LEN];
        char text[33] = {};
        if (snprintf(file, sizeof file, "%s/%s", path, files[i]) >= static_cast<int>(sizeof file))
            return -1;
        FILE *f = fopen(file, "r");
        if (!f)
            return -1;
        size_t n = fread(text, 1, 32, f);
        fclose(f);
        text[n] = '\0';
        if (strncmp(text, wanted[i], strlen(wanted[i])) != 0)
            return -1;
    }
    nashal::DirHandle dir(opendir(path));
    if (!dir)
        return -1;
    while (struct dirent *entry = readdir(dir.get()))
        if (strncmp(entry->d_name, "i2c-", 4) == 0)
            return atoi(entry->d_name + 4);
    return 0;
}

int common_sys_check_num_thunderbolt_expander_exists(const char *conf_id, const char *path,
                                                     int position, int port) {
    if (!path)
        return -1;
    const char *file = common_sys_get_thunderbolt_conf(conf_id);
    if (!file)
        return -1;
    char place[HAL_SYSFS_PATH_LEN] = {};
    hal_copy(place, path);
    // A box that isn't there leaves a place whose vendor and device don't match: the step
    // failures on the way need no answer of their own.
    comm_sys_get_pair_bus_switch(place, port);
    int32_t next_box = 0;
    if (!model_int(kBoxSection, "THUNDERBOLT_SWITCH_PORT", &next_box, INI_CONF_HEX, file))
        return -1;
    for (int step = 1; step < position; ++step)
        comm_sys_get_pair_bus_switch(place, next_box);
    int32_t end_port = 0;
    if (!model_int(kSataSection, "PCI_SWITCH_PORT", &end_port, INI_CONF_HEX, file))
        return -1;
    comm_sys_get_pair_bus_switch(place, end_port);
    printf("%s(%d):end_port = %d and path = %s \n", __func__, __LINE__, end_port, place);
    if (comm_sys_search_partial_filename(place, "pci_bus", nullptr, 0) == 0) {
        char step[HAL_SYSFS_PATH_LEN];
        size_t len = strnlen(place, sizeof place);
        if (comm_sys_get_pci_bus(place, "pci_bus", nullptr, 0, step, sizeof step) != 0 ||
            len + strlen(step) >= sizeof place) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
            return -1;
        }
        memcpy(place + len, step, strlen(step) + 1);
    }
    char vendor[33] = {};
    char device[33] = {};
    if (!model_text(kSataSection, "VENDOR", vendor, sizeof vendor, file) ||
        !model_text(kSataSection, "PRODUCT_ID", device, sizeof device, file))
        return -1;
    return common_sys_get_thunderbolt_i2c_bus(place, vendor, device);
}

// The array may be shorter than the 14 boxes two full chains hold: ids are stored while they
// fit and counted all the same, so a count above max_count tells the caller it was too small.
// A box found twice (both port keys naming the same switch port) is listed once.
int thunderbolt_expander_enumerate(char **enc_sys_ids, unsigned int max_count) {
    char path[HAL_SYSFS_PATH_LEN];
    if (!host_controller(path))
        return 0;
    int count = 0;
    int found[2 * kChainLength] = {};
    for (int port_index = 0; port_index < 2; ++port_index) {
        int buses[kChainLength] = {};
        if (!chain_buses(path, port_index, buses))
            return -1;
        for (int bus : buses) {
            if (!answers(bus))
                continue;
            char id[HAL_ID_LEN];
            snprintf(id, sizeof id, "i2c-%d", bus);
            if (std::find(found, found + count, bus) != found + count) {
                ERR_TRACE(HAL_TRACE_WARN, "%s: %s is reached from both host ports\n", __func__, id);
                continue;
            }
            found[count] = bus;
            if (enc_sys_ids && static_cast<unsigned int>(count) < max_count)
                enc_sys_ids[count] = strdup(id);
            thunderbolt_init_hwmon(id);
            ++count;
        }
        // A box behind the seventh isn't managed; say so rather than leave it unexplained.
        int32_t port = 0;
        model_int(kHostSection, kPortKeys[port_index], &port, INI_CONF_HEX);
        if (answers(common_sys_check_num_thunderbolt_expander_exists("i2c", path, kChainLength + 1,
                                                                     port)))
            ERR_TRACE(HAL_TRACE_WARN,
                      "%s: more than %d boxes on host port %d: the rest are not managed\n",
                      __func__, kChainLength, port_index + 1);
    }
    return count;
}

int common_sys_get_thunderbolt_info(const char *enc_sys_id, int *port, int *position) {
    if (port)
        *port = -1;
    if (position)
        *position = -1;
    if (!enc_sys_id || strncmp(enc_sys_id, "i2c-", 4) != 0)
        return -1;
    const int wanted = atoi(enc_sys_id + 4);
    char path[HAL_SYSFS_PATH_LEN];
    if (!host_controller(path))
        return -1;
    for (int port_index = 0; port_index < 2; ++port_index) {
        int buses[kChainLength] = {};
        if (!chain_buses(path, port_index, buses))
            return -1;
        for (int i = 0; i < kChainLength; ++i) {
            if (buses[i] == wanted) {
                if (port)
                    *port = port_index + 1;
                if (position)
                    *position = i + 1;
                return 1;
            }
        }
    }
    return -1;
}

int thunderbolt_expander_getinfo(const char *enc_sys_id, ENC_INFO *info) {
    if (!info || common_sys_get_thunderbolt_info(enc_sys_id, nullptr, nullptr) != 1)
        return -1;
    info->enc_id = -1;
    hal_copy(info->enc_parent_sys_id, "root");
    hal_copy(info->enc_sys_id, enc_sys_id);
    const char *file = COMM_MODEL_JBOD_CONF;
    model_text(kBoxSection, "VENDOR", info->vendor, sizeof info->vendor, file);
    model_text(kBoxSection, "MODEL", info->model, sizeof info->model, file);
    int32_t cap = 0;
    model_int(kBoxSection, "CAP", &cap, INI_CONF_HEX, file);
    info->capability = static_cast<uint32_t>(cap) | CAP_INTERNAL;
    model_int(kBoxSection, "MAX_DISK_NUM", &info->max_disk_num, INI_CONF_DEC, file);
    model_int(kBoxSection, "MAX_FAN_NUM", &info->max_fan_num, INI_CONF_DEC, file);
    model_int(kBoxSection, "MAX_TEMP_NUM", &info->max_temp_num, INI_CONF_DEC, file);
    info->protocol = ENC_PROTOCOL_THUNDERBOLT;
    info->status = 0;
    info->cache_port_bitmap = 0;
    hal_copy(info->serial, "JBOD");
    // "JBOD-101" for "i2c-101": the box's one stable name is its place on the I2C tree.
    snprintf(reinterpret_cast<char *>(info->wwn), sizeof info->wwn, "JBOD%s", enc_sys_id + 3);
    return 0;
}

int thunderbolt_init_hwmon(const char *enc_sys_id) {
    int32_t address = 0;
    if (!hwm_address(__func__, __LINE__, &address))
        return -1;
    const int bus = common_sys_get_thunderbolt_i2c_num(enc_sys_id);
    if (i2c_sys_check_hwmon(bus, address) == 1)
        i2c_sys_dev_write_byte_data(bus, address, kHwmModeRegister, kHwmModeValue);
    else
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d): Failed to init HWM. Check HWM device.\n", __func__,
                  __LINE__);
    return 0;
}

int thunderbolt_expander_get_temperature(const char *enc_sys_id, int temp_index,
                                         double *temperature) {
    static const char *const kSensorKeys[] = {"MB_TEMP", "BP_TEMP1", "BP_TEMP2"};
    if (temp_index < 0 || temp_index > 2) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Wrong temp_index %d\n", __func__, __LINE__, temp_index);
        return -1;
    }
    int32_t address = 0;
    if (!hwm_address(__func__, __LINE__, &address))
        return -1;
    const int bus = common_sys_get_thunderbolt_i2c_num(enc_sys_id);
    if (i2c_sys_check_hwmon(bus, address) != 1) {
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d): We don't support this HWM\n", __func__, __LINE__);
        return 0;
    }
    // The chip loses its mode when the box is power-cycled: set it again before each read.
    i2c_sys_dev_write_byte_data(bus, address, kHwmModeRegister, kHwmModeValue);
    char value[HAL_ID_LEN] = {};
    if (!model_text(kSystemIo, kSensorKeys[temp_index], value, sizeof value,
                    COMM_MODEL_JBOD_CONF)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Lost the parameters for getting NCT7802Y temperature\n",
                  __func__, __LINE__);
        return -1;
    }
    int32_t index = 0;
    if (comm_sys_parse_c_i2c_index(value, &address, &index) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Parsing error at temp_info %s\n", __func__, __LINE__,
                  value);
        return -1;
    }
    int byte = i2c_sys_dev_read_byte_data(bus, address, index);
    if (byte < 0)
        return -1;
    // Sign and magnitude: bit 7 is the sign of the low seven bits.
    const int magnitude = byte & 0x7f;
    if (temperature)
        *temperature = (byte & 0x80) ? -magnitude : magnitude;
    return 0;
}

}  // extern "C"
