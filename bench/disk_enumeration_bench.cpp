// Enumeration of the root enclosure of a 24-bay board (a SAS HBA behind a root port, the bays on
// the board's expander), beside `lsscsi -g` over the same sysfs tree in the same run: the
// ordinary tool that lists the same SCSI devices with their generic nodes.
//
// The wall time of an enumeration is mostly spent waiting for the programs it runs (the shell
// and udevadm for each disk): the library's own CPU time (that of the calling thread, which
// leaves out its children) is printed as a share of the wall, so a slower walk in the library is
// told apart from slower programs.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "bench/baseline.h"
#include "bench/expander_board.h"
#include "nashal/pd_sys.h"

namespace {

void BM_PdSysEnumerateRoot(benchmark::State &state) {
    int found = 0;
    for (auto _ : state) {
        char *list[MAX_PD_SYS_ENUM] = {};
        found = pd_sys_enumerate("root", list, MAX_PD_SYS_ENUM);
        for (int i = 0; i < found && i < MAX_PD_SYS_ENUM; ++i)
            free(list[i]);
    }
    state.counters["disks"] = found;
}
BENCHMARK(BM_PdSysEnumerateRoot)->Unit(benchmark::kMillisecond);

// The sysfs walk alone, without the two shell commands per disk that tell udev the enclosure:
// the part of the figure above that the walk itself costs.
void BM_RootWalkWithoutUdev(benchmark::State &state) {
    int found = 0;
    for (auto _ : state) {
        char *list[MAX_PD_SYS_ENUM] = {};
        found = enumerate_pd_in_root_enclosure("root", list, MAX_PD_SYS_ENUM);
        for (int i = 0; i < found && i < MAX_PD_SYS_ENUM; ++i)
            free(list[i]);
    }
    state.counters["disks"] = found;
}
BENCHMARK(BM_RootWalkWithoutUdev)->Unit(benchmark::kMillisecond);

void BM_LsscsiBaseline(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(system("lsscsi -g --sysfsroot=/sys > /dev/null 2>&1"));
}
BENCHMARK(BM_LsscsiBaseline)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv) {
    // Each run spawns a few hundred programs: three repetitions are enough for a median.
    return nashal::bench::run_on_appliance(
        argc, argv, nashal::sim::Appliance::fresh(),
        [] { return nashal::bench::build_expander_board(false, "MAX_DISK_NUM = 24\n"); }, 3,
        {{"BM_PdSysEnumerateRoot", "BM_LsscsiBaseline"},
         {"BM_RootWalkWithoutUdev", "BM_LsscsiBaseline"}});
}
