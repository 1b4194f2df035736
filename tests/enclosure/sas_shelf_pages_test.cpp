// The decoders of a SAS shelf's pages on captured bytes: what a firmware engineer would see
// when an enclosure sends a short, truncated or inconsistent page is a failure or nothing
// found, never a value read from past the page.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "disk/sas_expander_disks.h"
#include "enclosure/sas_expander.h"
#include "nashal/comm_ses.h"

using namespace nashal::enclosure;
using nashal::disk::decode_additional_status_port;

namespace {

using Bytes = std::vector<unsigned char>;

Bytes vendor_page(unsigned char code, const Bytes &body) {
    Bytes page{code, 0, static_cast<unsigned char>(body.size() >> 8),
               static_cast<unsigned char>(body.size())};
    page.insert(page.end(), body.begin(), body.end());
    return page;
}

// A page cut to exactly its bytes on the heap, so that a read past it shows under ASan.
int connectors(const Bytes &page, uint32_t *status, int max) {
    const int wanted[] = {1, 2};
    std::vector<unsigned char> exact(page);
    return decode_connector_page(exact.data(), exact.size(), wanted, 2, status, max);
}

TEST(ConnectorPage, DeliversTheExternalConnectorsOrFails) {
    const Bytes records = {0x19, 1, 0, 1, 0x11, 0x19, 2, 0, 1, 0x10, 0x19, 3, 0, 1, 0x00};
    struct Case {
        const char *what;
        Bytes page;
        int max;
        int result;
    } cases[] = {
        {"three records, two wanted", vendor_page(0x81, records), 8, 2},
        {"never past max", vendor_page(0x81, records), 1, 1},
        {"length field disagrees with the bytes read",
         [&] {
             Bytes p = vendor_page(0x81, records);
             p[3] += 4;
             return p;
         }(),
         8, -1},
        {"another page", vendor_page(0x82, records), 8, -1},
        {"record of another element type", vendor_page(0x81, {0x17, 1, 0, 1, 0x11}), 8, -1},
        {"record length runs past the page", vendor_page(0x81, {0x19, 1, 0xff, 0xff, 0x11}), 8, 1},
        {"record cut before its status byte", vendor_page(0x81, {0x19, 1, 0, 1}), 8, 0},
        {"header only", vendor_page(0x81, {}), 8, 0},
        {"shorter than a header", {0x81, 0}, 8, -1},
    };
    for (const Case &c : cases) {
        uint32_t status[8] = {};
        EXPECT_EQ(connectors(c.page, status, c.max), c.result) << c.what;
        if (c.result >= 1) {
            EXPECT_EQ(status[0], 0x11u) << c.what;
        }
    }
}

TEST(SasAddressPage, GivesSixteenDigitsOnlyFromAWholePage) {
    char text[17] = {};
    Bytes page = vendor_page(0x82, {0x50, 0x0e, 0x0e, 0xca, 0, 1, 0xff, 0});
    ASSERT_EQ(decode_sas_address_page(page.data(), page.size(), text, sizeof text), 0);
    EXPECT_STREQ(text, "500e0eca0001ff00");
    Bytes short_page = vendor_page(0x82, {0x50, 0x0e});
    EXPECT_EQ(decode_sas_address_page(short_page.data(), short_page.size(), text, sizeof text), -1);
    page[0] = 0x81;
    EXPECT_EQ(decode_sas_address_page(page.data(), page.size(), text, sizeof text), -1);
}

// One SAS descriptor of the Additional Element Status page, one phy.
Bytes aes_descriptor(bool eip, int index, uint64_t address) {
    Bytes part = {1, 0, 0, 0, 0x10, 0, 0, 8};
    part.resize(part.size() + 8, 0);  // attached address
    for (int b = 7; b >= 0; --b)
        part.push_back(static_cast<unsigned char>(address >> (8 * b)));
    part.resize(4 + 28, 0);
    Bytes d = eip ? Bytes{0x16, static_cast<unsigned char>(2 + part.size()), 0,
                          static_cast<unsigned char>(index)}
                  : Bytes{0x06, static_cast<unsigned char>(part.size())};
    d.insert(d.end(), part.begin(), part.end());
    return d;
}

TEST(AdditionalElementStatus, PlacesADiskInTheBayOfItsAddress) {
    const unsigned char address[8] = {0x50, 0, 0, 0, 0, 0, 0x01, 0x05};
    const uint64_t mine = 0x5000000000000105ull;
    auto join = [](std::initializer_list<Bytes> parts) {
        Bytes all;
        for (const Bytes &p : parts)
            all.insert(all.end(), p.begin(), p.end());
        return all;
    };
    Bytes invalid = aes_descriptor(true, 2, mine);
    invalid[0] |= 0x80;
    Bytes cut = aes_descriptor(true, 6, mine);
    cut[1] = 0xf0;
    struct Case {
        const char *what;
        Bytes page;
        int port;
    } cases[] = {
        {"fifth slot",
         join({aes_descriptor(true, 0, 0x5000000000000101ull), aes_descriptor(true, 4, mine)}), 5},
        {"no element index without EIP", aes_descriptor(false, 0, mine), 1},
        {"an invalid descriptor is passed over", join({invalid, aes_descriptor(true, 3, mine)}), 4},
        {"not in the page", aes_descriptor(true, 0, 0x5000000000000101ull), 0},
        {"descriptor runs past the page", cut, 0},
        {"page cut inside the address",
         [&] {
             Bytes d = aes_descriptor(true, 1, mine);
             d.resize(20);
             return d;
         }(),
         0},
        {"empty", {}, 0},
    };
    for (const Case &c : cases) {
        std::vector<unsigned char> exact(c.page);
        EXPECT_EQ(decode_additional_status_port(exact.data(), exact.size(), address), c.port)
            << c.what;
    }
}

TEST(ElementOffsets, AHostileConfigurationPageCannotReachPastTheStatusPage) {
    // 60 slots put the connectors at byte 8 + 61*4 = 252: the overall element fits a 256-byte
    // page, the next one doesn't; 255 slots put everything past it.
    const uint32_t shelf[][2] = {{0x17, 60}, {0x19, 4}};
    EXPECT_EQ(bounded_element_offset(0x19, 1, shelf, 2, 256), 252);
    EXPECT_EQ(bounded_element_offset(0x19, 2, shelf, 2, 256), -1);
    EXPECT_EQ(bounded_element_offset(0x19, 1, shelf, 2, 200), -1) << "a short status page";
    const uint32_t hostile[][2] = {{0x17, 255}, {0x0e, 1}};
    int raw = 0;
    ASSERT_EQ(comm_sys_get_ses_control_element_offset(0x0e, 1, hostile, 2, &raw), 0);
    EXPECT_GT(raw, 256) << "the raw offset is what the list says";
    EXPECT_EQ(bounded_element_offset(0x0e, 1, hostile, 2, 256), -1);
    EXPECT_EQ(bounded_element_offset(0x0c, 1, shelf, 2, 256), -1) << "no display in the list";
}

}  // namespace
