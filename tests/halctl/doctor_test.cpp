// halctl doctor on the example boards, with one fault injected at a time: the bay the fault
// touches is reported broken, the fault is named in the engineer's words, and doctor exits 1.
#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <functional>
#include <string>

#include "halctl/halctl_runner.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"

namespace {

using halctl_test::Board;

// The text of a "key": "value" member of a JSON answer; empty when absent.
std::string member(const std::string &json, const std::string &key) {
    std::string head = "\"" + key + "\": \"";
    size_t at = json.find(head);
    if (at == std::string::npos)
        return "";
    std::string text;
    for (at += head.size(); at < json.size() && json[at] != '"'; ++at)
        text += json[at] == '\\' && at + 1 < json.size() ? json[++at] : json[at];
    return text;
}

std::string set_key(const Board &b, int bay, const std::string &key, const std::string &value) {
    return b
        .run("conf set /etc/model.conf 'System Disk " + std::to_string(bay) + "' " + key + " " +
             value)
        .out;
}

struct Fault {
    const char *name;
    // Breaks bay 2 of the board (a bay with a disk on every example); the text doctor must tell.
    std::function<void(const Board &)> inject;
    const char *told;
};

const Fault kFaults[] = {
    {"missing controller",
     [](const Board &b) {
         std::string ctrl = member(b.run("--json doctor 0 2").out, "controller");
         EXPECT_NE(ctrl.find("/sys/devices/"), std::string::npos);
         ASSERT_FALSE(ctrl.empty());
         nashal::sim::remove_tree(b.dir() + ctrl);
     },
     "the controller is missing or DEV_BUS is wrong"},
    {"DEV_PORT of another bay",
     [](const Board &b) {
         std::string port = member(b.run("--json doctor 0 1").out, "model");
         port = port.substr(port.find("DEV_PORT ") + 9);
         set_key(b, 2, "DEV_PORT", port.substr(0, port.find(',')));
     },
     "DEV_PORT or DEV_BUS of one of the two bays is wrong"},
    {"disk pulled",
     [](const Board &b) {
         std::string sg = member(b.run("--json doctor 0 2").out, "disk");
         char real[PATH_MAX];
         std::string link = b.dir() + "/sys/class/scsi_generic/" + sg;
         ASSERT_NE(realpath(link.c_str(), real), nullptr) << link;
         std::string device = real;  // .../<h:c:t:l>/scsi_generic/sgN
         device = device.substr(0, device.rfind('/'));
         nashal::sim::remove_tree(device.substr(0, device.rfind('/')));
     },
     "the bay is empty (disk pulled?)"},
    {"LED key with an unknown method",
     [](const Board &b) { set_key(b, 2, "ERR_LED", "LED:I3A:B2"); },
     "ERR_LED \"LED:I3A:B2\" has the method word \"LED\", which no driver answers"},
};

class DoctorFault : public testing::TestWithParam<const char *> {};

TEST_P(DoctorFault, NamesEachInjectedFaultAtItsBay) {
    for (const Fault &f : kFaults) {
        SCOPED_TRACE(std::string(GetParam()) + ": " + f.name);
        Board board(GetParam());
        halctl_test::Result clean = board.run("--json doctor 0 2");
        ASSERT_EQ(clean.status, 0) << "bay 2 must resolve before the fault\n" << clean.out;
        ASSERT_EQ(member(clean.out, "status"), "ok") << clean.out;
        f.inject(board);
        halctl_test::Result after = board.run("--json doctor 0 2");
        EXPECT_EQ(after.status, 1) << after.out;
        EXPECT_NE(member(after.out, "problem").find(f.told), std::string::npos) << after.out;
    }
}

INSTANTIATE_TEST_SUITE_P(ExampleBoards, DoctorFault,
                         testing::Values("x86-8bay", "x86-12bay-sas", "x86-pcie-sas"));

TEST(Doctor, KnownLedMethodResolvesAndSaysWhetherThisBuildDrivesIt) {
    Board board("x86-8bay");
    set_key(board, 1, "ERR_LED", "SIO:I3A:B2");
    halctl_test::Result r = board.run("--json doctor 0 1");
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(member(r.out, "led_err_led").find("method SIO via pd_sys_set_err_led"),
              std::string::npos)
        << r.out;
}

TEST(Doctor, PortBeyondTheControllersHostsIsToldAsSuch) {
    // Eight one-port hosts on the front controller: a ninth port names a host of another one.
    Board board("x86-8bay");
    set_key(board, 3, "DEV_PORT", "8");
    halctl_test::Result r = board.run("--json doctor 0 3");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(member(r.out, "problem").find("DEV_PORT 8 is beyond the controller's ports"),
              std::string::npos)
        << r.out;
}

TEST(Doctor, WholeBoardReadsOnlyAndCountsTheBaysThatDontResolve) {
    Board board("x86-8bay");
    std::string marker = board.dir() + "/.before-doctor";
    ASSERT_TRUE(nashal::sim::write_file(marker, ""));
    halctl_test::Result r = board.run("--json doctor");
    // Bay 8 of this board is empty: one bay that doesn't resolve.
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("\"broken\": 1,"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"port_id\": 8, \"status\": \"empty\""), std::string::npos) << r.out;
    std::string cmd = "find " + board.dir() + " -newer " + marker +
                      " -type f ! -path '*/var/log/*' ! -path '*/tmp/*' | grep -q .";
    EXPECT_NE(system(cmd.c_str()), 0) << "doctor wrote into the board";
    EXPECT_EQ(board.run("doctor 1").status, 1) << "an enclosure that isn't recorded";
    EXPECT_EQ(board.run("doctor 0 x").status, 2);
}

