// halctl record: a box copied into a recording answers as the box did, a damaged recording says
// what it lacks, and a hostile one never reaches the laptop's files.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "halctl/halctl_runner.h"
#include "sim/fs.h"

namespace {

using halctl_test::Board;
using halctl_test::Result;

const std::string kShippedRecording = NASHAL_EXAMPLES_DIR "/../recordings/x86-8bay";

// halctl ARGS with standard error kept after standard output: the messages are the point.
Result run_with_errors(const std::string &args) {
    return halctl_test::run_halctl(args, true);
}

// Every file of the folders the box keeps its state in, with its content, and every link.
void snapshot(const std::string &root, const std::string &rel,
              std::map<std::string, std::string> &out) {
    for (const auto &name : nashal::sim::list_dir(root + "/" + rel)) {
        std::string sub = rel + "/" + name, path = root + "/" + sub;
        struct stat st;
        if (lstat(path.c_str(), &st) != 0)
            continue;
        if (S_ISLNK(st.st_mode)) {
            char buf[4096];
            ssize_t n = readlink(path.c_str(), buf, sizeof buf);
            out[sub] = "-> " + std::string(buf, n > 0 ? static_cast<size_t>(n) : 0);
        } else if (S_ISDIR(st.st_mode)) {
            out[sub] = "dir";
            snapshot(root, sub, out);
        } else {
            out[sub] = nashal::sim::read_file(path);
        }
    }
}

std::map<std::string, std::string> box_state(const std::string &dir) {
    std::map<std::string, std::string> state;
    for (const char *top : {"etc", "sys", "dev", "sim", "var"})
        snapshot(dir, top, state);
    return state;
}

std::set<std::string> enclosure_sys_ids(const std::string &json) {
    std::set<std::string> ids = {"root", "root_cache", "root_esata", "root_boot", "root_usb"};
    std::regex id("\"enc_sys_id\": \"([^\"]+)\"");
    for (auto it = std::sregex_iterator(json.begin(), json.end(), id); it != std::sregex_iterator();
         ++it)
        ids.insert((*it)[1]);
    return ids;
}

class RecordRoundTrip : public ::testing::TestWithParam<std::string> {};

// The questions a recording kept, with what the box answered them (its manifest lists them).
std::map<std::string, std::string> recorded_answers(const std::string &recording) {
    std::map<std::string, std::string> out;
    for (const auto &line : nashal::sim::read_lines(recording + "/sim/recording/manifest")) {
        std::istringstream in(line);
        std::string kind, question, file;
        if (std::getline(in, kind, '\t') && kind == "question" &&
            std::getline(in, question, '\t') && std::getline(in, file))
            out[question] = nashal::sim::read_file(recording + "/" + file);
    }
    return out;
}

// A field engineer records a box that has booted and scanned, and replays it on a laptop: the
// answers must be the box's own, and recording must leave the box exactly as it was. The
// recorder asked the box itself (the same halctl commands, on the box); the cheap questions
// are asked again here, so a recorder that kept wrong answers can't pass.
TEST_P(RecordRoundTrip, ReplayAnswersAsTheBoxDid) {
    Board box(GetParam());
    ASSERT_EQ(box.run("scan").status, 0);
    // The box is up: its start-up steps are done. The appliance would redo them at each
    // activation, and the model selection drops the display name the scan kept, which is no
    // write of the recorder's.
    unlink((box.dir() + "/sim/boot.conf").c_str());
    std::map<std::string, std::string> state = box_state(box.dir());
    // Inside the box, /tmp is the box's own: the recording lands in its folder.
    Result rec = box.run("record /tmp/recording");
    ASSERT_EQ(rec.status, 0) << rec.out;
    EXPECT_EQ(box_state(box.dir()), state) << "recording changed the box";

    std::string recording = box.dir() + "/tmp/recording";
    std::map<std::string, std::string> answers = recorded_answers(recording);
    for (const char *q : {"enclosures", "disks"})
        EXPECT_EQ(answers[q], box.run(std::string("--json ") + q).out) << q;
    for (const auto &id : enclosure_sys_ids(answers["enclosures"]))
        EXPECT_TRUE(answers.count("disks-found " + id)) << id << " was not asked";
    ASSERT_TRUE(answers.count("scan"));
    for (const auto &[question, answer] : answers) {
        if (question == "scan")
            continue;
        Result r = halctl_test::run_halctl("--root " + recording + " --json " + question);
        EXPECT_EQ(r.out, answer) << question;
    }
    // Last, as a scan asks the chips again, which a recording doesn't hold: a main unit behind
    // a serial controller (a PIC, an MCU) can't attach on the replay, as documented.
    Result rescan = halctl_test::run_halctl("--root " + recording + " --json scan");
    EXPECT_EQ(rescan.status, 0);
    if (!nashal::sim::exists(box.dir() + "/sim/controller.conf")) {
        EXPECT_EQ(rescan.out, answers["scan"]);
    }
}

// Every example board, the shelves' 94 SAS disks and the chained Thunderbolt boxes included.
INSTANTIATE_TEST_SUITE_P(ExampleBoards, RecordRoundTrip,
                         ::testing::Values("soc-2bay", "soc-2bay-pic", "soc-2bay-mcu", "x86-8bay",
                                           "x86-pcie-sas", "x86-12bay-sas", "x86-sas-shelves",
                                           "x86-thunderbolt"),
                         [](const auto &info) {
                             std::string n = info.param;
                             for (char &c : n)
                                 if (c == '-')
                                     c = '_';
                             return n;
                         });

// A scratch copy of the shipped recording.
class Recording : public Board {
  public:
    Recording() {
        std::string cmd = "cp -a " + kShippedRecording + "/. " + dir() + "/";
        EXPECT_EQ(system(cmd.c_str()), 0);
    }
    std::string manifest() const {
        return nashal::sim::read_file(dir() + "/sim/recording/manifest");
    }
    // The first path the manifest lists with this kind and prefix.
    std::string listed(const std::string &kind, const std::string &prefix) const {
        std::istringstream lines(manifest());
        std::string line;
        while (std::getline(lines, line)) {
            std::string head = kind + "\t" + prefix;
            if (line.rfind(head, 0) == 0)
                return line.substr(kind.size() + 1,
                                   line.find('\t', kind.size() + 1) - kind.size() - 1);
        }
        return "";
    }
    void drop_manifest_line(const std::string &path) const {
        std::string kept;
        std::istringstream lines(manifest());
        std::string line;
        while (std::getline(lines, line))
            if (line.find("\t" + path) == std::string::npos)
                kept += line + "\n";
        nashal::sim::write_file(dir() + "/sim/recording/manifest", kept);
    }
};

TEST(RecordShipped, ReplaysTheExampleBoardsAnswers) {
    Recording rec;
    Board box("x86-8bay");
    ASSERT_EQ(box.run("scan").status, 0);
    for (const char *q : {"--json enclosures", "--json disks", "--json disks-found root"})
        EXPECT_EQ(rec.run(q).out, box.run(q).out) << q;
}

// Whatever a recording lost, replaying it names the path: a lost disk must not look like a box
// without that disk.
TEST(RecordDamaged, ALostEntryIsNamed) {
    struct Case {
        const char *what;
        std::string kind, prefix;
    } cases[] = {
        {"a sysfs attribute", "file", "sys/devices/"},
        {"a sysfs link", "link", "sys/class/scsi_generic/"},
        {"a device node", "node", "dev/"},
        {"a program's answers", "file", "sim/answers/"},
        {"an SG_IO answer", "file", "sim/recording/sg_io/"},
    };
    Recording rec;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        std::string path = rec.listed(c.kind, c.prefix);
        ASSERT_FALSE(path.empty());
        std::string at = rec.dir() + "/" + path, aside = at + "~";
        ASSERT_EQ(rename(at.c_str(), aside.c_str()), 0);
        Result r = run_with_errors(rec.root() + " disks-found root");
        EXPECT_EQ(r.status, 1);
        EXPECT_NE(r.out.find("lacks " + path), std::string::npos) << r.out;
        ASSERT_EQ(rename(aside.c_str(), at.c_str()), 0);
    }
}

