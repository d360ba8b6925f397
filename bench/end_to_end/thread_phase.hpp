#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace zentrova::monitoring_modules::bench {

// What one timed phase took.
struct phase_timing {
    double wall_seconds = 0;  // from the common start to the last thread's end
    double cpu_seconds = 0;   // the threads' own CPU time, added up
    std::uint64_t failures = 0;
};

// Runs work(thread_index) on `threads` host threads that start together, and times it. The CPU
// time is each thread's own clock, so work done by other threads of the process (the emulator's)
// is not counted. `work` returns how many of its calls failed.
phase_timing run_phase(std::size_t threads,
                       const std::function<std::uint64_t(std::size_t thread_index)>& work);

}  // namespace zentrova::monitoring_modules::bench