// The sysfs directory behind a class link of the board.
std::string device_of(const Board &b, const std::string &class_link) {
    char real[PATH_MAX];
    std::string link = b.dir() + class_link;
    EXPECT_NE(realpath(link.c_str(), real), nullptr) << link;
    return real;
}

struct ExpanderFault {
    const char *name;
    const char *enc_sys_id;
    int bay;
    std::function<void(const Board &)> inject;
    const char *told;
};

// The first shelf of x86-sas-shelves: sg12, 12 bays, disks sg0-sg10 (the smallest walk).
const ExpanderFault kShelfFaults[] = {
    {"the shelf's expander vanished", "sg12", 1,
     [](const Board &b) {
         nashal::sim::remove_tree(device_of(b, "/sys/class/sas_expander/expander-2:0"));
     },
     "the shelf's expander expander-2:0 is gone"},
    {"a disk pulled", "sg12", 3,
     [](const Board &b) {
         std::string sdev = device_of(b, "/sys/class/scsi_generic/sg2/device");
         nashal::sim::remove_tree(sdev);
     },
     "no disk on the shelf's expander names bay 3: the bay is empty (disk pulled?)"},
};

TEST(DoctorShelves, NamesEachInjectedFaultAtItsBay) {
    for (const ExpanderFault &f : kShelfFaults) {
        SCOPED_TRACE(f.name);
        Board board("x86-sas-shelves");
        // By system id: a shelf's walk needs no scan, which on this board takes minutes.
        std::string args =
            std::string("--json doctor ") + f.enc_sys_id + " " + std::to_string(f.bay);
        halctl_test::Result clean = board.run(args);
        ASSERT_EQ(clean.status, 0) << clean.out;
        EXPECT_NE(member(clean.out, "maps_back_to"), "") << clean.out;
        f.inject(board);
        halctl_test::Result after = board.run(args);
        EXPECT_EQ(after.status, 1) << after.out;
        EXPECT_NE(member(after.out, "problem").find(f.told), std::string::npos) << after.out;
    }
}

