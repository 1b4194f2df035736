// The SATA fill from IDENTIFY data built here byte by byte at the word numbers ATA/ACS gives
// (independent of the library's layout header): texts swapped and trimmed, the vendor rules,
// capacity and sector size, and the feature bits a firmware engineer reads off a drive.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "disk/disk_info.h"
#include "nashal/pd_sys.h"

using nashal::disk::fill_sata_info;
using nashal::disk::SataFillRules;
using nashal::disk::SataStandby;

namespace {

// 256 little-endian words; ATA texts hold the first character of each pair in the high byte.
struct Identify {
    unsigned char bytes[512] = {};
    Identify &word(int n, unsigned v) {
        bytes[2 * n] = static_cast<unsigned char>(v & 0xff);
        bytes[2 * n + 1] = static_cast<unsigned char>(v >> 8);
        return *this;
    }
    Identify &text(int first_word, int words, const std::string &s, char pad = ' ') {
        for (int i = 0; i < 2 * words; ++i) {
            char c = i < static_cast<int>(s.size()) ? s[static_cast<size_t>(i)] : pad;
            bytes[2 * first_word + (i ^ 1)] = static_cast<unsigned char>(c);
        }
        return *this;
    }
    Identify &model(const std::string &s, char pad = ' ') { return text(27, 20, s, pad); }
};

// A drive as most are: 48-bit, SMART on, self test, 4 TB.
Identify ordinary() {
    Identify id;
    id.model("WDC WD40EFRX-68N32N0").text(10, 10, "     WD-WCC7K1234567").text(23, 4, "82.00A82");
    id.word(80, 0x01F0).word(81, 0x0110);
    id.word(82, 0x0001).word(83, 0x4400).word(84, 0x4002).word(85, 0x0001).word(87, 0x4002);
    id.word(100, 0xBEB0).word(101, 0xD1C0).word(102, 0x0001);  // 7814037168
    id.word(106, 0x4000);
    return id;
}

PD_INFO fill(const Identify &id, SataFillRules rules = {SataStandby::kWithSmart, true}) {
    PD_INFO info{};
    strcpy(info.pd_ctrl_name, "/dev/sg0");
    fill_sata_info(id.bytes, &info, rules);
    return info;
}

TEST(SataFill, VendorAndModelFollowTheMakersNamingRules) {
    struct Case {
        const char *text;
        char pad;
        const char *vendor;
        const char *model;
    } cases[] = {
        {"WDC WD40EFRX-68N32N0", ' ', "WDC", "WD40EFRX-68N32N0"},
        {"   Samsung SSD 860 EVO 1TB", ' ', "Samsung", "SSD 860 EVO 1TB"},
        {"ST4000VN008-2DR166", ' ', "Seagate", "ST4000VN008-2DR166"},
        {"ST1000LM035-1RK172", '\0', "Seagate", "ST1000LM035-1RK172"},  // NUL padding
        {"HDS723020BLA642", ' ', "Hitachi", "HDS723020BLA642"},
        {"IC35L060AVV207", ' ', "Hitachi", "IC35L060AVV207"},
        {"MZ7LH480HAHQ", ' ', "ATA", "MZ7LH480HAHQ"},
        {"SSDSC2KB480G8 INTEL", ' ', "INTEL", "SSDSC2KB480G8"},
        {"", ' ', "ATA", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        Identify id = ordinary();
        id.model(c.text, c.pad);
        PD_INFO info = fill(id);
        EXPECT_STREQ(info.vendor, c.vendor);
        EXPECT_STREQ(info.model, c.model);
        EXPECT_EQ(info.type, PD_TYPE_SATA);
    }
}

TEST(SataFill, SerialAndFirmwareAreSwappedAndTrimmedAndSerialIsAlwaysValid) {
    PD_INFO info = fill(ordinary());
    EXPECT_STREQ(info.serial_no, "WD-WCC7K1234567");
    EXPECT_STREQ(info.revision, "82.00A82");
    EXPECT_TRUE(info.capabilities & PD_CAP_SERIAL);
    EXPECT_EQ(info.protocol_version, 0x00080110u) << "bits 4-8 of word 80 are ACS-3: major 8";
    Identify old = ordinary();
    old.word(80, 0x0000);
    EXPECT_EQ(fill(old).protocol_version >> 16, 3u);
}

TEST(SataFill, CapacityAndSectorSizeComeFromTheAddressingTheDriveHas) {
    struct Case {
        const char *what;
        unsigned w83, w100, w101, w102, w103, w60, w61, w106, w117, w118;
        uint64_t capacity;
        uint32_t sector;
    } cases[] = {
        {"48-bit, 512-byte sectors", 0x4400, 0xBEB0, 0xD1C0, 1, 0, 0xFFFF, 0x0FFF, 0x4000, 0, 0,
         7814037168ull, 512},
        {"512 logical on 4096 physical", 0x4400, 0xBEB0, 0xD1C0, 1, 0, 0, 0, 0x6003, 0, 0,
         7814037168ull, 512},
        {"4096-byte logical sectors", 0x4400, 0x17D6, 0x3A38, 0, 0, 0, 0, 0x5000, 0x0800, 0,
         976754646ull, 4096},
        {"word 103 is not part of the count", 0x4400, 0x0010, 0, 0, 0x1234, 0, 0, 0x4000, 0, 0, 16,
         512},
        {"no 48-bit addressing: 28-bit count", 0x4000, 0, 0, 0, 0, 0xFFFF, 0x0FFF, 0, 0, 0,
         268435455ull, 512},
        {"48-bit with an empty count stays 0", 0x4400, 0, 0, 0, 0, 0xFFFF, 0x0FFF, 0, 0, 0, 0, 512},
        {"word 106 not valid (bits 15:14 not 01)", 0x4400, 8, 0, 0, 0, 0, 0, 0xD000, 0x0800, 0, 8,
         512},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        Identify id = ordinary();
        id.word(83, c.w83).word(100, c.w100).word(101, c.w101).word(102, c.w102);
        id.word(103, c.w103).word(60, c.w60).word(61, c.w61).word(106, c.w106);
        id.word(117, c.w117).word(118, c.w118);
        PD_INFO info = fill(id);
        EXPECT_EQ(info.capacity, c.capacity);
        EXPECT_EQ(info.sector_size, c.sector);
        uint64_t capacity = 1;
        uint32_t sector = 1;
        ASSERT_EQ(parse_sata_capacity(id.bytes, &capacity, &sector), 0);
        EXPECT_EQ(capacity, c.capacity);
    }
}

TEST(SataFill, FeatureWordsGiveTheCapabilityBits) {
    struct Case {
        const char *what;
        int word;
        unsigned value;
        SataFillRules rules;
        unsigned set;
        unsigned clear;
    } cases[] = {
        {"ordinary drive",
         0,
         0x0040,
         {SataStandby::kWithSmart, true},
         PD_CAP_SMART | PD_CAP_STANDBY | PD_CAP_SELF_TEST | PD_CAP_SERIAL,
         PD_CAP_WWN | PD_CAP_SSD | PD_CAP_TRIM | PD_CAP_ERC},
        {"no SMART: no standby either in root",
         82,
         0x0000,
         {SataStandby::kWithSmart, true},
         0,
         PD_CAP_SMART | PD_CAP_STANDBY},
        {"no SMART: standby anyway behind an expander",
         82,
         0x0000,
         {SataStandby::kAlways, true},
         PD_CAP_STANDBY,
         PD_CAP_SMART},
        {"solid state", 217, 0x0001, {SataStandby::kWithSmart, true}, PD_CAP_SSD, 0},
        {"7200 rpm", 217, 7200, {SataStandby::kWithSmart, true}, 0, PD_CAP_SSD},
        {"TRIM", 169, 0x0001, {SataStandby::kWithSmart, true}, PD_CAP_TRIM, 0},
        {"TRIM not tested on a SAS expander",
         169,
         0x0001,
         {SataStandby::kAlways, false},
         0,
         PD_CAP_TRIM},
        {"SCT error recovery control", 206, 0x0009, {SataStandby::kWithSmart, true}, PD_CAP_ERC, 0},
        {"self test supported but not enabled",
         87,
         0x4000,
         {SataStandby::kWithSmart, true},
         0,
         PD_CAP_SELF_TEST},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        Identify id = ordinary();
        id.word(c.word, c.value);
        PD_INFO info = fill(id, c.rules);
        EXPECT_EQ(info.capabilities & c.set, c.set);
        EXPECT_EQ(info.capabilities & c.clear, 0u);
    }
    Identify excluded = ordinary();
    excluded.model("ST95005620AS").word(206, 0x0009);
    EXPECT_FALSE(fill(excluded).capabilities & PD_CAP_ERC) << "this model must never get ERC";
}

TEST(SataFill, WwnIsTakenOnlyWhenSupportedAndEnabled) {
    Identify id = ordinary();
    id.word(108, 0x5001).word(109, 0x4EE2).word(110, 0xB5A3).word(111, 0xC7D1);
    const unsigned char name[8] = {0x50, 0x01, 0x4e, 0xe2, 0xb5, 0xa3, 0xc7, 0xd1};
    struct Case {
        unsigned w84, w87;
        bool wwn;
    } cases[] = {{0x4102, 0x4102, true}, {0x4102, 0x4002, false}, {0x4002, 0x4002, false}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.w87);
        id.word(84, c.w84).word(87, c.w87);
        PD_INFO info = fill(id);
        EXPECT_EQ((info.capabilities & PD_CAP_WWN) != 0, c.wwn);
        if (c.wwn)
            EXPECT_EQ(memcmp(info.wwn, name, 8), 0);
        else
            EXPECT_EQ(info.wwn[0], 0);
    }
}

TEST(SataFill, HostileTextsEndTerminatedAndWithoutLineBreaks) {
    Identify id = ordinary();
    id.model("EVIL\nMODEL=1\x01", ' ').text(10, 10, std::string(20, '\x7f'));
    PD_INFO info = fill(id);
    EXPECT_EQ(strchr(info.vendor, '\n'), nullptr);
    EXPECT_EQ(strchr(info.model, '\n'), nullptr);
    EXPECT_STREQ(info.model, "EVIL?MODEL=1?");
    Identify ff;
    memset(ff.bytes, 0xff, sizeof ff.bytes);
    PD_INFO garbage = fill(ff);
    EXPECT_LT(strlen(garbage.model), sizeof garbage.model);
    EXPECT_LT(strlen(garbage.vendor), sizeof garbage.vendor);
    EXPECT_LT(strlen(garbage.serial_no), sizeof garbage.serial_no);
    EXPECT_LT(strlen(garbage.revision), sizeof garbage.revision);
}

}  // namespace
