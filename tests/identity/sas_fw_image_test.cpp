// Expander firmware updates as a firmware engineer runs them against a SAS shelf: a good image
// reaches both buffers in the right order and the shelf runs it after a reboot; an image that
// doesn't fit the shelf or doesn't hold what its header says never reaches the expander and
// leaves nothing beside itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/byte_order.h"
#include "identity/sas_fw_image_layout.h"
#include "nashal/sas_expander_fw.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sas_shelf.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;
namespace id = nashal::identity;

namespace {

struct ImageRecipe {
    int type = 4;
    int major = 3;
    int minor = 7;
    std::string firmware = std::string("0307") + std::string(3000, '\x5a');
    std::string mfg = std::string(700, '\xa5');
    long cut = 0;                // bytes taken off the end of the file
    uint32_t claimed_extra = 0;  // added to the firmware length in the header
};

// An image built by hand from the header's published layout, not from the reader's names.
std::string image_bytes(const ImageRecipe &s) {
    std::string b(525312 + s.mfg.size(), '\0');
    b[0] = static_cast<char>(s.type);
    b[1] = 0x55;  // vendor's, not read
    b[2] = static_cast<char>(s.major);
    b[3] = static_cast<char>(s.minor);
    uint32_t fw_len = static_cast<uint32_t>(s.firmware.size()) + s.claimed_extra;
    for (int i = 0; i < 4; ++i) {
        b[4 + i] = static_cast<char>(fw_len >> (8 * i));
        b[12 + i] = static_cast<char>(s.mfg.size() >> (8 * i));
    }
    b.replace(1024, s.firmware.size(), s.firmware);
    b.replace(525312, s.mfg.size(), s.mfg);
    b.resize(b.size() - static_cast<size_t>(s.cut));
    return b;
}

std::vector<std::string> write_buffer_runs() {
    std::vector<std::string> runs;
    for (const std::string &line : invocations())
        if (line.find("sg_write_buffer") != std::string::npos)
            runs.push_back(line);
    return runs;
}

class ExpanderFirmware : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app.activate());
        SysfsTree t;
        auto host = t.sas_host(build_sas_adapter(t), 2, 8);
        SasShelfDesc d;
        d.bays = 12;
        d.product = "VEXP-3500U-RP";  // takes images of model type 4
        build_sas_shelf(t, t.sas_port(host, "port-2:0"), d);
        write_file("/etc/model.conf", "[System Enclosure]\nCAP = 0\n");
        make_dirs("/tmp/fw");
        clear_invocations();
    }
    std::string revision() {
        ENC_INFO info{};
        EXPECT_EQ(se_sys_getinfo("sg10", &info), 0);
        return info.revision;
    }
    Appliance app = Appliance::fresh();
};

TEST_F(ExpanderFirmware, AGoodImageGoesManufacturingDataFirstAndRunsAfterTheReboot) {
    ImageRecipe recipe;
    write_file("/tmp/fw/shelf.img", image_bytes(recipe));
    char version[16] = {};
    ASSERT_EQ(SAS_Expander_Upgrade_Img("/dev/sg10", "/tmp/fw/shelf.img", version, sizeof version),
              0);
    EXPECT_STREQ(version, "03.07");
    EXPECT_EQ(write_buffer_runs(),
              (std::vector<std::string>{
                  "/sbin/sg_write_buffer --id=1 --in=/tmp/fw/shelf.mfg --mode=2 /dev/sg10",
                  "/sbin/sg_write_buffer --id=0 --in=/tmp/fw/shelf.fw --mode=2 /dev/sg10"}));
    EXPECT_NE(read_file("/sim/ses/sg10").find("mfg_bytes 700\n"), std::string::npos);
    EXPECT_EQ(list_dir("/tmp/fw"), std::vector<std::string>{"shelf.img"});

    EXPECT_EQ(revision(), "01.10") << "the new firmware runs only after a reboot";
    ASSERT_EQ(se_sys_set_reboot("sg10"), 0);
    EXPECT_EQ(revision(), "03.07");
}

