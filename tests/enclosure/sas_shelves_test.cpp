// SAS expansion shelves as a firmware engineer meets them: a 12-bay shelf on the HBA with a
// 24-bay shelf daisy-chained behind it. Each attaches with what its SES pages say, every disk
// is found in the bay the enclosure reports, and every control reaches its element and reads
// back.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "disk/sas_expander_disks.h"
#include "enclosure/sas_expander.h"
#include "nashal/comm_ses.h"
#include "nashal/pd_sys.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sas_shelf.h"
#include "sim/sysfs_builders.h"

using namespace nashal::sim;

namespace {

class SasShelves : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(app.activate());
        auto root = t.pci_root(0, 0);
        auto rp = t.pci_bridge(root, 0, 0, 1, 0, 3);
        auto hba = t.pci_function(rp, 0, 3, 0, 0, kPciClassSas);
        auto host = t.sas_host(hba, 2, 8);
        SasShelfDesc a;
        a.number = 0;
        a.ses_sg = 10;
        a.first_disk_sg = 11;
        a.empty_bays = {5};
        first = build_sas_shelf(t, t.sas_port(host, "port-2:0"), a);
        SasShelfDesc b;
        b.number = 1;
        b.bays = 24;
        b.ses_sg = 30;
        b.first_disk_sg = 31;
        b.first_target = 20;
        b.first_block = "sdq";
        b.product = "JBOD-24";
        b.serial = "SHELF0002";
        b.sas_address = 0x500e0eca00010000ull;
        second = build_sas_shelf(t, first.out_port, b);
        write_file("/etc/model.conf", "[System Enclosure]\nCAP = 0\n");
    }
    // Replaces one "key value" line of a shelf's SES description.
    void describe(int sg, const std::string &key, const std::string &value) {
        std::string path = "/sim/ses/sg" + std::to_string(sg);
        std::string text = read_file(path), out;
        size_t start = 0;
        while (start < text.size()) {
            size_t end = text.find('\n', start);
            std::string line = text.substr(start, end - start);
            if (line.rfind(key + " ", 0) != 0)
                out += line + "\n";
            start = end == std::string::npos ? text.size() : end + 1;
        }
        write_file(path, out + key + " " + value + "\n");
    }
    static std::vector<std::string> take(char **list, int n) {
        std::vector<std::string> ids;
        for (int i = 0; i < n; ++i) {
            ids.emplace_back(list[i]);
            free(list[i]);
        }
        std::sort(ids.begin(), ids.end());
        return ids;
    }
    static std::vector<std::string> sg_names(const std::vector<int> &sgs) {
        std::vector<std::string> ids;
        for (int sg : sgs)
            ids.push_back("sg" + std::to_string(sg));
        std::sort(ids.begin(), ids.end());
        return ids;
    }
    Appliance app = Appliance::fresh();
    SysfsTree t;
    SasShelf first, second;
};

