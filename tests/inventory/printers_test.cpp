// USB printers on a virtual board: the IEEE 1284 device id, the enclosure and front port of
// each printer, and the registry kept in /etc/enclosure_0.conf through scans and hot plug.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "nashal/hal_prt.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

namespace {

const std::string kXhci = "/sys/devices/pci0000:00/0000:00:14.0";

const char *const kModel =
    "[Usb Enclosure]\nMAX_PORT_NUM = 3\n"
    "[Usb Port 1]\nDEV_BUS = B00:D20:F0\nDEV_PORT = 1\n"
    // Front port 2 sits behind the on-board hub at root port 3.
    "[Usb Port 2]\nDEV_BUS = B00:D20:F0\nIN_HUB = 1\nDEV_PORT = 2\n"
    "[Usb Port 3]\nDEV_BUS = B00:D20:F0\nDEV_PORT_SS = 1\nDEV_PORT_NS = 2\n";

std::string printer_id(const char *model) {
    return std::string("MFG:Acme Imaging;CMD:PJL,PCL;MDL:") + model + ";CLS:PRINTER;";
}

// A high-speed root hub with four ports and a SuperSpeed one, an on-board hub at root port 3
// and a hub of the customer's at root port 4.
class PrinterBoard : public ::testing::Test {
  protected:
    void SetUp() override {
        auto root = t_.pci_root(0, 0);
        t_.pci_function(root, 0, 0, 0x14, 0, kPciClassXhci, 0x8086, 0xa12f);
        hs_ = t_.usb_root_hub(kXhci, 1, 4, "480");
        t_.usb_root_hub(kXhci, 2, 2, "5000");
        UsbDesc hub;
        hub.vendor = 0x05e3;
        hub.product = 0x0608;
        hub.maxchild = 4;
        onboard_hub_ = t_.usb_device(hs_, 3, hub);
        customer_hub_ = t_.usb_device(hs_, 4, hub);
        write_file(app_.dir() + "/etc/model.conf", kModel);
    }
    // A printer on `port` of `hub`, class device lp<minor>.
    void plug(SysfsTree &t, const std::string &hub, int port, int minor,
              const std::string &device_id, const char *speed = "480") {
        UsbDesc d;
        d.vendor = 0x2d3c;
        d.product = 0x0102;
        d.speed = speed;
        t.usb_printer(t.usb_interface(t.usb_device(hub, port, d), 0, 7), minor, device_id);
    }
    void plug(const std::string &hub, int port, int minor, const std::string &device_id,
              const char *speed = "480") {
        plug(t_, hub, port, minor, device_id, speed);
    }
    std::string conf() const { return read_file("/etc/enclosure_0.conf"); }

