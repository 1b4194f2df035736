// The configuration store as the registry uses it: fields, integers, bitmaps and the lock pair.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <string>
#include <vector>

#include "foundation/ini_snapshot.h"
#include "nashal/ini_conf.h"
#include "sim/appliance.h"
#include "sim/fs.h"

using namespace nashal::sim;

namespace {

class Store : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(app_.activate()); }

    std::string get(const char *file, const char *section, const char *field, int size = 64) {
        std::vector<char> buf(static_cast<size_t>(size), 'X');
        int r = Ini_Conf_Get_Field(file, section, field, buf.data(), size);
        return r > 0 ? std::string(buf.data()) : std::string("<missing>");
    }

    Appliance app_ = Appliance::fresh();
};

constexpr const char *kHal = "/etc/hal.conf";

}  // namespace

TEST_F(Store, SetCreatesFileSectionAndFieldAndGetReadsThemBack) {
    ASSERT_GE(Ini_Conf_Set_Field(kHal, "Enclosure_0", "enc_sys_id", "root"), 0);
    ASSERT_GE(Ini_Conf_Set_Field(kHal, "System Enclosure", "Max Stack Num", "4"), 0);
    ASSERT_GE(Ini_Conf_Set_Field(kHal, "Enclosure_0", "HD 1 sg2", "usb_1-1.2"), 0);
    EXPECT_EQ(get(kHal, "Enclosure_0", "enc_sys_id"), "root");
    EXPECT_EQ(get(kHal, "System Enclosure", "Max Stack Num"), "4");
    EXPECT_EQ(get(kHal, "Enclosure_0", "HD 1 sg2"), "usb_1-1.2");
    EXPECT_EQ(get(kHal, "Enclosure_1", "enc_sys_id"), "<missing>");
    EXPECT_EQ(get(kHal, "Enclosure_0", "model"), "<missing>");
    EXPECT_EQ(get("/etc/nothing.conf", "Enclosure_0", "enc_sys_id"), "<missing>");
}

TEST_F(Store, FileIsPlainIniThatOtherProgramsCanRead) {
    Ini_Conf_Set_Field(kHal, "Index", "enc_bitmap", "0x1");
    Ini_Conf_Set_Field(kHal, "Enclosure_0", "enc_sys_id", "root");
    Ini_Conf_Set_Field(kHal, "Index", "pd_count", "3");
    EXPECT_EQ(read_file(kHal),
              "[Index]\nenc_bitmap = 0x1\npd_count = 3\n[Enclosure_0]\nenc_sys_id = root\n");
}

TEST_F(Store, HandWrittenModelFileKeepsItsCommentsAndLayoutWhenOneFieldChanges) {
    const std::string model =
        "; board NX-800\n[System Enclosure]\nVENDOR=Vornix\n  MODEL =  NX-800  \n\n"
        "# slots\n[System Disk]\nDISK_NUM = 8\n";
    write_file("/etc/model.conf", model);
    EXPECT_EQ(get("/etc/model.conf", "System Enclosure", "MODEL"), "NX-800");
    EXPECT_EQ(get("/etc/model.conf", "System Enclosure", "VENDOR"), "Vornix");
    ASSERT_GE(Ini_Conf_Set_Field("/etc/model.conf", "System Disk", "DISK_NUM", "4"), 0);
    ASSERT_GE(Ini_Conf_Set_Field("/etc/model.conf", "System Enclosure", "CAP", "0x8000"), 0);
    EXPECT_EQ(read_file("/etc/model.conf"),
              "; board NX-800\n[System Enclosure]\nVENDOR=Vornix\n  MODEL =  NX-800  \n"
              "CAP = 0x8000\n\n# slots\n[System Disk]\nDISK_NUM = 4\n");
}

