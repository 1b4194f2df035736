// What every bench here shares: each figure is printed beside a baseline measured in the same
// run, as a ratio. The reporter keeps each benchmark's time per iteration, real and CPU (the
// median of the repetitions when there are several, else the single run), for the ratios printed
// after the table; run_on_appliance() is the whole main of a bench.
#ifndef NASHAL_BENCH_BASELINE_H
#define NASHAL_BENCH_BASELINE_H

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "sim/appliance.h"

namespace nashal::bench {

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    struct Times {
        double real = 0, cpu = 0;  // seconds
    };
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &r : runs) {
            const std::string &name = r.run_name.function_name;
            double unit = benchmark::GetTimeUnitMultiplier(r.time_unit);
            Times t{r.GetAdjustedRealTime() / unit, r.GetAdjustedCPUTime() / unit};
            if (r.run_type == Run::RT_Aggregate && r.aggregate_name == "median")
                median_[name] = t;
            else if (r.run_type == Run::RT_Iteration)
                single_[name] = t;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    const Times *find(const std::string &name) const {
        auto m = median_.find(name);
        if (m != median_.end())
            return &m->second;
        auto s = single_.find(name);
        return s != single_.end() ? &s->second : nullptr;
    }
    // A figure over its baseline, real or CPU time; 0 when either is missing.
    double ratio(const std::string &name, const std::string &baseline, bool cpu = false) const {
        const Times *a = find(name), *b = find(baseline);
        double base = b ? (cpu ? b->cpu : b->real) : 0;
        return a && base > 0 ? (cpu ? a->cpu : a->real) / base : 0;
    }

    // The share of the wall time that the benchmark's own thread spent on the CPU; 0 when
    // missing. Programs it runs are left out: their time is their own processes'.
    double cpu_share(const std::string &name) const {
        const Times *t = find(name);
        return t && t->real > 0 ? t->cpu / t->real : 0;
    }

  private:
    std::map<std::string, Times> median_, single_;
};

// Runs the benchmarks repeated and interleaved, so that a figure and its baseline see the same
// load of the machine; flags given on the command line come later and win.
inline void run_interleaved(int argc, char **argv, int repetitions, RatioReporter &reporter) {
    std::vector<char *> args(argv, argv + argc);
    std::string reps = "--benchmark_repetitions=" + std::to_string(repetitions);
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    args.insert(args.begin() + 1, {reps.data(), interleave});
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
}

// A figure and the baseline it is read against. `per` divides the figure first (a scan of 24
// disks read per disk); `note` says what the ratio reads as, or its goal.
struct Figure {
    const char *name;
    const char *baseline;
    const char *note = "";
    double per = 1;
};

// Each figure over its baseline in real and CPU time, and the share of the wall the figure's
// own thread spent on the CPU (low when the time goes to the programs it runs).
inline void print_ratios(const RatioReporter &reporter, std::initializer_list<Figure> figures) {
    printf("\nratio to baseline: real time, cpu time, own cpu share of the wall\n");
    for (const Figure &f : figures) {
        double real = reporter.ratio(f.name, f.baseline) / f.per;
        if (real > 0)
            printf("  %-24s / %-28s %7.2f %7.2f %5.1f %%  %s\n", f.name, f.baseline, real,
                   reporter.ratio(f.name, f.baseline, true) / f.per,
                   100.0 * reporter.cpu_share(f.name), f.note);
    }
}

// The main of a bench: enters the appliance (a fresh one, or a copy of an example board), lets
// `prepare` build what the benchmarks work on (false: give up), runs them repeated and
// interleaved and prints each figure beside its baseline. 1 when the set-up fails.
template <class Prepare>
int run_on_appliance(int argc, char **argv, nashal::sim::Appliance app, Prepare prepare,
                     int repetitions, std::initializer_list<Figure> figures) {
    if (!app.activate() || !prepare())
        return 1;
    RatioReporter reporter;
    run_interleaved(argc, argv, repetitions, reporter);
    print_ratios(reporter, figures);
    return 0;
}

// The least a reader of a file can do, the baseline of every query: open it, read until a
// read finds the end, close it. The number of bytes read.
inline ssize_t read_whole_file(const char *path) {
    static char buf[65536];
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    ssize_t total = 0, n;
    while ((n = read(fd, buf, sizeof buf)) > 0)
        total += n;
    close(fd);
    return total;
}

}  // namespace nashal::bench

#endif  // NASHAL_BENCH_BASELINE_H