// A managed USB box on chassis port 1: its SuperSpeed hub 2-1 with USB-to-SATA bridges in
// slots 1 (a disk), 2 (none) and 3 (behind the inner hub, a disk), and its USB 2 twin, the
// maker's own device, with the PIC's serial adapter on port 3.
void build_usb_box(const Board &b) {
    using namespace nashal::sim;
    ASSERT_TRUE(write_file(b.dir() + "/etc/model.conf",
                           "[System Enclosure]\nCAP = 0x100000\n"
                           "[Usb Enclosure]\nMAX_PORT_NUM = 1\nUSB3_PORT_BITMAP = 0x2\n"
                           "[Usb Port 1]\nDEV_BUS = B00:D20:F0\nDEV_PORT_SS = 1\n"
                           "DEV_PORT_NS = 3\n"));
    ASSERT_TRUE(write_file(b.dir() + "/etc/model_ext.conf",
                           "[External Enclosure]\nMAX_SUPPORT_TYPE_COUNT = 1\n"
                           "[External Type 1]\nPRODUCT_ID = 5a31\nMODEL = EX-400\n"
                           "CAP = 0x400000\nMAX_PORT_NUM = 3\nPort_PIC = 3\n"
                           "Port1 = 1\nPort2 = 2\nPort3 = 4.1\n"));
    SysfsTree t(b.dir());
    auto xhci = t.pci_function(t.pci_root(0, 0), 0, 0, 0x14, 0, 0x0c0330);
    auto hs = t.usb_root_hub(xhci, 1, 8, "480");
    auto ss = t.usb_root_hub(xhci, 2, 8, "5000");
    auto bridge = [&](const std::string &hub, int port, int host, int sg) {
        auto dev = t.usb_device(hub, port, {0x1e4e, 0x0001, "Bridge", "", "", "5000", 0});
        auto intf = t.usb_interface(dev, 0, 8);
        if (host >= 0)
            t.scsi_device(t.scsi_host(intf, host), {host, 0, 0, 0},
                          ScsiDesc::disk(sg, "sd" + std::string(1, 'a' + sg), "ATA", "D"));
    };
    auto box = t.usb_device(ss, 1, {0x1e4e, 0x5a31, "EX Box", "Vornix", "", "5000", 4});
    bridge(box, 1, 6, 0);
    bridge(box, 2, -1, 0);
    bridge(t.usb_device(box, 4, {0x1e4e, 0x0002, "Hub", "", "", "5000", 2}), 1, 7, 1);
    auto twin = t.usb_device(hs, 3, {0xfff0, 0xff01, "EX Box", "", "", "480", 4});
    auto serial = t.usb_device(twin, 3, {0x0403, 0x6001, "Serial", "", "", "12", 0});
    t.usb_serial(t.usb_interface(serial, 0, 0xff), 0);
}

const ExpanderFault kBoxFaults[] = {
    {"the box's serial adapter is missing", "usb_2-1", 1,
     [](const Board &b) { nashal::sim::remove_tree(device_of(b, "/sys/bus/usb/devices/1-3.3")); },
     "the box's PIC serial adapter is missing"},
    {"a disk pulled", "usb_2-1", 3,
     [](const Board &b) {
         nashal::sim::remove_tree(device_of(b, "/sys/bus/usb/devices/2-1.4.1:1.0") + "/host7");
     },
     "has no disk behind it: the slot is empty (disk pulled?)"},
};

TEST(DoctorUsbBox, NamesEachInjectedFaultAtItsSlot) {
    for (const ExpanderFault &f : kBoxFaults) {
        SCOPED_TRACE(f.name);
        Board board;
        build_usb_box(board);
        std::string args =
            std::string("--json doctor ") + f.enc_sys_id + " " + std::to_string(f.bay);
        halctl_test::Result clean = board.run(args);
        ASSERT_EQ(clean.status, 0) << clean.out;
        EXPECT_EQ(member(clean.out, "maps_back_to"), "usb_2-1 slot " + std::to_string(f.bay));
        f.inject(board);
        halctl_test::Result after = board.run(args);
        EXPECT_EQ(after.status, 1) << after.out;
        EXPECT_NE(member(after.out, "problem").find(f.told), std::string::npos) << after.out;
    }
    Board board;
    build_usb_box(board);
    halctl_test::Result whole = board.run("--json doctor usb_2-1");
    EXPECT_EQ(whole.status, 1) << "slot 2's bridge holds no disk";
    EXPECT_NE(whole.out.find("\"enc_sys_id\": \"usb_2-1\", \"port_id\": 2, \"status\": \"empty\""),
              std::string::npos)
        << whole.out;
}

