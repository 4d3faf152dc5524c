// Benchmark main that prints each figure as a ratio to a floor measured in the
// same run: the machines are shared, so only ratios are stable. A program
// declares its pairs with BENCH_RATIO(benchmark, floor, target) and ends with
// BENCH_RATIO_MAIN().
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace bench_ratio {

struct Pair {
    std::string bench, floor;
    double target; // the ratio the figure should stay within; 0: none set
};

inline std::vector<Pair> &pairs()
{
    static std::vector<Pair> p;
    return p;
}

inline bool add(const char *bench, const char *floor, double target)
{
    pairs().push_back({bench, floor, target});
    return true;
}

class Collector : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> ns;
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &r : runs)
            if (!r.error_occurred && r.run_type == Run::RT_Iteration)
                ns[r.benchmark_name()] = r.GetAdjustedCPUTime() * 1e9 /
                                         benchmark::GetTimeUnitMultiplier(r.time_unit);
        ConsoleReporter::ReportRuns(runs);
    }
};

inline int run(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    std::printf("\n%-48s %12s %12s %8s %8s\n", "benchmark", "ns", "floor ns", "ratio", "target");
    int over = 0;
    for (const Pair &p : pairs()) {
        auto b = collector.ns.find(p.bench), f = collector.ns.find(p.floor);
        if (b == collector.ns.end() || f == collector.ns.end() || f->second <= 0)
            continue;
        double ratio = b->second / f->second;
        const bool is_over = p.target > 0 && ratio > p.target;
        over += is_over;
        char target[16] = "-";
        if (p.target > 0)
            std::snprintf(target, sizeof target, "%.2f", p.target);
        std::printf("%-48s %12.1f %12.1f %8.2f %8s%s\n", p.bench.c_str(), b->second, f->second, ratio, target,
                    is_over ? "  over target" : "");
    }
    if (over > 0)
        std::printf("%d figure(s) over target\n", over);
    benchmark::Shutdown();
    return 0; // figures are reported, not asserted: timing is not a test
}

} // namespace bench_ratio

#define BENCH_RATIO_CAT2(a, b) a##b
#define BENCH_RATIO_CAT(a, b) BENCH_RATIO_CAT2(a, b)
#define BENCH_RATIO(bench, floor, target) \
    static const bool BENCH_RATIO_CAT(bench_ratio_pair_, __LINE__) = bench_ratio::add(bench, floor, target)
#define BENCH_RATIO_MAIN() \
    int main(int argc, char **argv) { return bench_ratio::run(argc, argv); }
