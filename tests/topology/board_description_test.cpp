// The board's description as every subsystem reads it: the one model-file rule, the one table
// of the main unit's enclosures, and the slot matchers every lookup shares (which keys a slot
// section must have, their defaults, and where the PCI domain takes part).
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "nashal/hal_se.h"
#include "nashal/hal_types.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "topology/main_unit_kinds.h"
#include "topology/model_file.h"
#include "topology/slot_match.h"

using namespace nashal::sim;
using namespace nashal::topology;

TEST(MainUnitKinds, EveryIdFindsItsOwnRowAndNoOtherIdDoes) {
    for (const MainUnitEnclosure &row : kMainUnitEnclosures) {
        std::string id = row.id_is_prefix ? std::string(row.id) + "3" : row.id;
        ASSERT_EQ(main_unit_enclosure(id.c_str()), &row) << id;
        EXPECT_EQ(&main_unit_enclosure(row.kind), &row) << id;
        EXPECT_LE(row.first_id, SE_MAX_INTERNAL_ENC_ID) << id;
    }
    for (const char *other : {"rootx", "root_pcie", "root_", "usb_1-2", "sg3", ""})
        EXPECT_EQ(main_unit_enclosure(other), nullptr) << other;
    EXPECT_EQ(main_unit_enclosure(static_cast<const char *>(nullptr)), nullptr);
    EXPECT_EQ(kExternalFirstId, SE_MAX_INTERNAL_ENC_ID + 1)
        << "external ids start right above the main unit's";
}

namespace {

// A board whose slots sit in PCI domain 1, behind a bridge.
constexpr const char *kModel =
    "[System Disk 1]\nDEV_BUS = B00:D31:F2\nDEV_PORT = 2\nDEV_DOMAIN = 1\n"
    "[System Disk 2]\nDEV_BUS = B00:D31:F2\nDEV_PORT = 3\nPCI_SWITCH_PORT = 4\n"
    "[System Disk 3]\nDEV_BUS = B00:D31:F2\n"
    "[Usb Port 1]\nDEV_BUS = B00:D20:F0\nDEV_DOMAIN = 1\nDEV_PORT = 1,3\nIN_HUB = 1\n"
    "DEV_BRIDGE_BUS = B02:D00:F0\n"
    "[Usb Port 2]\nDEV_BUS = B00:D20:F0\nDEV_PORT_SS = 5\nDEV_PORT_NS = 6\n"
    "[Usb Port 3]\nMULTI_DEVICE = 2\n"
    "[Usb Port 3-2]\nDEV_BUS = B00:D20:F0\nDEV_PORT = 7\n"
    "[Usb Port 4]\nMULTI_DEVICE = -1\nDEV_BUS = B00:D20:F0\nDEV_PORT = 8\n"
    "[Keys]\nTEXT = abc\nEMPTY =\nHEX = 1f\nWORD = twelve\nLONG = 0123456789abcdef\n";

class SlotMatch : public ::testing::Test {
  protected:
    void SetUp() override {
        write_file(app_.dir() + "/etc/model.conf", kModel);
        ASSERT_TRUE(app_.activate());
    }
    Appliance app_ = Appliance::fresh();
};

}  // namespace

TEST_F(SlotMatch, ModelKeysThatAreMissingEmptyOrUnreadableAreAbsent) {
    char text[8] = "x";
    EXPECT_TRUE(model_text("Keys", "TEXT", text));
    EXPECT_STREQ(text, "abc");
    for (const char *key : {"EMPTY", "NONE"}) {
        std::strcpy(text, "x");
        EXPECT_FALSE(model_text("Keys", key, text)) << key;
        EXPECT_STREQ(text, "") << key;
    }
    char small[5];
    EXPECT_TRUE(model_text("Keys", "LONG", small)) << "a long value is cut, not refused";
    EXPECT_STREQ(small, "0123");

    int32_t value = 7;
    EXPECT_TRUE(model_int("Keys", "HEX", &value, INI_CONF_HEX));
    EXPECT_EQ(value, 0x1f);
    for (const char *key : {"EMPTY", "WORD", "NONE"}) {
        value = 7;
        EXPECT_FALSE(model_int("Keys", key, &value)) << key;
        EXPECT_EQ(value, 7) << key << ": the caller's default stays";
        EXPECT_EQ(model_int_or("Keys", key, -1), -1) << key;
    }
    EXPECT_FALSE(model_int("Keys", "HEX", &value, INI_CONF_DEC, kModelExtConf))
        << "the extension file is another file";
}

