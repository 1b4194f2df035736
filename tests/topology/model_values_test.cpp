// The little languages of the model file: every driver finds its address, bit or bus through
// these parsers, so a wrong field here is a wrong LED, a wrong chip register or a missed disk.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "nashal/comm_model.h"
#include "nashal/hal_trace.h"
#include "sim/appliance.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

// A copy of `text` in a heap block of exactly its length plus the terminator, so that the
// address sanitizer reports any read past the value's end.
std::unique_ptr<char[]> exact(const std::string &text) {
    std::unique_ptr<char[]> p(new char[text.size() + 1]);
    std::memcpy(p.get(), text.c_str(), text.size() + 1);
    return p;
}

constexpr int32_t kUntouched = 0x5a5a;

}  // namespace

TEST(ModelValues, DevBusReadsPciFunctionsAndLeavesTheValueIntact) {
    struct Case {
        const char *value;
        int rc;
        int32_t bus, device, function;
    } cases[] = {
        {"B02:D00:F0", 0, 2, 0, 0},
        {"D28:F2", 0, 0, 28, 2},
        {"B10:D01", -1, 10, kUntouched, kUntouched},  // no ":" behind the device
        {"B-1:ahci.0", -1, -1, kUntouched, kUntouched},
        {"B03", -1, kUntouched, kUntouched, kUntouched},  // no ":" behind the bus
        {"", -1, 0, kUntouched, kUntouched},
    };
    for (const Case &c : cases) {
        auto value = exact(c.value);
        int32_t bus = kUntouched, device = kUntouched, function = kUntouched;
        EXPECT_EQ(comm_sys_parse_c_dev_bus(value.get(), &bus, &device, &function), c.rc) << c.value;
        EXPECT_EQ(bus, c.bus) << c.value;
        EXPECT_EQ(device, c.device) << c.value;
        EXPECT_EQ(function, c.function) << c.value;
        EXPECT_STREQ(value.get(), c.value) << "the model value was changed";
    }
    // The bus is optional for callers that only match device and function.
    int32_t device = 0, function = 0;
    EXPECT_EQ(comm_sys_parse_c_dev_bus("B02:D31:F3", nullptr, &device, &function), 0);
    EXPECT_EQ(device, 31);
    EXPECT_EQ(function, 3);
}

TEST(ModelValues, PlatformDeviceNameOnlyForBusMinusOneAndCutAtTheBuffer) {
    char name[16] = "unchanged";
    EXPECT_EQ(comm_sys_parse_c_internal_driver("B-1:ahci.0", name, sizeof name), 0);
    EXPECT_STREQ(name, "ahci.0");

    std::strcpy(name, "unchanged");
    EXPECT_EQ(comm_sys_parse_c_internal_driver("B00:D01:F0", name, sizeof name), -1);
    EXPECT_STREQ(name, "unchanged") << "a PCI value must not yield a platform name";
    EXPECT_EQ(comm_sys_parse_c_internal_driver("B-1", name, sizeof name), -1);
    EXPECT_EQ(comm_sys_parse_c_internal_driver("ahci.0", name, sizeof name), -1);

    char small[5];
    std::memset(small, 'x', sizeof small);
    EXPECT_EQ(comm_sys_parse_c_internal_driver("B-1:sata_mv.12345", small, sizeof small), 0);
    EXPECT_STREQ(small, "sata") << "the copy must stop at the caller's size and terminate";
}

TEST(ModelValues, GpioIndexBitAndActiveLowMarker) {
    struct Case {
        const char *value;
        int rc;
        int32_t index, bit;
    } cases[] = {
        {"SIO:I3A", 0, 0x3A, kUntouched},
        {"SIO:I3A:B2", 0, 0x3A, 2},
        {"SIO:I3A:B2:P", 1, 0x3A, 2},
        {"GPIO:I1C:P", 1, 0x1C, kUntouched},  // the I of "GPIO" must not be taken
        {"ICH:I22:N", 0, 0x22, kUntouched},
        {"SIO:I3A:B7:N", 0, 0x3A, 7},
        {"SIO", -1, kUntouched, kUntouched},
        {"SIO:X", -1, kUntouched, kUntouched},
        {"GPIO:", -1, kUntouched, kUntouched},
        {"SIO:I", 0, 0, kUntouched},
    };
    for (const Case &c : cases) {
        auto value = exact(c.value);
        int32_t index = kUntouched, bit = kUntouched;
        EXPECT_EQ(comm_sys_parse_c_gpio(value.get(), &index, &bit), c.rc) << c.value;
        EXPECT_EQ(index, c.index) << c.value;
        EXPECT_EQ(bit, c.bit) << c.value;
        EXPECT_STREQ(value.get(), c.value);
    }
    int32_t index = 0;
    EXPECT_EQ(comm_sys_parse_c_gpio("GPIO:I1C:P", &index, nullptr), 1)
        << "callers without a bit pass null";
}

