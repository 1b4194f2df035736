// The disk registry on a 24-bay board (SATA disks behind the board's SAS expander): a whole
// SE_Scan reported per disk beside one shell run of `cat` (a scan is mostly the commands it
// runs, so the ratio reads as "shell runs per disk"), and PD_Get_Info of one disk beside
// reading /etc/enclosure_0.conf whole once.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "sim/appliance.h"
#include "sim/ata_identify_image.h"
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
    std::string model =
        "[System Enclosure]\nVENDOR = Vornix\nMODEL = B24\nCAP = 0x200\nMAX_DISK_NUM = 24\n"
        "DISK_DRV_TYPE = SAS\n";
    for (int i = 0; i < kBays; ++i) {
        std::string n = std::to_string(i);
        auto port = t.sas_port(exp, "port-0:0:" + n);
        // libsas links a phy to its port and the port to its phy.
        std::string phy = exp + "/phy-0:0:" + std::to_string(8 + i);
        symlink_relative(port, phy + "/port");
        symlink_relative(phy, port + "/phy-0:0:" + std::to_string(8 + i));
        auto end = t.sas_end_device(port, 0x5000c50000000000ull + i, 8 + i);
        t.scsi_device(end, {0, 0, i, 0},
                      ScsiDesc::disk(i, "sd" + std::string(1, 'a' + i), "ATA", "WDC WD40EFRX-68N"));
        AtaDiskDesc d;
        d.model = "WDC WD40EFRX-68N32N0";
        d.serial = "WD-WCC7K00000" + n;
        d.sectors = 7814037168ull;
        d.wwn = 0x50014ee2b0000000ull + static_cast<uint64_t>(i);
        describe_ata_disk("", "sg" + n, d);
        model += "[System Disk " + std::to_string(i + 1) +
                 "]\nDEV_BUS = B00:D01:F0\nDEV_PORT = " + std::to_string(8 + i) + "\n";
    }
    write_file("/etc/model.conf", model);
}

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

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    std::map<std::string, double> times;  // nanoseconds
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const auto &r : runs) {
            double factor = r.time_unit == benchmark::kMillisecond   ? 1e6
                            : r.time_unit == benchmark::kMicrosecond ? 1e3
                                                                     : 1.0;
            times[r.run_name.function_name] = r.GetAdjustedRealTime() * factor;
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

}  // namespace

int main(int argc, char **argv) {
    Appliance app = Appliance::fresh();
    if (!app.activate())
        return 1;
    build_board();
    SE_Scan();

    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    auto &t = reporter.times;
    printf("\nratio to baseline:\n");
    if (t["BM_SeScan"] > 0 && t["BM_ShellRunBaseline"] > 0)
        printf("  SE_Scan per disk / one shell run          %6.2f\n",
               t["BM_SeScan"] / kBays / t["BM_ShellRunBaseline"]);
    if (t["BM_PdGetInfo"] > 0 && t["BM_ReadEnclosureFileBaseline"] > 0)
        printf("  PD_Get_Info / reading the file whole once %6.2f\n",
               t["BM_PdGetInfo"] / t["BM_ReadEnclosureFileBaseline"]);
    return 0;
}
