// bench: what all benchmark programs share: how they start, and how a benchmark is named.
//
// A benchmark is named <family>/<work>/<who>/<size>, <who> being "Z" or the peer that does the same
// work; script/bench_report.py puts those that differ in <who> alone into one row.
#ifndef Z_BENCH_BENCH_H
#define Z_BENCH_BENCH_H

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

namespace bench {

// Registers `body`, called with the state alone.
template <class Body>
benchmark::internal::Benchmark* add(std::string const& work, char const* who,
                                    std::string const& size, Body body) {
    return benchmark::RegisterBenchmark((work + '/' + who + '/' + size).c_str(), body);
}

// Times `work` alone as this round of a benchmark that UseManualTime(): what stands around it in
// the loop is not counted.
template <class Work>
void timed(benchmark::State& state, Work work) {
    auto start = std::chrono::steady_clock::now();
    work();
    benchmark::ClobberMemory();
    std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(taken.count());
}

// Reports the time of a round that handles `count` things as nanoseconds for each of them.
inline void countEach(benchmark::State& state, char const* name, double count) {
    state.counters[name] = benchmark::Counter(
        count * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// The environment that the text services want; to be called before anything else.
inline void prepare() {
    setenv("TISDIR", "/", 0);
    setenv("LC_ALL", "C.UTF-8", 1);
}

// Runs what was registered. Every option of Google Benchmark is taken.
inline int run(int argc, char** argv) {
    char shorter[] = "--benchmark_min_time=0.1";
    std::vector<char*> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1, shorter);
    argc = static_cast<int>(arguments.size());
    benchmark::Initialize(&argc, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(argc, arguments.data())) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

}  // namespace bench

#endif