TEST(ModelValues, I2cFormsCutTheValueAndRefuseMissingFields) {
    int32_t address = kUntouched;
    EXPECT_EQ(comm_sys_parse_c_i2c("I2C:2E", &address), 0);
    EXPECT_EQ(address, 0x2E);
    EXPECT_EQ(comm_sys_parse_c_i2c("I2C", &address), -1);

    int32_t start = 0, stop = 0, index = 0, data = 0;
    auto value = exact("I2C:48:A1:A0");
    EXPECT_EQ(comm_sys_parse_c_i2c_start_stop(value.get(), &address, &start, &stop), 0);
    EXPECT_EQ(address, 0x48);
    EXPECT_EQ(start, 0xA1);
    EXPECT_EQ(stop, 0xA0);
    EXPECT_STREQ(value.get(), "I2C") << "the value is cut at each \":\" passed";

    value = exact("I2C:2E:I15");
    EXPECT_EQ(comm_sys_parse_c_i2c_index(value.get(), &address, &index), 0);
    EXPECT_EQ(address, 0x2E);
    EXPECT_EQ(index, 0x15);

    value = exact("I2C:2E:I15:7F");
    EXPECT_EQ(comm_sys_parse_c_i2c_index_write(value.get(), &address, &index, &data), 0);
    EXPECT_EQ(address, 0x2E);
    EXPECT_EQ(index, 0x15);
    EXPECT_EQ(data, 0x7F);

    for (const char *bad : {"I2C:48:A1", "I2C:48", "I2C", ""}) {
        value = exact(bad);
        EXPECT_EQ(comm_sys_parse_c_i2c_start_stop(value.get(), &address, &start, &stop), -1) << bad;
    }
    for (const char *bad : {"I2C:2E:15", "I2C:2E", "I2C"}) {
        value = exact(bad);
        EXPECT_EQ(comm_sys_parse_c_i2c_index(value.get(), &address, &index), -1) << bad;
    }
    for (const char *bad : {"I2C:2E:I15", "I2C:2E:15:7F", "I2C:2E"}) {
        value = exact(bad);
        EXPECT_EQ(comm_sys_parse_c_i2c_index_write(value.get(), &address, &index, &data), -1)
            << bad;
    }
}

TEST(ModelValues, CuttingParsersOverwriteExactlyTheColonsTheyPass) {
    // Callers reuse the buffer (the method word stays readable at its start), so every byte
    // after the call matters: the ":" passed become terminators, nothing else changes.
    enum Parser { kStartStop, kIndex, kIndexWrite };
    struct Case {
        Parser parser;
        const char *value;
        int rc;
        std::string after;
    } cases[] = {
        {kStartStop, "I2C:48:A1:A0", 0,
         std::string("I2C\0"
                     "48\0"
                     "A1\0"
                     "A0",
                     12)},
        {kStartStop, "I2C:48:A1", -1,
         std::string("I2C\0"
                     "48\0"
                     "A1",
                     9)},
        {kIndex, "I2C:2E:I15", 0,
         std::string("I2C\0"
                     "2E\0"
                     "I15",
                     10)},
        {kIndex, "I2C:2E:I15:7F", 0,
         std::string("I2C\0"
                     "2E\0"
                     "I15:7F",
                     13)},
        {kIndexWrite, "I2C:2E:I15:7F", 0,
         std::string("I2C\0"
                     "2E\0"
                     "I15\0"
                     "7F",
                     13)},
        {kIndexWrite, "I2C:2E:I15", -1,
         std::string("I2C\0"
                     "2E\0"
                     "I15",
                     10)},
    };
    for (const Case &c : cases) {
        size_t length = std::strlen(c.value);
        auto value = exact(c.value);
        int32_t a = 0, b = 0, d = 0;
        int rc = c.parser == kStartStop ? comm_sys_parse_c_i2c_start_stop(value.get(), &a, &b, &d)
                 : c.parser == kIndex   ? comm_sys_parse_c_i2c_index(value.get(), &a, &b)
                                        : comm_sys_parse_c_i2c_index_write(value.get(), &a, &b, &d);
        EXPECT_EQ(rc, c.rc) << c.value;
        EXPECT_EQ(std::string(value.get(), length), c.after) << c.value;
    }
}

