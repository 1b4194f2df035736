// Enumeration of the root enclosure of a 24-bay board (a SAS HBA behind a root port, the bays on
// the board's expander), beside `lsscsi -g` over the same sysfs tree in the same run: the
// ordinary tool that lists the same SCSI devices with their generic nodes.
//
// The wall time of an enumeration is mostly spent waiting for the programs it runs (the shell
// and udevadm for each disk): the library's own CPU time (that of the calling thread, which
// leaves out its children) is printed as a share of the wall, so a slower walk in the library is
// told apart from slower programs.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/baseline.h"
#include "nashal/pd_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sysfs_builders.h"

namespace {

using namespace nashal::sim;

constexpr int kBays = 24;

void build_board() {
    SysfsTree t;
    auto root = t.pci_root(0, 0);
    auto rp = t.pci_bridge(root, 0, 0, 1, 0, 1);
    auto hba = t.pci_function(rp, 0, 1, 0, 0, kPciClassSas, 0x1000, 0x0097);
    auto host = t.sas_host(hba, 0, 8);
    auto wide = t.sas_port(host, "port-0:0");
    auto exp = t.sas_expander(wide, "expander-0:0", 8 + kBays, 0x500304800000007full);
    std::string model = "[System Enclosure]\nMAX_DISK_NUM = 24\n";
    for (int i = 0; i < kBays; ++i) {
        std::string n = std::to_string(i);
        auto port = t.sas_port(exp, "port-0:0:" + n);
        symlink_relative(port, exp + "/phy-0:0:" + std::to_string(8 + i) + "/port");
        auto end = t.sas_end_device(port, 0x5000c50000000000ull + i, 8 + i);
        t.scsi_device(end, {0, 0, i, 0},
                      ScsiDesc::disk(i, "sd" + std::string(1, 'a' + i), "SEAGATE", "ST8000NM0075"));
        model += "[System Disk " + std::to_string(i + 1) +
                 "]\nDEV_BUS = B00:D01:F0\nDEV_PORT = " + std::to_string(8 + i) + "\n";
    }
    write_file("/etc/model.conf", model);
}

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
    Appliance app = Appliance::fresh();
    if (!app.activate())
        return 1;
    build_board();

    // Each run spawns a few hundred programs: three repetitions are enough for a median.
    nashal::bench::RatioReporter reporter;
    nashal::bench::run_interleaved(argc, argv, 3, reporter);

    const char *const figures[] = {"BM_PdSysEnumerateRoot", "BM_RootWalkWithoutUdev"};
    printf("\nratio to baseline, real time:\n");
    for (const char *name : figures)
        if (reporter.ratio(name, "BM_LsscsiBaseline") > 0)
            printf("  %-22s / %-18s %6.2f\n", name, "BM_LsscsiBaseline",
                   reporter.ratio(name, "BM_LsscsiBaseline"));
    printf("\nthe library's own CPU time as a share of the wall:\n");
    for (const char *name : figures)
        if (reporter.cpu_share(name) > 0)
            printf("  %-22s %5.1f %%\n", name, 100.0 * reporter.cpu_share(name));
    return 0;
}