TEST_F(SasShelves, BothShelvesAreEnclosuresAndTheChainedOneHangsOnTheFirst) {
    char *ids[4] = {};
    ASSERT_EQ(sas_expander_enumerate(ids, 4), 2);
    EXPECT_EQ(take(ids, 2), (std::vector<std::string>{"sg10", "sg30"}));

    ENC_INFO info{};
    ASSERT_EQ(sas_expander_getinfo("sg10", &info), 0);
    EXPECT_EQ(info.enc_id, -1);
    EXPECT_STREQ(info.enc_sys_id, "sg10");
    EXPECT_STREQ(info.enc_parent_sys_id, "root");
    EXPECT_STREQ(info.vendor, "VIRTUAL") << "the descriptor's padding must be trimmed";
    EXPECT_STREQ(info.model, "JBOD-12");
    EXPECT_STREQ(info.revision, "01.10");
    EXPECT_STREQ(info.serial, "SHELF0001");
    EXPECT_EQ(info.protocol, 3);
    EXPECT_EQ(info.capability, 0u) << "another maker's shelf is not one of ours";
    const unsigned char wwn[8] = {0x50, 0x0e, 0x0e, 0xca, 0, 0, 0, 0};
    EXPECT_EQ(memcmp(info.wwn, wwn, 8), 0);
    EXPECT_EQ(info.max_disk_num, 12);
    EXPECT_EQ(info.max_fan_num, 6);
    EXPECT_EQ(info.max_temp_num, 4);
    EXPECT_EQ(info.max_conn_num, 2) << "only the external connectors count";
    EXPECT_EQ(info.conn_status[0], 0x11u);
    EXPECT_EQ(info.conn_status[1], 0x10u);

    ENC_INFO chained{};
    ASSERT_EQ(sas_expander_getinfo("sg30", &chained), 0);
    EXPECT_STREQ(chained.enc_parent_sys_id, "sg10");
    EXPECT_EQ(chained.max_disk_num, 24);

    write_file("/etc/model.conf", "[System Enclosure]\nCAP = 80\n");
    ENC_INFO refused{};
    EXPECT_EQ(sas_expander_getinfo("sg10", &refused), -1) << "the model refuses SAS shelves";
}

TEST_F(SasShelves, OwnShelvesCountFansAndSensorsByModel) {
    struct Case {
        const char *model;
        int fans;
        uint32_t cap;
    } cases[] = {
        {"VEXP-3100U-RP", 4, CAP_INTERNAL | CAP_REDUNDANT_POWER},
        {"VEXP-3120U-RP", 6, CAP_INTERNAL | CAP_REDUNDANT_POWER},
        {"VEXP-1200U-Pro", 6, CAP_INTERNAL},
    };
    describe(10, "vendor", "VORN");
    for (const Case &c : cases) {
        describe(10, "product", c.model);
        ENC_INFO info{};
        ASSERT_EQ(sas_expander_getinfo("sg10", &info), 0) << c.model;
        EXPECT_EQ(info.max_fan_num, c.fans) << c.model;
        EXPECT_EQ(info.max_temp_num, c.fans - 2) << c.model;
        EXPECT_EQ(info.capability, c.cap) << c.model;
    }
}