    Appliance app_ = Appliance::fresh();
    SysfsTree t_{app_.dir()};
    std::string hs_, onboard_hub_, customer_hub_;
};

struct IdCase {
    const char *why;
    std::string id;
    int result;
    const char *vendor;
    const char *model;
};

TEST_F(PrinterBoard, DeviceIdGivesVendorAndModel) {
    plug(hs_, 1, 0, printer_id("Inkline 500"));
    ASSERT_TRUE(app_.activate());
    const IdCase cases[] = {
        {"short keys", "MFG:Acme;MDL:Inkline 500;CLS:PRINTER;", 0, "Acme", "Inkline 500"},
        {"any order", "CLS:PRINTER;MDL:X1;CMD:PCL;MFG:Acme;", 0, "Acme", "X1"},
        {"long keys win", "MFG:Short;MANUFACTURER:Long;MDL:ShortModel;MODEL:LongModel;", 0, "Long",
         "LongModel"},
        {"no vendor keys", "CMD:PCL;MDL:X2;", 0, "unknow", "X2"},
        {"no closing ;", "MFG:Acme;MDL:Inkline 500", 0, "Acme", "keep"},
        {"over-long values", "MFG:" + std::string(60, 'V') + ";MDL:" + std::string(60, 'M') + ";",
         0, "VVVVVVVVVVVVVVVVVVVVVVVVVVVVVVV", "MMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMMM"},
        {"a key's letters in another value", "DES:Acme MDL:fake;MDL:Real;MFG:Acme;", 0, "Acme",
         "Real"},
        {"keys past the 1024 bytes read", std::string(1100, 'x') + ";MFG:Acme;MDL:X;", 0, "unknow",
         "unknow"},
        {"empty id", "", -1, "keep", "keep"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.why);
        write_file("/sys/class/usbmisc/lp0/device/ieee1284_id", c.id.empty() ? "" : c.id + "\n");
        char vendor[HAL_ID_LEN] = "keep";
        char model[HAL_MODEL_LEN] = "keep";
        EXPECT_EQ(get_printer_vendor("lp0", vendor, sizeof vendor), c.result);
        EXPECT_EQ(get_printer_model("lp0", model, sizeof model), c.result);
        EXPECT_STREQ(vendor, c.vendor);
        EXPECT_STREQ(model, c.model);
    }
}

TEST_F(PrinterBoard, EachPrinterIsFoundInItsEnclosureAndFrontPort) {
    plug(hs_, 1, 0, printer_id("A"));
    plug(onboard_hub_, 2, 1, printer_id("B"));
    plug(customer_hub_, 3, 2, printer_id("C"));
    plug(hs_, 2, 3, printer_id("D"), "12");
    ASSERT_TRUE(app_.activate());
    const struct {
        const char *name;
        const char *enc_sys_id;
        int result;
        int port_id;
    } cases[] = {
        {"lp0", "root_usb", 1, 1},
        {"lp1", "root_usb", 1, 2},
        // Behind a hub no chassis port lists: an expansion enclosure named by that hub.
        {"lp2", "usb_1-4", 0, -1},
        // A full-speed printer in a port whose slower lanes go to root port 2.
        {"lp3", "root_usb", 1, 3},
    };
    for (const auto &c : cases) {
        char enc[HAL_ID_LEN] = {};
        EXPECT_EQ(prt_get_enc_sys_id(c.name, enc), 0) << c.name;
        EXPECT_STREQ(enc, c.enc_sys_id) << c.name;
        PRT_INFO info = {};
        EXPECT_EQ(prt_sys_getinfo(c.name, &info), c.result) << c.name;
        EXPECT_EQ(info.port_id, c.port_id) << c.name;
        EXPECT_STREQ(info.prt_sys_id, c.name);
        EXPECT_STREQ(info.prt_ctrl_name, c.name);
        EXPECT_STREQ(info.vendor, "Acme Imaging");
    }
    PRT_INFO info = {};
    EXPECT_LT(prt_sys_getinfo("lp9", &info), 0);
}

TEST_F(PrinterBoard, OlderKernelsKeepPrintersInTheUsbClass) {
    plug(hs_, 1, 0, printer_id("Inkline 500"));
    ASSERT_EQ(rename((app_.dir() + "/sys/class/usbmisc").c_str(),
                     (app_.dir() + "/sys/class/usb").c_str()),
              0);
    ASSERT_TRUE(app_.activate());
    char *names[4] = {};
    ASSERT_EQ(prt_sys_enumerate(names, 4), 1);
    EXPECT_STREQ(names[0], "lp0");
    free(names[0]);
    PRT_INFO info = {};
    EXPECT_EQ(prt_sys_getinfo("lp0", &info), 1);
    EXPECT_STREQ(info.model, "Inkline 500");
}

TEST_F(PrinterBoard, ScanRecordsPrintersByFrontPortOrFromSixteen) {
    plug(hs_, 1, 0, printer_id("A"));
    plug(customer_hub_, 3, 2, printer_id("C"));
    write_file(app_.dir() + "/etc/enclosure_0.conf",
               "[Index]\nprt_bitmap = 0x8\nprt_sysid_lp9 = 3\n[PRT_3]\nport_id = 3\n"
               "prt_sys_id = lp9\n");
    ASSERT_TRUE(app_.activate());
    ASSERT_EQ(PRT_Scan(), 2);
    EXPECT_EQ(conf().find("lp9"), std::string::npos) << "a printer gone before the scan stayed";
    int ids[4] = {};
    ASSERT_EQ(PRT_Enumerate(ids, 4, nullptr, nullptr), 2);
    EXPECT_EQ(ids[0], 1);
    EXPECT_EQ(ids[1], PRT_FIRST_FREE_ID);
    PRT_INFO info = {};
    ASSERT_EQ(PRT_Get_Info(PRT_FIRST_FREE_ID, &info), 0);
    EXPECT_EQ(info.port_id, PRT_FIRST_FREE_ID);
    EXPECT_STREQ(info.prt_sys_id, "lp2");
    EXPECT_STREQ(info.model, "C");
    int id = -1;
    ASSERT_EQ(PRT_Get_Id_By_Sys_Id("lp0", &id), 0);
    EXPECT_EQ(id, 1);
    EXPECT_NE(conf().find("[PRT_1]\nport_id = 1\nprt_sys_id = lp0\nprt_ctrl_name = lp0\n"
                          "vendor = Acme Imaging\nmodel = A\n"),
              std::string::npos)
        << conf();
}

TEST_F(PrinterBoard, ScanWithNoPrinterLeavesNoSectionBehind) {
    write_file(app_.dir() + "/etc/enclosure_0.conf",
               "[Index]\npd_bitmap = 0x1\nprt_bitmap = 0x10002\nprt_sysid_lp0 = 1\n"
               "prt_sysid_lp1 = 16\n[PRT_1]\nport_id = 1\nprt_sys_id = lp0\n[PRT_16]\n"
               "port_id = 16\nprt_sys_id = lp1\n");
    make_dirs(app_.dir() + "/sys/class/usbmisc");
    ASSERT_TRUE(app_.activate());
    EXPECT_EQ(PRT_Scan(), 0);
    EXPECT_EQ(conf().find("PRT_"), std::string::npos) << conf();
    EXPECT_EQ(conf().find("prt_sysid"), std::string::npos) << conf();
    EXPECT_NE(conf().find("pd_bitmap = 0x1"), std::string::npos) << "the disks were forgotten";
}

TEST_F(PrinterBoard, MorePrintersThanTheScanHoldsAreCountedNotRecorded) {
    for (int i = 0; i < 18; ++i)
        t_.usb_printer(t_.usb_interface(hs_, i + 1, 7), i, printer_id("X"));
    ASSERT_TRUE(app_.activate());
    EXPECT_EQ(PRT_Scan(), 18);
    EXPECT_EQ(PRT_Enumerate(nullptr, 0, nullptr, nullptr), MAX_PRT_SYS_ENUM);
}

TEST_F(PrinterBoard, HotPlugRecordsAndForgetsOnePrinter) {
    plug(hs_, 1, 0, printer_id("A"));
    ASSERT_TRUE(app_.activate());
    ASSERT_EQ(PRT_Scan(), 1);

    SysfsTree live("");
    plug(live, customer_hub_, 1, 1, printer_id("Late"));
    EXPECT_EQ(PRT_Sys_Attach("lp1"), 0);
    int id = -1;
    ASSERT_EQ(PRT_Get_Id_By_Sys_Id("lp1", &id), 0);
    EXPECT_EQ(id, PRT_FIRST_FREE_ID);

    remove_tree("/sys/class/usbmisc/lp1");
    EXPECT_EQ(PRT_Sys_Detach("lp1"), 0);
    EXPECT_EQ(PRT_Get_Id_By_Sys_Id("lp1", &id), -1);
    EXPECT_EQ(conf().find("PRT_16"), std::string::npos);
    EXPECT_EQ(PRT_Enumerate(nullptr, 0, nullptr, nullptr), 1) << "the other printer went too";

    EXPECT_EQ(prt_detach("lp1"), -1);
    EXPECT_EQ(prt_detach(nullptr), -1);
    EXPECT_EQ(prt_attach(nullptr), -1);
    EXPECT_EQ(prt_attach("lp7"), -1);
}

TEST_F(PrinterBoard, ReadingARecordNeedsOnlyItsPortAndName) {
    write_file(app_.dir() + "/etc/enclosure_0.conf",
               "[PRT_2]\nport_id = 2\nprt_sys_id = lp0\nmodel = Inkline\n[PRT_3]\nport_id = 3\n");
    ASSERT_TRUE(app_.activate());
    PRT_INFO info = {};
    EXPECT_EQ(prt_read_conf(2, &info), 0);
    EXPECT_STREQ(info.vendor, "");
    EXPECT_STREQ(info.model, "Inkline");
    EXPECT_EQ(prt_read_conf(3, &info), -1);
    EXPECT_EQ(prt_read_conf(4, &info), -1);
}

}  // namespace
