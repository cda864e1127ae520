// The parts of the imaging benchmark besides regions. Each names its measurements
// WORK/SIDE, the side being ondrel, a peer, or the least that the work can cost.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

/// Image files in memory: decoded, encoded.
void registerFiles();
/// Whole maps in another size, and colours mapped to a palette.
void registerPixels();
/// Small blocks, allocated and freed.
void registerPool();

/// Measures `work`, which handles `bytes` bytes, once `check` has been true: the sides must do the
/// same.
inline void registerWork(std::string const & name, double bytes, std::function<bool()> check,
                         std::function<void()> work) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State & state) {
        if (!check()) {
            state.SkipWithError("the two sides differ");
            return;
        }
        for (auto _ : state)
            work();
        if (bytes > 0)
            state.counters["bytes"] = benchmark::Counter(
                bytes, benchmark::Counter::kIsIterationInvariantRate, benchmark::Counter::kIs1024);
    })->Unit(benchmark::kMicrosecond);
}
