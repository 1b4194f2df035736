// The disk registry on a 24-bay board (SATA disks behind the board's SAS expander): a whole
// SE_Scan reported per disk beside one shell run of `cat` (a scan is mostly the commands it
// runs, so the ratio reads as "shell runs per disk"), and PD_Get_Info of one disk beside
// reading /etc/enclosure_0.conf whole once.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "bench/baseline.h"
#include "bench/expander_board.h"
#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "sim/fs.h"

namespace {

using namespace nashal::sim;

void BM_SeScan(benchmark::State &state) {
    for (auto _ : state)
        SE_Scan();
    state.counters["disks"] = PD_Enumerate(0, nullptr, 0, nullptr, nullptr);
}
BENCHMARK(BM_SeScan)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_ShellRunBaseline(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(system("cat /sys/block/sda/size > /dev/null"));
}
BENCHMARK(BM_ShellRunBaseline)->Unit(benchmark::kMillisecond);

void BM_PdGetInfo(benchmark::State &state) {
    for (auto _ : state) {
        PD_INFO info{};
        benchmark::DoNotOptimize(PD_Get_Info(0, 12, &info));
    }
}
BENCHMARK(BM_PdGetInfo)->Unit(benchmark::kMicrosecond);

void BM_ReadEnclosureFileBaseline(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(read_file("/etc/enclosure_0.conf"));
}
BENCHMARK(BM_ReadEnclosureFileBaseline)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char **argv) {
    auto prepare = [] {
        if (!nashal::bench::build_expander_board(
                true,
                "VENDOR = Vornix\nMODEL = B24\nCAP = 0x200\nMAX_DISK_NUM = 24\n"
                "DISK_DRV_TYPE = SAS\n"))
            return false;
        SE_Scan();
        return true;
    };
    // A scan runs a few hundred programs: three repetitions are enough for a median.
    return nashal::bench::run_on_appliance(
        argc, argv, Appliance::fresh(), prepare, 3,
        {{"BM_SeScan", "BM_ShellRunBaseline", "per disk: shell runs per disk",
          nashal::bench::kExpanderBays},
         {"BM_PdGetInfo", "BM_ReadEnclosureFileBaseline", "reading the file whole once"}});
}
