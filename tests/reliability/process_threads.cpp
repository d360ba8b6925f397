#include "tests/reliability/process_threads.hpp"

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace zentrova::monitoring_modules::testing {

std::size_t process_threads() {
    // ThreadSanitizer's runtime starts a thread of its own when the process makes its first
    // thread. Making and joining one before the first count keeps it out of every difference.
    static const bool runtime_started = [] {
        std::thread([] {}).join();
        return true;
    }();
    static_cast<void>(runtime_started);
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        static_cast<void>(entry);
        ++count;
    }
    return count;
}

std::size_t resident_kib() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::stoul(line.substr(6));
        }
    }
    return 0;
}

}  // namespace zentrova::monitoring_modules::testing
