/* The body of a daemon written in C, using only the public headers, run inside a whole virtual
 * appliance by appliance_daemon_test.cpp (which activates the appliance, the one thing C can't):
 * it scans, walks the enclosures and their disks, looks every disk up by number and back,
 * raises and clears a status event, sets an identify lamp, reads the monitor and the health
 * record. Returns the number of faults, each told on stderr. */
#include <nashal/hal.h>

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

static int faults = 0;

static void check(int ok, const char *what) {
    if (!ok) {
        fprintf(stderr, "fault: %s\n", what);
        ++faults;
    }
}

static int count_disk(int enc_id, int port_id, void *cookie) {
    uint64_t dev_no = 0;
    int e = -1, p = -1;
    char name[32] = "";
    char again[32] = "";
    (*(int *)cookie)++;
    if (PD_Get_Sys_Name(enc_id, port_id, name, (int)sizeof name) != 0 ||
        strncmp(name, "/dev/sd", 7) != 0)
        return 0; /* a flash device has no SCSI number */
    check(PD_Get_Dev_No_By_Id(enc_id, port_id, &dev_no) == 0, "a recorded disk has a number");
    check(PD_Get_Sys_Name_By_Dev_No(dev_no, again, (int)sizeof again) == 0 &&
              strcmp(name, again) == 0,
          "the number gives the name back");
    check(PD_Get_Id_By_Dev_No(dev_no, &e, &p) == 0 && e == enc_id && p == port_id,
          "the number leads back to the bay");
    return 0;
}

static int read_register(void) {
    unsigned value = 0;
    FILE *f = fopen(GPIO_STATUS_EVENT_FILE, "r");
    if (!f)
        return -1;
    if (fscanf(f, "%x", &value) != 1)
        value = 0;
    fclose(f);
    return (int)value;
}

int drive_appliance(void);

int drive_appliance(void) {
    int ids[MAX_SE_SYS_ENUM];
    int n, i, disks = 0;
    char text[64];
    double temperature = 0;
    SE_SYSTEM_STATUS status;
    ENC_INFO info;

    check(SE_Scan() == 0, "SE_Scan");
    n = SE_Enumerate(ids, MAX_SE_SYS_ENUM, NULL, NULL);
    check(n > 0 && ids[0] == 0, "the main unit is enclosure 0");
    for (i = 0; i < n && i < MAX_SE_SYS_ENUM; ++i) {
        memset(&info, 0, sizeof info);
        check(SE_Get_Info(ids[i], &info) == 0, "SE_Get_Info of an enumerated enclosure");
        check(SE_Is_Exist(ids[i]) == 1, "SE_Is_Exist of an enumerated enclosure");
        check(SE_Get_PD_Num(ids[i]) >= 0, "SE_Get_PD_Num");
        check(SE_Get_Log_Name(ids[i], text, (int)sizeof text) == text, "SE_Get_Log_Name");
        PD_Enumerate(ids[i], NULL, 0, count_disk, &disks);
    }
    check(disks > 0, "the appliance has disks");
    check(SE_Get_WWN(0, text, (int)sizeof text) == 0 && strcmp(text, "0") == 0,
          "SE_Get_WWN is the enc_id");

    /* The status register, as two daemons use it. */
    check(GPIO_Set_NAS_Status_LED(0, 0) == 0, "clear every event");
    check(GPIO_Set_NAS_Status_LED(0x1000, 1) == 0 && GPIO_Set_NAS_Status_LED(0x10, 1) == 0,
          "set two events");
    check(GPIO_Set_NAS_Status_LED(0x1000, 0) == 0, "clear one");
    check(read_register() == 0x10, "the other event stays");

    check(GPIO_Enable_Ident_LED(0, 1) >= -1 && GPIO_Get_Ident_LED(0) == 1,
          "the identify state is recorded");
    check(HM_Get_Temperature(0, 0, &temperature) == 0, "the main unit's first temperature");
    check(HM_Get_Temperature(99, 0, &temperature) == -1, "no temperature of an unknown box");

    /* The monitoring service's findings. */
    mkdir("/tmp/em", 0755);
    {
        FILE *f = fopen("/tmp/em/em_0.info", "w");
        check(f != NULL, "write the monitoring file");
        if (f) {
            fputs("[INFO]\nFANS_1 = 1\nFANR_1 = 1500\nTEMP_0 = 40\n", f);
            fclose(f);
        }
    }
    memset(&status, 0, sizeof status);
    check(SE_Get_System_Status(0, &status) == 0 && status.fan_status[0] == SE_FAN_OK &&
              status.fan_speed[0] == 1500 && status.temperature[0] == 40,
          "SE_Get_System_Status");
    {
        int64_t sectors = 0;
        int sector_size = 0;
        check(PD_Get_Boot_Disk_Capacity(0, &sectors, &sector_size) == 0 && sectors > 0 &&
                  sector_size > 0,
              "PD_Get_Boot_Disk_Capacity");
    }
    return faults;
}
