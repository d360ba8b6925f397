#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zentrova::monitoring_modules::bench {

// What one run of the end-to-end benchmark measures.
//
//   end_to_end_bench [--sensors=1,100,1000] [--threads=1,2,4,8] [--repeats=5]
//                    [--min-checks=1000] [--kinds=virtual_machine_sensor,...]
//                    [--sdk-peer=vm_check.js | --no-sdk-peer=reason | --skip-peers]
struct bench_options {
    std::vector<std::size_t> sensor_counts{1, 100, 1000};
    std::vector<std::size_t> thread_counts{1, 2, 4, 8};
    // Enough that one row's phases last a few tenths of a second: shorter ones let a moment of
    // the machine's load decide a row.
    std::size_t repeats = 5;
    std::size_t min_checks = 1000;
    std::vector<std::string> kinds;  // empty: every kind
    // The installed SDK peer's script, or why there is none (scripts/bench.sh installs it).
    std::string sdk_peer;
    std::string no_sdk_peer;
    bool skip_peers = false;  // no comparison of three clients (when profiling the table's rows)

    // Throws std::invalid_argument naming the option that is unknown or wrong.
    static bench_options parse(int argc, char** argv);
};

}  // namespace zentrova::monitoring_modules::bench
