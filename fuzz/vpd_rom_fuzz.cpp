// Fuzzes the VPD ROM decoders on images as they come off a part: the validators (which must
// leave every image well-formed and be stable on their own output), the date forms, the dump.
// The first input byte picks the decoder; the rest is the image or the text.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "nashal/hal_trace.h"
#include "nashal/vpd.h"

namespace {

// Each area of a repaired image sums to zero.
void check_areas(const std::vector<uint8_t> &image, const std::vector<std::pair<int, int>> &areas) {
    for (auto [first, length] : areas) {
        unsigned sum = 0;
        for (int i = first; i < first + length; ++i)
            sum += image[static_cast<size_t>(i)];
        if (sum % 256 != 0)
            __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static bool quiet = (HAL_Set_Debug(0, nullptr), true);
    (void)quiet;
    if (size < 1)
        return 0;
    const unsigned selector = data[0] % 4;
    std::vector<uint8_t> bytes(data + 1, data + size);
    switch (selector) {
        case 0:
        case 1: {
            bool mb = selector == 0;
            std::vector<uint8_t> image(mb ? VPD_MB_ROM_SIZE : VPD_BP_ROM_SIZE, 0);
            for (size_t i = 0; i < image.size() && i < bytes.size(); ++i)
                image[i] = bytes[i];
            int repairs =
                mb ? VPD_MB_Data_Validator(image.data()) : VPD_BP_Data_Validator(image.data());
            if (repairs < 0)
                __builtin_trap();
            if (mb)
                check_areas(image, {{0, 8}, {8, 112}, {120, 96}});
            else
                check_areas(image, {{0, 8}, {8, 40}, {48, 96}, {144, 80}});
            std::vector<uint8_t> again = image;
            if (mb)
                VPD_MB_Data_Validator(again.data());
            else
                VPD_BP_Data_Validator(again.data());
            if (again != image)
                __builtin_trap();
            break;
        }
        case 2: {
            std::vector<char> text(bytes.begin(), bytes.end());
            text.push_back('\0');
            uint8_t out[4] = {};
            if (VPD_MfgDate_To_Binary(text.data(), static_cast<int>(bytes.size()), out, 3) == 0) {
                char back[17] = {};
                VPD_Binary_To_Mfgdate(back, sizeof back, out, 3);
            }
            break;
        }
        default: {
            char text[8] = {};
            VPD_Binary_To_Mfgdate(text, sizeof text, bytes.data(), static_cast<int>(bytes.size()));
            FILE *null = fopen("/dev/null", "w");
            if (null) {
                VPD_Print_Rom(null, bytes.data(), static_cast<int>(bytes.size()));
                fclose(null);
            }
            break;
        }
    }
    return 0;
}