// The SAS card in PCIe slot 1 of x86-thunderbolt (root port 00:02.0, card 30:00.0), disks on
// its ports 0 and 2: bays 1 and 3 of "root_pcie_1". A slot without a card, or a card without
// disks, is no fault: the enclosure only exists while a disk is found.
TEST(DoctorPcieSlot, FollowsTheCardsDisksAndNamesWhatStopsTheSlot) {
    {
        Board board("x86-thunderbolt");
        halctl_test::Result r = board.run("--json doctor root_pcie_1");
        EXPECT_EQ(r.status, 0) << r.out;
        EXPECT_NE(r.out.find("\"enc_sys_id\": \"root_pcie_1\", \"port_id\": 1, \"status\": \"ok\""),
                  std::string::npos)
            << r.out;
        EXPECT_NE(r.out.find("\"enc_sys_id\": \"root_pcie_1\", \"port_id\": 3, \"status\": \"ok\""),
                  std::string::npos)
            << r.out;
        EXPECT_NE(board.run("doctor").out.find("root_pcie_1 bay 3: ok"), std::string::npos)
            << "the whole-board walk takes the board's slots";
    }
    struct Case {
        const char *name;
        std::function<void(const Board &)> inject;
        int status;
        const char *shown;  // the slot's problem, or its status when nothing is broken
    } cases[] = {
        {"card pulled",
         [](const Board &b) {
             // The kernel takes the card's functions and their class entries away together.
             nashal::sim::remove_tree(b.dir() +
                                      "/sys/devices/pci0000:00/0000:00:02.0/0000:30:00.0");
             for (const char *sg : {"sg28", "sg29"})
                 nashal::sim::remove_tree(b.dir() + "/sys/class/scsi_generic/" + sg);
         },
         0, "empty"},
        {"slot without DEV_BUS",
         [](const Board &b) { b.run("conf remove /etc/model.conf 'System PCIE SLOT 1' DEV_BUS"); },
         1, "[System PCIE SLOT 1] has no DEV_BUS: the slot is never looked at"},
        {"board without PCIe expansion",
         [](const Board &b) {
             b.run("conf set /etc/model.conf 'System Enclosure' CAP 0x08000000");
         },
         1, "the board's CAP has no CAP_PCIE_EXPANSION"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Board board("x86-thunderbolt");
        c.inject(board);
        halctl_test::Result r = board.run("--json doctor root_pcie_1");
        EXPECT_EQ(r.status, c.status) << r.out;
        const std::string shown = c.status ? member(r.out, "problem") : member(r.out, "status");
        EXPECT_EQ(shown.find(c.shown), 0u) << r.out;
    }
}

// The first box of x86-thunderbolt, i2c-101: four bays, disks sg19 to sg22.
TEST(DoctorThunderbolt, NamesEachInjectedFaultAtItsBay) {
    struct Case {
        const char *name;
        const char *enc_sys_id;
        std::function<void(const Board &)> inject;
        const char *told;
    } cases[] = {
        {"disk pulled", "i2c-101",
         [](const Board &b) {
             nashal::sim::remove_tree(device_of(b, "/sys/class/scsi_generic/sg20/device"));
             nashal::sim::remove_tree(b.dir() + "/sys/class/scsi_generic/sg20");
         },
         "no disk at port 1 of the box's SATA controller behind switch port 2: the bay is empty"},
        {"light with a method word", "i2c-101",
         [](const Board &b) {
             b.run("conf set /etc/model_jbod.conf 'System Disk 2' ERR_LED SIO:I0:B1");
         },
         "ERR_LED \"SIO:I0:B1\" is no I2C:address:start:stop"},
        {"box unplugged", "i2c-109", [](const Board &) {},
         "i2c-109 is at the end of no chain of the host's ports"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Board board("x86-thunderbolt");
        if (std::string(c.enc_sys_id) == "i2c-101") {
            halctl_test::Result clean = board.run("--json doctor i2c-101 2");
            ASSERT_EQ(clean.status, 0) << clean.out;
            EXPECT_EQ(member(clean.out, "disk"), "sg20") << clean.out;
        }
        c.inject(board);
        halctl_test::Result r = board.run(std::string("--json doctor ") + c.enc_sys_id +
                                          (std::string(c.enc_sys_id) == "i2c-101" ? " 2" : ""));
        EXPECT_EQ(r.status, 1) << r.out;
        EXPECT_EQ(member(r.out, "problem").find(c.told), 0u) << r.out;
    }
}

}  // namespace
