// The soak: many checks of sensors of every kind through the exports against the emulator,
// reporting the process's resident memory after a warm-up and at the end. Memory that grows
// with the number of checks fails the run. Not a CTest test: `make soak` (SOAK_CHECKS checks,
// 10000 by default).
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/reliability/kinds_under_test.hpp"
#include "tests/reliability/process_threads.hpp"
#include "tests/support/azure_harness.hpp"

namespace testing = zentrova::monitoring_modules::testing;

namespace {

constexpr std::size_t sensors_per_kind = 8;
// What the allocator may keep beyond the warm-up's high-water mark without it being a leak.
constexpr std::size_t allowed_growth_kib = 1024;

struct soak_result {
    long checks = 0;
    long failed = 0;
    std::size_t start_kib = 0;
    std::size_t end_kib = 0;
};

soak_result soak(long total_checks) {
    namespace emulator = zentrova::monitoring_modules::emulator;
    emulator::emulator_options options;
    options.request_log_limit = 16;  // the emulator shares the process; keep its log small
    testing::azure_harness harness(options);
    auto& module = harness.module();

    std::vector<std::string> sensors;  // sensor i + 1's settings
    for (const auto& kind : testing::sensor_kinds()) {
        for (std::size_t v = 0; v < sensors_per_kind; ++v) {
            sensors.push_back(
                kind.settings(harness.settings(kind.name), harness.subscription_id(), v).to_json());
            if (module.create_sensor(static_cast<int>(sensors.size()), sensors.back()) != 0) {
                throw std::runtime_error("cannot create sensor " + std::to_string(sensors.size()) +
                                         " (" + kind.name + "): see " + harness.runtime_log());
            }
        }
    }
    std::vector<std::string> scans;
    for (const auto& kind : testing::metascan_kinds()) {
        scans.push_back(
            kind.settings(harness.settings(kind.name), harness.subscription_id(), 0).to_json());
    }

    soak_result result;
    const long warm_up = std::min<long>(1000, total_checks / 10);
    for (long check = 0; check < total_checks; ++check) {
        if (check == warm_up) {
            result.start_kib = testing::resident_kib();
        }
        const auto index = static_cast<std::size_t>(check) % sensors.size();
        if (module.check(static_cast<int>(index) + 1, sensors[index]) != 0) {
            ++result.failed;
        }
        // A meta scan every hundred checks, so discovery soaks too.
        if (!scans.empty() && check % 100 == 0 &&
            module.meta_scan(9999, static_cast<unsigned>(check),
                             scans[static_cast<std::size_t>(check / 100) % scans.size()]) != 0) {
            ++result.failed;
        }
        for (const auto& message : module.take_messages()) {
            if (message.find("\"response_code\":0") == std::string::npos &&
                message.find("\"response_code\"") != std::string::npos) {
                ++result.failed;
            }
        }
        ++result.checks;
    }
    result.end_kib = testing::resident_kib();
    for (std::size_t index = 0; index < sensors.size(); ++index) {
        module.destroy_sensor(static_cast<int>(index) + 1);
    }
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    const long checks = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 10000;
    if (checks < 100) {
        std::fprintf(stderr, "soak: at least 100 checks, please (got %s)\n", argv[1]);
        return 2;
    }
    try {
        const soak_result result = soak(checks);
        const long growth = static_cast<long>(result.end_kib) - static_cast<long>(result.start_kib);
        std::printf("soak: %ld checks, %ld failed\n", result.checks, result.failed);
        std::printf("soak: RSS at start %zu KiB, at end %zu KiB, growth %ld KiB (allowed %zu)\n",
                    result.start_kib, result.end_kib, growth, allowed_growth_kib);
        const bool grew = growth > static_cast<long>(allowed_growth_kib);
        std::printf("soak: %s\n", result.failed != 0 ? "FAILED: calls did not succeed"
                                  : grew ? "FAILED: resident memory grew with the number of checks"
                                         : "passed");
        return result.failed != 0 || grew ? 1 : 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "soak: %s\n", e.what());
        return 1;
    }
}