TEST_F(SasShelves, EveryDiskIsFoundInTheBayTheEnclosureReports) {
    struct Shelf {
        const char *ses;
        const SasShelf *shelf;
    } shelves[] = {{"sg10", &first}, {"sg30", &second}};
    for (const Shelf &s : shelves) {
        char *list[64] = {};
        // The dispatcher for the first shelf; the second directly, as the dispatcher's udev
        // notice per disk costs a shell each.
        int n = s.shelf == &first ? pd_sys_enumerate(s.ses, list, 64)
                                  : enumerate_pd_in_sas_expander(s.ses, list, 64);
        ASSERT_EQ(n, static_cast<int>(s.shelf->disk_sgs.size())) << s.ses;
        EXPECT_EQ(take(list, n), sg_names(s.shelf->disk_sgs))
            << s.ses << ": the enclosure device or the next shelf's disks were taken for its own";
        // Each disk of the first shelf through the whole path (its address from its own
        // identification page, then the enclosure's page); the chained shelf's 24 from one
        // read of its page, which keeps the test's tool runs few.
        std::string page(4096, '\0');
        std::string command = std::string("/sbin/sg_ses -p 0xa -rr /dev/") + s.ses;
        int page_len = comm_sys_read_from_popen(command.c_str(), page.data(), 4096);
        ASSERT_GT(page_len, 8);
        for (size_t i = 0; i < s.shelf->disk_sgs.size(); ++i) {
            unsigned char address[8];
            for (int b = 0; b < 8; ++b)
                address[b] = static_cast<unsigned char>(s.shelf->disk_addresses[i] >> (56 - 8 * b));
            const std::string sg = "sg" + std::to_string(s.shelf->disk_sgs[i]);
            if (s.shelf == &first) {
                unsigned char own[8] = {};
                ASSERT_EQ(comm_sys_get_sas_target_port_address(sg.c_str(), own), 0);
                EXPECT_EQ(memcmp(own, address, 8), 0) << sg;
                PD_INFO pd{};
                ASSERT_EQ(get_port_in_sas_enclosure(s.ses, own, &pd), 0);
                EXPECT_EQ(pd.port_id, s.shelf->bays[i]) << sg;
            } else {
                EXPECT_EQ(nashal::disk::decode_additional_status_port(
                              reinterpret_cast<const unsigned char *>(page.data()) + 8,
                              static_cast<size_t>(page_len) - 8, address),
                          s.shelf->bays[i])
                    << sg;
            }
        }
    }
    EXPECT_EQ(first.bays.size(), 11u) << "bay 5 is empty";

    const unsigned char stranger[8] = {0x50, 0, 0, 0, 0, 0, 0, 0x99};
    PD_INFO pd{};
    EXPECT_EQ(get_port_in_sas_enclosure("sg10", stranger, &pd), 0);
    EXPECT_EQ(pd.port_id, 0) << "an address the enclosure doesn't know keeps bay 0";

    // lsscsi, reading the same sysfs, lists the same disks (its type column says "disk").
    char out[8192];
    // -k prints the kernel's names: the appliance's /dev holds plain files, not device nodes.
    ASSERT_GT(comm_sys_read_from_popen("lsscsi -g -k", out, sizeof out), 0);
    std::vector<std::string> listed;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        while (!line.empty() && line.back() == ' ')
            line.pop_back();
        if (line.find(" disk ") != std::string::npos)
            listed.push_back(line.substr(line.rfind("/dev/") + 5));
    }
    std::sort(listed.begin(), listed.end());
    std::vector<int> all(first.disk_sgs);
    all.insert(all.end(), second.disk_sgs.begin(), second.disk_sgs.end());
    EXPECT_EQ(listed, sg_names(all)) << out;

    char *few[4] = {};
    EXPECT_EQ(enumerate_pd_in_sas_expander("sg30", few, 4), 24) << "all are counted";
    take(few, 4);
}

TEST_F(SasShelves, ADiskOfAShelfIsCollectedWithItsBayAndTheKernelPlacesItAlike) {
    // The first disk, and one behind the empty bay, through the whole collector.
    for (size_t i : {size_t{0}, size_t{4}}) {
        const std::string sg = "sg" + std::to_string(first.disk_sgs[i]);
        SCOPED_TRACE(sg);
        PD_INFO info{};
        ASSERT_EQ(pd_sys_getinfo("sg10", sg.c_str(), &info), 0);
        EXPECT_EQ(info.port_id, first.bays[i]);
        EXPECT_EQ(info.type, PD_TYPE_SAS);
        EXPECT_STREQ(info.enc_sys_id, "sg10");
        EXPECT_EQ(std::string(info.pd_sys_name), "/dev/" + first.blocks[i]);
        EXPECT_STREQ(info.vendor, "SEAGATE ");
        EXPECT_EQ(info.capabilities & (PD_CAP_WWN | PD_CAP_SMART | PD_CAP_SELF_TEST |
                                       PD_CAP_SERIAL | PD_CAP_STANDBY),
                  static_cast<uint32_t>(PD_CAP_WWN | PD_CAP_SMART | PD_CAP_SELF_TEST |
                                        PD_CAP_SERIAL | PD_CAP_STANDBY));
        unsigned char address[8];
        for (int b = 0; b < 8; ++b)
            address[b] = static_cast<unsigned char>(first.disk_addresses[i] >> (56 - 8 * b));
        EXPECT_EQ(memcmp(info.wwn, address, 8), 0) << "the target device's SAS address";
        EXPECT_EQ(read_file("/sim/sas/" + sg + "/iec"), "0 0 1 0 0 0 1 6 300 0\n")
            << "the disk was told to report failure prediction when asked";
    }

    // The kernel's enclosure class: a component per slot, each holding the disk the SES page
    // places there, and the disk pointing back at it.
    const std::string enc = "/sys/class/enclosure/";
    std::vector<std::string> enclosures = list_dir(enc);
    ASSERT_EQ(enclosures.size(), 2u);
    for (const auto &name : enclosures) {
        char target[512] = {};
        ASSERT_GT(readlink((enc + name + "/device").c_str(), target, sizeof target - 1), 0);
        const bool is_first = read_file(enc + name + "/components") == "12\n";
        const SasShelf &shelf = is_first ? first : second;
        for (size_t i = 0; i < shelf.disk_sgs.size(); ++i) {
            const std::string component = enc + name + "/" + std::to_string(shelf.bays[i] - 1);
            EXPECT_TRUE(
                exists(component + "/device/scsi_generic/sg" + std::to_string(shelf.disk_sgs[i])))
                << component;
            EXPECT_EQ(read_file(component + "/status"), "OK\n");
            EXPECT_TRUE(exists(component + "/device/enclosure_device:" +
                               std::to_string(shelf.bays[i] - 1) + "/slot"));
        }
        if (is_first) {
            EXPECT_EQ(read_file(enc + name + "/4/status"), "not installed\n") << "bay 5";
        }
    }
}