// A question the box was never asked: the replay says which answer it lacks.
TEST(RecordDamaged, AnUnrecordedQuestionNamesTheMissingAnswer) {
    Recording rec;
    std::string answer = rec.listed("file", "sim/recording/sg_io/");
    ASSERT_FALSE(answer.empty());
    rec.drop_manifest_line(answer);
    ASSERT_EQ(unlink((rec.dir() + "/" + answer).c_str()), 0);
    std::string node = answer.substr(answer.find("sg_io/") + 6);
    node = node.substr(0, node.find('/'));
    // Every recorded udevadm run forgotten, the file itself kept.
    nashal::sim::write_file(rec.dir() + "/sim/answers/udevadm", "");
    Result r = run_with_errors(rec.root() + " scan");
    EXPECT_NE(r.out.find("holds no SG_IO answer of /dev/" + node), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("the recording holds no answer of /sbin/udevadm control"),
              std::string::npos)
        << r.out;
}

// A recording from elsewhere is refused when it could make the replay read or write the
// laptop's own files, and a name with shell characters never reaches a shell.
TEST(RecordHostile, LinksOutOfTheRecordingAndHugeFilesAreRefused) {
    struct Case {
        const char *what;
        std::vector<std::pair<std::string, std::string>> links;  // link -> target
        const char *refused;
    } cases[] = {
        {"absolute link to the laptop",
         {{"sys/class/scsi_generic/sg90", "/root"}},
         "sys/class/scsi_generic/sg90 -> /root"},
        {"relative link climbing out",
         {{"sys/block/sdz", "../../../../../../home"}},
         "sys/block/sdz -> ../../../../../../home"},
        {"into a folder the view doesn't own",
         {{"dev/disk0", "../usr/bin"}},
         "dev/disk0 -> ../usr/bin"},
        {"through another link of the recording",
         {{"sys/up", "../etc"}, {"sys/class/net/eth9", "../../up/../usr/lib"}},
         "sys/class/net/eth9 -> ../../up/../usr/lib"},
        {"a loop", {{"sys/loop1", "loop2"}, {"sys/loop2", "loop1"}}, "sys/loop"},
    };
    Recording rec;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        for (const auto &[link, target] : c.links)
            ASSERT_TRUE(nashal::sim::symlink_exact(target, rec.dir() + "/" + link));
        Result r = run_with_errors(rec.root() + " enclosures");
        EXPECT_EQ(r.status, 1);
        EXPECT_NE(r.out.find(std::string("links out of it: ") + c.refused), std::string::npos)
            << r.out;
        for (const auto &[link, target] : c.links)
            unlink((rec.dir() + "/" + link).c_str());
    }
    std::string huge = rec.dir() + "/sys/devices/huge";
    ASSERT_TRUE(nashal::sim::write_file(huge, ""));
    ASSERT_EQ(truncate(huge.c_str(), 2LL << 30), 0);
    Result r = run_with_errors(rec.root() + " enclosures");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("holds sys/devices/huge of 2147483648 bytes"), std::string::npos) << r.out;
}