// Files written by hand or by other programs: no newline at the end, CRLF lines, blanks in the
// brackets, a header cut short, a section split in two blocks, comments that look like fields.
TEST_F(Store, QueriesReadHandEditedFilesAsTheirAuthorMeantThem) {
    struct Case {
        const char *text, *section, *field, *expected;
    } cases[] = {
        {"[Index]\nenc_bitmap = 0x1", "Index", "enc_bitmap", "0x1"},
        {"[Index]\r\nenc_bitmap = 0x3\r\n", "Index", "enc_bitmap", "0x3"},
        {"[ Index ]\n  enc_bitmap\t=\t0x5  \n", "Index", "enc_bitmap", "0x5"},
        {"[A]\nx = 1\n[B]\ny = 2\n[A]\nz = 3\n", "A", "z", "3"},
        {"[A]\nx = 1\n[B]\ny = 2\n", "B", "x", "<missing>"},
        {"[A\nx = 1\n", "A", "x", "<missing>"},
        {"[A]\n[B\nx = 1\n", "A", "x", "1"},
        {"x = 0\n[A]\nx = 1\n", nullptr, "x", "0"},
        {"[A]\nx = 1\n", nullptr, "x", "<missing>"},
        {"[A]\nx=1=2\n", "A", "x", "1=2"},
        {"[A]\nx=1=2\n", "A", "x=1", "<missing>"},
        {"[A]\n; x = 9\n#x = 8\nxx = 6\nx = 7\n", "A", "x", "7"},
        {"[A]\nx =\n", "A", "x", ""},
    };
    for (const Case &c : cases) {
        write_file("/etc/hand.conf", c.text);
        EXPECT_EQ(get("/etc/hand.conf", c.section, c.field), c.expected)
            << "[" << (c.section ? c.section : "(none)") << "] " << c.field << " in\n"
            << c.text;
    }
}

TEST_F(Store, SetChangesOneLineOrAddsOneAndLeavesEveryOtherByteAlone) {
    struct Case {
        const char *text, *section, *field, *value, *expected;
    } cases[] = {
        {"[Index]\nenc_bitmap = 0x1", "Index", "pd", "3", "[Index]\nenc_bitmap = 0x1\npd = 3\n"},
        {"[Index]\r\nenc_bitmap = 0x3\r\nx = 1\r\n", "Index", "enc_bitmap", "0x7",
         "[Index]\r\nenc_bitmap = 0x7\nx = 1\r\n"},
        {"[A]\nx = 1\n[B]\ny = 2\n[A]\nz = 3\n", "A", "w", "4",
         "[A]\nx = 1\nw = 4\n[B]\ny = 2\n[A]\nz = 3\n"},
        {"[A]\nx = 1\n[B]\ny = 2\n[A]\nz = 3\n", "A", "z", "5",
         "[A]\nx = 1\n[B]\ny = 2\n[A]\nz = 5\n"},
        {"[A]\nx = 1", "B", "y", "2", "[A]\nx = 1\n[B]\ny = 2\n"},
        {"", nullptr, "x", "1", "x = 1\n"},
        {"[A]\n", "A", "x", "", "[A]\nx =\n"},
    };
    for (const Case &c : cases) {
        write_file("/etc/hand.conf", c.text);
        ASSERT_GE(Ini_Conf_Set_Field("/etc/hand.conf", c.section, c.field, c.value), 0);
        EXPECT_EQ(read_file("/etc/hand.conf"), c.expected)
            << "[" << (c.section ? c.section : "(none)") << "] " << c.field << " in\n"
            << c.text;
    }
}

