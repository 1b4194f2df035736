// SCSI disk names and device numbers, both ways, by arithmetic alone: sixteen minors a disk,
// sixteen disks a major, majors 8, 65-71 and 128-135 in that order. Nothing here looks at the
// system except pd_get_dev_no_from_sysfs, so a name with no disk behind it still has a number.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/raii.h"
#include "nashal/hal_pd.h"
#include "nashal/hal_trace.h"

namespace {

constexpr const char *kDiskPrefix = "/dev/sd";
constexpr size_t kDiskPrefixLen = 7;
constexpr int kMinorsPerDisk = 16;
constexpr int kMinorsPerGroup = 256;
constexpr int kDiskNameLen = HAL_ID_LEN;

// The block of 256 minors a major stands for, in the number-to-name direction, or -1. Major
// 136 is accepted here but has no way back: names past the fifteenth group are refused, and
// that asymmetry is what callers have always seen.
int group_of_major(int major) {
    if (major == 8)
        return 0;
    if (major >= 65 && major <= 71)
        return major - 64;
    if (major >= 128 && major <= 136)
        return major - 120;
    return -1;
}

// The major of a group in the name-to-number direction, or -1.
int major_of_group(int group) {
    if (group == 0)
        return 8;
    if (group >= 1 && group <= 7)
        return group + 64;
    if (group >= 8 && group <= 15)
        return group + 120;
    return -1;
}

}  // namespace

extern "C" uint64_t pd_get_dev_no_from_sysfs(const char *name) {
    char path[HAL_SYSFS_PATH_LEN];
    snprintf(path, sizeof path, "/sys/block/%s/dev", name ? name : "");
    nashal::FileHandle f(fopen(path, "r"));
    if (!f) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: can't open the specified file %s!\n", __func__, path);
        return 0;
    }
    char line[HAL_ID_LEN] = {};
    if (!fgets(line, sizeof line, f.get())) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: can't retrieve device no for device %s!\n", __func__, name);
        return 0;
    }
    line[strcspn(line, "\r\n")] = '\0';
    unsigned long major = strtoul(line, nullptr, 10);
    const char *colon = strchr(line, ':');
    unsigned long minor = colon ? strtoul(colon + 1, nullptr, 10) : 0;
    return PD_DEV_NO(major, minor);
}

// Writes the suffix backwards from the end of the buffer, then moves it up behind the prefix.
extern "C" int pd_format_disk_name(const char *prefix, int index, char *buffer, int size) {
    if (!prefix || !buffer || size <= 0)
        return -22;
    size_t prefix_len = strlen(prefix);
    int at = size - 1;
    buffer[at] = '\0';
    for (int n = index; n >= 0; n = n / 26 - 1) {
        // The prefix must still fit in front of the suffix.
        if (at <= static_cast<int>(prefix_len))
            return -22;
        buffer[--at] = static_cast<char>('a' + n % 26);
    }
    memmove(buffer + prefix_len, buffer + at, static_cast<size_t>(size - at));
    memcpy(buffer, prefix, prefix_len);
    return 0;
}

extern "C" int PD_Get_Sys_Name_By_Dev_No(uint64_t dev_no, char *buffer, int size) {
    int major = PD_DEV_NO_MAJOR(dev_no);
    int minor = PD_DEV_NO_MINOR(dev_no);
    int group = group_of_major(major);
    if (group < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: unsupport device no major(%d)\n", __func__, major);
        return -1;
    }
    if (!buffer || size <= 0)
        return -1;
    int index = (minor + group * kMinorsPerGroup) / kMinorsPerDisk;
    int partition = minor % kMinorsPerDisk;
    char disk[kDiskNameLen] = {};
    pd_format_disk_name(kDiskPrefix, index, disk, sizeof disk);
    if (partition)
        snprintf(buffer, static_cast<size_t>(size), "%s%d", disk, partition);
    else
        snprintf(buffer, static_cast<size_t>(size), "%s", disk);
    return 0;
}

// The suffix folds in base 26 with 'a' as 1; any character before the first digit folds in, a
// letter or not, as it always has. The digits behind are the partition.
extern "C" int PD_Get_Dev_No_By_Sys_Name(const char *name, uint64_t *dev_no) {
    if (!name || strncmp(name, kDiskPrefix, kDiskPrefixLen) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: wrong format of sys_name %s\n", __func__,
                  name ? name : "(null)");
        return -1;
    }
    const char *p = name + kDiskPrefixLen;
    long number = 0;
    for (; *p && !isdigit(static_cast<unsigned char>(*p)); ++p) {
        number = number * 26 + (static_cast<unsigned char>(*p) - 0x60);
        // Far past the last group already: stop before the number overflows.
        if (number > 1L << 20)
            number = 1L << 20;
    }
    long partition = *p ? strtol(p, nullptr, 10) : 0;
    if (partition > 15 || partition < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: uncorrected partition number %d\n", __func__,
                  static_cast<int>(partition));
        return -1;
    }
    long position = (number - 1) * kMinorsPerDisk + partition;
    long group = position / kMinorsPerGroup;
    long minor = position % kMinorsPerGroup;
    int major = position < 0 ? -1 : major_of_group(static_cast<int>(group));
    if (major < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: unsupport device name %s.\n", __func__, name);
        return -1;
    }
    if (!dev_no)
        return -1;
    *dev_no = PD_DEV_NO(major, minor);
    return 0;
}

extern "C" int PD_Get_Dev_No_By_Id(int enc_id, int port_id, uint64_t *dev_no) {
    char name[kDiskNameLen] = {};
    if (PD_Get_Sys_Name(enc_id, port_id, name, sizeof name) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: can't retrieve sys name for dev_id(%d, %d)!\n", __func__,
                  enc_id, port_id);
        return -1;
    }
    return PD_Get_Dev_No_By_Sys_Name(name, dev_no);
}
