// What a store call and a trace call cost, each beside the least work that could do its job,
// measured in the same run:
//   - a query against opening, reading whole and closing the same file (reading until a read
//     finds the end, as a reader that knows nothing of the file does);
//   - a record of 20 fields taken from one snapshot of the file against the same read;
//   - a change against writing a temporary copy of the file and renaming it over the file;
//   - a suppressed trace against opening its lock file, locking, unlocking, a failed open of the
//     trace configuration file and closing the lock file.
// The store file is a big one for this system: 30 sections of 20 fields. The ratios are printed
// after the table. Runs inside a virtual appliance.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "bench/baseline.h"
#include "foundation/ini_snapshot.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "sim/appliance.h"
#include "sim/fs.h"

namespace {

constexpr const char *kConf = "/etc/enclosure_0.conf";
constexpr const char *kConfTmp = "/etc/.enclosure_0.conf.tmp";
constexpr int kSections = 30;
constexpr int kFields = 20;

// 30 sections of 20 fields each, shaped like the registry's disk sections.
std::string store_file() {
    std::string text;
    for (int s = 1; s <= kSections; ++s) {
        text += "[PhysicalDisk_" + std::to_string(s) + "]\n";
        for (int f = 1; f <= kFields; ++f)
            text +=
                "field_" + std::to_string(f) + " = value WD-WCC7K0" + std::to_string(s * f) + "\n";
    }
    return text;
}

void BM_ReadBaseline(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(nashal::bench::read_whole_file(kConf));
}
BENCHMARK(BM_ReadBaseline);

// The last field of the last section: the whole file is scanned.
void BM_GetField(benchmark::State &state) {
    char buf[64];
    for (auto _ : state)
        benchmark::DoNotOptimize(
            Ini_Conf_Get_Field(kConf, "PhysicalDisk_30", "field_20", buf, sizeof buf));
}
BENCHMARK(BM_GetField);

// Every field of the last section from one read: what a record reader does.
void BM_SnapshotRecord(benchmark::State &state) {
    char names[kFields][16];
    for (int f = 0; f < kFields; ++f)
        snprintf(names[f], sizeof names[f], "field_%d", f + 1);
    char buf[64];
    for (auto _ : state) {
        nashal::ini::Snapshot snap(kConf);
        int found = 0;
        for (const char *name : names)
            found += snap.get_field("PhysicalDisk_30", name, buf, sizeof buf) > 0;
        benchmark::DoNotOptimize(found);
    }
}
BENCHMARK(BM_SnapshotRecord);

void BM_WriteBaseline(benchmark::State &state) {
    std::string text = store_file();
    for (auto _ : state) {
        int fd = open(kConfTmp, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        benchmark::DoNotOptimize(write(fd, text.data(), text.size()));
        close(fd);
        rename(kConfTmp, kConf);
    }
}
BENCHMARK(BM_WriteBaseline);

// A field in the middle of the file, changed on every call so that every call writes.
void BM_SetField(benchmark::State &state) {
    int i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(
            Ini_Conf_Set_Field(kConf, "PhysicalDisk_15", "field_10", ++i % 2 ? "1" : "0"));
}
BENCHMARK(BM_SetField);

void BM_TraceBaseline(benchmark::State &state) {
    for (auto _ : state) {
        int fd = open("/var/lock/hal_lib.log.lck", O_RDWR | O_CREAT | O_CLOEXEC, 0700);
        struct flock fl = {};
        fl.l_type = F_WRLCK;
        fcntl(fd, F_SETLKW, &fl);
        fl.l_type = F_UNLCK;
        fcntl(fd, F_SETLK, &fl);
        int conf = open("/var/log/hal_lib.log.conf", O_RDONLY | O_CLOEXEC);
        if (conf >= 0)
            close(conf);
        close(fd);
    }
}
BENCHMARK(BM_TraceBaseline);

void BM_TraceSuppressed(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(
            ERR_TRACE(HAL_TRACE_DETAIL, "%s: register 0x%02x = 0x%02x\n", "bench", 0x2e, 0x87));
}
BENCHMARK(BM_TraceSuppressed);

}  // namespace

int main(int argc, char **argv) {
    auto prepare = [] {
        // No trace configuration file: the suppressed trace's open of it fails, as the
        // baseline's.
        unlink("/var/log/hal_lib.log.conf");
        return nashal::sim::write_file(kConf, store_file());
    };
    // Repeated and interleaved, also so that a figure and its baseline see the same state of
    // the file system: each change leaves a deleted file behind, which the next file creation
    // pays for.
    return nashal::bench::run_on_appliance(
        argc, argv, nashal::sim::Appliance::fresh(), prepare, 9,
        {{"BM_GetField", "BM_ReadBaseline", "(target <= 1.5)"},
         {"BM_SnapshotRecord", "BM_ReadBaseline", "(target <= 1.5)"},
         {"BM_SetField", "BM_WriteBaseline", "(target <= 2.0)"},
         {"BM_TraceSuppressed", "BM_TraceBaseline", "(target <= 1.5)"}});
}
