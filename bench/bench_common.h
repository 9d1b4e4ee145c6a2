// Timing and peak memory of a bench program, printed as one line of
// name=value pairs that run_bench.sh reads.
#pragma once

#include <windows.h>
#include <psapi.h>

#include <cstdio>

namespace bench {

inline double now() {
    LARGE_INTEGER f, c;
    QueryPerformanceFrequency(&f);
    QueryPerformanceCounter(&c);
    return static_cast<double>(c.QuadPart) / static_cast<double>(f.QuadPart);
}

// The process's peak working set so far, in bytes.
inline unsigned long long peakBytes() {
    PROCESS_MEMORY_COUNTERS pmc{};
    pmc.cb = sizeof(pmc);
    GetProcessMemoryInfo(GetCurrentProcess(), &pmc, sizeof(pmc));
    return pmc.PeakWorkingSetSize;
}

inline void report(bool ok, double seconds) {
    std::printf("ok=%d time_s=%.4f peak_bytes=%llu\n", ok ? 1 : 0, seconds, peakBytes());
    std::fflush(stdout);
}

}  // namespace bench
