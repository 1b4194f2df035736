// What a store call and a trace call cost, each beside the least work that could do its job:
// a query against one plain read of the file, a change against one plain write and rename, a
// suppressed trace against opening and locking its lock file. Runs inside a virtual appliance.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <string>

#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "sim/appliance.h"
#include "sim/fs.h"

namespace {

constexpr const char *kEncConf = "/etc/enclosure_0.conf";

// An enclosure file of a 24-bay box: an index and one section per disk.
std::string enclosure_file() {
    std::string text = "[Index]\npd_bitmap = 0xFFFFFF\n[Global]\nmax_disk_num = 24\n";
    for (int port = 1; port <= 24; ++port) {
        text += "[PhysicalDisk_" + std::to_string(port) + "]\n";
        text += "pd_sys_id = sg" + std::to_string(port) + "\n";
        text += "vendor = ATA\nmodel = WDC WD40EFRX-68N32N0\nserial = WD-WCC7K0ABCDEF\n";
        text += "revision = 82.00A82\ncapacity = 7814037168\nlink_speed = 7\n";
        text += "wwn = 50014ee2b5c3d4e5\nstatus = 0\ncapabilities = 0x3\n";
    }
    return text;
}

void BM_ReadBaseline(benchmark::State &state) {
    char buf[8192];
    for (auto _ : state) {
        int fd = open(kEncConf, O_RDONLY);
        ssize_t n = read(fd, buf, sizeof buf);
        close(fd);
        benchmark::DoNotOptimize(n);
    }
}
BENCHMARK(BM_ReadBaseline);

void BM_GetField(benchmark::State &state) {
    char buf[64];
    for (auto _ : state)
        benchmark::DoNotOptimize(Ini_Conf_Get_Field(kEncConf, "PhysicalDisk_24", "serial", buf,
                                                    sizeof buf));
}
BENCHMARK(BM_GetField);

void BM_GetBit(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(Ini_Conf_Bitmap_Is_Bit_Set(kEncConf, "Index", "pd_bitmap", 23));
}
BENCHMARK(BM_GetBit);

void BM_WriteBaseline(benchmark::State &state) {
    std::string text = enclosure_file();
    for (auto _ : state) {
        int fd = open("/etc/.enclosure_0.conf.tmp", O_WRONLY | O_CREAT | O_TRUNC, 0644);
        benchmark::DoNotOptimize(write(fd, text.data(), text.size()));
        close(fd);
        rename("/etc/.enclosure_0.conf.tmp", kEncConf);
    }
}
BENCHMARK(BM_WriteBaseline);

void BM_SetField(benchmark::State &state) {
    int i = 0;
    for (auto _ : state)
        Ini_Conf_Set_Field(kEncConf, "PhysicalDisk_24", "status", ++i % 2 ? "1" : "0");
}
BENCHMARK(BM_SetField);

void BM_TraceBaseline(benchmark::State &state) {
    for (auto _ : state) {
        int fd = open("/var/lock/hal_lib.log.lck", O_RDWR | O_CREAT, 0700);
        struct flock fl = {};
        fl.l_type = F_WRLCK;
        fcntl(fd, F_SETLKW, &fl);
        fl.l_type = F_UNLCK;
        fcntl(fd, F_SETLK, &fl);
        close(fd);
    }
}
BENCHMARK(BM_TraceBaseline);

void BM_TraceSuppressed(benchmark::State &state) {
    for (auto _ : state)
        ERR_TRACE(HAL_TRACE_DETAIL, "%s: register 0x%02x = 0x%02x\n", "bench", 0x2e, 0x87);
}
BENCHMARK(BM_TraceSuppressed);

// Keeps each run's time per iteration so the ratios can be printed after the table.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &r : runs)
            if (r.run_type == Run::RT_Iteration)
                times[r.benchmark_name()] = r.GetAdjustedRealTime();
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> times;
};

}  // namespace

int main(int argc, char **argv) {
    nashal::sim::Appliance app = nashal::sim::Appliance::fresh();
    if (!app.activate())
        return 1;
    nashal::sim::write_file(kEncConf, enclosure_file());

    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const char *pairs[][2] = {{"BM_GetField", "BM_ReadBaseline"},
                              {"BM_GetBit", "BM_ReadBaseline"},
                              {"BM_SetField", "BM_WriteBaseline"},
                              {"BM_TraceSuppressed", "BM_TraceBaseline"}};
    printf("\nratio to baseline:\n");
    for (auto &p : pairs) {
        auto a = reporter.times.find(p[0]), b = reporter.times.find(p[1]);
        if (a != reporter.times.end() && b != reporter.times.end() && b->second > 0)
            printf("  %-20s / %-18s %6.2f\n", p[0], p[1], a->second / b->second);
    }
    return 0;
}
