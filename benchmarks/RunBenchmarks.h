// How a benchmark that has something to do before its first run ends its `main`.
#pragma once

#include <benchmark/benchmark.h>

/// Runs what is registered, as the command line wants it; the result of `main`.
inline int runBenchmarks(int argc, char ** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
