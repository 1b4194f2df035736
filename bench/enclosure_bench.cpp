// The boot scan of the default board, and one enclosure read back from the registry, each beside
// a plain read of the file it works from (the model file, /etc/hal.conf) in the same run.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "nashal/hal_se.h"
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
        benchmark::DoNotOptimize(slurp(HAL_CONF_FILE));
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

// Keeps the time per iteration of every run, for the ratios printed at the end.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const auto &run : runs)
            seconds[run.benchmark_name()] =
                run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> seconds;
};

}  // namespace

int main(int argc, char **argv) {
    auto app = nashal::sim::Appliance::copy_of(NASHAL_EXAMPLES_DIR "/x86-8bay");
    if (!app.activate())
        return 1;
    SE_Scan();  // the registry the reads work on
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto ratio = [&](const char *what, const char *base) {
        if (reporter.seconds.count(what) && reporter.seconds.count(base) &&
            reporter.seconds[base] > 0)
            printf("%s / %s = %.1f\n", what, base, reporter.seconds[what] / reporter.seconds[base]);
    };
    ratio("BM_SE_Scan", "BM_ReadModelConfWhole");
    ratio("BM_SE_Get_Info", "BM_ReadHalConfWhole");
    benchmark::Shutdown();
    return 0;
}
