#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

#include "host/watch_tally.hpp"

namespace zentrova::monitoring_modules::host {

// How a watch ended, for its summary.
struct watch_ending {
    double elapsed_seconds = 0;
    std::string reason;  // "the duration ended", "stopped by SIGINT" ...
    std::size_t threads = 0;
    std::uint64_t peak_memory_bytes = 0;
    std::optional<std::uint64_t> token_requests;  // empty where nobody counts them
};

// The end of a watch: per kind and overall the sensors, checks, successes, failures by
// message key, throttled checks, latency p50/p95/max and CPU per check; the process's peak
// memory and the token requests.
class watch_summary {
public:
    // Prints the summary; returns the exit status: 0 when checks ran and every one succeeded,
    // 1 otherwise.
    static int print(std::ostream& out, const watch_tally& tally, const watch_ending& ending);
    // Elapsed seconds as "01:02:05".
    static std::string clock_text(double seconds);
};

}  // namespace zentrova::monitoring_modules::host