TEST_F(ExpanderFirmware, AnImageThatDoesntFitOrDoesntHoldItsPayloadsNeverReachesTheExpander) {
    struct Case {
        const char *what;
        ImageRecipe recipe;
        size_t keep = 0;  // when set, only this many bytes of the image
    } cases[] = {
        {"another model type",
         [] {
             ImageRecipe s;
             s.type = 7;
             return s;
         }()},
        {"manufacturing data cut short",
         [] {
             ImageRecipe s;
             s.cut = 1;
             return s;
         }()},
        {"firmware length past the file",
         [] {
             ImageRecipe s;
             s.claimed_extra = 0xFFFF0000u;
             return s;
         }()},
        {"header only", ImageRecipe{}, 20},
        {"less than a header", ImageRecipe{}, 19},
    };
    for (const Case &c : cases) {
        std::string bytes = image_bytes(c.recipe);
        if (c.keep)
            bytes.resize(c.keep);
        write_file("/tmp/fw/bad.img", bytes);
        clear_invocations();
        char version[16] = {};
        EXPECT_NE(SAS_Expander_Upgrade_Img("/dev/sg10", "/tmp/fw/bad.img", version, sizeof version),
                  0)
            << c.what;
        EXPECT_TRUE(write_buffer_runs().empty()) << c.what;
        EXPECT_EQ(list_dir("/tmp/fw"), std::vector<std::string>{"bad.img"}) << c.what;
    }
    EXPECT_EQ(read_file("/sim/ses/sg10").find("mfg_bytes"), std::string::npos);
}

TEST_F(ExpanderFirmware, AUniversalImageFitsEveryShelfAndAnUnlistedShelfTakesNoOtherType) {
    EXPECT_EQ(check_sas_fw_model("/dev/sg10", 4), 0);
    EXPECT_EQ(check_sas_fw_model("/dev/sg10", 9), 0);
    EXPECT_EQ(check_sas_fw_model("/dev/sg10", 14), -1);
    struct Case {
        const char *model;
        int type;
    } cases[] = {
        {"VEXP-3100U-RP", 1},  {"VN-3578U-RP EXP", 6},   {"VEXP-3000 Pro", 11},
        {"VN-4379U", 12},      {"VVN-31379-RP EXP", 13}, {"VEXP-4320U-RP", 14},
        {"VEXP-3500U-RP ", 9}, {"JBOD-12", 9},           {"", 9},
    };
    for (const Case &c : cases)
        EXPECT_EQ(id::expander_model_type(c.model), c.type) << '"' << c.model << '"';
}

TEST_F(ExpanderFirmware, TheSplitFilesStandBesideTheImageAndHoldExactlyThePayloads) {
    ImageRecipe recipe;
    recipe.type = 12;
    recipe.major = 10;
    recipe.minor = 2;
    struct Case {
        const char *image, *fw, *mfg;
    } cases[] = {
        {"/tmp/fw/x.img", "/tmp/fw/x.fw", "/tmp/fw/x.mfg"},
        {"/tmp/fw/image", "/tmp/fw/imagefw", "/tmp/fw/imagemfg"},
        {"/tmp/fw/a.b.c", "/tmp/fw/a.b.fw", "/tmp/fw/a.b.mfg"},
    };
    for (const Case &c : cases) {
        write_file(c.image, image_bytes(recipe));
        char version[8], fw[128], mfg[128];
        int type = 0;
        ASSERT_EQ(SAS_Expander_Disassemble_Img(c.image, version, sizeof version, fw, sizeof fw, mfg,
                                               sizeof mfg, &type),
                  0)
            << c.image;
        EXPECT_STREQ(version, "10.02");
        EXPECT_EQ(type, 12);
        EXPECT_STREQ(fw, c.fw);
        EXPECT_STREQ(mfg, c.mfg);
        EXPECT_EQ(read_file(fw), recipe.firmware);
        EXPECT_EQ(read_file(mfg), recipe.mfg);
    }
    // A path buffer shorter than the image path is refused before anything is made.
    char fw[8], mfg[128];
    EXPECT_EQ(SAS_Expander_Disassemble_Img("/tmp/fw/x.img", nullptr, 0, fw, sizeof fw, mfg,
                                           sizeof mfg, nullptr),
              -1);
}

TEST(ExpanderFirmwareHeader, DecodesLittleEndianLengthsAndRefusesAShortHeader) {
    uint8_t bytes[20] = {9,    0xee, 1,    2,    0x78, 0x56, 0x34, 0x12, 0xff, 0xff,
                         0xff, 0xff, 0x01, 0x02, 0,    0,    0xff, 0xff, 0xff, 0xff};
    id::FwImageHeader h;
    ASSERT_TRUE(id::decode_fw_header(bytes, sizeof bytes, &h));
    EXPECT_EQ(h.model_type, 9);
    EXPECT_EQ(h.major, 1);
    EXPECT_EQ(h.minor, 2);
    EXPECT_EQ(h.fw_length, 0x12345678u);
    EXPECT_EQ(h.mfg_length, 0x0201u);
    EXPECT_EQ(id::fw_image_end(h), 1024u + 0x12345678u);
    EXPECT_FALSE(id::decode_fw_header(bytes, 19, &h));
}

}  // namespace