TEST(ModelValues, PortListYieldsEachPortThenZero) {
    struct Case {
        const char *list;
        std::vector<int> ports;
    } cases[] = {
        {"3", {3, 0}}, {"1,2", {1, 2, 0}}, {"1,2,3", {1, 2, 3, 0}},
        {"", {0}},     {"4,0,5", {4, 0}},  // a port 0 ends the walk, as it does for every caller
    };
    for (const Case &c : cases) {
        char list[HAL_ID_LEN];
        std::strcpy(list, c.list);
        std::vector<int> got;
        for (int i = 0; i < 8; ++i) {
            int port = comm_sys_get_each_usb_port(list);
            got.push_back(port);
            if (port == 0)
                break;
        }
        EXPECT_EQ(got, c.ports) << c.list;
    }
}

TEST(ModelValues, MalformedAndOverlongValuesNeverReadPastTheirEnd) {
    const std::string overlong_hex = "SIO:I" + std::string(26, 'F');
    const char *values[] = {"",          ":",
                            "B",         "B:",
                            "D",         "D:",
                            "B1:D",      "B1:D:",
                            "B1:D1:",    "B1:D1:F",
                            "SIO:I",     "SIO:I3A:",
                            "SIO:I3A:B", "SIO:I3A:B:",
                            "I2C:",      "I2C::",
                            "I2C:2E:I",  "i2c",
                            "UART",      "1,",
                            ",",         "9999999999999999999999999999999"};
    for (std::string text : std::vector<std::string>(std::begin(values), std::end(values))) {
        int32_t a = 0, b = 0, c = 0;
        char name[HAL_ID_LEN];
        comm_sys_parse_c_dev_bus(exact(text).get(), &a, &b, &c);
        comm_sys_parse_c_internal_driver(exact(text).get(), name, sizeof name);
        comm_sys_parse_c_gpio(exact(text).get(), &a, &b);
        comm_sys_parse_c_i2c(exact(text).get(), &a);
        comm_sys_parse_c_i2c_start_stop(exact(text).get(), &a, &b, &c);
        comm_sys_parse_c_i2c_index(exact(text).get(), &a, &b);
        comm_sys_parse_c_i2c_index_write(exact(text).get(), &a, &b, &c);
        auto list = exact(text);
        for (int i = 0; i < 40; ++i)
            if (comm_sys_get_each_usb_port(list.get()) == 0)
                break;
        common_sys_get_thunderbolt_i2c_num(exact(text).get());
    }
    int32_t index = 0;
    EXPECT_EQ(comm_sys_parse_c_gpio(exact(overlong_hex).get(), &index, nullptr), 0);
    EXPECT_EQ(index, INT32_MAX) << "an over-long number must saturate, not wrap to a small index";
}

TEST(ModelValues, ThunderboltIdsGiveTheirFileAndBus) {
    EXPECT_STREQ(common_sys_get_thunderbolt_conf("i2c-3"), "/etc/model_jbod.conf");
    EXPECT_EQ(common_sys_get_thunderbolt_i2c_num("i2c-3"), 3);
    EXPECT_EQ(common_sys_get_thunderbolt_i2c_num("i2c-12"), 12);
    EXPECT_EQ(common_sys_get_thunderbolt_i2c_num("i2c"), -1) << "a short id has no bus";

    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
    EXPECT_EQ(common_sys_get_thunderbolt_conf("root"), nullptr);
    EXPECT_NE(read_file("/var/log/hal_lib.log").find("ERROR at enc_sys_id root"), std::string::npos)
        << "a non-Thunderbolt id must leave an error trace";
}

TEST(ModelValues, ExternalEnclosureKeysComeFromTheirTypeSection) {
    Appliance app = Appliance::fresh();
    write_file(app.dir() + "/etc/model_ext.conf",
               "[External Enclosure]\nMAX_SUPPORT_TYPE_COUNT = 2\n"
               "[External Type 1]\nMODEL = TR-002\nPRODUCT_ID = 1a2b\nMAX_PORT_NUM = 4\n"
               "[External Type 2]\nMODEL = TR-004\n");
    ASSERT_TRUE(app.activate());
    char model[HAL_ID_LEN] = {};
    EXPECT_EQ(comm_sys_get_c_ext_enclosure_string(2, "MODEL", model, sizeof model), 0);
    EXPECT_STREQ(model, "TR-004");
    int32_t value = 0;
    EXPECT_EQ(comm_sys_get_c_ext_enclosure_integer(1, "PRODUCT_ID", &value, 1), 0);
    EXPECT_EQ(value, 0x1a2b);
    EXPECT_EQ(comm_sys_get_c_ext_enclosure_integer(1, "MAX_PORT_NUM", &value, 0), 0);
    EXPECT_EQ(value, 4);
    EXPECT_EQ(comm_sys_get_c_ext_enclosure_string(3, "MODEL", model, sizeof model), -1)
        << "a type the file doesn't describe must fail";
    EXPECT_EQ(comm_sys_get_c_ext_enclosure_integer(2, "PRODUCT_ID", &value, 1), -1);
}
