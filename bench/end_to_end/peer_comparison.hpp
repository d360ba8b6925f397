#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/end_to_end/bench_kind.hpp"
#include "bench/end_to_end/prepared_kind.hpp"
#include "emulator/azure_emulator.hpp"

namespace zentrova::monitoring_modules::bench {

// What one client process cost over its measured checks.
struct client_figures {
    std::string label;
    std::string not_run;  // why the client did not run; empty when it did
    std::uint64_t checks = 0;
    std::uint64_t failures = 0;
    double cpu_us = 0;             // process CPU time (all its threads) / checks
    double median_latency_us = 0;  // of one check, start to end
    double max_rss_kib = 0;        // the process's peak resident memory
};

// One virtual machine sensor checked by three clients, each in a process of its own against the
// same emulator: the module through its exports, bare libcurl sending the module's requests (the
// limit), and Microsoft's Azure SDK for JavaScript. After each client's first check (the token,
// the connection) they take turns, a tenth of `checks` each, until each has made `checks`.
class peer_comparison {
public:
    // `vm`: the virtual machine kind, captured; its first variant is the sensor. `sdk_script`:
    // the installed peer script, or empty when it is not installed (`sdk_missing` says why).
    peer_comparison(const prepared_kind& vm, const emulator::azure_emulator& server,
                    const azure_account& account, std::string sdk_script,
                    const std::string& sdk_missing, std::size_t checks);

    // Throws when the module's or bare libcurl's client fails; a failing SDK client is reported
    // in its row.
    void run();

    void print() const;
    // The SDK targets: the module's CPU and memory at least so many times below the SDK's.
    void print_targets() const;

    const client_figures& module() const { return rows_[0]; }
    const client_figures& bare() const { return rows_[1]; }
    const client_figures& sdk() const { return rows_[2]; }

private:
    const prepared_kind& vm_;
    const emulator::azure_emulator& server_;
    const azure_account& account_;
    std::string sdk_script_;
    std::size_t checks_per_turn_;
    std::vector<client_figures> rows_;
};

}  // namespace zentrova::monitoring_modules::bench
