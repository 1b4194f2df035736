// Reading and writing single fields of the VPD ROMs. The fixed offsets are the truth: a ROM
// whose checksums fail is read as it stands, and a write repairs the whole image before it
// goes back.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "identity/vpd_layout.h"
#include "nashal/vpd.h"

using namespace nashal::identity;

namespace {

// "row:index" into the field table. The check is looser than the table on purpose: index 13 and
// 14 of row 0 reach the first entries of row 1, which the manufacturing tools rely on.
int field_by_id(const char *id, uint32_t *out) {
    if (!id || strnlen(id, 3) < 3)
        return -1;
    char copy[9] = {};
    std::strncpy(copy, id, 8);
    char *colon = std::strchr(copy, ':');
    if (!colon)
        return -1;
    *colon = '\0';
    int row = atoi(copy);
    int index = atoi(colon + 1);
    if (row < 0 || row > 1 || index < 0 || index >= 15)
        return -1;
    *out = kVpdFields[row * kVpdFieldsPerRow + index];
    return 0;
}

size_t rom_size(uint32_t rom) {
    return rom == 0 ? kMbRomSize : kBpRomSize;
}

}  // namespace

extern "C" int VPD_Full_Read(uint8_t *buffer, int length, int rom) {
    if (!buffer || length < 1)
        return -1;
    return se_sys_read_vpd(rom, 0, length, buffer, length);
}

extern "C" int VPD_Full_Write(const uint8_t *data, int length, int rom) {
    if (!data || length < 1)
        return -1;
    return se_sys_write_vpd(rom, 0, data, length);
}

extern "C" int VPD_Get_Field(uint32_t descriptor, char *buffer, int size) {
    if (descriptor == 0 || !buffer || size <= 0)
        return -1;
    uint8_t value[128] = {};
    uint32_t length = descriptor_length(descriptor);
    // The field is at most 32 bytes in the table, but a descriptor is only a number: keep the
    // read inside the cleared buffer, one byte short so that a text always ends.
    if (length > sizeof value - 1)
        length = sizeof value - 1;
    se_sys_read_vpd(static_cast<int>(descriptor_rom(descriptor)),
                    static_cast<int>(descriptor_offset(descriptor)), static_cast<int>(length),
                    value, sizeof value);
    switch (descriptor_type(descriptor)) {
        case kVpdHex:
            snprintf(buffer, static_cast<size_t>(size), "0x");
            for (uint32_t i = 0; i < length; ++i) {
                int at = 2 + 2 * static_cast<int>(i);
                if (at >= size)
                    break;
                snprintf(buffer + at, static_cast<size_t>(size - at), "%02x", value[i]);
            }
            break;
        case kVpdDate:
            VPD_Binary_To_Mfgdate(buffer, size, value, static_cast<int>(length));
            break;
        default:
            snprintf(buffer, static_cast<size_t>(size), "%s", reinterpret_cast<char *>(value));
            break;
    }
    return 0;
}

extern "C" int VPD_Set_Field(uint32_t descriptor, const char *text) {
    if (descriptor == 0 || !text)
        return -1;
    uint32_t rom = descriptor_rom(descriptor);
    if (rom > 1)
        return -1;
    size_t size = rom_size(rom);
    uint32_t offset = descriptor_offset(descriptor);
    uint32_t length = descriptor_length(descriptor);
    // A descriptor that reaches past its ROM has no field to set.
    if (offset + length > size)
        return -1;
    std::vector<uint8_t> image(size, 0);
    se_sys_read_vpd(static_cast<int>(rom), 0, static_cast<int>(size), image.data(),
                    static_cast<int>(size));
    uint8_t *field = image.data() + offset;
    switch (descriptor_type(descriptor)) {
        case kVpdHex:
            // Only numbers of up to four bytes can be written this way; wider fields stay as made.
            if (length < 5) {
                long value = strtol(text, nullptr, 0);
                for (uint32_t i = 0; i < length; ++i)
                    field[i] = static_cast<uint8_t>(static_cast<unsigned long>(value) >> (8 * i));
            }
            break;
        case kVpdDate: {
            uint8_t binary[4] = {};
            if (VPD_MfgDate_To_Binary(text, static_cast<int>(strnlen(text, 64)), binary, 4) == 0)
                std::memcpy(field, binary, length < 4 ? length : 4);
            break;
        }
        default:
            snprintf(reinterpret_cast<char *>(field), length, "%s", text);
            break;
    }
    if (rom == 0)
        VPD_MB_Data_Validator(image.data());
    else
        VPD_BP_Data_Validator(image.data());
    se_sys_write_vpd(static_cast<int>(rom), 0, image.data(), static_cast<int>(size));
    return 0;
}

extern "C" int VPD_Get_Field_By_Id(const char *id, char *buffer, int size) {
    uint32_t descriptor = 0;
    if (field_by_id(id, &descriptor) < 0)
        return -1;
    return VPD_Get_Field(descriptor, buffer, size);
}

extern "C" int VPD_Set_Field_By_Id(const char *id, const char *text) {
    uint32_t descriptor = 0;
    if (field_by_id(id, &descriptor) < 0)
        return -1;
    return VPD_Set_Field(descriptor, text);
}
