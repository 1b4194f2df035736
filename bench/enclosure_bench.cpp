// The boot scan of the default board, and one enclosure read back from the registry, each beside
// a plain read of the file it works from (the model file, /etc/hal.conf) in the same run. The
// record's baseline is the least a reader of the file can do: open, read until the end, close.
// A record costs one such read plus the suppressed entry trace and the scan of the bytes; the
// goal is at most twice the baseline. The entry trace alone is measured too: every public call
// pays it (it opens and locks the trace lock and looks for the trace configuration file), and it
// costs about one read of a small file by itself.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "bench/baseline.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/se_sys.h"
#include "sim/appliance.h"

namespace {

std::string slurp(const char *path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

void BM_ReadModelConfWhole(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(slurp(SE_MODEL_CONF_FILE));
}
BENCHMARK(BM_ReadModelConfWhole);

void BM_SE_Scan(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(SE_Scan());
}
BENCHMARK(BM_SE_Scan)->Unit(benchmark::kMillisecond);

void BM_ReadHalConfWhole(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(nashal::bench::read_whole_file(HAL_CONF_FILE));
}
BENCHMARK(BM_ReadHalConfWhole);

void BM_SE_Get_Info(benchmark::State &state) {
    ENC_INFO info;
    for (auto _ : state) {
        memset(&info, 0, sizeof info);
        benchmark::DoNotOptimize(SE_Get_Info(23, &info));
    }
}
BENCHMARK(BM_SE_Get_Info);

void BM_EntryTrace(benchmark::State &state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(
            ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", "bench", 23));
}
BENCHMARK(BM_EntryTrace);

void BM_SE_Enumerate(benchmark::State &state) {
    int ids[MAX_SE_SYS_ENUM];
    for (auto _ : state)
        benchmark::DoNotOptimize(SE_Enumerate(ids, MAX_SE_SYS_ENUM, nullptr, nullptr));
}
BENCHMARK(BM_SE_Enumerate);

}  // namespace

int main(int argc, char **argv) {
    return nashal::bench::run_on_appliance(
        argc, argv, nashal::sim::Appliance::copy_of(NASHAL_EXAMPLES_DIR "/x86-8bay"),
        [] {
            SE_Scan();  // the registry the reads work on
            return true;
        },
        5,
        {{"BM_SE_Scan", "BM_ReadModelConfWhole"},
         {"BM_SE_Get_Info", "BM_ReadHalConfWhole", "(goal <= 2)"},
         {"BM_SE_Enumerate", "BM_ReadHalConfWhole", "(goal <= 2)"},
         {"BM_EntryTrace", "BM_ReadHalConfWhole", "(part of each figure above)"}});
}
