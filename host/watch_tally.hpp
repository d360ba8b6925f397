#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "host/host_state.hpp"

namespace zentrova::monitoring_modules::host {

// One sensor of a watch.
struct watched_sensor {
    int id = 0;
    std::string kind;
    std::string resource;  // the discovery row's name; the subscription for the cost sensor
};

// What one check of a watch brought back.
struct check_record {
    std::size_t sensor = 0;                      // index in the watch
    std::chrono::system_clock::time_point time;  // when the check started
    double latency_ms = 0;                       // the ExecuteCheck call
    double cpu_ms = 0;                           // CPU time of the calling thread in that call
    bool has_result = false;                     // a sensor_scan_result arrived
    int response_code = -1;
    std::string message;  // the result's message as sent, or the host's text without a result
    std::string result;   // the sensor_scan_result as sent
    std::map<int, channel_definition> channels;  // what the sensor has declared by then

    bool succeeded() const { return has_result && response_code == 0; }
    // A request of the check was answered 429 (the module does not retry).
    bool throttled() const;
};

// A sensor's checks so far, and how the last one ended.
struct sensor_tally {
    std::uint64_t checks = 0;
    std::uint64_t failures = 0;
    check_record last;
};

// The checks of one kind (or of all) so far.
struct kind_tally {
    std::size_t sensors = 0;
    std::uint64_t checks = 0;
    std::uint64_t succeeded = 0;
    std::uint64_t throttled = 0;
    std::map<std::string, std::uint64_t> failures;  // by message key as the module sent it
    double cpu_ms = 0;
    double latency_p50_ms = 0;
    double latency_p95_ms = 0;
    double latency_max_ms = 0;
};

// Counts a watch's checks per sensor and per kind, as they end on the host's threads; the live
// view and the summary read copies. Thread-safe.
class watch_tally {
public:
    explicit watch_tally(std::vector<watched_sensor> sensors);

    void add(check_record record);

    const std::vector<watched_sensor>& sensors() const { return sensors_; }
    std::vector<sensor_tally> sensor_tallies() const;
    std::uint64_t checks() const;
    // Per kind in the order the sensors came, then "" for all of them together. Latency
    // figures are filled only with `latencies` (they sort every check's latency).
    std::vector<std::pair<std::string, kind_tally>> kinds(bool latencies) const;

private:
    const std::vector<watched_sensor> sensors_;
    mutable std::mutex mutex_;
    std::vector<sensor_tally> tallies_;
    std::uint64_t checks_ = 0;
    std::vector<std::pair<std::string, kind_tally>> kinds_;  // in the order the sensors came
    std::map<std::string, std::vector<float>> latencies_;    // by kind, every check
};

}  // namespace zentrova::monitoring_modules::host
