/* Disk health: SMART of SATA disks, their power mode, self tests and error recovery timers
 * (pd_sys_ ATA calls), the SMART cache that a monitoring service fills and the management side
 * reads without waking a disk (PD_SMART_), and the disk service calls that route a request to
 * the ATA or SAS backend by the disk's recorded type. */
#ifndef NASHAL_PD_SMART_H
#define NASHAL_PD_SMART_H

#include <stdint.h>

#include <nashal/pd_sys.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Attributes in one SMART READ DATA sector. */
#define SMART_ATTR_MAX 30
/* What every decoded attribute carries in its last word. */
#define SMART_ATTR_MARKER 0xFFFFu

/* One decoded SMART attribute; also one entry of the cached record. 88 bytes. */
typedef struct SMART_ATTR {
    int32_t id;
    char name[64];
    uint8_t value;
    uint8_t worst;
    uint8_t thresh; /* 0 when the thresholds sector has no such id */
    uint64_t raw;   /* 48 bits */
    uint16_t status_flag;
    uint16_t reserved_word; /* SMART_ATTR_MARKER */
} SMART_ATTR;

/* Self-test modes of pd_sys_set_ata_self_test and PD_Set_Self_Test_Mode. */
#define PD_SELF_TEST_ABORT 0
#define PD_SELF_TEST_SHORT 1
#define PD_SELF_TEST_EXTENDED 2

/* Verdicts of get_ata_smart_status. */
#define ATA_SMART_STATUS_GOOD 0
#define ATA_SMART_STATUS_THRESHOLD_EXCEEDED 1

/* ---- SATA disks through ATA PASS-THROUGH (16); name is the pd_sys_id ("sg3") ---- */

/* The name of a SMART attribute id; "Unknown_Attribute" for ids nobody names. */
const char *get_ata_smart_attr_name(int id);

/* Verdict into smart_status_out (-1 when unreadable), up to attrs_size attributes with their
 * thresholds, the self-test status (high nibble) and percent done, and the polling times in
 * minutes. The outs for the self test may be null. Returns the number of attributes, or -1. */
int pd_sys_get_ata_smart(const char *enc_sys_id, const char *name, int *smart_status_out,
                         SMART_ATTR *attrs, int attrs_size, int *test_status_out,
                         int *test_percent_out, int *short_minutes_out, int *extended_minutes_out);
int pd_sys_set_ata_standby(const char *enc_sys_id, const char *name);
/* power_out: 1 active or idle, 0 standby. */
int pd_sys_get_ata_power(const char *enc_sys_id, const char *name, int *power_out);
int pd_sys_set_ata_self_test(const char *enc_sys_id, const char *name, int mode);
/* SCT error recovery control; timer in units of 100 ms. */
int pd_sys_set_ata_error_timer(const char *enc_sys_id, const char *name, int is_write_timer,
                               int timer);
int pd_sys_get_ata_error_timer(const char *enc_sys_id, const char *name, int is_write_timer,
                               int *timer_out);

/* The single commands, on a node path ("/dev/sg3"). 0 or -1 unless said otherwise. */
int get_ata_smart_value(const char *device, uint8_t *buffer_512);
int get_ata_smart_threshold(const char *device, uint8_t *buffer_512);
int get_ata_smart_status(const char *device, int *status_out);
int enable_ata_smart(const char *device, int enable);
int get_sata_power_status(const char *device, int *power_out);
int set_sata_power_standby(const char *device);
int set_sata_self_test(const char *device, int mode);
/* Sends the SCT command sector (512 bytes); a "get" answers into timer_out when given. */
int do_sata_error_timer(const char *device, uint8_t *sector_512, int *timer_out);

/* ---- SAS disks: log pages and commands through the sg3_utils tools ----
 * `name` is the pd_sys_id ("sg3"); the tools address /dev/<name>. */

/* One named value of a decoded log page. The names are static texts; a parameter the disk
 * doesn't report leaves its pair null and 0. */
typedef struct SAS_LOG_U32 {
    const char *name;
    uint32_t value;
} SAS_LOG_U32;
typedef struct SAS_LOG_U64 {
    const char *name;
    uint64_t value;
} SAS_LOG_U64;
typedef struct SAS_LOG_U8 {
    const char *name;
    uint8_t value;
} SAS_LOG_U8;
/* A date of the start-stop page: four characters of year, a blank, two of week ("2019 05"). */
typedef struct SAS_LOG_DATE {
    const char *name;
    char value[8];
} SAS_LOG_DATE;

