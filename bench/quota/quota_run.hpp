#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace zentrova::monitoring_modules::bench {

// Sensors of one kind, all of one subscription, checked at a fixed interval.
struct sensor_fleet {
    std::string kind;  // "virtual_machine_sensor", "sql_database_sensor", ...
    std::map<std::string, std::string> settings;  // beyond the credentials
    int sensors = 1;
    double interval_seconds = 60;
    int rounds = 1;  // checks of each sensor
};

// What the quotas did to a fleet's checks.
struct quota_outcome {
    std::uint64_t checks = 0;
    std::uint64_t requests = 0;   // Resource Manager and Cost Management requests, tokens apart
    std::uint64_t throttled = 0;  // checks that failed on a 429 answer
    std::uint64_t failed = 0;     // checks that failed otherwise
};

// Runs a fleet through the module against the emulator's realistic world, with the sensors'
// checks spread evenly over the interval. The emulator's quota clock is stepped to each check's
// time instead of waiting for it, so hours of quota pass in seconds; the checks run one after
// the other, each at one instant of quota time.
class quota_run {
public:
    quota_run(std::string module_path, std::string scenario_dir);
    quota_outcome run(const sensor_fleet& fleet) const;

private:
    std::string module_path_;
    std::string scenario_dir_;
};

}  // namespace zentrova::monitoring_modules::bench
