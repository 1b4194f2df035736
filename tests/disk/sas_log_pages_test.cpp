// Decoding the log pages and sense data of SAS disks from bytes written out as disks send them
// (SPC's layouts, typed here byte by byte, not built by the appliance's encoder), so that a
// mistake shared by the reader and the emulated disk can't hide.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "disk/sas_log_pages.h"

using namespace nashal::disk;

namespace {

using Bytes = std::vector<unsigned char>;

SAS_LOG_PAGE decoded(uint8_t code, const Bytes &params, bool expect_ok = true) {
    SAS_LOG_PAGE page;
    memset(&page, 0xA5, sizeof page);  // stale bytes the decoder must clear
    auto decoder = sas_page_decoder(code);
    EXPECT_NE(decoder, nullptr);
    if (decoder) {
        EXPECT_EQ(decoder(nullptr, code, params.data(), params.size(), &page), expect_ok);
    }
    EXPECT_EQ(page.page, code);
    return page;
}

// The read error counter page of a disk: parameters 0-4 and 6 of four bytes, 5 (bytes
// processed) of eight, and a vendor parameter 0x8000 at the end.
const Bytes kReadErrors = {
    0x00, 0x00, 0x02, 0x04, 0x00, 0x00, 0x01, 0x2c,                          // 0: 300
    0x00, 0x01, 0x02, 0x04, 0x00, 0x00, 0x00, 0x02,                          // 1: 2
    0x00, 0x02, 0x02, 0x04, 0x00, 0x00, 0x00, 0x00,                          // 2: 0
    0x00, 0x03, 0x02, 0x04, 0x00, 0x00, 0x01, 0x2e,                          // 3: 302
    0x00, 0x04, 0x02, 0x04, 0x00, 0x00, 0x00, 0x07,                          // 4: 7
    0x00, 0x05, 0x02, 0x08, 0x00, 0x00, 0x01, 0x23, 0x45, 0x67, 0x89, 0xab,  // 5: bytes
    0x00, 0x06, 0x02, 0x04, 0x00, 0x00, 0x00, 0x01,                          // 6: 1
    0x80, 0x00, 0x02, 0x02, 0x12, 0x34,                                      // vendor
};

TEST(SasLogPages, ErrorCountersNameEachCounterAndLeaveBytesProcessedEmpty) {
    for (uint8_t code : {0x02, 0x03, 0x05}) {
        SCOPED_TRACE(code);
        SAS_LOG_PAGE p = decoded(code, kReadErrors);
        const auto &b = p.body.error_count;
        const uint32_t want[5] = {300, 2, 0, 302, 7};
        for (int i = 0; i < 5; ++i) {
            EXPECT_STREQ(b.counter[i].name, get_sas_error_param_name(i));
            EXPECT_EQ(b.counter[i].value, want[i]);
        }
        EXPECT_STREQ(b.counter[0].name, "Errors corrected without substantial delay");
        EXPECT_EQ(b.bytes_processed.name, nullptr);
        EXPECT_EQ(b.bytes_processed.value, 0u);
        EXPECT_STREQ(b.uncorrected.name, "Total uncorrected errors");
        EXPECT_EQ(b.uncorrected.value, 1u);
    }
}

TEST(SasLogPages, CountersOfEveryWidthAndPagesCutShort) {
    struct Case {
        const char *what;
        Bytes params;
        uint32_t counter0;
        bool named;
    } cases[] = {
        {"one byte", {0x00, 0x00, 0x02, 0x01, 0x2a}, 42, true},
        {"eight bytes: the low 32 bits",
         {0x00, 0x00, 0x02, 0x08, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x05},
         5,
         true},
        {"wider than eight bytes reads as all ones",
         {0x00, 0x00, 0x02, 0x0a, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1},
         0xFFFFFFFFu,
         true},
        {"a value promising more bytes than arrive is not read",
         {0x00, 0x00, 0x02, 0x04, 0x00, 0x01},
         0,
         false},
        {"a header cut in half", {0x00, 0x00, 0x02}, 0, false},
        {"nothing at all", {}, 0, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        SAS_LOG_PAGE p = decoded(0x03, c.params);
        EXPECT_EQ(p.body.error_count.counter[0].value, c.counter0);
        EXPECT_EQ(p.body.error_count.counter[0].name != nullptr, c.named);
    }
}

TEST(SasLogPages, TemperatureStartStopAndInformationalExceptions) {
    SAS_LOG_PAGE t = decoded(0x0D, {0x00, 0x00, 0x03, 0x02, 0x00, 0x26,    // 38 degrees
                                    0x00, 0x01, 0x03, 0x02, 0x00, 0x41});  // reference 65
    EXPECT_STREQ(t.body.temperature.temperature.name, "Temperature");
    EXPECT_EQ(t.body.temperature.temperature.value, 38u);
    EXPECT_STREQ(t.body.temperature.reference.name, "Reference Temperature");
    EXPECT_EQ(t.body.temperature.reference.value, 65u);

    SAS_LOG_PAGE cut = decoded(0x0D, {0x00, 0x00, 0x03, 0x02, 0x00, 0x26, 0x00, 0x01, 0x03, 0x02});
    EXPECT_EQ(cut.body.temperature.temperature.value, 38u);
    EXPECT_EQ(cut.body.temperature.reference.name, nullptr) << "the reference never arrived";

    SAS_LOG_PAGE s =
        decoded(0x0E, {0x00, 0x01, 0x01, 0x06, '2',  '0',  '1',  '9',  '0', '5',  // manufactured
                       0x00, 0x02, 0x01, 0x06, '2',  '0',  '2',  '0',  '1', '2',  // accounting
                       0x00, 0x03, 0x03, 0x04, 0x00, 0x00, 0xc3, 0x50,            // 50000 specified
                       0x00, 0x04, 0x03, 0x04, 0x00, 0x00, 0x00, 0xd4,            // 212 cycles
                       0x00, 0x05, 0x03, 0x04, 0x00, 0x09, 0x27, 0xc0,    // 600000 specified
                       0x00, 0x06, 0x03, 0x04, 0x00, 0x00, 0x01, 0x9f});  // 415 load-unloads
    const auto &ss = s.body.start_stop;
    EXPECT_STREQ(ss.date[0].name, "Date of Manufacture");
    EXPECT_STREQ(ss.date[0].value, "2019 05");
    EXPECT_STREQ(ss.date[1].name, "Accounting Date");
    EXPECT_STREQ(ss.date[1].value, "2020 12");
    const uint32_t cycles[4] = {50000, 212, 600000, 415};
    for (int i = 0; i < 4; ++i) {
        EXPECT_STREQ(ss.counter[i].name, get_sas_start_stop_param_name(i + 3));
        EXPECT_EQ(ss.counter[i].value, cycles[i]);
    }
    EXPECT_STREQ(get_sas_start_stop_param_name(0), "Unknown Parameter code");

    // Failure prediction: too many reassigned blocks, at 36 degrees.
    SAS_LOG_PAGE ie = decoded(0x2F, {0x00, 0x00, 0x03, 0x08, 0x5d, 0x14, 0x24, 0x41, 0, 0, 0, 0});
    EXPECT_STREQ(ie.body.informational_exception.asc.name, "Additional Sense Code");
    EXPECT_EQ(ie.body.informational_exception.asc.value, 0x5d);
    EXPECT_STREQ(ie.body.informational_exception.ascq.name, "Additional Sense Code Qualifier");
    EXPECT_EQ(ie.body.informational_exception.ascq.value, 0x14);
}

TEST(SasLogPages, NonMediumErrorsTakeTheFirstParameterOnly) {
    SAS_LOG_PAGE p = decoded(0x06, {0x00, 0x00, 0x02, 0x04, 0x00, 0x00, 0x00, 0x09,  //
                                    0x00, 0x01, 0x02, 0x01, 0x05});
    EXPECT_STREQ(p.body.non_medium_error.count.name, "Non-Medium Error");
    EXPECT_EQ(p.body.non_medium_error.count.value, 9u);
    decoded(0x06, {0x00, 0x00, 0x02}, false);
    EXPECT_EQ(sas_page_decoder(0x10), nullptr) << "the self-test page is read by its own call";
    EXPECT_EQ(sas_page_decoder(0x1A), nullptr);
}

TEST(SasLogPages, SelfTestResultsGiveTheMostRecentResult) {
    Bytes page(400, 0);
    for (int i = 0; i < 20; ++i) {
        unsigned char *p = &page[static_cast<size_t>(20 * i)];
        p[1] = static_cast<unsigned char>(i + 1);
        p[2] = 0x03;
        p[3] = 0x10;
    }
    page[4] = 0x27;   // background extended, failed in a read segment (7)
    page[24] = 0x21;  // the one before: background extended, aborted
    EXPECT_EQ(decode_sas_self_test_status(page.data(), page.size()), 7);
    page[4] = 0x2F;
    EXPECT_EQ(decode_sas_self_test_status(page.data(), page.size()), SAS_SELF_TEST_IN_PROGRESS);
    EXPECT_EQ(decode_sas_self_test_status(page.data(), 19), 0) << "a cut parameter is not read";
    Bytes none(400, 0);
    EXPECT_EQ(decode_sas_self_test_status(none.data(), none.size()), 0);
}

TEST(SasLogPages, SenseDataGivesTheConditionAndTheProgress) {
    // Fixed format, NO SENSE, LOGICAL UNIT NOT READY, SELF-TEST IN PROGRESS, half done.
    const Bytes sense = {0x70, 0x00, 0x00, 0,    0,    0, 0,    0x0a, 0,
                         0,    0,    0,    0x04, 0x09, 0, 0x80, 0x80, 0x00};
    EXPECT_TRUE(sas_sense_response_ok(sense[0]));
    EXPECT_TRUE(sas_sense_response_ok(0xF1)) << "VALID and deferred";
    EXPECT_FALSE(sas_sense_response_ok(0x72)) << "descriptor format";
    SasSense s = decode_sas_sense(sense.data() + 8, sense.size() - 8);
    EXPECT_EQ(s.asc, 0x04);
    EXPECT_EQ(s.ascq, 0x09);
    EXPECT_TRUE(s.key_specific_valid);
    EXPECT_EQ(s.progress, 0x8000);
    SasSense cut = decode_sas_sense(sense.data() + 8, 5);
    EXPECT_EQ(cut.asc, 0x04);
    EXPECT_EQ(cut.ascq, 0) << "a field that didn't arrive reads 0";
    EXPECT_FALSE(cut.key_specific_valid);
}

}  // namespace