/* Log pages with a decoder. */
#define SAS_LOG_PAGE_SUPPORTED 0x00
#define SAS_LOG_PAGE_WRITE_ERROR 0x02
#define SAS_LOG_PAGE_READ_ERROR 0x03
#define SAS_LOG_PAGE_VERIFY_ERROR 0x05
#define SAS_LOG_PAGE_NON_MEDIUM_ERROR 0x06
#define SAS_LOG_PAGE_TEMPERATURE 0x0D
#define SAS_LOG_PAGE_START_STOP 0x0E
#define SAS_LOG_PAGE_SELF_TEST 0x10
#define SAS_LOG_PAGE_POWER_TRANSITIONS 0x1A
#define SAS_LOG_PAGE_INFORMATIONAL_EXCEPTION 0x2F

/* One decoded page: its code and the body of that code. */
typedef struct SAS_LOG_PAGE {
    uint32_t page;
    union {
        struct {                         /* 0x02, 0x03, 0x05 */
            SAS_LOG_U32 counter[5];      /* parameters 0 to 4 */
            SAS_LOG_U64 bytes_processed; /* parameter 5: never filled */
            SAS_LOG_U32 uncorrected;     /* parameter 6 */
        } error_count;
        struct { /* 0x06 */
            SAS_LOG_U32 count;
        } non_medium_error;
        struct { /* 0x0D, degrees Celsius */
            SAS_LOG_U32 temperature;
            SAS_LOG_U32 reference;
        } temperature;
        struct {                    /* 0x0E */
            SAS_LOG_DATE date[2];   /* parameters 1 and 2 */
            SAS_LOG_U32 counter[4]; /* parameters 3 to 6 */
        } start_stop;
        struct { /* 0x2F */
            SAS_LOG_U8 asc;
            SAS_LOG_U8 ascq;
        } informational_exception;
    } body;
} SAS_LOG_PAGE;

/* Self-test results of the self-test page (low nibble of the result byte). */
#define SAS_SELF_TEST_IN_PROGRESS 15

/* Decodes every supported page the disk lists with a decoder, up to pages_size entries; the
 * sense code of the disk (ASC in bits 15-8, ASCQ in 7-0) into sense_out. Returns the number of
 * pages decoded, -1, or -2 when the list of pages is empty or unusable. */
int pd_sys_get_sas_smart(const char *enc_sys_id, const char *name, int *sense_out,
                         struct SAS_LOG_PAGE *pages, int pages_size);
/* The most recent self-test result into status_out (0 when the disk reports none) and, for a
 * finished test, 100 into percent_out; for a running one the progress. 0, -1 or -2. */
int pd_sys_get_sas_self_test_progress(const char *enc_sys_id, const char *name, int *status_out,
                                      int *percent_out);
/* Modes PD_SELF_TEST_*; another mode is -1. The result is the shell's. */
int pd_sys_set_sas_self_test(const char *enc_sys_id, const char *name, int mode);
int pd_sys_set_sas_standby(const char *enc_sys_id, const char *name);
/* power_out: 1 awake, 0 in standby by command. 0 or -1. */
int pd_sys_get_sas_power(const char *enc_sys_id, const char *name, int *power_out);
/* Makes the disk report failure prediction when asked (informational exceptions mode page). */
int pd_sys_set_sas_warning(const char *enc_sys_id, const char *name);
/* 0 when the disk (whole node path, "/dev/sg3") lists the power condition transitions page. */
int get_sas_pwr_standby_support(const char *pd_ctrl_name);
/* The sense code (ASC << 8 | ASCQ) of REQUEST SENSE into sense_out (0 first). 0 or -1. */
int get_sas_request_sense(const char *enc_sys_id, const char *name, int *sense_out);

/* The page decoders, each reading page `page_code` of the disk into `page`. 0 or -1. */
int get_sas_log_error_count(const char *name, int page_code, struct SAS_LOG_PAGE *page);
int get_sas_log_non_medium_error(const char *name, int page_code, struct SAS_LOG_PAGE *page);
int get_sas_log_temperature(const char *name, int page_code, struct SAS_LOG_PAGE *page);
int get_sas_log_start_stop_count(const char *name, int page_code, struct SAS_LOG_PAGE *page);
int get_sas_log_informational_exception(const char *name, int page_code, struct SAS_LOG_PAGE *page);
/* Parameter names of the error counter and start-stop pages; "Unknown Parameter code" else. */
const char *get_sas_error_param_name(int param_code);
const char *get_sas_start_stop_param_name(int param_code);
/* A big-endian number of up to 8 bytes; a longer length traces and gives all ones. */
uint64_t array_to_hex(const unsigned char *bytes, int length);

/* ---- The SMART cache, /tmp/smart/smart_<enc_id>_<port_id>.info ---- */

/* The cached record: twelve header words, then attr_count entries, in one allocation of
 * 88 x attr_count + 48 bytes that the caller of PD_SMART_Read_Info frees with free(). The
 * header words other than those named are the monitoring service's own and pass through. */
