// Model selection at start-up: which description /etc/model.conf becomes. A wrong choice is a
// unit that drives another board's LEDs and looks for disks in bays it doesn't have; a lost
// generic file is a unit that can't boot its management at all.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <string>

#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "nashal/se_model.h"
#include "nashal/vpd.h"
#include "sim/appliance.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

const std::string kExamples = NASHAL_EXAMPLES_DIR;

std::string link_of(const std::string &path) {
    char target[PATH_MAX] = {};
    ssize_t n = readlink(path.c_str(), target, sizeof target - 1);
    return n < 0 ? std::string("<not a link>") : std::string(target, static_cast<size_t>(n));
}

std::string log() {
    return read_file("/var/log/hal_lib.log");
}

// An example board entered without its start-up step, so that a test can change what the
// selection will find first.
Appliance unbooted(const std::string &board) {
    Appliance app = Appliance::copy_of(kExamples + "/" + board);
    remove_tree(app.dir() + "/sim/boot.conf");
    return app;
}

}  // namespace

TEST(ModelSelection, EveryExampleBoardBootsIntoItsOwnDescription) {
    struct Case {
        const char *board;
        const char *link;
    } cases[] = {
        {"x86-8bay", "/etc/model_NX800_B8SAT_03_02.conf"},           // product codes, format 1
        {"x86-12bay-sas", "/etc/model_N1210_B12SA_1_0_02_01.conf"},  // product codes, format 2
        {"x86-pcie-sas", "/etc/model_0.conf"},                       // board signals
        {"soc-2bay", "<not a link>"},                                // a single-board model
    };
    for (const Case &c : cases) {
        pid_t child = fork();
        if (child == 0) {
            Appliance app = Appliance::copy_of(kExamples + "/" + c.board);
            if (!app.activate())
                _exit(2);
            bool ok = link_of("/etc/model.conf") == c.link;
            // Every later reader sees the board's own description through the link.
            char model[41] = {};
            ok = ok && Ini_Conf_Get_Field("/etc/model.conf", "System Enclosure", "MAX_DISK_NUM",
                                          model, sizeof model) > 0;
            // Selecting again changes nothing: the chosen file names no scheme.
            ok = ok && se_sys_setup_model_conf() == 0 && link_of("/etc/model.conf") == c.link;
            _exit(ok ? 0 : 1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << c.board;
    }
}

TEST(ModelSelection, VpdCodesThatNameNoFileLeaveTheGenericFileInForce) {
    Appliance app = unbooted("x86-8bay");
    ASSERT_TRUE(app.activate());
    const std::string generic = read_file("/etc/model.conf");
    struct Case {
        const char *mb_part;
        const char *bp_part;
        const char *trace;
    } cases[] = {
        {"BRD-ZZ999031", "BPL-B8SAT020", "MB_product_code = ZZ999"},  // unknown product
        {"BRD-NX80003X", "BPL-B8SAT020", "MB BOM code is illegal."},
        {"BRD-NX800XX1", "BPL-B8SAT020", "MB PCB code is illegal."},
        {"BRD-NX800011", "BPL-B8SAT020", "MB_pcb = 01"},  // older than every file
    };
    for (const Case &c : cases) {
        ASSERT_EQ(VPD_Set_Field_By_Id("0:4", c.mb_part), 0);
        ASSERT_EQ(VPD_Set_Field_By_Id("1:7", c.bp_part), 0);
        EXPECT_EQ(se_sys_setup_model_conf(), 0) << c.mb_part;
        EXPECT_EQ(link_of("/etc/model.conf"), "<not a link>") << c.mb_part;
        EXPECT_EQ(read_file("/etc/model.conf"), generic) << c.mb_part;
        EXPECT_NE(log().find(c.trace), std::string::npos) << c.mb_part;
    }
}

TEST(ModelSelection, TheNewestRevisionNotNewerThanTheBoardIsChosen) {
    Appliance app = unbooted("x86-8bay");
    ASSERT_TRUE(app.activate());
    // Without a readable backplane code the mainboard's code alone decides.
    write_file("/etc/model_NX800_03.conf", "[System Enclosure]\nMAX_DISK_NUM = 3\n");
    write_file("/etc/model_NX800_05.conf", "[System Enclosure]\nMAX_DISK_NUM = 5\n");
    write_file("/etc/model_NX800_xx.conf", "[System Enclosure]\n");
    ASSERT_EQ(VPD_Set_Field_By_Id("1:7", "BPL-B8SATxx0"), 0);
    struct Case {
        const char *mb_part;
        const char *link;
    } cases[] = {
        {"BRD-NX800041", "/etc/model_NX800_03.conf"},
        {"BRD-NX800051", "/etc/model_NX800_05.conf"},
        {"BRD-NX800071", "/etc/model_NX800_05.conf"},
        {"BRD-NX800021", "<not a link>"},
    };
    const std::string generic = read_file("/etc/model.conf");
    for (const Case &c : cases) {
        write_file("/etc/model.conf.generic", generic);
        unlink("/etc/model.conf");
        ASSERT_EQ(rename("/etc/model.conf.generic", "/etc/model.conf"), 0);
        ASSERT_EQ(VPD_Set_Field_By_Id("0:4", c.mb_part), 0);
        EXPECT_EQ(se_sys_setup_model_conf(), 0);
        EXPECT_EQ(link_of("/etc/model.conf"), c.link) << c.mb_part;
    }
    EXPECT_NE(log().find("BP PCB code is illegal."), std::string::npos);
    EXPECT_NE(log().find("MB PCB pattern of model_NX800_xx.conf is not match"), std::string::npos);
}

TEST(ModelSelection, ARomWithABadChecksumIsStillReadAtItsFixedPlaces) {
    Appliance app = unbooted("x86-8bay");
    std::string rom = read_file(app.dir() + "/sim/vpd_mb.bin");
    rom[119] = static_cast<char>(rom[119] ^ 0x5A);
    write_file(app.dir() + "/sim/vpd_mb.bin", rom);
    ASSERT_TRUE(app.activate());
    EXPECT_EQ(se_sys_setup_model_conf(), 0);
    EXPECT_EQ(link_of("/etc/model.conf"), "/etc/model_NX800_B8SAT_03_02.conf");
}

TEST(ModelSelection, BoardSignalsChooseTheBoardsFile) {
    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    // Host bridge device id 0x6282 (not the one that marks the other variant): bit 1 is 1.
    write_file("/sys/bus/pci/devices/0000:00:00.0/config", std::string("\x86\x80\x82\x62", 4));
    write_file("/etc/model_2.conf", "[System Enclosure]\nMAX_DISK_NUM = 2\n");
    write_file("/etc/model_3.conf", "[System Enclosure]\nMAX_DISK_NUM = 3\n");
    struct Case {
        const char *generic;
        int result;
        const char *link;
        const char *trace;
    } cases[] = {
        {"MULTI_CONF = 0xC\nMODEL_BIT1 = SOC:REV\n", 0, "/etc/model_2.conf", "Get Board ID = 0x2"},
        // "MULTI_CONF_FORMAT" 0 counts as absent.
        {"MULTI_CONF_FORMAT = 0\nMULTI_CONF = 0x4\nMODEL_BIT1 = SOC:REV\n", 0, "/etc/model_2.conf",
         "Get Board ID = 0x2"},
        // A signal whose driver can't read it contributes nothing, with a trace.
        {"MULTI_CONF = 0x4\nMODEL_BIT1 = SOC:REV\nMODEL_BIT0 = ICH:GP22:N\n", 0,
         "/etc/model_2.conf", "System Internal Error."},
        // A listed candidate is missing: nothing is touched.
        {"MULTI_CONF = 0x14\nMODEL_BIT1 = SOC:REV\n", -1, "<not a link>",
         "Multi model config but config = /etc/model_4.conf not exist."},
        // The board's own file isn't listed and doesn't exist: the link dangles.
        {"MULTI_CONF = 0x4\nMODEL_BIT1 = SOC:REV\nMODEL_BIT2 = SOC:REV\n", 0, "/etc/model_6.conf",
         "Get Board ID = 0x6"},
    };
    for (const Case &c : cases) {
        unlink("/etc/model.conf");
        std::string generic = std::string("[System Enclosure]\n") + c.generic;
        write_file("/etc/model.conf", generic);
        EXPECT_EQ(se_sys_setup_model_conf(), c.result) << c.generic;
        EXPECT_EQ(link_of("/etc/model.conf"), c.link) << c.generic;
        if (c.result != 0) {
            EXPECT_EQ(read_file("/etc/model.conf"), generic);
        }
        EXPECT_NE(log().find(c.trace), std::string::npos) << c.generic;
    }
}

TEST(ModelSelection, ModelBitValuesNameMethodGpioAndInversion) {
    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    write_file("/etc/model.conf",
               "[System Enclosure]\nMODEL_BIT0 = ICH:GP22:N\nMODEL_BIT1 = SIO:GP22\n"
               "MODEL_BIT2 = SOC:REV\nMODEL_BIT3 = SIO:XX\nMODEL_BIT4 = NOFIELD\n"
               "MODEL_BIT5 = CPU:GP0:anything\n");
    struct Case {
        int bit, result;
        const char *method;
        int gpio, inverted;
    } cases[] = {
        {0, 0, "ICH", 22, 1}, {1, 0, "SIO", 22, 0}, {2, 0, "SOC", -1, 0}, {3, -1, "", 0, 0},
        {4, -1, "", 0, 0},    {5, 0, "CPU", 0, 1},  {6, -1, "", 0, 0},
    };
    for (const Case &c : cases) {
        char method[32] = {};
        int gpio = 0, inverted = 0;
        ASSERT_EQ(root_get_model_bit(c.bit, method, &gpio, &inverted), c.result) << c.bit;
        if (c.result != 0)
            continue;
        EXPECT_STREQ(method, c.method);
        EXPECT_EQ(gpio, c.gpio) << c.bit;
        EXPECT_EQ(inverted, c.inverted) << c.bit;
    }
}

TEST(ModelSelection, NoSchemeTouchesNoFileButTheShownNameAndTheWifiBit) {
    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    write_file("/etc/platform.conf", "[MISC]\nDISPLAY_NAME = NX-800 old\n");
    write_file("/etc/model_1.conf", "[System Enclosure]\nCAP = 0x00800200\nMAX_PCIE_SLOT = 2\n");
    ASSERT_EQ(symlink("/etc/model_1.conf", "/etc/model.conf"), 0);
    EXPECT_EQ(se_sys_setup_model_conf(), 0);
    EXPECT_EQ(link_of("/etc/model.conf"), "/etc/model_1.conf");
    char name[64] = {};
    EXPECT_LE(Ini_Conf_Get_Field("/etc/platform.conf", "MISC", "DISPLAY_NAME", name, 64), 0);
    // No module answers in the slot behind the last one: the bit is cleared in the target.
    int32_t cap = 0;
    ASSERT_GT(
        Ini_Conf_Get_Field_Int("/etc/model_1.conf", "System Enclosure", "CAP", &cap, INI_CONF_HEX),
        0);
    EXPECT_EQ(static_cast<uint32_t>(cap), 0x200u);
}