TEST_F(SasShelves, ControlsReachTheirElementsAndReadBack) {
    // Temperature index 10 is element 3 (SES index 2); the byte is degrees plus 20.
    set_ses_element("", 10, 0x04, 2, {0x01, 0, 57, 0});
    double temperature = 0;
    ASSERT_EQ(se_sys_get_temp("sg10", 10, &temperature), 0);
    EXPECT_EQ(temperature, 37.0);
    EXPECT_EQ(se_sys_get_temp("sg10", 2, &temperature), -1) << "no such sensor index";

    // Fan 10 is element 4 (SES index 3): 11-bit speed 0x1f4 = 5000 rpm, status critical.
    set_ses_element("", 10, 0x03, 3, {0x02, 0x01, 0xf4, 0});
    int speed = 0, status = 0;
    ASSERT_EQ(se_sys_get_fan_speed("sg10", 10, &speed, &status), 0);
    EXPECT_EQ(speed, 5000);
    EXPECT_EQ(status, 1);
    EXPECT_EQ(se_sys_get_fan_speed("sg10", 9, &speed, &status), -1)
        << "fan 9 is element 10, past the six the shelf has";

    ASSERT_EQ(se_sys_set_fan_speed("sg10", 0, 5), 0);
    EXPECT_EQ(ses_element("", 10, 0x03, 0)[3] & 7, 5) << "the overall cooling element sets all";

    ASSERT_EQ(se_sys_set_ident_led("sg10", 1), 0);
    EXPECT_EQ(ses_element("", 10, 0x0e, 0)[1] & 0x80, 0x80);
    ASSERT_EQ(se_sys_set_ident_led("sg10", 0), 0);
    EXPECT_EQ(ses_element("", 10, 0x0e, 0)[1] & 0x80, 0);

    ASSERT_EQ(se_sys_set_7_segment_led("sg10", 42), 0);
    EXPECT_EQ(ses_element("", 10, 0x0c, 0), (std::vector<int>{0, 2, '4', 0}));
    EXPECT_EQ(ses_element("", 10, 0x0c, 1), (std::vector<int>{0, 2, '2', 0}));
    ASSERT_EQ(se_sys_set_7_segment_led("sg10", 7), 0);
    EXPECT_EQ(ses_element("", 10, 0x0c, 0)[2], '0') << "a two-digit display shows 07";

    struct Psu {
        int code;
        int status;
    } psus[] = {{0x01, 0}, {0x05, -2}, {0x02, -1}};
    for (const Psu &p : psus) {
        set_ses_element("", 10, 0x02, 1, {p.code, 0, 0, 0});
        int psu = 99;
        ASSERT_EQ(se_sys_get_power_supply_status("sg10", 2, &psu), 0);
        EXPECT_EQ(psu, p.status) << "code " << p.code;
    }
    // A shelf whose page has no display element at all.
    describe(10, "type", "0x17 12");
    int psu = 0;
    EXPECT_EQ(se_sys_set_7_segment_led("sg10", 1), -1);
    EXPECT_EQ(se_sys_get_power_supply_status("sg10", 1, &psu), -1);
}