TEST_F(SlotMatch, BaysNeedBusAndPortAndCompareTheDomainOnlyWhenAsked) {
    struct Case {
        const char *section;
        BayPlace place;
        bool compared;
        bool ignored;
    } cases[] = {
        {"System Disk 1", {1, "B00:D31:F2", 2, -1}, true, true},
        {"System Disk 1", {0, "B00:D31:F2", 2, -1}, false, true},
        {"System Disk 1", {1, "B00:D31:F2", 3, -1}, false, false},
        {"System Disk 1", {1, "B00:D28:F2", 2, -1}, false, false},
        // A switch port of -1 takes any slot; a given one must equal the slot's (default -1).
        {"System Disk 2", {0, "B00:D31:F2", 3, 4}, true, true},
        {"System Disk 2", {0, "B00:D31:F2", 3, 5}, false, false},
        {"System Disk 1", {1, "B00:D31:F2", 2, 4}, false, false},
        {"System Disk 3", {0, "B00:D31:F2", 0, -1}, false, false},  // no DEV_PORT
        {"System Disk 9", {0, "B00:D31:F2", 0, -1}, false, false},
        {"System Disk 1", {1, nullptr, 2, -1}, false, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.section) + " port " + std::to_string(c.place.port));
        EXPECT_EQ(bay_matches(c.section, c.place, DomainCheck::Compared), c.compared);
        EXPECT_EQ(bay_matches(c.section, c.place, DomainCheck::Ignored), c.ignored);
    }
}

TEST_F(SlotMatch, UsbPortsMatchOnBusLayerPortBridgeAndSpeedList) {
    const char *bus = "B00:D20:F0";
    const char *bridge = "B02:D00:F0";
    struct Case {
        const char *section;
        UsbPlace place;
        bool compared;
        bool ignored;
    } cases[] = {
        {"Usb Port 1", {1, bus, bridge, 1, 3, 0}, true, true},
        {"Usb Port 1", {0, bus, bridge, 1, 3, 0}, false, true},
        {"Usb Port 1", {1, bus, bridge, 0, 3, 0}, false, false},  // layer must be IN_HUB
        {"Usb Port 1", {1, bus, "B03:D00:F0", 1, 3, 0}, false, false},
        {"Usb Port 1", {1, bus, nullptr, 1, 3, 0}, false, false},
        {"Usb Port 1", {1, bus, bridge, 1, 2, 0}, false, false},
        // No bridge in the section lets any bridge match; the port list follows the speed.
        {"Usb Port 2", {0, bus, bridge, 0, 5, PD_LINK_SPEED_USB_5G}, true, true},
        {"Usb Port 2", {0, bus, nullptr, 0, 5, PD_LINK_SPEED_USB_480M}, false, false},
        {"Usb Port 2", {0, bus, nullptr, 0, 6, PD_LINK_SPEED_USB_480M}, true, true},
        {"Usb Port 2", {0, nullptr, nullptr, 0, 6, PD_LINK_SPEED_USB_480M}, false, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.section) + " port " + std::to_string(c.place.port));
        EXPECT_EQ(usb_slot_matches(c.section, c.place, DomainCheck::Compared), c.compared);
        EXPECT_EQ(usb_slot_matches(c.section, c.place, DomainCheck::Ignored), c.ignored);
    }
}

TEST_F(SlotMatch, MultiDeviceSlotsVisitTheirEntriesInsteadOfThemselves) {
    auto visited = [](const char *section) {
        std::vector<std::string> seen;
        visit_usb_entries(section, [&](const char *entry) {
            seen.emplace_back(entry);
            return false;
        });
        return seen;
    };
    EXPECT_EQ(visited("Usb Port 1"), std::vector<std::string>{"Usb Port 1"});
    EXPECT_EQ(visited("Usb Port 3"), (std::vector<std::string>{"Usb Port 3-1", "Usb Port 3-2"}));
    EXPECT_TRUE(visited("Usb Port 4").empty()) << "a negative count lists no entry at all";
    EXPECT_TRUE(visit_usb_entries("Usb Port 3", [](const char *entry) {
        return usb_slot_matches(entry, {0, "B00:D20:F0", nullptr, 0, 7, 0}, DomainCheck::Compared);
    }));
}
