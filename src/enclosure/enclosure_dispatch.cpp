// Which enclosures exist now, and what one of them is: the two questions the registry asks.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "enclosure/enclosure_kinds.h"
#include "nashal/se_sys.h"
#include "foundation/shell_command.h"
#include "nashal/hal_trace.h"
#include "nashal/mcu_sys.h"
#include "nashal/pic_sys.h"
#include "topology/model_file.h"
#include "enclosure/sas_expander.h"
#include "nashal/hal_types.h"

using namespace nashal::enclosure;

namespace {

constexpr int kMaxPcieSlots = 256;

// Appends one id while there is room; the count grows in any case, so that a result above the
// capacity tells the caller that something didn't fit. Nothing is written past the array.
void append(char **ids, unsigned int max_count, unsigned int &count, const char *id) {
    if (count < max_count)
        ids[count] = strdup(id);
    ++count;
}

// The rest of the array for an enumerator of one kind: nothing once it is full.
char **rest(char **ids, unsigned int max_count, unsigned int count) {
    return count < max_count ? ids + count : nullptr;
}
unsigned int room(unsigned int max_count, unsigned int count) {
    return count < max_count ? max_count - count : 0;
}

unsigned int add(int found) {
    return found > 0 ? static_cast<unsigned int>(found) : 0u;
}

// udevd learns of every SAS enclosure, so that its rules see the enclosure as such.
void notify_udev(const char *enc_sys_id) {
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command("se_sys_enumerate", command, sizeof command,
                                  "pidof %s 1 > /dev/null 2 >& 1", "udevd") < 0 ||
        system(command) != 0)
        return;
    if (nashal::hal_build_command("se_sys_enumerate", command, sizeof command,
                                  "%s control --env=%s=enc", "/sbin/udevadm", enc_sys_id) < 0)
        return;
    system(command);
}

void trace_record(const ENC_INFO *info) {
    const char *f = "se_sys_getinfo";
    ERR_TRACE(HAL_TRACE_INFO, "%s:enc_id = %d\n", f, info->enc_id);
    ERR_TRACE(HAL_TRACE_INFO, "%s:enc_parent_sys_id = %s\n", f, info->enc_parent_sys_id);
    ERR_TRACE(HAL_TRACE_INFO, "%s:enc_parent_port_id = %d\n", f, info->enc_parent_port_id);
    ERR_TRACE(HAL_TRACE_INFO, "%s:enc_sys_id = %s\n", f, info->enc_sys_id);
    ERR_TRACE(HAL_TRACE_INFO, "%s:wwn = ", f);
    for (int i = 0; i < 8; ++i)
        ERR_TRACE(HAL_TRACE_INFO, "%02x ", info->wwn[i]);
    ERR_TRACE(HAL_TRACE_INFO, "%s:serial no = %s\n", f, info->serial);
    ERR_TRACE(HAL_TRACE_INFO, "%s:vendor = %s\n", f, info->vendor);
    ERR_TRACE(HAL_TRACE_INFO, "%s:model = %s\n", f, info->model);
    ERR_TRACE(HAL_TRACE_INFO, "%s:status = %d\n", f, info->status);
    ERR_TRACE(HAL_TRACE_INFO, "%s:capability = 0x%x\n", f, info->capability);
    ERR_TRACE(HAL_TRACE_INFO, "%s:protocol = %d\n", f, info->protocol);
    ERR_TRACE(HAL_TRACE_INFO, "%s:max_disk_num = %d\n", f, info->max_disk_num);
    ERR_TRACE(HAL_TRACE_INFO, "%s:max_fan_num = %d\n", f, info->max_fan_num);
    ERR_TRACE(HAL_TRACE_INFO, "%s:max_temp_num = %d\n", f, info->max_temp_num);
    ERR_TRACE(HAL_TRACE_INFO, "%s:cache_port_bitmap = 0x%x\n", f, info->cache_port_bitmap);
}

int route_getinfo(const char *id, ENC_INFO *info) {
    if (const auto *row = nashal::topology::main_unit_enclosure(id))
        return main_unit_get_info(*row, id, info);
    if (has_prefix(id, "usb"))
        return usb_expander_getinfo(id, info);
    if (is_sas(id))
        return sas_expander_getinfo(id, info);
    if (has_prefix(id, "i2c"))
        return thunderbolt_expander_getinfo(id, info);
    return -1;  // an unknown id: the caller tells of it
}

}  // namespace

