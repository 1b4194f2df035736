// Enumerating the disks of four 24-bay SAS shelves (96 disks: two chains of two on one HBA),
// beside `lsscsi -g -k` over the same sysfs tree in the same run. The library walks each
// expander's ports (a directory read, the target entry, the type and the generic node of each
// bay); lsscsi reads every SCSI device of the bus once.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "bench/baseline.h"
#include "nashal/pd_sys.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/sas_shelf.h"
#include "sim/sysfs_builders.h"

namespace {

using namespace nashal::sim;

constexpr int kShelves = 4;
constexpr int kBays = 24;
const char *const kSesNodes[kShelves] = {"sg100", "sg101", "sg102", "sg103"};

bool build_shelves() {
    SysfsTree t;
    auto root = t.pci_root(0, 0);
    auto rp = t.pci_bridge(root, 0, 0, 1, 0, 1);
    auto hba = t.pci_function(rp, 0, 1, 0, 0, kPciClassSas, 0x1000, 0x0097);
    auto host = t.sas_host(hba, 2, 8);
    std::string block = "sda";
    std::string upstream[2] = {t.sas_port(host, "port-2:0"), t.sas_port(host, "port-2:1")};
    for (int s = 0; s < kShelves; ++s) {
        SasShelfDesc d;
        d.number = s;
        d.bays = kBays;
        d.ses_sg = 100 + s;
        d.first_disk_sg = s * kBays;
        d.first_target = s * (kBays + 1);
        d.first_block = block;
        d.sas_address = 0x500e0eca00000000ull + (static_cast<uint64_t>(s) << 16);
        SasShelf shelf = build_sas_shelf(t, upstream[s % 2], d);
        upstream[s % 2] = shelf.out_port;  // the next shelf of this chain hangs here
        block = next_block_name(shelf.blocks.back());
    }
    return write_file("/etc/model.conf", "[System Enclosure]\nCAP = 0\n");
}

void BM_SasShelfDisks(benchmark::State &state) {
    int found = 0;
    for (auto _ : state) {
        found = 0;
        for (const char *ses : kSesNodes) {
            char *list[MAX_PD_SYS_ENUM] = {};
            int n = enumerate_pd_in_sas_expander(ses, list, MAX_PD_SYS_ENUM);
            for (int i = 0; i < n && i < MAX_PD_SYS_ENUM; ++i)
                free(list[i]);
            found += n;
        }
    }
    state.counters["disks"] = found;
}
BENCHMARK(BM_SasShelfDisks)->Unit(benchmark::kMillisecond);

void BM_LsscsiBaseline(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(system("lsscsi -g -k > /dev/null 2>&1"));
}
BENCHMARK(BM_LsscsiBaseline)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv) {
    return nashal::bench::run_on_appliance(argc, argv, Appliance::fresh(), build_shelves, 3,
                                           {{"BM_SasShelfDisks", "BM_LsscsiBaseline"}});
}
