// Network ports on virtual boards: renaming by PCI position (through the interface ioctls the
// network emulator answers), the adapter EEPROM's MAC and serial number through the ethtool
// stand-in, and the link speed.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "nashal/net_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/net_model.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

namespace {

const std::string kRoot = "/sys/devices/pci0000:00";

// The device folder an interface's class link names.
std::string device_of(const std::string &name) {
    char target[512];
    ssize_t n = readlink(("/sys/class/net/" + name).c_str(), target, sizeof target - 1);
    if (n < 0)
        return "(none)";
    std::string t(target, static_cast<size_t>(n));
    return t.substr(0, t.rfind("/net/"));
}

bool is_up(const std::string &name) {
    for (const auto &s : net_states())
        if (s.name == name)
            return s.up;
    return false;
}

std::string model(const std::string &enclosure_keys, const std::vector<std::string> &rows) {
    std::string text = "[System Enclosure]\n" + enclosure_keys;
    for (size_t i = 0; i < rows.size(); ++i)
        text += "\n[System Network " + std::to_string(i + 1) + "]\n" + rows[i];
    return text;
}

NetDesc state(bool up, int phy = 0) {
    NetDesc d;
    d.up = up;
    d.phy = phy;
    return d;
}

// An on-board controller behind root port 00:1c.<fn>, on bus <bus>.
std::string onboard(SysfsTree &t, int fn, int bus, uint16_t device_id = 0x1533) {
    auto port = t.pci_bridge(kRoot, 0, 0, 0x1c, fn, bus);
    return t.pci_function(port, 0, bus, 0, 0, kPciClassEthernet, 0x8086, device_id);
}

// A dual-port card behind root port 00:01.0 (bus 1): functions 01:00.0 and 01:00.1.
std::vector<std::string> card(SysfsTree &t, uint16_t vendor = 0x8086, uint16_t device_id = 0x1528) {
    auto port = t.pci_bridge(kRoot, 0, 0, 0x01, 0, 1);
    return {t.pci_function(port, 0, 1, 0, 0, kPciClassEthernet, vendor, device_id),
            t.pci_function(port, 0, 1, 0, 1, kPciClassEthernet, vendor, device_id)};
}

class NetBoard : public ::testing::Test {
  protected:
    void SetUp() override { t_.pci_root(0, 0); }
    void model_file(const std::string &text) { write_file(app_.path("/etc/model.conf"), text); }
    void eeprom(const std::string &adapter, const std::vector<std::pair<int, std::string>> &at) {
        std::string bytes(4096, '\xff');
        for (const auto &[offset, data] : at)
            bytes.replace(static_cast<size_t>(offset), data.size(), data);
        write_file(app_.path("/sim/eeprom/" + adapter + ".bin"), bytes);
    }
    std::string eeprom_bytes(const std::string &adapter, int offset, int length) {
        return read_file("/sim/eeprom/" + adapter + ".bin").substr(offset, length);
    }
    void activate() {
        ASSERT_TRUE(app_.activate());
        clear_invocations();
    }
    Appliance app_ = Appliance::fresh();
    SysfsTree t_{app_.dir()};
};

// The labels: LAN 1 on board (00:1c.4), LAN 2 and LAN 3 the two ports of a card (00:01.0); the
// kernel found them as LAN 3, LAN 1, LAN 2.
TEST_F(NetBoard, EveryLabelEndsOnItsPortAndASecondRunChangesNothing) {
    auto lan1 = onboard(t_, 4, 3);
    auto lan23 = card(t_);
    t_.net_interface(lan23[1], "eth0", state(true));
    t_.net_interface(lan1, "eth1", state(false));
    t_.net_interface(lan23[0], "eth2", state(true));
    model_file(model("MAX_NET_PORT_NUM = 3\n", {"DEV_BUS = B00:D28:F4\nDEV_PORT = 0\n",
                                                "DEV_BUS = B00:D01:F0\nDEV_PORT = 0\n",
                                                "DEV_BUS = B00:D01:F0\nDEV_PORT = 1\n"}));
    activate();

    ASSERT_EQ(net_sys_enumerate(), 3);
    EXPECT_EQ(device_of("eth0"), "../../devices/pci0000:00/0000:00:1c.4/0000:03:00.0");
    EXPECT_EQ(device_of("eth1"), "../../devices/pci0000:00/0000:00:01.0/0000:01:00.0");
    EXPECT_EQ(device_of("eth2"), "../../devices/pci0000:00/0000:00:01.0/0000:01:00.1");
    // Each port keeps the state it had: LAN 1 was down.
    EXPECT_FALSE(is_up("eth0"));
    EXPECT_TRUE(is_up("eth1"));
    EXPECT_TRUE(is_up("eth2"));
    // Names pass through temporary ones, because eth0 is still held when LAN 1 wants it.
    std::vector<std::string> expected = {"eth0>eth0_tmp", "eth1>eth1_tmp", "eth2>eth2_tmp",
                                         "eth0_tmp>eth2", "eth1_tmp>eth0", "eth2_tmp>eth1"};
    std::vector<std::string> renames = net_renames();
    std::vector<std::string> sorted_expected = expected;
    std::sort(renames.begin(), renames.end());
    std::sort(sorted_expected.begin(), sorted_expected.end());
    EXPECT_EQ(renames, sorted_expected);

    const auto before = net_states();
    ASSERT_EQ(net_sys_enumerate(), 3);
    EXPECT_EQ(net_renames().size(), expected.size()) << "a second run renamed again";
    EXPECT_EQ(net_states().size(), before.size());
    for (size_t i = 0; i < before.size(); ++i)
        EXPECT_EQ(net_states()[i].up, before[i].up) << before[i].name << " was taken down";
}

// A model file lists a port this board was built without: the ports present still count from
// eth0 with no gap, and a card in a PCIe slot is numbered behind the internal ports.
TEST_F(NetBoard, MissingPortLeavesNoGapAndSlotCardsFollowTheInternalPorts) {
    auto lan2 = onboard(t_, 5, 4);
    auto ports = card(t_, 0x8086, 0x10fb);
    t_.net_interface(ports[0], "eth0", state(true));
    t_.net_interface(ports[1], "eth1", state(true));
    t_.net_interface(lan2, "eth2", state(true));
    model_file(
        model("MAX_NET_PORT_NUM = 4\nINTERNAL_NET_PORT_NUM = 2\nMAX_PCIE_SLOT = 1\n",
              {"DEV_BUS = B00:D28:F4\nDEV_PORT = 0\n", "DEV_BUS = B00:D28:F5\nDEV_PORT = 0\n"}) +
        "\n[System PCIE SLOT 1]\nDEV_BUS = B00:D01:F0\n");
    activate();

    ASSERT_EQ(net_sys_enumerate(), 3);
    // LAN 2 is eth1 as labelled; LAN 1 is missing, so the card's ports take eth0 and eth2: the
    // slot pass puts them from eth2 upward, the last pass fills the gap at eth0.
    EXPECT_EQ(device_of("eth1"), "../../devices/pci0000:00/0000:00:1c.5/0000:04:00.0");
    std::vector<std::string> card_names = {device_of("eth0"), device_of("eth2")};
    std::sort(card_names.begin(), card_names.end());
    EXPECT_EQ(card_names,
              (std::vector<std::string>{"../../devices/pci0000:00/0000:00:01.0/0000:01:00.0",
                                        "../../devices/pci0000:00/0000:00:01.0/0000:01:00.1"}));
}

// Behind a PCIe switch every function of a card is port 0 of its downstream port, so two
// rows can name one place; two interfaces sent to one name would stop the renaming half-way,
// leaving both under temporary names.
TEST_F(NetBoard, TwoPortsAtOnePlaceNeverShareAName) {
    auto root_port = t_.pci_bridge(kRoot, 0, 0, 0x01, 0, 1);
    auto sw = t_.pcie_switch(root_port, 0, 1, 3);
    t_.net_interface(t_.pci_function(sw.downstream[2], 0, 5, 0, 1, kPciClassEthernet), "eth0");
    t_.net_interface(t_.pci_function(sw.downstream[2], 0, 5, 0, 0, kPciClassEthernet), "eth1");
    const std::string row = "DEV_BUS = B00:D01:F0\nPCI_SWITCH_PORT = 2\nDEV_PORT = 0\n";
    model_file(model("MAX_NET_PORT_NUM = 2\n", {row, row}));
    activate();
    ASSERT_EQ(net_sys_enumerate(), 2);
    for (const auto &s : net_states())
        EXPECT_TRUE(s.name == "eth0" || s.name == "eth1") << s.name << " left behind";
}

TEST_F(NetBoard, SwitchChipPortsAreToldApartByTheirPhyAndLeftAsTheyWere) {
    t_.net_interface("", "eth0", state(false, 5));
    t_.net_interface("", "eth1", state(true, 4));
    model_file(model("MAX_NET_PORT_NUM = 2\n", {"DEV_BUS = B-1:virtual\nDEV_PORT = 4\n",
                                                "DEV_BUS = B-1:virtual\nDEV_PORT = 5\n"}));
    activate();

    ASSERT_EQ(net_sys_enumerate(), 2);
    EXPECT_EQ(net_states().size(), 2u);
    for (const auto &s : net_states()) {
        EXPECT_EQ(s.name, s.phy == 4 ? "eth0" : "eth1");
        EXPECT_EQ(s.up, s.phy == 4) << "PHY " << s.phy << " was left in the wrong state";
    }
    EXPECT_EQ(device_of("eth0"), "../../devices/virtual");
}

struct RefusalCase {
    const char *why;
    int interfaces;
    const char *keys;
};

TEST_F(NetBoard, RefusalsRenameNothing) {
    const RefusalCase cases[] = {
        {"more rows than the table holds", 3, "MAX_NET_PORT_NUM = 11\n"},
        {"fewer rows than interfaces", 3, "MAX_NET_PORT_NUM = 2\n"},
        {"no row count", 3, ""},
        {"eleven interfaces", 11, "MAX_NET_PORT_NUM = 10\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.why);
        Appliance app = Appliance::fresh();
        SysfsTree t(app.dir());
        t.pci_root(0, 0);
        for (int i = 0; i < c.interfaces; ++i) {
            auto port = t.pci_bridge(kRoot, 0, 0, 2 + i, 0, 1 + i);
            auto nic = t.pci_function(port, 0, 1 + i, 0, 0, kPciClassEthernet, 0x8086, 0x1533);
            // Probe order reversed against any model order, so that a rename would show.
            t.net_interface(nic, "eth" + std::to_string(c.interfaces - 1 - i), state(true));
        }
        write_file(app.dir() + "/etc/model.conf", std::string("[System Enclosure]\n") + c.keys);
        ASSERT_TRUE(app.activate());
        const auto before = net_states();
        EXPECT_EQ(net_sys_enumerate(), -1);
        EXPECT_TRUE(net_renames().empty());
        ASSERT_EQ(net_states().size(), before.size());
        for (size_t i = 0; i < before.size(); ++i)
            EXPECT_TRUE(net_states()[i].up) << before[i].name << " was taken down";
        app.deactivate();
    }
}

TEST_F(NetBoard, AllNamesRightTakesNothingDown) {
    auto lan1 = onboard(t_, 4, 3);
    t_.net_interface(lan1, "eth0", state(true));
    model_file(model("MAX_NET_PORT_NUM = 1\n", {"DEV_BUS = B00:D28:F4\nDEV_PORT = 0\n"}));
    activate();
    ASSERT_EQ(net_sys_enumerate(), 1);
    EXPECT_TRUE(net_renames().empty());
    EXPECT_TRUE(is_up("eth0"));
}

TEST_F(NetBoard, WireCountTakesEthDigitNamesOnly) {
    auto lan1 = onboard(t_, 4, 3);
    t_.net_interface(lan1, "eth1_tmp", state(false));  // left by a renaming that failed
    t_.net_interface("", "ethx", state(true));
    t_.net_interface("", "eth0", state(true));
    t_.net_interface("", "wlan0", state(true));
    t_.net_interface("", "lo", state(true));
    activate();
    EXPECT_EQ(net_sys_get_wire_count(), 2);
}

struct PathCase {
    const char *link;
    int result;
    int switch_port;
    int port;
};

TEST_F(NetBoard, PositionOfAPortFromItsLink) {
    auto root_port = t_.pci_bridge(kRoot, 0, 0, 0x01, 0, 1);
    t_.pcie_switch(root_port, 0, 1, 11);
    auto lan = onboard(t_, 4, 3);
    activate();
    const PathCase cases[] = {
        {"../../devices/pci0000:00/0000:00:19.0/net/eth0", 0, -1, 0},
        {"../../devices/pci0000:00/0000:00:1c.4/0000:03:00.1/net/eth1", 0, -1, 1},
        // Downstream port 0a of the switch: device numbers are hexadecimal.
        {"../../devices/pci0000:00/0000:00:01.0/0000:01:00.0/0000:02:0a.0/0000:0c:00.1/net/eth2", 0,
         10, 0},
        // 03:00.0 is the controller itself, no bridge: nothing can stand behind it.
        {"../../devices/pci0000:00/0000:00:1c.4/0000:03:00.0/0000:04:00.0/net/eth3", -1, 0, 0},
        // A platform controller named "ethernet.1": its name holds "net", the cut must not.
        {"../../devices/platform/ethernet.1/net/eth0", 0, -1, 1},
        {"../../devices/virtual/net/eth0", -1, 0, 0},
    };
    for (const auto &c : cases) {
        int32_t switch_port = 0, port = 0;
        EXPECT_EQ(parse_net_port_from_path(c.link, &switch_port, &port), c.result) << c.link;
        if (c.result == 0) {
            EXPECT_EQ(switch_port, c.switch_port) << c.link;
            EXPECT_EQ(port, c.port) << c.link;
        }
    }
    (void)lan;
}

// MACs of five adapters: the X540's two ports each follow their own pointer word, Broadcom's
// starts at 2, the I354's by the port the model file gives, any other at 0.
class Eeproms : public NetBoard {
  protected:
    void SetUp() override {
        NetBoard::SetUp();
        auto x540 = card(t_);
        t_.net_interface(x540[0], "eth0");
        t_.net_interface(x540[1], "eth1");
        auto bcm = t_.pci_function(t_.pci_bridge(kRoot, 0, 0, 0x1c, 0, 2), 0, 2, 0, 0,
                                   kPciClassEthernet, 0x14e4, 0x1693);
        t_.net_interface(bcm, "eth2");
        auto i354 = t_.pci_function(kRoot, 0, 0, 0x14, 2, kPciClassEthernet, 0x8086, 0x1f41);
        t_.net_interface(i354, "eth3");
        t_.net_interface(onboard(t_, 4, 3), "eth4");
        // Pointer words: port 0 at 18 -> word 0x40 -> MAC at 0x82; port 1 at 20 -> 0x50 -> 0xa2;
        // the alternate block at 110 -> 0x100 -> 0x200 (+6 for port 1).
        eeprom("0000:01:00", {{18, std::string("\x40\x00", 2)},
                              {20, std::string("\x50\x00", 2)},
                              {110, std::string("\x00\x01", 2)},
                              {0x82, std::string("\xa0\x36\x9f\x00\x00\x10", 6)},
                              {0xa2, std::string("\xa0\x36\x9f\x00\x00\x11", 6)}});
        eeprom("0000:02:00", {{2, std::string("\x00\x10\x18\x00\x00\x20", 6)}});
        eeprom("0000:00:14", {{384, std::string("\x00\x08\x9b\x00\x00\x30", 6)}});
        eeprom("0000:03:00", {{0, std::string("\x00\x08\x9b\x00\x00\x40", 6)}});
        model_file(model("MAX_NET_PORT_NUM = 5\n",
                         {"DEV_PORT = 0\n", "DEV_PORT = 1\n", "DEV_PORT = 0\n", "DEV_PORT = 2\n",
                          "DEV_BUS = B00:D28:F4\nDEV_PORT = 1\nMAC_MASK = 0x03\n"}));
        activate();
    }
    static std::string mac_of(int port) {
        unsigned char mac[6] = {};
        if (net_sys_get_mac(port, mac, sizeof mac) != 0)
            return "(failed)";
        char text[24];
        snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
                 mac[4], mac[5]);
        return text;
    }
};

TEST_F(Eeproms, EachAdapterKeepsItsMacInItsOwnPlace) {
    EXPECT_EQ(mac_of(0), "a0:36:9f:00:00:10");
    EXPECT_EQ(invocations(), (std::vector<std::string>{
                                 "/usr/sbin/ethtool -e eth0 raw on offset 0x12 length 0x2",
                                 "/usr/sbin/ethtool -e eth0 raw on offset 0x82 length 0x6"}));
    EXPECT_EQ(mac_of(1), "a0:36:9f:00:00:11");
    EXPECT_EQ(mac_of(2), "00:10:18:00:00:20");
    EXPECT_EQ(mac_of(3), "00:08:9b:00:00:30");
    // One base address in the EEPROM; the port's number goes into the masked bits.
    EXPECT_EQ(mac_of(4), "00:08:9b:00:00:41");
    unsigned char short_buffer[5];
    EXPECT_EQ(net_sys_get_mac(4, short_buffer, sizeof short_buffer), -1);
    EXPECT_EQ(mac_of(7), "(failed)");
}

TEST_F(Eeproms, X540MacIsWrittenToBothBlocksAndToTheRunningInterface) {
    unsigned char mac[6] = {0xa0, 0x36, 0x9f, 0x12, 0x34, 0x57};
    ASSERT_EQ(net_sys_set_mac(1, mac, 6), 0);
    EXPECT_EQ(eeprom_bytes("0000:01:00", 0xa2, 6), std::string("\xa0\x36\x9f\x12\x34\x57", 6));
    EXPECT_EQ(eeprom_bytes("0000:01:00", 0x206, 6), std::string("\xa0\x36\x9f\x12\x34\x57", 6));
    EXPECT_EQ(read_file("/sys/class/net/eth1/address"), "a0:36:9f:12:34:57\n");
    EXPECT_EQ(mac_of(1), "a0:36:9f:12:34:57");
}

TEST_F(Eeproms, BroadcomMacIsNeverWritten) {
    unsigned char mac[6] = {0x00, 0x10, 0x18, 0xaa, 0xbb, 0xcc};
    EXPECT_EQ(net_sys_set_mac(2, mac, 6), -1);
    EXPECT_EQ(net_sys_set_mac(4, mac, 5), -1);
    EXPECT_TRUE(invocations().empty());
}

TEST_F(Eeproms, MaskedPortBitsAreLeftOutOfTheEepromAndAddedForTheInterface) {
    unsigned char mac[6] = {0x00, 0x08, 0x9b, 0x00, 0x01, 0xf2};
    ASSERT_EQ(net_sys_set_mac(4, mac, 6), 0);
    EXPECT_EQ(eeprom_bytes("0000:03:00", 5, 1), "\xf0");
    EXPECT_EQ(mac[5], 0xf1) << "the caller's buffer holds the port's own address";
    EXPECT_EQ(read_file("/sys/class/net/eth4/address"), "00:08:9b:00:01:f1\n");
}

// Bytes and texts that a shell would read as commands go to the tools as numbers only.
TEST_F(Eeproms, ShellCharactersInAMacOrSerialNeverReachAShell) {
    unsigned char mac[6] = {';', '`', '$', '(', '|', '&'};
    ASSERT_EQ(net_sys_set_mac(3, mac, 6), 0);
    const std::string serial = "A1;reboot`id`$(x)|&";
    ASSERT_EQ(net_sys_set_sn(3, serial.c_str()), 0);
    auto runs = invocations();
    ASSERT_FALSE(runs.empty());
    for (const auto &run : runs)
        EXPECT_EQ(run.find_first_of(";`$(|&"), std::string::npos) << run;
    EXPECT_NE(std::find(runs.begin(), runs.end(),
                        "/sbin/ifconfig eth3 hw ether 3b602428"
                        "7c26"),
              runs.end());
    EXPECT_NE(std::find(runs.begin(), runs.end(),
                        "/usr/sbin/ethtool -E eth3 magic 0x1f418086 offset 0xc03 value 0x41"),
              runs.end());
    char back[HAL_SERIAL_LEN] = {};
    ASSERT_EQ(net_sys_get_sn(3, back, sizeof back), 0);
    EXPECT_STREQ(back, serial.c_str());
}

TEST_F(Eeproms, SerialIsCutAtTheEndOfTheRecordOrTheFirstNonAsciiByte) {
    eeprom("0000:03:00", {{3072, "SN:0123456789ABCDEFGHIJKLMN"}});
    eeprom("0000:02:00", {{3072, "SN:NX8\x80tail"}});
    eeprom("0000:00:14", {{3072, "XX:NX800"}});
    char sn[HAL_SERIAL_LEN] = {};
    ASSERT_EQ(net_sys_get_sn(4, sn, sizeof sn), 0);
    EXPECT_STREQ(sn, "0123456789ABCDEFGHIJ");  // 23 bytes read, "SN:" and 20
    ASSERT_EQ(net_sys_get_sn(2, sn, sizeof sn), 0);
    EXPECT_STREQ(sn, "NX8");
    EXPECT_EQ(net_sys_get_sn(3, sn, sizeof sn), -1);
    char tiny[4] = {};
    ASSERT_EQ(net_sys_get_sn(4, tiny, sizeof tiny), 0);
    EXPECT_STREQ(tiny, "012");
}

TEST_F(NetBoard, LinkSpeedCodes) {
    const struct {
        const char *operstate;
        const char *speed;
        int result;
        int code;
    } cases[] = {
        {"up", "10", 0, NET_SPEED_10M},
        {"up", "100", 0, NET_SPEED_100M},
        {"up", "1000", 0, NET_SPEED_1G},
        {"up", "10000", 0, NET_SPEED_10G},
        {"up", "2500", 0, NET_SPEED_UNKNOWN},
        {"unknown", "-1", 0, NET_SPEED_UNKNOWN},
        {"down", "1000", -1, -7},
        {"dormant", "", -1, -7},
    };
    t_.net_interface("", "eth0");
    activate();
    for (const auto &c : cases) {
        write_file("/sys/class/net/eth0/operstate", std::string(c.operstate) + "\n");
        write_file("/sys/class/net/eth0/speed", std::string(c.speed) + (c.speed[0] ? "\n" : ""));
        int code = -7;
        EXPECT_EQ(net_sys_get_speed(0, &code), c.result) << c.operstate << " " << c.speed;
        EXPECT_EQ(code, c.code) << c.operstate << " " << c.speed;
    }
    int code = 0;
    EXPECT_EQ(net_sys_get_speed(5, &code), -1);
}

}  // namespace
