// SMART attribute names and the decoding of the SMART data and thresholds sectors.
#include "disk/smart_decode.h"

#include "disk/smart_layout.h"
#include "foundation/byte_order.h"
#include "foundation/text.h"

namespace nashal::smart {
namespace {

struct AttrName {
    int id;
    const char *name;
};

// The names the management pages show; several ids share a name where makers reused them.
constexpr AttrName kAttrNames[] = {
    {1, "Raw_Read_Error_Rate"},
    {2, "Throughput_Performance"},
    {3, "Spin_Up_Time"},
    {4, "Start_Stop_Count"},
    {5, "Retired_Block_Count"},
    {6, "Read_Channel_Margin"},
    {7, "Seek_Error_Rate"},
    {8, "Seek_Time_Performance"},
    {9, "Power_On_Hours"},
    {10, "Spin_Retry_Count"},
    {11, "Calibration_Retry_Count"},
    {12, "Power_Cycle_Count"},
    {13, "Soft_Read_Error_Rate"},
    {100, "Gigabytes_Erased"},
    {170, "Reserve_Block_Count"},
    {171, "Program_Fail_Count"},
    {172, "Erase_Fail_Count"},
    {174, "Unexpected_Power_Loss"},
    {175, "Program_Fail_Count_Chip"},
    {176, "Erase_Fail_Count_Chip"},
    {177, "Wear_Range_Delta"},
    {178, "Used_Rsvd_Blk_Cnt_Chip"},
    {179, "Used_Rsvd_Blk_Cnt_Tot"},
    {180, "Unused_Rsvd_Blk_Cnt_Tot"},
    {181, "Program_Fail_Count"},
    {182, "Erase_Fail_Count"},
    {183, "Runtime_Bad_Block"},
    {184, "End-to-End_Error"},
    {187, "Reported_Uncorrect_Error"},
    {188, "Command_Timeout"},
    {189, "High_Fly_Writes"},
    {190, "Airflow_Temperature_Cel"},
    {191, "G-Sense_Error_Rate"},
    {192, "Power-Off_Retract_Count"},
    {193, "Load_Cycle_Count"},
    {194, "Temperature_Celsius"},
    {195, "ECC_On-The-Fly_Error"},
    {196, "Reallocated_Event_Count"},
    {197, "Current_Pending_Sector"},
    {198, "Uncorrectable_Sector_Count"},
    {199, "SATA_R-Error_Count"},
    {200, "Multi_Zone_Error_Rate"},
    {201, "Soft_Read_Error_Rate"},
    {202, "Data_Address_Mark_Errs"},
    {203, "Run_Out_Cancel"},
    {204, "Soft_ECC_Correction"},
    {205, "Thermal_Asperity_Rate"},
    {206, "Flying_Height"},
    {207, "Spin_High_Current"},
    {208, "Spin_Buzz"},
    {209, "Offline_Seek_Performnce"},
    {220, "Disk_Shift"},
    {221, "G-Sense_Error_Rate"},
    {222, "Loaded_Hours"},
    {223, "Load_Retry_Count"},
    {224, "Load_Friction"},
    {225, "Load_Cycle_Count"},
    {226, "Load-in_Time"},
    {227, "Torq-amp_Count"},
    {228, "Power-off_Retract_Count"},
    {230, "Drive_Protection_Status"},
    {231, "SSD_Life_Left"},
    {232, "Available_Reservd_Space"},
    {233, "Media_Wearout_Indicator"},
    {235, "Power_Fail_Backup_Health"},
    {240, "Head_Flying_Hours"},
    {241, "Total_LBAs_Written"},
    {242, "Total_LBAs_Read"},
    {250, "Read_Error_Retry_Rate"},
    {254, "Free_Fall_Sensor"},
};

const uint8_t *entry(const uint8_t *sector, size_t i) {
    return sector + kTableOffset + i * kEntrySize;
}

}  // namespace

bool checksum_ok(const uint8_t *sector) {
    uint8_t sum = 0;
    for (size_t i = 0; i < kSectorSize; ++i)
        sum = static_cast<uint8_t>(sum + sector[i]);
    return sum == 0;
}

int decode_attributes(const uint8_t *data, SMART_ATTR *attrs, int attrs_size) {
    int count = 0;
    for (size_t i = 0; i < kEntryCount && count < attrs_size; ++i) {
        const uint8_t *e = entry(data, i);
        if (e[kAttrId] == 0)
            break;
        SMART_ATTR &a = attrs[count++];
        a.id = e[kAttrId];
        hal_copy(a.name, get_ata_smart_attr_name(a.id));
        a.status_flag = load_le16(e + kAttrFlags);
        a.value = e[kAttrValue];
        a.worst = e[kAttrWorst];
        a.thresh = 0;
        a.raw = load_le(e + kAttrRaw, kAttrRawSize);
        a.reserved_word = SMART_ATTR_MARKER;
    }
    return count;
}

void apply_thresholds(const uint8_t *thresholds, SMART_ATTR *attrs, int count) {
    for (int n = 0; n < count; ++n) {
        attrs[n].thresh = 0;
        for (size_t i = 0; i < kEntryCount; ++i) {
            const uint8_t *e = entry(thresholds, i);
            if (e[kThreshId] == attrs[n].id) {
                attrs[n].thresh = e[kThreshValue];
                break;
            }
        }
    }
}

SelfTestState decode_self_test(const uint8_t *data) {
    uint8_t byte = data[kSelfTestStatus];
    return {byte >> 4, 100 - 10 * (byte & 0x0f)};
}

}  // namespace nashal::smart

extern "C" const char *get_ata_smart_attr_name(int id) {
    for (const auto &n : nashal::smart::kAttrNames)
        if (n.id == id)
            return n.name;
    return "Unknown_Attribute";
}
