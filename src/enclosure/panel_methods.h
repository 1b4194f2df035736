// The method word at the start of a model value, which picks the driver of a feature of the main
// unit ("SIO:I1:B0" is on the Super I/O chip, "PIC" a command to the panel controller), and the
// per-process codes (hm_type) that the caches keep for it.
#ifndef NASHAL_ENCLOSURE_PANEL_METHODS_H
#define NASHAL_ENCLOSURE_PANEL_METHODS_H

#include <strings.h>

#include <cstring>

namespace nashal::enclosure {

// hm_type: 0 not looked up yet, -1 looked up and unusable (don't look again).
enum HmType : int {
    kHmUnknown = 0,
    kHmSio = 1,
    kHmSoc = 2,
    kHmI2c = 3,
    kHmPic = 4,
    kHmGpio = 5,
    kHmMcu = 6,
    kHmDts = 7,
    kHmUnusable = -1,
};

// The value begins with the word, exactly.
inline bool method_is(const char *value, const char *word) {
    return std::strncmp(value, word, std::strlen(word)) == 0;
}

// The value begins with the word, in any case.
inline bool method_is_nocase(const char *value, const char *word) {
    return strncasecmp(value, word, std::strlen(word)) == 0;
}

// The main unit's controller takes commands as "root" from "root".
constexpr const char *kRootId = "root";

// Controller commands of the main unit's panel.
namespace panel_cmd {
constexpr int kPowerLedOff = 75, kPowerLedBlink = 76, kPowerLedOn = 77;
constexpr int kShortBeep = 80, kLongBeep = 81;
constexpr int kStatusBlinkRed = 84, kStatusBlinkGreen = 85, kStatusBlinkBoth = 88;
constexpr int kStatusGreen = 86, kStatusRed = 87, kStatusOff = 89;
constexpr int kUsbLedOn = 96, kUsbLedBlink = 97, kUsbLedOff = 98;
constexpr int kWolOn = 242, kWolOff = 243;
constexpr int kPicEupOff = 244, kPicEupOn = 245;
constexpr int kMcuEupOn = 4112, kMcuEupOff = 4113;
constexpr int kBuzzerBase = 256;  // plus the pattern
}  // namespace panel_cmd

}  // namespace nashal::enclosure

#endif  // NASHAL_ENCLOSURE_PANEL_METHODS_H
