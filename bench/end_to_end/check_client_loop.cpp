#include "bench/end_to_end/check_client_loop.hpp"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

namespace zentrova::monitoring_modules::bench {
namespace {

// Every thread of the process, as the SDK's script counts it: a client pays for its helpers.
double process_cpu_us() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) * 1e-3;
}

// The peak of this process's own memory (VmHWM). getrusage's ru_maxrss will not do: Linux carries
// it over exec from the process that started this one, which is the larger benchmark.
long max_rss_kib() {
    std::ifstream status("/proc/self/status");
    std::string name;
    long kib = 0;
    while (status >> name) {
        if (name == "VmHWM:" && status >> kib) {
            return kib;
        }
    }
    return 0;
}

std::string run_checks(const std::function<bool()>& check, long count) {
    std::vector<double> latencies(static_cast<std::size_t>(count));
    long failed = 0;
    const double cpu_before = process_cpu_us();
    for (auto& latency : latencies) {
        const auto start = std::chrono::steady_clock::now();
        failed += check() ? 0 : 1;
        latency =
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                .count();
    }
    const double cpu = process_cpu_us() - cpu_before;
    std::string line = "done " + std::to_string(cpu) + " " + std::to_string(failed) + " " +
                       std::to_string(max_rss_kib());
    for (const double latency : latencies) {
        line += " " + std::to_string(latency);
    }
    return line;
}

}  // namespace

int run_check_client(const std::function<bool()>& check) {
    try {
        if (!check()) {
            std::cout << "error the first check failed" << std::endl;
            return 1;
        }
    } catch (const std::exception& e) {
        std::cout << "error " << e.what() << std::endl;
        return 1;
    }
    std::cout << "ready" << std::endl;
    for (std::string command; std::cin >> command && command != "quit";) {
        long count = 0;
        if (command != "check" || !(std::cin >> count) || count <= 0) {
            std::cout << "error unknown command \"" << command << "\"" << std::endl;
            return 2;
        }
        std::cout << run_checks(check, count) << std::endl;
    }
    return 0;
}

}  // namespace zentrova::monitoring_modules::bench