TEST_F(SasShelves, VendorPagesRoundTrip) {
    char name[64];
    EXPECT_EQ(se_sys_get_nickname("sg10", name, sizeof name), -1) << "no name set yet";
    const std::string full(32, 'N');
    ASSERT_EQ(se_sys_set_nickname("sg10", full.c_str()), 0);
    ASSERT_EQ(se_sys_get_nickname("sg10", name, sizeof name), 0);
    EXPECT_EQ(std::string(name), full);
    char small[32];
    ASSERT_EQ(se_sys_get_nickname("sg10", small, sizeof small), 0);
    EXPECT_EQ(std::string(small), full.substr(0, 31)) << "the terminator takes the last byte";
    EXPECT_EQ(se_sys_set_nickname("sg10", (full + "N").c_str()), -1);
    EXPECT_EQ(se_sys_set_nickname("sg10", ""), -1);

    char address[32];
    ASSERT_EQ(se_sys_get_sas_addr("sg30", address, sizeof address), 0);
    EXPECT_STREQ(address, "500e0eca00010000");
    ASSERT_EQ(se_sys_set_sas_addr("sg30", "500e0eca0001ff00"), 0);
    ASSERT_EQ(se_sys_get_sas_addr("sg30", address, sizeof address), 0);
    EXPECT_STREQ(address, "500e0eca0001ff00");
    EXPECT_EQ(se_sys_set_sas_addr("sg30", "500e0eca0001ff0"), -1);
    EXPECT_EQ(se_sys_set_sas_addr("sg30", "500e0eca0001;f00"), -1) << "no address, and a shell";

    ASSERT_EQ(se_sys_set_heartbeat("sg10"), 0);
    EXPECT_NE(read_file("/sim/ses/sg10").find("heartbeats 1"), std::string::npos);
    EXPECT_EQ(se_sys_set_heartbeat("root"), -1);

    uint32_t connectors[8] = {};
    EXPECT_EQ(se_sys_get_connector_status("sg30", connectors, 1), 1) << "never past max";
}

TEST_F(SasShelves, LinkStateCountsTheFastPhysOfAPort) {
    int links = 0, speed = 0;
    ASSERT_EQ(se_sys_get_phy_link_state("sg30", 0, &links, &speed), 0);
    EXPECT_EQ(links, 4);
    EXPECT_EQ(speed, 6);
    const std::string phys = second.expander + "/phy-2:1:";
    t.attribute(phys + "10/sas_phy/phy-2:1:10", "negotiated_linkrate", "3.0 Gbit\n");
    t.attribute(phys + "11/sas_phy/phy-2:1:11", "negotiated_linkrate", "1.5 Gbit\n");
    t.attribute(phys + "9/sas_phy/phy-2:1:9", "negotiated_linkrate", "Phy disabled\n");
    ASSERT_EQ(se_sys_get_phy_link_state("sg30", 1, &links, &speed), 0);
    EXPECT_EQ(links, 2);
    EXPECT_EQ(speed, 3) << "the speed of the last phy that counts";
}

TEST_F(SasShelves, AShelfUnpluggedDuringTheScanFailsCleanly) {
    remove_tree("/sys/class/scsi_generic/sg30");
    ENC_INFO info{};
    EXPECT_EQ(sas_expander_getinfo("sg30", &info), -1);
    char *list[4] = {};
    EXPECT_EQ(enumerate_pd_in_sas_expander("sg30", list, 4), -1);
    // The disks of the first shelf are still all there.
    char *disks[16] = {};
    EXPECT_EQ(enumerate_pd_in_sas_expander("sg10", disks, 16), 11);
    take(disks, 11);
}

}  // namespace
