// The SMART side of an emulated SATA drive: SMART READ DATA and READ THRESHOLDS, RETURN STATUS,
// ENABLE/DISABLE, EXECUTE OFF-LINE (self tests), CHECK POWER MODE, STANDBY IMMEDIATE and the SCT
// error recovery control command, answered from the drive's folder /sim/ata/<node>:
//   smart_data        the SMART READ DATA sector, 512 bytes as the drive sends them
//   smart_thresholds  the SMART READ THRESHOLDS sector
//   verdict           "exceeded" makes RETURN STATUS report a threshold exceeded; else good
//   power             "active" (default), "idle" or "standby"; STANDBY IMMEDIATE writes standby
//   self_test         "<short|extended> <start in virtual seconds>" or "aborted", kept by
//                     EXECUTE OFF-LINE; the status byte of smart_data follows the virtual clock
//   erc               "<read> <write>" timers in 100 ms units (default "0 0")
// A drive without smart_data has no SMART: every SMART command is aborted. A drive whose
// IDENTIFY data lacks SCT error recovery control aborts the SCT command.
#ifndef NASHAL_SIM_SATA_SMART_MODEL_H
#define NASHAL_SIM_SATA_SMART_MODEL_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "disk/smart_layout.h"
#include "sim/sg_io_model.h"

namespace nashal::sim {

bool answer_smart_read_data(AtaExchange &x);
bool answer_smart_read_thresholds(AtaExchange &x);
bool answer_smart_return_status(AtaExchange &x);
bool answer_smart_enable(AtaExchange &x);
bool answer_smart_execute_offline(AtaExchange &x);
bool answer_check_power_mode(AtaExchange &x);
bool answer_standby_immediate(AtaExchange &x);
bool answer_sct_command(AtaExchange &x);

// ---- Describing a drive's SMART ----

struct SmartAttrDesc {
    uint8_t id;
    uint16_t flags;
    uint8_t value;
    uint8_t worst;
    uint64_t raw;  // 48 bits
    uint8_t threshold;
};

struct SmartDesc {
    std::vector<SmartAttrDesc> attributes;  // 30 at most
    uint8_t short_minutes = 2;
    uint8_t extended_minutes = 180;
    uint8_t self_test_status = 0;  // byte 363 when no test was started here
};

// The two sectors of such a drive, with their checksums.
std::array<uint8_t, smart::kSectorSize> smart_data_image(const SmartDesc &d);
std::array<uint8_t, smart::kSectorSize> smart_thresholds_image(const SmartDesc &d);
// A typical set of 30 attributes of a 4 TB hard disk, with raw values of every width.
SmartDesc typical_hdd_smart();

// Writes smart_data and smart_thresholds under root ("" in an active appliance).
bool describe_ata_smart(const std::string &root, const std::string &node, const SmartDesc &d);
// The drive's state files, for a test to set or read: "verdict", "power", "self_test", "erc".
bool set_ata_state(const std::string &root, const std::string &node, const std::string &file,
                   const std::string &value);
std::string ata_state(const std::string &root, const std::string &node, const std::string &file);

}  // namespace nashal::sim

#endif  // NASHAL_SIM_SATA_SMART_MODEL_H
