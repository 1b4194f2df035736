// An enclosure record read back with SE_Get_Info comes from one read of /etc/hal.conf: it gives
// what reading each field alone gives on an unchanged file, and on a file that another process
// keeps replacing it is always one of the versions written, never fields of two.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "nashal/hal_se.h"
#include "nashal/ini_conf.h"
#include "sim/appliance.h"
#include "sim/example_boards.h"
#include "sim/fs.h"

namespace {

const std::string kExamples = NASHAL_EXAMPLES_DIR;

// Every example board but x86-sas-shelves, whose scan of 94 SAS disks takes minutes under the
// sanitizers and whose shelf records the shelf tests read field by field.
std::vector<std::string> boards_to_read() {
    return nashal::test::example_boards({"x86-sas-shelves"});
}

// A record as it arrives from a caller that forgot to clear it: a field the reader leaves alone
// shows as this pattern.
ENC_INFO unset_record() {
    ENC_INFO info;
    memset(&info, 0x5a, sizeof info);
    return info;
}

// The record read the way it used to be: one store call, and so one read of the file, per
// field, with the rules of SE_Get_Info (missing keeps the caller's value; conn_status only when
// max_conn_num is set; only enc_id and enc_sys_id are required).
int field_by_field(int enc_id, ENC_INFO *info) {
    const char *f = HAL_CONF_FILE;
    std::string sec = "Enclosure_" + std::to_string(enc_id);
    const char *s = sec.c_str();
    int result = 0;
    auto num = [&](const char *field, auto *out, int format = INI_CONF_DEC) {
        int32_t v = 0;
        if (Ini_Conf_Get_Field_Int(f, s, field, &v, format) > 0)
            *out = static_cast<std::remove_pointer_t<decltype(out)>>(v);
    };
    int32_t id = 0;
    if (Ini_Conf_Get_Field_Int(f, s, "enc_id", &id, INI_CONF_DEC) > 0)
        info->enc_id = id;
    else
        result = -1;
    if (Ini_Conf_Get_Field(f, s, "enc_sys_id", info->enc_sys_id, sizeof info->enc_sys_id) <= 0)
        result = -1;
    Ini_Conf_Get_Field(f, s, "enc_parent_sys_id", info->enc_parent_sys_id,
                       sizeof info->enc_parent_sys_id);
    Ini_Conf_Get_Field(f, s, "wwn", reinterpret_cast<char *>(info->wwn), sizeof info->wwn);
    Ini_Conf_Get_Field(f, s, "serial", info->serial, sizeof info->serial);
    Ini_Conf_Get_Field(f, s, "vendor", info->vendor, sizeof info->vendor);
    Ini_Conf_Get_Field(f, s, "model", info->model, sizeof info->model);
    Ini_Conf_Get_Field(f, s, "revision", info->revision, sizeof info->revision);
    num("status", &info->status);
    num("protocol", &info->protocol);
    num("capability", &info->capability, INI_CONF_HEX);
    num("max_disk_num", &info->max_disk_num);
    num("max_fan_num", &info->max_fan_num);
    num("max_temp_num", &info->max_temp_num);
    num("max_pcie_num", &info->max_pcie_num);
    num("max_nic_num", &info->max_nic_num);
    num("enc_parent_port_id", &info->enc_parent_port_id);
    num("stack_id", &info->stack_id);
    num("max_conn_num", &info->max_conn_num);
    char conn[32] = {};
    if (info->max_conn_num != 0 && Ini_Conf_Get_Field(f, s, "conn_status", conn, sizeof conn) > 0) {
        char *save = nullptr;
        int n = 0;
        for (char *w = strtok_r(conn, ",", &save); w && n < MAX_CONN_NUM;
             w = strtok_r(nullptr, ",", &save))
            info->conn_status[n++] = static_cast<uint32_t>(strtoul(w, nullptr, 16));
    }
    uint32_t bitmap = 0;
    num("cache_port_bitmap", &bitmap, INI_CONF_HEX);
    info->cache_port_bitmap = bitmap;
    return result;
}

// Whether two records hold the same in every byte; the members that differ, for the message.
std::string differences(const ENC_INFO &a, const ENC_INFO &b) {
    std::string out;
#define NASHAL_CMP(m)                        \
    if (memcmp(&a.m, &b.m, sizeof a.m) != 0) \
        out += std::string(out.empty() ? "" : ", ") + #m;
    NASHAL_CMP(enc_id)
    NASHAL_CMP(enc_sys_id)
    NASHAL_CMP(enc_parent_sys_id)
    NASHAL_CMP(wwn)
    NASHAL_CMP(serial)
    NASHAL_CMP(vendor)
    NASHAL_CMP(model)
    NASHAL_CMP(revision)
    NASHAL_CMP(status)
    NASHAL_CMP(protocol)
    NASHAL_CMP(capability)
    NASHAL_CMP(max_disk_num)
    NASHAL_CMP(max_fan_num)
    NASHAL_CMP(max_temp_num)
    NASHAL_CMP(max_pcie_num)
    NASHAL_CMP(max_nic_num)
    NASHAL_CMP(max_conn_num)
    NASHAL_CMP(enc_parent_port_id)
    NASHAL_CMP(stack_id)
    NASHAL_CMP(conn_status)
    NASHAL_CMP(cache_port_bitmap)
#undef NASHAL_CMP
    if (out.empty() && memcmp(&a, &b, sizeof a) != 0)
        out = "bytes outside the named members";
    return out;
}

void expect_same_as_field_by_field(int enc_id, const std::string &where) {
    ENC_INFO whole = unset_record(), alone = unset_record();
    int r_whole = SE_Get_Info(enc_id, &whole);
    int r_alone = field_by_field(enc_id, &alone);
    EXPECT_EQ(r_whole, r_alone) << where << ", enclosure " << enc_id;
    EXPECT_EQ(differences(whole, alone), "") << where << ", enclosure " << enc_id;
}

class EveryBoard : public ::testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(EveryBoard, RecordHoldsWhatEachFieldReadAloneHolds) {
    auto app = nashal::sim::Appliance::copy_of(kExamples + "/" + GetParam());
    ASSERT_TRUE(app.activate());
    ASSERT_EQ(SE_Scan(), 0);
    int ids[MAX_SE_SYS_ENUM];
    int count = SE_Enumerate(ids, MAX_SE_SYS_ENUM, nullptr, nullptr);
    ASSERT_GT(count, 0) << "the scan of " << GetParam() << " attached nothing";
    for (int i = 0; i < count && i < MAX_SE_SYS_ENUM; ++i)
        expect_same_as_field_by_field(ids[i], GetParam());
    // An id with no section and a file that is gone fail alike both ways.
    expect_same_as_field_by_field(999, GetParam());
    unlink(HAL_CONF_FILE);
    expect_same_as_field_by_field(ids[0], GetParam() + " without /etc/hal.conf");
}

INSTANTIATE_TEST_SUITE_P(ExampleBoards, EveryBoard, ::testing::ValuesIn(boards_to_read()),
                         nashal::test::BoardCaseName());

// Files mended by hand or cut short: the record still gives what each field alone gives.
TEST(EnclosureRecord, HandEditedSectionsReadAsEachFieldAlone) {
    static const char kWithNul[] =
        "[Enclosure_1\nenc_id = 1\n[Enclosure_1]\nenc_sys_id = a\0b\nserial = s\0";
    const std::string files[] = {
        // fields repeated, blanks and comments, a field before any section
        "enc_id = 9\n[Enclosure_1]\n  enc_id=1\nenc_sys_id =  sg3 \n; serial = no\nserial = A\n"
        "serial = B\nmax_conn_num = 2\nconn_status = 0x1,0x2,0x3\n",
        // the section twice: the first one answers
        "[Enclosure_1]\nenc_id = 1\n[Other]\nvendor = X\n[Enclosure_1]\nenc_sys_id = late\n"
        "vendor = Y\n",
        // numbers that are no numbers, over-long texts, more words than the record holds
        "[Enclosure_1]\nenc_id = one\nenc_sys_id = sg1\nstatus = \ncapability = zz\n"
        "model = 0123456789012345678901234567890123456789012345678901234567890123\n"
        "max_conn_num = 40\nconn_status = ,,0xffffffff,junk,7,8,9,10,11,12,13\n"
        "cache_port_bitmap = 0x80000001\n",
        // cut off in the middle of a line, no line end
        "[Enclosure_1]\nenc_id = 1\nenc_sys_id = sg1\nstack_id = 2\nmax_temp_n",
        // a header with no end, NUL bytes in values
        std::string(kWithNul, sizeof kWithNul - 1),
    };
    auto app = nashal::sim::Appliance::fresh();
    ASSERT_TRUE(app.activate());
    for (const std::string &text : files) {
        ASSERT_TRUE(nashal::sim::write_file(HAL_CONF_FILE, text));
        expect_same_as_field_by_field(1, "file:\n" + text);
    }
}

namespace {

constexpr int kVersions = 4;

// Version v of /etc/hal.conf: every field of Enclosure_1 tells v, and texts of different
// lengths move every later line, so fields of two versions can't pass for one.
std::string hal_conf_version(int v) {
    std::string pad(static_cast<size_t>(v * 7), 'x');
    std::string n = std::to_string(v);
    return "[Index]\nenc_bitmap = 0x2\nenc_sysid_sg" + n + " = 1\n" +
           "[Enclosure_1]\nenc_id = 1\n" + "enc_sys_id = sg" + n + "\nserial = SER" + n + pad +
           "\nvendor = V" + n + "\nmodel = M" + n + pad + "\nstatus = " + n + "\nprotocol = " + n +
           "\ncapability = 0x8000000" + n + "\nmax_disk_num = " + n + "\nmax_fan_num = " + n +
           "\nmax_temp_num = " + n + "\nmax_pcie_num = " + n + "\nmax_nic_num = " + n +
           "\nmax_conn_num = 1\nenc_parent_sys_id = root" + n + "\nenc_parent_port_id = " + n +
           "\nstack_id = " + n + "\nrevision = R" + n + "\ncache_port_bitmap = 0x" + n +
           "\nconn_status = 0x" + n + "\n";
}

// Replaces /etc/hal.conf with the versions in turn until killed. A version is a whole file put
// in place by rename, as the store puts every change in place.
[[noreturn]] void keep_rewriting() {
    std::string texts[kVersions];
    for (int v = 0; v < kVersions; ++v)
        texts[v] = hal_conf_version(v);
    for (unsigned i = 0;; ++i) {
        const std::string &text = texts[i % kVersions];
        FILE *f = fopen("/etc/.hal.conf.writer", "w");
        if (!f)
            _exit(2);
        fwrite(text.data(), 1, text.size(), f);
        fclose(f);
        if (rename("/etc/.hal.conf.writer", HAL_CONF_FILE) != 0)
            _exit(3);
    }
}

}  // namespace

TEST(EnclosureRecord, ReaderBesideARewritingWriterNeverSeesTwoVersionsInOneRecord) {
    auto app = nashal::sim::Appliance::fresh();
    ASSERT_TRUE(app.activate());
    // Each version as a reader with the file to itself sees it.
    ENC_INFO expected[kVersions];
    for (int v = 0; v < kVersions; ++v) {
        ASSERT_TRUE(nashal::sim::write_file(HAL_CONF_FILE, hal_conf_version(v)));
        memset(&expected[v], 0, sizeof expected[v]);
        ASSERT_EQ(SE_Get_Info(1, &expected[v]), 0);
    }
    pid_t writer = fork();
    ASSERT_GE(writer, 0);
    if (writer == 0)
        keep_rewriting();
    int mixed = 0, failed = 0, seen[kVersions] = {};
    for (int i = 0; i < 1000; ++i) {
        ENC_INFO got;
        memset(&got, 0, sizeof got);
        if (SE_Get_Info(1, &got) != 0) {
            ++failed;
            continue;
        }
        int v = got.max_disk_num;
        if (v < 0 || v >= kVersions || memcmp(&got, &expected[v], sizeof got) != 0) {
            if (mixed++ == 0)
                ADD_FAILURE() << "read " << i << " mixes versions: "
                              << (v >= 0 && v < kVersions ? differences(got, expected[v])
                                                          : "max_disk_num out of range");
        } else {
            ++seen[v];
        }
    }
    kill(writer, SIGKILL);
    int status = 0;
    waitpid(writer, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "the writer stopped by itself, status " << status;
    EXPECT_EQ(mixed, 0) << "records that mix two versions of the file";
    EXPECT_EQ(failed, 0) << "reads that found no record, though every version holds one";
    int versions_seen = 0;
    for (int n : seen)
        versions_seen += n > 0 ? 1 : 0;
    // Not a timing requirement: only a sign that the writer really ran beside the reader.
    RecordProperty("versions_seen", versions_seen);
}