typedef struct PD_SMART_INFO {
    int32_t head0;
    int32_t summary_status;
    int32_t summary_value;
    int32_t head3;
    int32_t temperature; /* degrees; the low byte counts */
    int32_t health;      /* PD_SMART_HEALTH_ERROR means the disk is failing */
    int32_t head6;
    int32_t head7;
    int32_t head8;
    int32_t head9;
    int32_t head10;
    int32_t attr_count;
    SMART_ATTR attr[];
} PD_SMART_INFO;

#define PD_SMART_HEALTH_ERROR 2
#define PD_SMART_INFO_SIZE(count) (sizeof(PD_SMART_INFO) + (size_t)(count) * sizeof(SMART_ATTR))

typedef struct PD_SMART_SUMMARY {
    int32_t port_id;
    int32_t status;
    char description[64]; /* vendor model revision */
    float capacity_gb;
    int32_t status2;
    uint8_t temperature;
    int32_t last_test_time;
    int32_t last_test_type;
    int32_t value;
    int32_t temperature_type;
} PD_SMART_SUMMARY;

typedef struct PD_SMART_CONF {
    int32_t port_id;
    int32_t temp_thresh_enabled;
    int32_t temp_thresh;
    int32_t temp_type;
    int32_t short_enabled;
    uint64_t short_schedule;
    int32_t extended_enabled;
    uint64_t extended_schedule;
} PD_SMART_CONF;

/* 0 and a new record in *out, or -1 (no cache, no lock) with *out untouched. */
int PD_SMART_Read_Info(int enc_id, int port_id, PD_SMART_INFO **out);
/* Stores the record (after comparing it with the old one when
 * /tmp/smart/check_smart_health exists). 0 or negative. */
int PD_SMART_Write_Info(int enc_id, int port_id, const PD_SMART_INFO *info);
/* 0 when there is nothing to delete, otherwise unlink's result. */
int PD_SMART_Clear_Info(int enc_id, int port_id);
/* 1 when a cached record says the disk is failing, else 0. */
int PD_SMART_Is_Error(int enc_id, int port_id);
uint8_t PD_SMART_Get_Temperature(const PD_SMART_INFO *info);
int PD_SMART_Get_Summary(int enc_id, int port_id, PD_SMART_SUMMARY *out);
/* Logs rises of the error counters to the system log; the first step of a write. */
int pd_smart_check_health(int enc_id, int port_id, const PD_SMART_INFO *info);

/* ---- SMART settings, /etc/config/smart.conf (enclosure 0) or smart_<enc_id>.conf ---- */

/* Test types of the schedules: 1 short, any other extended. */
int PD_SMART_Get_Conf(int enc_id, int port_id, PD_SMART_CONF *out);
int PD_SMART_Is_Temp_Thresh_Enabled(int enc_id, int port_id);
int PD_SMART_Get_Temp_Thres(int enc_id, int port_id);
int pd_smart_get_temp_type(int enc_id, int port_id);
int PD_SMART_Is_Schedule_Enabled(int enc_id, int port_id, int test_type);
/* The schedule's 64-bit value with its low five bytes spread over b4 (bits 32-39) to b0, or -1
 * with the outs untouched. */
int64_t PD_SMART_Get_Test_Schedule(int enc_id, int port_id, int test_type, int32_t *b4, int32_t *b3,
                                   int32_t *b2, int32_t *b1, int32_t *b0);
int PD_SMART_Get_Last_Test_Type(int enc_id, int port_id);
int PD_SMART_Get_Now_Test_Type(int enc_id, int port_id);
long pd_smart_get_last_test_time(int enc_id, int port_id);

/* ---- Disk service calls by (enc_id, port_id), routed by the disk's recorded type ---- */

int PD_SMART_Get_ATA_Info(int enc_id, int port_id, int *smart_status_out, SMART_ATTR *attrs,
                          int attrs_size, int *test_status_out, int *test_percent_out,
                          int *short_minutes_out, int *extended_minutes_out);
int PD_Get_SCSI_Log_Pages(int enc_id, int port_id, int *sense_out, struct SAS_LOG_PAGE *pages,
                          int pages_size);
int PD_Set_Self_Test_Mode(int enc_id, int port_id, int mode);
int PD_Get_Power_Status(int enc_id, int port_id, int *power_out);
int PD_Set_Power_Standby(int enc_id, int port_id);
int PD_Set_Error_Recovery_Timer(int enc_id, int port_id, int is_write_timer, int timer);
int PD_Get_Error_Recovery_Timer(int enc_id, int port_id, int is_write_timer, int *timer_out);
int PD_Get_SCSI_Self_Test_Status(int enc_id, int port_id, int *status_out, int *percent_out);
/* Measures the disk's read speed with hdparm into its record's "read_speed". */
int PD_set_checking_read_speed(int enc_id, int port_id);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_PD_SMART_H */