TEST_F(Store, SetOfTheValueAFieldHoldsLeavesTheFileUntouched) {
    write_file(kHal, "[Index]\nenc_bitmap  =  0x1");
    struct stat before, after;
    ASSERT_EQ(stat(kHal, &before), 0);
    ASSERT_GE(Ini_Conf_Set_Field(kHal, "Index", "enc_bitmap", "0x1"), 0);
    ASSERT_EQ(stat(kHal, &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino) << "the file was rewritten for nothing";
    EXPECT_EQ(read_file(kHal), "[Index]\nenc_bitmap  =  0x1");
}

// Queries read the whole file, however long: the last field of a 100 KB file is found.
TEST_F(Store, BigFileIsReadToItsEnd) {
    std::string text;
    for (int s = 0; s < 100; ++s) {
        text += "[PhysicalDisk_" + std::to_string(s) + "]\n";
        for (int f = 0; f < 40; ++f)
            text += "field_" + std::to_string(f) + " = some value of a disk\n";
    }
    text += "[Last]\nfield = end\n";
    ASSERT_GT(text.size(), 100000u);
    write_file(kHal, text);
    EXPECT_EQ(get(kHal, "Last", "field"), "end");
    EXPECT_EQ(get(kHal, "PhysicalDisk_99", "field_39"), "some value of a disk");
    ASSERT_GE(Ini_Conf_Set_Field(kHal, "Last", "field", "changed"), 0);
    EXPECT_EQ(get(kHal, "Last", "field"), "changed");
    EXPECT_EQ(read_file(kHal).size(), text.size() + 4);
}

TEST_F(Store, FieldsOutsideAnySectionUseANullSection) {
    ASSERT_GE(Ini_Conf_Set_Field("/etc/enclosure_upgrade.info", nullptr, "enc_bitmap", "0x6"), 0);
    Ini_Conf_Set_Field("/etc/enclosure_upgrade.info", "Other", "enc_bitmap", "0x1");
    EXPECT_EQ(get("/etc/enclosure_upgrade.info", nullptr, "enc_bitmap"), "0x6");
    EXPECT_EQ(get("/etc/enclosure_upgrade.info", "Other", "enc_bitmap"), "0x1");
    Ini_Conf_Set_Field("/etc/enclosure_upgrade.info", nullptr, "blink", "1");
    EXPECT_EQ(read_file("/etc/enclosure_upgrade.info"),
              "enc_bitmap = 0x6\nblink = 1\n[Other]\nenc_bitmap = 0x1\n");
}

TEST_F(Store, ValueIsCutToTheCallersBufferAndAlwaysTerminated) {
    Ini_Conf_Set_Field(kHal, "Enclosure_0", "serial", "0123456789abcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(get(kHal, "Enclosure_0", "serial", 16), "0123456789abcde");
    EXPECT_EQ(get(kHal, "Enclosure_0", "serial", 1), "");
    Ini_Conf_Set_Field(kHal, "Enclosure_0", "empty", "");
    char buf[8] = "X";
    EXPECT_GT(Ini_Conf_Get_Field(kHal, "Enclosure_0", "empty", buf, sizeof buf), 0)
        << "an empty value is still found";
    EXPECT_STREQ(buf, "");
}

TEST_F(Store, AValueMayNameAnotherFieldOfTheSameSection) {
    const char *map = "/etc/config/enclosure.map";
    Ini_Conf_Set_Field(map, "Map", "enc_1", "wwn_5000c500a1b2c3d4");
    Ini_Conf_Set_Field(map, "Map", "wwn_5000c500a1b2c3d4", "enc_1");
    char other[64];
    ASSERT_GT(Ini_Conf_Get_Field(map, "Map", "enc_1", other, sizeof other), 0);
    EXPECT_EQ(get(map, "Map", other), "enc_1");
}

TEST_F(Store, SetRefusesTextsThatWouldChangeTheFilesMeaning) {
    EXPECT_LT(Ini_Conf_Set_Field(kHal, "Enclosure_0", "a=b", "1"), 0);
    EXPECT_LT(Ini_Conf_Set_Field(kHal, "Enclosure_0", "name", "two\nlines"), 0);
    EXPECT_LT(Ini_Conf_Set_Field(kHal, "Enclosure\n0", "name", "x"), 0);
    EXPECT_LT(Ini_Conf_Set_Field(kHal, "Enclosure_0", "[x]", "1"), 0);
    EXPECT_LT(Ini_Conf_Set_Field(kHal, "Enclosure_0", nullptr, "1"), 0);
    EXPECT_LT(Ini_Conf_Set_Field(kHal, "Enclosure_0", "name", nullptr), 0);
    EXPECT_FALSE(exists(kHal));
}

TEST_F(Store, IntegersReadAndWriteTheSameWayInBothFormats) {
    struct Case {
        int32_t value;
        int format;
        const char *text;
    } cases[] = {
        {12, 0, "12"},
        {-1, 0, "-1"},
        {0x400000, 1, "0x400000"},
        {static_cast<int32_t>(0x80000004u), 1, "0x80000004"},
        {0, 1, "0x0"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        ASSERT_GT(Ini_Conf_Set_Field_Int(kHal, "Enclosure_0", "capability", c.value, c.format), 0);
        EXPECT_EQ(get(kHal, "Enclosure_0", "capability"), c.text);
        int32_t back = 7;
        EXPECT_GT(Ini_Conf_Get_Field_Int(kHal, "Enclosure_0", "capability", &back, c.format), 0);
        EXPECT_EQ(back, c.value);
    }
}

TEST_F(Store, HexadecimalIsReadWithOrWithoutPrefix) {
    write_file("/etc/model.conf",
               "[System Enclosure]\nCAP = 08000000\nMAC_MASK = 0Xff\n"
               "DISK = 8\nBAD = none\n");
    int32_t v = 0;
    EXPECT_GT(Ini_Conf_Get_Field_Int("/etc/model.conf", "System Enclosure", "CAP", &v, 1), 0);
    EXPECT_EQ(v, 0x08000000);
    EXPECT_GT(Ini_Conf_Get_Field_Int("/etc/model.conf", "System Enclosure", "MAC_MASK", &v, 1), 0);
    EXPECT_EQ(v, 0xff);
    EXPECT_GT(Ini_Conf_Get_Field_Int("/etc/model.conf", "System Enclosure", "DISK", &v, 0), 0);
    EXPECT_EQ(v, 8);
    v = 42;
    EXPECT_LT(Ini_Conf_Get_Field_Int("/etc/model.conf", "System Enclosure", "BAD", &v, 0), 1);
    EXPECT_EQ(v, 42) << "a value that is no number must not overwrite the default";
}

TEST_F(Store, MissingFileSectionOrFieldLeavesTheCallersDefault) {
    Ini_Conf_Set_Field_Int(kHal, "Enclosure_0", "protocol", 0, 0);
    int32_t v = 99;
    EXPECT_LT(Ini_Conf_Get_Field_Int("/etc/absent.conf", "Enclosure_0", "protocol", &v, 0), 0);
    EXPECT_LT(Ini_Conf_Get_Field_Int(kHal, "Enclosure_9", "protocol", &v, 0), 0);
    EXPECT_LT(Ini_Conf_Get_Field_Int(kHal, "Enclosure_0", "status", &v, 0), 0);
    EXPECT_EQ(v, 99);
}

TEST_F(Store, RemoveFieldAndSectionLeaveTheRestAlone) {
    Ini_Conf_Set_Field(kHal, "Enclosure_0", "a", "1");
    Ini_Conf_Set_Field(kHal, "Enclosure_0", "b", "2");
    Ini_Conf_Set_Field(kHal, "Enclosure_1", "a", "3");
    EXPECT_GE(Ini_Conf_Remove_Field(kHal, "Enclosure_0", "a"), 0);
    EXPECT_EQ(get(kHal, "Enclosure_0", "a"), "<missing>");
    EXPECT_EQ(get(kHal, "Enclosure_0", "b"), "2");
    EXPECT_EQ(get(kHal, "Enclosure_1", "a"), "3");
    EXPECT_GE(Ini_Conf_Remove_Section(kHal, "Enclosure_0"), 0);
    EXPECT_EQ(get(kHal, "Enclosure_0", "b"), "<missing>");
    EXPECT_EQ(read_file(kHal), "[Enclosure_1]\na = 3\n");
    EXPECT_GE(Ini_Conf_Remove_Section(kHal, "Enclosure_7"), 0) << "absent section";
    EXPECT_LT(Ini_Conf_Remove_Field("/etc/absent.conf", "Enclosure_0", "a"), 0);
    EXPECT_FALSE(exists("/etc/absent.conf"));
}

TEST_F(Store, BitmapSetResetAndCount) {
    EXPECT_EQ(Ini_Conf_Bitmap_Is_Bit_Set(kHal, "Index", "enc_bitmap", 0), 0) << "missing file";
    EXPECT_EQ(Ini_Conf_Bitmap_Get_Set_Count(kHal, "Index", "enc_bitmap"), 0);
    for (int bit : {0, 3, 33, 64})
        ASSERT_GE(Ini_Conf_Bitmap_Set_Bit(kHal, "Index", "enc_bitmap", bit), 0);
    EXPECT_EQ(Ini_Conf_Bitmap_Is_Bit_Set(kHal, "Index", "enc_bitmap", 33), 1);
    EXPECT_EQ(Ini_Conf_Bitmap_Is_Bit_Set(kHal, "Index", "enc_bitmap", 32), 0);
    EXPECT_EQ(Ini_Conf_Bitmap_Get_Set_Count(kHal, "Index", "enc_bitmap"), 4);
    EXPECT_EQ(Ini_Conf_Bitmap_Reset_Bit(kHal, "Index", "enc_bitmap", 33), 0);
    EXPECT_EQ(Ini_Conf_Bitmap_Reset_Bit(kHal, "Index", "enc_bitmap", 500), 0) << "already clear";
    EXPECT_EQ(Ini_Conf_Bitmap_Is_Bit_Set(kHal, "Index", "enc_bitmap", 33), 0);
    EXPECT_EQ(Ini_Conf_Bitmap_Get_Set_Count(kHal, "Index", "enc_bitmap"), 3);
    char text[32];
    ASSERT_GT(Ini_Conf_Get_Field(kHal, "Index", "enc_bitmap", text, sizeof text), 0);
    EXPECT_STREQ(text, "0x10000000000000009") << "the bitmap text fits the 32-byte copy buffer";
    EXPECT_LT(Ini_Conf_Bitmap_Set_Bit(kHal, "Index", "enc_bitmap", -1), 0);
}

TEST_F(Store, BitmapAndFormatOneIntegerAreTheSameField) {
    const char *det = "/tmp/.se_detached";
    ASSERT_GT(Ini_Conf_Set_Field_Int(det, "Enclosure_2", "pd_bitmap", 0x80000005, 1), 0);
    EXPECT_EQ(Ini_Conf_Bitmap_Is_Bit_Set(det, "Enclosure_2", "pd_bitmap", 31), 1);
    EXPECT_EQ(Ini_Conf_Bitmap_Is_Bit_Set(det, "Enclosure_2", "pd_bitmap", 2), 1);
    EXPECT_EQ(Ini_Conf_Bitmap_Is_Bit_Set(det, "Enclosure_2", "pd_bitmap", 1), 0);
    Ini_Conf_Bitmap_Set_Bit(det, "Enclosure_2", "pd_bitmap", 40);
    Ini_Conf_Bitmap_Reset_Bit(det, "Enclosure_2", "pd_bitmap", 0);
    int32_t v = 0;
    ASSERT_GT(Ini_Conf_Get_Field_Int(det, "Enclosure_2", "pd_bitmap", &v, 1), 0);
    EXPECT_EQ(static_cast<uint32_t>(v), 0x80000004u) << "an integer sees the low 32 bits";
}

TEST_F(Store, NextFreeBitTakesTheLowestClearBitFromTheStartAndMarksIt) {
    int bit = -1;
    ASSERT_EQ(Ini_Conf_Bitmap_Get_Next_Free_Bit(kHal, "Index", "enc_bitmap", &bit, 32, 1), 0);
    EXPECT_EQ(bit, 32) << "start bit 32 on an empty bitmap";
    ASSERT_EQ(Ini_Conf_Bitmap_Get_Next_Free_Bit(kHal, "Index", "enc_bitmap", &bit, 32, 1), 0);
    EXPECT_EQ(bit, 33);
    ASSERT_EQ(Ini_Conf_Bitmap_Get_Next_Free_Bit(kHal, "Index", "enc_bitmap", &bit, 0, 1), 0);
    EXPECT_EQ(bit, 0);
    ASSERT_EQ(Ini_Conf_Bitmap_Reset_Bit(kHal, "Index", "enc_bitmap", 32), 0);
    ASSERT_EQ(Ini_Conf_Bitmap_Get_Next_Free_Bit(kHal, "Index", "enc_bitmap", &bit, 1, 1), 0);
    EXPECT_EQ(bit, 1);
    ASSERT_EQ(Ini_Conf_Bitmap_Get_Next_Free_Bit(kHal, "Index", "enc_bitmap", &bit, 30, 0), 0);
    EXPECT_EQ(bit, 30) << "with mark 0 the bit is only found";
    ASSERT_EQ(Ini_Conf_Bitmap_Get_Next_Free_Bit(kHal, "Index", "enc_bitmap", &bit, 30, 1), 0);
    EXPECT_EQ(bit, 30);
    EXPECT_EQ(Ini_Conf_Bitmap_Get_Set_Count(kHal, "Index", "enc_bitmap"), 4);
}

namespace {
int take_all(int, void *) {
    return 0;
}
int skip_odd(int bit, void *cookie) {
    ++*static_cast<int *>(cookie);
    return bit % 2 ? -2 : 0;
}
int stop_at_five(int bit, void *) {
    return bit == 5 ? -1 : 1;
}
}  // namespace

TEST_F(Store, EnumerateStoresWhileCapacityLastsAndCountsEverythingTaken) {
    for (int bit = 0; bit < 20; ++bit)
        Ini_Conf_Bitmap_Set_Bit(kHal, "Index", "enc_bitmap", bit);
    int ids[16] = {};
    EXPECT_EQ(Ini_Conf_Bitmap_Enumerate(kHal, "Index", "enc_bitmap", ids, 16, nullptr, nullptr),
              20);
    EXPECT_EQ(ids[15], 15);
    EXPECT_EQ(Ini_Conf_Bitmap_Enumerate(kHal, "Index", "enc_bitmap", ids, 16, take_all, nullptr),
              20);
    EXPECT_EQ(Ini_Conf_Bitmap_Enumerate(kHal, "Index", "enc_bitmap", nullptr, 0, take_all, nullptr),
              20);
    int calls = 0;
    int even[16] = {};
    EXPECT_EQ(Ini_Conf_Bitmap_Enumerate(kHal, "Index", "enc_bitmap", even, 16, skip_odd, &calls),
              10);
    EXPECT_EQ(calls, 20);
    EXPECT_EQ(even[0], 0);
    EXPECT_EQ(even[1], 2);
    EXPECT_EQ(even[9], 18);
    EXPECT_EQ(
        Ini_Conf_Bitmap_Enumerate(kHal, "Index", "enc_bitmap", ids, 16, stop_at_five, nullptr), -1);
    EXPECT_EQ(Ini_Conf_Bitmap_Enumerate(kHal, "Index", "absent", ids, 16, nullptr, nullptr), 0);
}

TEST_F(Store, LockPairLetsTheHoldersOwnCallsThrough) {
    const char *det = "/tmp/.se_detached";
    INI_CONF_LOCK *lock = Ini_Conf_Write_Lock_File(det);
    ASSERT_NE(lock, nullptr) << "the file need not exist";
    int32_t detached = 0;
    EXPECT_LT(Ini_Conf_Get_Field_Int(det, "Enclosure_1", "detached", &detached, 0), 0);
    EXPECT_GT(Ini_Conf_Set_Field_Int(det, "Enclosure_1", "detached", 1, 0), 0);
    EXPECT_EQ(Ini_Conf_Bitmap_Set_Bit(det, "Enclosure_1", "pd_bitmap", 3), 0);
    INI_CONF_LOCK *nested = Ini_Conf_Write_Lock_File(det);
    ASSERT_NE(nested, nullptr);
    EXPECT_GE(Ini_Conf_Remove_Field(det, "Enclosure_1", "detached"), 0);
    Ini_Conf_Unlock_File(nested);
    EXPECT_GE(Ini_Conf_Set_Field(det, "Enclosure_1", "after_nested", "1"), 0);
    Ini_Conf_Unlock_File(lock);
    EXPECT_EQ(read_file(det), "[Enclosure_1]\npd_bitmap = 0x8\nafter_nested = 1\n");
}

TEST_F(Store, SetReplacesTheFileWholeAndKeepsItsMode) {
    write_file(kHal, "[Index]\n", 0600);
    ASSERT_GE(Ini_Conf_Set_Field(kHal, "Index", "enc_bitmap", "0x1"), 0);
    struct stat st;
    ASSERT_EQ(stat(kHal, &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    for (const std::string &name : list_dir("/etc"))
        EXPECT_EQ(name.find(".hal.conf."), std::string::npos) << "temporary file left: " << name;
}

TEST_F(Store, WritesThroughALinkChangeTheTargetAndKeepTheLink) {
    write_file("/etc/model_2.conf", "[System Enclosure]\nMODEL = NX-200\n");
    symlink_exact("/etc/model_2.conf", "/etc/model.conf");
    ASSERT_GE(Ini_Conf_Set_Field("/etc/model.conf", "System Enclosure", "MODEL", "NX-201"), 0);
    struct stat st;
    ASSERT_EQ(lstat("/etc/model.conf", &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ(get("/etc/model_2.conf", "System Enclosure", "MODEL"), "NX-201");
}

TEST(StoreInAppliance, LibraryWritesLandInTheApplianceAndNotOnTheMachine) {
    struct stat before;
    bool machine_had = stat("/etc/hal.conf", &before) == 0;
    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    ASSERT_GE(Ini_Conf_Set_Field("/etc/hal.conf", "Enclosure_0", "enc_sys_id", "root"), 0);
    app.deactivate();
    EXPECT_EQ(read_file(app.dir() + "/etc/hal.conf"), "[Enclosure_0]\nenc_sys_id = root\n");
    struct stat after;
    bool machine_has = stat("/etc/hal.conf", &after) == 0;
    EXPECT_EQ(machine_has, machine_had) << "the machine's /etc/hal.conf was created or removed";
    if (machine_had && machine_has) {
        EXPECT_EQ(after.st_mtime, before.st_mtime) << "the machine's /etc/hal.conf was written";
    }
    EXPECT_FALSE(exists("/etc/hal.conf.lck")) << "a lock file was made on the machine";
}

// A record reader's one read of a file: the answers are the store's own on the file as read,
// and stay so while the file changes and while other queries run.
TEST_F(Store, SnapshotAnswersAsTheStoreDidWhenItWasTaken) {
    ASSERT_TRUE(write_file(kHal,
                           "[Index]\nenc_bitmap = 0x80000005\n[Enclosure_0]\n"
                           "enc_sys_id = root\ncapability = 0x80000000\nstatus = x\n"));
    nashal::ini::Snapshot snap(kHal);
    ASSERT_TRUE(snap.present());
    // Another process replaces the file: the snapshot keeps the version it read.
    ASSERT_GE(Ini_Conf_Set_Field(kHal, "Enclosure_0", "enc_sys_id", "changed"), 0);
    char text[8];
    EXPECT_EQ(snap.get_field("Enclosure_0", "enc_sys_id", text, sizeof text), 5);
    EXPECT_STREQ(text, "root");
    EXPECT_EQ(snap.get_field("Enclosure_0", "enc_sys_id", text, 3), 3) << "cut and terminated";
    EXPECT_STREQ(text, "ro");
    int32_t v = 7;
    EXPECT_EQ(snap.get_field_int("Enclosure_0", "capability", &v, INI_CONF_HEX), 1);
    EXPECT_EQ(static_cast<uint32_t>(v), 0x80000000u);
    v = 7;
    EXPECT_EQ(snap.get_field_int("Enclosure_0", "status", &v, INI_CONF_DEC), 0);
    EXPECT_EQ(snap.get_field_int("Enclosure_0", "absent", &v, INI_CONF_DEC), -1);
    EXPECT_EQ(v, 7) << "a value that is no number, or none, leaves the caller's default";
    EXPECT_EQ(snap.bitmap_is_bit_set("Index", "enc_bitmap", 31), 1);
    EXPECT_EQ(snap.bitmap_is_bit_set("Index", "enc_bitmap", 1), 0);
    // Callbacks that query other files don't disturb the walk over the snapshot's bytes.
    struct Walk {
        std::vector<int> bits;
    } walk;
    int ids[2] = {-1, -1};
    int count = snap.bitmap_enumerate(
        "Index", "enc_bitmap", ids, 2,
        [](int bit, void *cookie) {
            char buf[16];
            Ini_Conf_Get_Field("/etc/other.conf", "S", "f", buf, sizeof buf);
            static_cast<Walk *>(cookie)->bits.push_back(bit);
            return bit == 2 ? -2 : 0;
        },
        &walk);
    EXPECT_EQ(count, 2) << "bit 2 passed over, bits 0 and 31 taken";
    EXPECT_EQ(walk.bits, (std::vector<int>{0, 2, 31}));
    EXPECT_EQ(ids[0], 0);
    EXPECT_EQ(ids[1], 31);

    // A file that isn't there answers as the store does for it: nothing found, an empty bitmap.
    nashal::ini::Snapshot none("/etc/none.conf");
    EXPECT_FALSE(none.present());
    EXPECT_EQ(none.get_field("Index", "enc_bitmap", text, sizeof text), -1);
    EXPECT_EQ(none.get_field_int("Index", "enc_bitmap", &v, INI_CONF_HEX), -1);
    EXPECT_EQ(none.bitmap_enumerate("Index", "enc_bitmap", ids, 2, nullptr, nullptr), 0);
}
