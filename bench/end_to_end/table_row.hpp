#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "emulator/azure_emulator.hpp"

namespace zentrova::monitoring_modules::bench {

// What the emulator counted that matters here, and the difference of two snapshots.
struct footprint {
    std::uint64_t token_requests = 0;
    std::uint64_t connections = 0;
    std::uint64_t handshakes = 0;

    static footprint of(const emulator::emulator_counters& counters) {
        return {counters.token_requests, counters.connections_accepted, counters.tls_handshakes};
    }
    footprint since(const footprint& earlier) const {
        return {token_requests - earlier.token_requests, connections - earlier.connections,
                handshakes - earlier.handshakes};
    }
    void add(const footprint& more) {
        token_requests += more.token_requests;
        connections += more.connections;
        handshakes += more.handshakes;
    }
};

// One row of the table: one kind with so many sensors checked by so many host threads.
struct table_row {
    std::string kind;
    std::size_t sensors = 0;
    std::size_t threads = 0;
    double requests_per_check = 0;
    double checks_per_second = 0;
    double wall_us = 0;       // per check: wall time of the phase / checks
    double cpu_us = 0;        // per check: the host threads' CPU time / checks
    double bare_wall_us = 0;  // the same for the bare requests
    double bare_cpu_us = 0;
    double ratio = 0;      // median over the repeats of module wall / bare wall
    double cpu_ratio = 0;  // the same for CPU time
    double kib_per_sensor = NAN;
    double pool_kib = 0;  // what the warm-up added: the pool's connections and the token
    footprint seen;
    std::uint64_t failures = 0;
};

// Rows report medians, so that one repeat caught by the machine's load does not decide them.
inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

}  // namespace zentrova::monitoring_modules::bench
