#include <windows.h>
// psapi.h needs windows.h first.
#include <psapi.h>

#include "host/process_usage.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

double seconds(const FILETIME& time) {
    ULARGE_INTEGER ticks{};  // units of 100 ns
    ticks.LowPart = time.dwLowDateTime;
    ticks.HighPart = time.dwHighDateTime;
    return static_cast<double>(ticks.QuadPart) / 1e7;
}

}  // namespace

process_usage process_usage::now() {
    process_usage usage;
    FILETIME created{};
    FILETIME ended{};
    FILETIME kernel{};
    FILETIME user{};
    if (::GetProcessTimes(::GetCurrentProcess(), &created, &ended, &kernel, &user) != 0) {
        usage.cpu_seconds = seconds(kernel) + seconds(user);
    }
    PROCESS_MEMORY_COUNTERS memory{};
    memory.cb = sizeof(memory);
    if (::K32GetProcessMemoryInfo(::GetCurrentProcess(), &memory, sizeof(memory)) != 0) {
        usage.resident_bytes = memory.WorkingSetSize;
        usage.peak_resident_bytes = memory.PeakWorkingSetSize;
    }
    return usage;
}

double process_usage::thread_cpu_seconds() {
    FILETIME created{};
    FILETIME ended{};
    FILETIME kernel{};
    FILETIME user{};
    if (::GetThreadTimes(::GetCurrentThread(), &created, &ended, &kernel, &user) == 0) {
        return 0;
    }
    return seconds(kernel) + seconds(user);
}

}  // namespace zentrova::monitoring_modules::host
