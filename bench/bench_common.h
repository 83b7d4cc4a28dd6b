// Machine figures that every benchmark prints beside its own throughput, so
// that a result can be read against what the hardware allows.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace bench {

double Now();  // wall clock, seconds

// Million cell updates per second of step() over 'cells' cells on nThreads
// threads: one step to first-touch the pages, then the best of three batches
// of about 1.5e8 cell updates (half that on one thread), since the machine
// is shared and a batch may lose its core. After each batch the triad runs
// on as many threads; its median is the bandwidth to read this rate
// against, taken while the machine was in the same mood.
struct StepRate
{
    double dMcells;
    int nSteps;
    double dTriadGBs;
};
StepRate TimeStepRate(const std::function<void()>& step, double cells, int nThreads);

// Sustained memory bandwidth of a STREAM-like triad a = b + s*c over arrays
// far larger than the caches, in GB/s (bytes moved: 3 arrays of doubles, plus
// the write-allocate read of a).
double MeasureTriadGBs(int nThreads, size_t nDoubles = 32u << 20);

// Sequential read speed of the disk under the given directory, in MB/s. The
// test file is flushed and dropped from the page cache before it is read, so
// this is the cold-read figure as far as the kernel allows.
double MeasureDiskReadMBs(const std::string& dir, size_t nBytes = 512u << 20);

// Flushes a file and asks the kernel to drop its pages, so the next read
// comes from the disk.
void DropFromCache(const std::string& path);

int64_t FileSize(const std::string& path);

// A SEG-Y cube of n^3 nodes 10 m apart from the origin, every sample value.
bool WriteCube(const std::string& file, int n, float value);

}  // namespace bench
