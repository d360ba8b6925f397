#include "bench/end_to_end/result_table.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

namespace zentrova::monitoring_modules::bench {
namespace {

// The targets the table is read against.
constexpr double max_ratio_to_limit = 1.2;
// The CPU x target, and the floor below which the module is not worth its keep.
constexpr double max_cpu_ratio_to_limit = 1.2;
constexpr double floor_cpu_ratio_to_limit = 1.4;
constexpr std::uint64_t max_connections_1000_by_8 = 16;
constexpr double max_idle_sensor_kib = 16;
constexpr double max_load_kib = 2048;

}  // namespace

result_table::result_table(const std::vector<table_row>& rows) : rows_(rows) {}

void result_table::print_progress(const table_row& row) {
    std::fprintf(stderr, "  measured %s: %zu sensors, %zu threads\n", row.kind.c_str(), row.sensors,
                 row.threads);
}

void result_table::print(std::size_t repeats) const {
    std::printf(
        "\nEnd to end: the module's exports against the in-process emulator over TLS on "
        "127.0.0.1,\nbeside bare libcurl sending the same requests over kept-alive "
        "connections (\"bare\").\nTimes per check are medians of %zu alternating repeats; "
        "ratio = module / bare, same run.\n\n",
        repeats);
    std::printf("%-18s %7s %7s %5s %9s %10s %9s %10s %9s %6s %6s %8s %8s %6s %5s %5s %6s\n", "kind",
                "sensors", "threads", "req", "checks/s", "wall us", "CPU us", "bare wall",
                "bare CPU", "ratio", "CPU x", "KiB/sns", "pool KiB", "tokens", "TCP", "TLS",
                "failed");
    for (const auto& row : rows_) {
        std::array<char, 16> per_sensor{};
        if (std::isnan(row.kib_per_sensor)) {
            std::snprintf(per_sensor.data(), per_sensor.size(), "-");
        } else {
            std::snprintf(per_sensor.data(), per_sensor.size(), "%.1f", row.kib_per_sensor);
        }
        std::printf(
            "%-18s %7zu %7zu %5.1f %9.0f %10.0f %9.0f %10.0f %9.0f %6.2f %6.2f %8s %8.0f "
            "%6llu %5llu %5llu %6llu\n",
            row.kind.c_str(), row.sensors, row.threads, row.requests_per_check,
            row.checks_per_second, row.wall_us, row.cpu_us, row.bare_wall_us, row.bare_cpu_us,
            row.ratio, row.cpu_ratio, per_sensor.data(), row.pool_kib,
            static_cast<unsigned long long>(row.seen.token_requests),
            static_cast<unsigned long long>(row.seen.connections),
            static_cast<unsigned long long>(row.seen.handshakes),
            static_cast<unsigned long long>(row.failures));
    }
    std::printf(
        "\nreq: requests per check; wall us: phase wall time / checks; CPU us: the host "
        "threads' own CPU time / checks\n(the emulator's threads excluded); CPU x: module "
        "CPU / bare CPU. KiB/sns: resident memory after every\nsensor's first check minus "
        "before the sensors were made, after malloc_trim, / sensors (100 or more).\npool "
        "KiB: what a warm-up of one sensor per variant and thread added (the pool's "
        "connections, the token).\ntokens, TCP, TLS: token requests, connections and TLS "
        "handshakes the emulator saw from the module,\nwarm-up included, for the whole "
        "row.\n");
}

// The spread of each kind's rows, since one row alone can be a moment of the machine's load.
void result_table::print_ratios_by_kind() const {
    std::vector<std::string> kinds;
    for (const auto& row : rows_) {
        if (std::find(kinds.begin(), kinds.end(), row.kind) == kinds.end()) {
            kinds.push_back(row.kind);
        }
    }
    for (const auto& kind : kinds) {
        std::vector<double> ratios;
        std::vector<double> cpu_ratios;
        for (const auto& row : rows_) {
            if (row.kind == kind) {
                ratios.push_back(row.ratio);
                cpu_ratios.push_back(row.cpu_ratio);
            }
        }
        std::printf(
            "    %-18s ratio %.2f to %.2f (median %.2f), CPU x %.2f to %.2f (median %.2f)\n",
            kind.c_str(), *std::min_element(ratios.begin(), ratios.end()),
            *std::max_element(ratios.begin(), ratios.end()), median(ratios),
            *std::min_element(cpu_ratios.begin(), cpu_ratios.end()),
            *std::max_element(cpu_ratios.begin(), cpu_ratios.end()), median(cpu_ratios));
    }
}

void result_table::print_targets(const load_stages& load,
                                 const load_stages& load_with_bundle) const {
    std::printf("\nTargets\n");
    const auto verdict = [](bool met) { return met ? "met" : "MISSED"; };
    const table_row* worst = nullptr;
    const table_row* worst_cpu = nullptr;
    std::uint64_t most_tokens = 0;
    for (const auto& row : rows_) {
        if (worst == nullptr || row.ratio > worst->ratio) {
            worst = &row;
        }
        if (worst_cpu == nullptr || row.cpu_ratio > worst_cpu->cpu_ratio) {
            worst_cpu = &row;
        }
        most_tokens = std::max(most_tokens, row.seen.token_requests);
    }
    if (worst != nullptr) {
        std::printf(
            "  check / bare requests <= %.1f: worst %.2f (%s, %zu sensors, %zu "
            "threads): %s\n",
            max_ratio_to_limit, worst->ratio, worst->kind.c_str(), worst->sensors, worst->threads,
            verdict(worst->ratio <= max_ratio_to_limit));
        std::printf(
            "  check CPU / bare CPU <= %.1f (%.1f at the very least): worst %.2f (%s, %zu sensors, "
            "%zu threads): %s\n",
            max_cpu_ratio_to_limit, floor_cpu_ratio_to_limit, worst_cpu->cpu_ratio,
            worst_cpu->kind.c_str(), worst_cpu->sensors, worst_cpu->threads,
            worst_cpu->cpu_ratio <= max_cpu_ratio_to_limit     ? "met"
            : worst_cpu->cpu_ratio <= floor_cpu_ratio_to_limit ? "MISSED (floor met)"
                                                               : "MISSED");
        print_ratios_by_kind();
    }
    std::printf(
        "  one token request per credentials and resource: at most %llu in a row: "
        "%s\n",
        static_cast<unsigned long long>(most_tokens), verdict(most_tokens <= 1));
    for (const auto& row : rows_) {
        if (row.sensors == 1000 && row.threads == 8) {
            std::printf(
                "  1,000 sensors by 8 threads (%s): %llu TCP connections, %llu TLS "
                "handshakes (at most %llu): %s\n",
                row.kind.c_str(), static_cast<unsigned long long>(row.seen.connections),
                static_cast<unsigned long long>(row.seen.handshakes),
                static_cast<unsigned long long>(max_connections_1000_by_8),
                verdict(row.seen.connections <= max_connections_1000_by_8 &&
                        row.seen.handshakes <= max_connections_1000_by_8));
        }
    }
    for (const auto& row : rows_) {
        if (row.sensors == 1000) {
            std::printf("  idle sensor <= %.0f KiB (%s, %zu threads): %.1f KiB: %s\n",
                        max_idle_sensor_kib, row.kind.c_str(), row.threads, row.kib_per_sensor,
                        verdict(row.kib_per_sensor <= max_idle_sensor_kib));
        }
    }
    const auto added = [](const load_stages& stages, const std::string& stage,
                          std::size_t resident_memory::*part) {
        return static_cast<long long>(stages.at(stage).*part) -
               static_cast<long long>(stages.at("before").*part);
    };
    using memory = resident_memory;
    const long long total = added(load, "initialised", &memory::total_kib);
    std::printf(
        "  module load <= %.0f KiB: dlopen + InitializeModule added %lld KiB (dlopen %+lld, "
        "InitializeModule %+lld; anonymous %+lld, file-backed %+lld; with the emulator's CA "
        "bundle %+lld): %s\n",
        max_load_kib, total, added(load, "dlopen", &memory::total_kib),
        total - added(load, "dlopen", &memory::total_kib),
        added(load, "initialised", &memory::anonymous_kib),
        added(load, "initialised", &memory::file_kib),
        added(load_with_bundle, "initialised", &memory::total_kib),
        verdict(static_cast<double>(total) <= max_load_kib));
    std::printf(
        "  (not a target) a first check then brings in the HTTP engine's libraries, a "
        "connection and a token:\n  the module held %lld KiB after it (with the emulator's CA "
        "bundle)\n",
        added(load_with_bundle, "checked", &memory::total_kib));
}

}  // namespace zentrova::monitoring_modules::bench
