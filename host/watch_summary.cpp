#include "host/watch_summary.hpp"

#include <iomanip>
#include <sstream>

namespace zentrova::monitoring_modules::host {
namespace {

// A number with `decimals` places (none for whole numbers), right-aligned in `width`.
template <typename Number>
std::string cell(Number value, int width, int decimals = 0) {
    std::ostringstream text;
    text << std::setw(width) << std::fixed << std::setprecision(decimals) << value;
    return text.str();
}

std::string left(const std::string& text, int width) {
    std::ostringstream padded;
    padded << std::left << std::setw(width) << text;
    return padded.str();
}

}  // namespace

std::string watch_summary::clock_text(double seconds) {
    const auto whole = static_cast<long long>(seconds);
    std::ostringstream text;
    text << std::setfill('0') << std::setw(2) << whole / 3600 << ':' << std::setw(2)
         << whole / 60 % 60 << ':' << std::setw(2) << whole % 60;
    return text.str();
}

int watch_summary::print(std::ostream& out, const watch_tally& tally, const watch_ending& ending) {
    const auto kinds = tally.kinds(true);
    const kind_tally& all = kinds.back().second;
    out << "\nSummary: " << all.sensors << " sensors watched for "
        << clock_text(ending.elapsed_seconds) << " on " << ending.threads << " host threads ("
        << ending.reason << ")\n";
    out << "  " << left("kind", 26) << " sensors   checks succeeded  failed throttled   p50 ms"
        << "   p95 ms   max ms CPU/check\n";
    for (const auto& [name, t] : kinds) {
        const double cpu = t.checks == 0 ? 0 : t.cpu_ms / static_cast<double>(t.checks);
        out << "  " << left(name.empty() ? "all" : name, 26) << cell(t.sensors, 8)
            << cell(t.checks, 9) << cell(t.succeeded, 10) << cell(t.checks - t.succeeded, 8)
            << cell(t.throttled, 10) << cell(t.latency_p50_ms, 9, 1) << cell(t.latency_p95_ms, 9, 1)
            << cell(t.latency_max_ms, 9, 1) << cell(cpu, 7, 2) << " ms\n";
    }
    if (!all.failures.empty()) {
        out << "Failures by message key:\n";
        for (const auto& [name, t] : kinds) {
            for (const auto& [key, count] : t.failures) {
                if (!name.empty()) {
                    out << "  " << left(name, 26) << cell(count, 9) << "  "
                        << (key.empty() ? "(no message)" : key) << "\n";
                }
            }
        }
    }
    out << "Peak memory " << cell(static_cast<double>(ending.peak_memory_bytes) / 1048576.0, 0, 1)
        << " MiB; token requests: "
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
