// ATA commands through SG_IO against the virtual appliance's emulated drives: the exact request
// the library sends, what a SAS disk or a mute bridge answers, and how the registers a drive
// returns in descriptor sense are read back.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "disk/ata_transport.h"
#include "nashal/pd_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sg_io_model.h"

using namespace nashal::sim;
using namespace nashal::ata;

namespace {

class AtaTransport : public ::testing::Test {
  protected:
    void SetUp() override {
        app_ = std::make_unique<Appliance>(Appliance::fresh());
        ASSERT_TRUE(app_->activate());
        write_file("/dev/sg0", "");
        clear_sg_io_requests();
    }
    std::unique_ptr<Appliance> app_;
};

TEST_F(AtaTransport, IdentifyIsSentAsThePassThroughBlockAndReturnsTheDriveData) {
    AtaDiskDesc disk;
    disk.model = "WDC WD40EFRX-68N32N0";
    disk.serial = "WD-WCC7K0000001";
    disk.sectors = 7814037168ull;
    ASSERT_TRUE(describe_ata_disk("", "sg0", disk));
    unsigned char buffer[512];
    ASSERT_EQ(get_sata_ident_resp("/dev/sg0", buffer), 0);
    auto image = identify_image(disk);
    EXPECT_EQ(memcmp(buffer, image.data(), sizeof buffer), 0);
    // Opcode 0x85, PIO data-in, T_DIR|BYT_BLOK|T_LENGTH=2, command 0xEC; no sense buffer.
    EXPECT_EQ(sg_io_requests(),
              std::vector<std::string>{"sg0 85 08 0e 00 00 00 00 00 00 00 00 00 00 00 ec 00 "
                                       "dir=-3 len=512 sense=0"});
}

TEST_F(AtaTransport, DrivesThatMoveNoOrTooFewBytesAreNotSata) {
    struct Case {
        const char *what;
        const char *identify;  // null: no description (a SAS disk)
        size_t size;
        const char *fail_errno;
    } cases[] = {
        {"SAS disk: illegal request, the whole length residual", nullptr, 0, nullptr},
        {"bridge answering zero bytes", "", 0, nullptr},
        {"bridge answering 3 bytes", "\x40\x00\x3f", 3, nullptr},
        {"request failing in the kernel", nullptr, 0, "5"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        remove_tree("/sim/ata/sg0");
        if (c.identify)
            write_file("/sim/ata/sg0/identify", std::string(c.identify, c.size));
        if (c.fail_errno)
            write_file("/sim/ata/sg0/errno", c.fail_errno);
        unsigned char buffer[512];
        EXPECT_EQ(get_sata_ident_resp("/dev/sg0", buffer), -1);
    }
    unsigned char buffer[512];
    EXPECT_EQ(get_sata_ident_resp("/dev/sg9", buffer), -1) << "no such node";
}

TEST_F(AtaTransport, EmulatorRefusesARequestThatDiffersFromTheCommandsForm) {
    ASSERT_TRUE(describe_ata_disk("", "sg0", AtaDiskDesc{}));
    uint8_t buffer[512];
    Request r{};
    r.block = ata_command({kProtocolPioDataIn, 0x0E, 0, 1, 0, 0, 0, kCmdIdentifyDevice});
    r.direction = Direction::kFromDevice;
    r.data = buffer;
    r.data_len = sizeof buffer;
    Reply reply;
    EXPECT_EQ(ata_pass_through("test", "/dev/sg0", r, &reply), -1);
    auto log = sg_io_requests();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[1], "sg0 REFUSED IDENTIFY DEVICE: block byte 6 is 01, not 00");
}

TEST_F(AtaTransport, AbortedCommandReturnsItsRegistersInDescriptorSense) {
    // NOP always aborts: the SAT layer returns error 0x04 and status 0x51 in an ATA Status
    // Return descriptor, which is how every CK_COND command reads its registers.
    ASSERT_TRUE(describe_ata_disk("", "sg0", AtaDiskDesc{}));
    Request r{};
    r.block = ata_command({kProtocolNonData, kFlagCheckCondition, 0, 0, 0, 0, 0, 0x00});
    r.direction = Direction::kNone;
    r.read_sense = true;
    Reply reply;
    ASSERT_EQ(ata_pass_through("test", "/dev/sg0", r, &reply), 0);
    EXPECT_EQ(reply.sense_len, 22);
    EXPECT_EQ(reply.sense[0], 0x72);
    EXPECT_EQ(reply.sense[1], 0x0B) << "ABORTED COMMAND";
    const StatusReturnDescriptor *regs = ata_returned_registers("test", reply);
    ASSERT_NE(regs, nullptr);
    EXPECT_EQ(reply.sense[8 + 3], 0x04);
    EXPECT_EQ(reply.sense[8 + 13], 0x51);
    EXPECT_EQ(regs->error, 0x04);
    EXPECT_EQ(regs->status, 0x51);
}

TEST(AtaSense, RegistersAreReadOnlyFromWellFormedStatusReturnSense) {
    const uint8_t good[22] = {0x72, 0x01, 0x00, 0x1d, 0, 0, 0,    14, 0x09, 0x0c, 0,
                              0,    0,    0xff, 0,    0, 0, 0x4f, 0,  0xc2, 0,    0x50};
    struct Case {
        const char *what;
        int len;
        int patch_at;
        uint8_t patch;
        bool ok;
    } cases[] = {
        {"descriptor sense with an ATA return descriptor", 22, -1, 0, true},
        {"length not additional length + 8", 21, -1, 0, false},
        {"7 bytes", 7, -1, 0, false},
        {"fixed format sense", 22, 0, 0x70, false},
        {"other descriptor first", 22, 8, 0x00, false},
        {"additional length too short for the descriptor", 10, 7, 2, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        Reply reply{};
        memcpy(reply.sense, good, sizeof good);
        reply.sense_len = c.len;
        if (c.patch_at >= 0)
            reply.sense[c.patch_at] = c.patch;
        const StatusReturnDescriptor *regs = ata_returned_registers("test", reply);
        EXPECT_EQ(regs != nullptr, c.ok);
        if (regs) {
            EXPECT_EQ(regs->count, 0xff);
            EXPECT_EQ(regs->lba_mid, 0x4f);
            EXPECT_EQ(regs->lba_high, 0xc2);
            EXPECT_EQ(regs->status, 0x50);
        }
    }
}

}  // namespace
