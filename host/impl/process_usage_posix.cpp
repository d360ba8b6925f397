#include "host/process_usage.hpp"

#include <sys/resource.h>
#include <unistd.h>

#include <ctime>
#include <fstream>

namespace zentrova::monitoring_modules::host {
namespace {

double seconds(const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
}

}  // namespace

process_usage process_usage::now() {
    process_usage usage;
    rusage self{};
    if (::getrusage(RUSAGE_SELF, &self) == 0) {
        usage.cpu_seconds = seconds(self.ru_utime) + seconds(self.ru_stime);
        usage.peak_resident_bytes = static_cast<std::uint64_t>(self.ru_maxrss) * 1024U;  // KiB
    }
    std::ifstream statm("/proc/self/statm");
    std::uint64_t size_pages = 0;
    std::uint64_t resident_pages = 0;
    if (statm >> size_pages >> resident_pages) {
        usage.resident_bytes = resident_pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    }
    return usage;
}

double process_usage::thread_cpu_seconds() {
    timespec t{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

}  // namespace zentrova::monitoring_modules::host
