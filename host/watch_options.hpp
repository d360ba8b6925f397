#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zentrova::monitoring_modules::host {

// What `sensor-host watch` watches, and for how long.
struct watch_options {
    std::vector<std::string> kinds;  // sensor kinds; empty: every kind of the module
    // Discovery rows as ranges first..last, numbered from 1; empty: every row.
    std::vector<std::pair<std::size_t, std::size_t>> rows;
    std::size_t copies = 1;                          // sensors made from each picked row
    std::optional<double> interval;                  // seconds; empty: each kind's minimum interval
    double duration = 0;                             // seconds; 0: until SIGINT or SIGTERM
    std::size_t threads = 4;                         // host threads that run the checks
    std::map<std::string, std::string> assignments;  // --set, for the kinds that have them
};

}  // namespace zentrova::monitoring_modules::host
