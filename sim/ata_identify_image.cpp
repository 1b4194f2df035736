#include "sim/ata_identify_image.h"

#include "sim/fs.h"

namespace nashal::sim {

namespace {

// ATA text: two characters a word, the first in the high byte, blank-padded.
void put_text(uint8_t *image, size_t first_word, size_t words, const std::string &text) {
    for (size_t i = 0; i < words; ++i) {
        auto c = [&](size_t k) { return k < text.size() ? static_cast<uint8_t>(text[k]) : ' '; };
        ata::set_identify_word(image, first_word + i,
                               static_cast<uint16_t>((c(2 * i) << 8) | c(2 * i + 1)));
    }
}

}  // namespace

std::array<uint8_t, ata::kIdentifyLen> identify_image(const AtaDiskDesc &d) {
    using namespace ata;
    std::array<uint8_t, kIdentifyLen> image{};
    uint8_t *p = image.data();
    constexpr uint16_t kValid = 0x4000;  // words 83, 84, 87: bits 15:14 = 01
    set_identify_word(p, 0, 0x0040);     // fixed device
    put_text(p, kIdSerial, kIdSerialWords, d.serial);
    put_text(p, kIdFirmware, kIdFirmwareWords, d.firmware);
    put_text(p, kIdModel, kIdModelWords, d.model);
    set_identify_word(p, 49, 0x0200);  // LBA supported
    uint64_t sectors28 = d.sectors > 0x0FFFFFFF ? 0x0FFFFFFF : d.sectors;
    set_identify_word(p, kIdSectors28, static_cast<uint16_t>(sectors28));
    set_identify_word(p, kIdSectors28 + 1, static_cast<uint16_t>(sectors28 >> 16));
    set_identify_word(p, kIdMajorVersion, d.major_version);
    set_identify_word(p, kIdMinorVersion, d.minor_version);
    set_identify_word(p, kIdCommandSet1, d.smart_supported ? kCmdSet1Smart : 0);
    set_identify_word(p, kIdCommandSet2, kValid | (d.lba48 ? kCmdSet2Lba48 : 0));
    uint16_t ext = kValid | (d.self_test ? kCmdSetExtSelfTest : 0) | (d.wwn ? kCmdSetExtWwn : 0);
    set_identify_word(p, kIdCommandSetExt, ext);
    set_identify_word(p, kIdEnabled1, d.smart_supported && d.smart_enabled ? kEnabled1Smart : 0);
    set_identify_word(p, kIdEnabled2, d.lba48 ? kCmdSet2Lba48 : 0);
    set_identify_word(p, kIdEnabledExt, ext);
    if (d.lba48)
        store_le64(p + 2 * kIdSectors48, d.sectors);
    uint16_t sector_word = kSectorSizeValid;
    if (d.physical_per_logical_log2)
        sector_word |=
            kSectorSizeMultiple | (d.physical_per_logical_log2 & kSectorSizeExponentMask);
    if (d.logical_sector_bytes > 512) {
        sector_word |= kSectorSizeLarge;
        store_le32(p + 2 * kIdLogicalSectorWords, d.logical_sector_bytes / 2);
    }
    set_identify_word(p, kIdSectorSize, sector_word);
    for (size_t i = 0; i < kIdWwnWords; ++i)
        set_identify_word(p, kIdWwn + i, static_cast<uint16_t>(d.wwn >> (48 - 16 * i)));
    set_identify_word(p, kIdDataSetManagement, d.trim ? kDataSetManagementTrim : 0);
    set_identify_word(p, kIdSctTransport, d.erc ? (kSctErrorRecoveryControl | 1) : 0);
    set_identify_word(p, kIdRotationRate, d.rotation);
    // Integrity word: signature 0xA5 and a checksum that makes all 512 bytes sum to 0.
    p[510] = 0xA5;
    uint8_t sum = 0;
    for (size_t i = 0; i < 511; ++i)
        sum = static_cast<uint8_t>(sum + p[i]);
    p[511] = static_cast<uint8_t>(-sum);
    return image;
}

bool describe_ata_disk(const std::string &root, const std::string &node, const AtaDiskDesc &d) {
    auto image = identify_image(d);
    return write_file(root + "/sim/ata/" + node + "/identify",
                      std::string(reinterpret_cast<const char *>(image.data()), image.size()));
}

}  // namespace nashal::sim
