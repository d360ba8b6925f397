#include "host/watch_summary.hpp"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace zentrova::monitoring_modules::host {
namespace {

std::string printed(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string printed(const char* format, ...) {
    std::array<char, 512> text{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    return text.data();
}

}  // namespace

int watch_summary::print(std::ostream& out, const watch_tally& tally, const watch_ending& ending) {
    const auto kinds = tally.kinds(true);
    const kind_tally& all = kinds.back().second;
    const auto whole = static_cast<long long>(ending.elapsed_seconds);
    out << printed(
        "\nSummary: %zu sensors watched for %02lld:%02lld:%02lld on %zu host threads "
        "(%s)\n",
        all.sensors, whole / 3600, whole / 60 % 60, whole % 60, ending.threads,
        ending.reason.c_str());
    out << printed("  %-26s %7s %8s %9s %7s %9s %8s %8s %8s %9s\n", "kind", "sensors", "checks",
                   "succeeded", "failed", "throttled", "p50 ms", "p95 ms", "max ms", "CPU/check");
    for (const auto& [name, t] : kinds) {
        const double cpu = t.checks == 0 ? 0 : t.cpu_ms / static_cast<double>(t.checks);
        out << printed("  %-26s %7zu %8llu %9llu %7llu %9llu %8.1f %8.1f %8.1f %6.2f ms\n",
                       name.empty() ? "all" : name.c_str(), t.sensors,
                       static_cast<unsigned long long>(t.checks),
                       static_cast<unsigned long long>(t.succeeded),
                       static_cast<unsigned long long>(t.checks - t.succeeded),
                       static_cast<unsigned long long>(t.throttled), t.latency_p50_ms,
                       t.latency_p95_ms, t.latency_max_ms, cpu);
    }
    if (!all.failures.empty()) {
        out << "Failures by message key:\n";
        for (const auto& [name, t] : kinds) {
            for (const auto& [key, count] : t.failures) {
                if (!name.empty()) {
                    out << printed("  %-26s %8llu  ", name.c_str(),
                                   static_cast<unsigned long long>(count))
                        << (key.empty() ? "(no message)" : key) << "\n";
                }
            }
        }
    }
    out << printed("Peak memory %.1f MiB; token requests: ",
                   static_cast<double>(ending.peak_memory_bytes) / 1048576.0)
        << (ending.token_requests
                ? std::to_string(*ending.token_requests) + " (the emulator's count)"
                : std::string("not known (only the emulator counts them)"))
        << "\n";
    if (all.checks == 0) {
        out << "Exit status 1: no check ran\n";
        return 1;
    }
    if (all.succeeded != all.checks) {
        out << "Exit status 1: " << all.checks - all.succeeded << " of " << all.checks
            << " checks failed\n";
        return 1;
    }
    out << "Exit status 0: every check succeeded\n";
    return 0;
}

}  // namespace zentrova::monitoring_modules::host