TEST(RecordHostile, ShellCharactersInNamesRunNothing) {
    Recording rec;
    std::string node = rec.listed("link", "sys/class/scsi_generic/");
    ASSERT_FALSE(node.empty());
    char target[4096];
    ssize_t n = readlink((rec.dir() + "/" + node).c_str(), target, sizeof target - 1);
    ASSERT_GT(n, 0);
    target[n] = '\0';
    const std::string hostile = "sg99;touch pwned;$(touch pwned2)";
    ASSERT_TRUE(
        nashal::sim::symlink_exact(target, rec.dir() + "/sys/class/scsi_generic/" + hostile));
    nashal::sim::write_file(rec.dir() + "/dev/" + hostile, "");
    run_with_errors(rec.root() + " disks-found root");
    for (const auto &line : nashal::sim::read_lines(rec.dir() + "/sim/invocations.log"))
        EXPECT_EQ(line.find("touch"), std::string::npos) << line;
    for (const std::string &where : {rec.dir(), rec.dir() + "/sim", std::string(".")}) {
        EXPECT_FALSE(nashal::sim::exists(where + "/pwned"));
        EXPECT_FALSE(nashal::sim::exists(where + "/pwned2"));
    }
}

TEST(Record, RefusesAFolderThatHoldsSomething) {
    Board box("soc-2bay");
    nashal::sim::write_file(box.dir() + "/tmp/rec/keep", "mine");
    Result r = run_with_errors(box.root() + " record /tmp/rec");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("not an empty folder"), std::string::npos) << r.out;
    EXPECT_EQ(nashal::sim::read_file(box.dir() + "/tmp/rec/keep"), "mine");
}

}  // namespace