extern "C" int se_sys_enumerate(char **enc_sys_ids, unsigned int max_count) {
    if (!enc_sys_ids || max_count < 3)
        return 0;
    unsigned int count = 0;
    const uint32_t cap = nashal::topology::root_capability();
    for (const auto &row : nashal::topology::kMainUnitEnclosures) {
        // eSATA ports are there unless the board says otherwise; a cache bay only when it says
        // so; PCIe slots are found below, one by one.
        bool listed = true;
        if (row.kind == nashal::topology::MainUnitKind::Esata)
            listed = !(cap & CAP_NO_ESATA);
        else if (row.kind == nashal::topology::MainUnitKind::Cache)
            listed = cap & CAP_CACHE_ENCLOSURE;
        else if (row.id_is_prefix)
            listed = false;
        if (listed)
            append(enc_sys_ids, max_count, count, row.id);
    }

    const unsigned int sas_first = count;
    const unsigned int sas_count =
        add(sas_expander_enumerate(rest(enc_sys_ids, max_count, count), room(max_count, count)));
    count += sas_count;
    count +=
        add(usb_expander_enumerate(rest(enc_sys_ids, max_count, count), room(max_count, count)));
    if (cap & CAP_PCIE_EXPANSION) {
        // Hexadecimal here, decimal in the root reader: "10" means 16 slots to look at.
        int slots = nashal::topology::model_int_or(nashal::topology::kSystemEnclosure,
                                                   "MAX_PCIE_SLOT", 0, INI_CONF_HEX);
        // A mistyped count such as 7FFFFFFF would read the model file for hours; no board has
        // more slots than PCI has buses.
        if (slots > kMaxPcieSlots) {
            ERR_TRACE(HAL_TRACE_WARN, "%s: MAX_PCIE_SLOT 0x%x taken as 0x%x\n", __func__,
                      static_cast<unsigned int>(slots), static_cast<unsigned int>(kMaxPcieSlots));
            slots = kMaxPcieSlots;
        }
        for (int slot = 1; slot <= slots; ++slot)
            count += add(pcie_disk_enumerate(rest(enc_sys_ids, max_count, count),
                                             room(max_count, count), slot));
    }

    // The Thunderbolt count is added as it comes, a -1 (a chain whose port key is missing)
    // included, so the total can drop below what was stored. Entries past the total are no
    // longer the caller's to free, so they are freed here; the rest of the array is cleared
    // first so that nothing but what was stored gets freed.
    for (unsigned int i = count; i < max_count; ++i)
        enc_sys_ids[i] = nullptr;
    const int boxes =
        thunderbolt_expander_enumerate(rest(enc_sys_ids, max_count, count), room(max_count, count));
    if (boxes >= 0) {
        count += static_cast<unsigned int>(boxes);
    } else {
        const long total = std::max(0L, static_cast<long>(count) + boxes);
        count = static_cast<unsigned int>(total);
        for (unsigned int i = count; i < max_count; ++i) {
            free(enc_sys_ids[i]);
            enc_sys_ids[i] = nullptr;
        }
    }

    if (count > max_count) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: count(%d) > max_count(%d)\n", __func__,
                  static_cast<int>(count), static_cast<int>(max_count));
        return static_cast<int>(count);
    }
    // A failed Thunderbolt chain can bring an overfull total back within the array while SAS
    // ids were counted past its end: only those that are in the array are told to udevd.
    const unsigned int sas_end = std::min(sas_first + sas_count, count);
    for (unsigned int i = sas_first; i < sas_end; ++i)
        if (enc_sys_ids[i])
            notify_udev(enc_sys_ids[i]);
    for (unsigned int i = 0; i < count; ++i)
        ERR_TRACE(HAL_TRACE_INFO, "%s: enc_sys_id[%u] = %s\n", __func__, i,
                  enc_sys_ids[i] ? enc_sys_ids[i] : "(null)");
    return static_cast<int>(count);
}

extern "C" int se_sys_getinfo(const char *enc_sys_id, ENC_INFO *info) {
    if (!info)
        return -1;
    memset(info, 0, sizeof *info);
    int result = route_getinfo(enc_sys_id, info);
    if (result < 0)
        return result;

    const int no_power_poll = static_cast<int>(info->capability & CAP_NO_POWER_POLL);
    if (info->capability & CAP_PIC) {
        if (pic_sys_start_monitor(enc_sys_id, no_power_poll) < 0)
            return -1;
        // The controller is reachable now: the serial number can be asked for.
        if (is(enc_sys_id, "root"))
            root_get_board_sn(info->serial, sizeof info->serial);
        else if (info->protocol == ENC_PROTOCOL_USB)
            usb_expander_get_sn(enc_sys_id, info->serial, sizeof info->serial);
    }
    if ((info->capability & CAP_MCU) && mcu_sys_start_monitor(enc_sys_id, no_power_poll) < 0)
        return -1;
    trace_record(info);
    return 0;
}
