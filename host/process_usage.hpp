#pragma once

#include <cstdint>

namespace zentrova::monitoring_modules::host {

// The host process's own CPU time and memory, as the watch shows them.
struct process_usage {
    double cpu_seconds = 0;  // user and system time of every thread so far
    std::uint64_t resident_bytes = 0;
    std::uint64_t peak_resident_bytes = 0;

    // From getrusage and /proc/self/statm on Linux, the process's times and working set on
    // Windows (impl/); what cannot be read stays 0.
    static process_usage now();
    // The CPU time the calling thread has used so far.
    static double thread_cpu_seconds();
};

}  // namespace zentrova::monitoring_modules::host
