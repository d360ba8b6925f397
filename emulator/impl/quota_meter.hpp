#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "emulator/impl/http_exchange.hpp"
#include "emulator/impl/scenario.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// The throttling of a scenario's quotas: a token bucket of Resource Manager reads per
// subscription, and Cost Management's counting windows per tenant or per entity. Each charge
// puts Azure's quota headers on the answer; a spent quota answers 429 with Retry-After.
// Thread-safe; reset() starts every quota afresh (a new scenario does).
class quota_meter {
public:
    // One request as the quotas see it.
    struct usage {
        bool read = false;             // counts against the subscription's reads
        bool cost_management = false;  // counts against Cost Management's request windows
        int qpu = 0;                   // query processing units it costs (queries only)
        std::string tenant;
        std::string subscription;
    };

    quota_meter();

    // Adds the quota headers to `headers`; the throttling answer when a quota is spent (nothing
    // is charged then).
    std::optional<http_answer> charge(const quota_rules& rules, const usage& what,
                                      header_list& headers);
    void reset();
    // Quota time stops at `seconds` after the start (a benchmark steps it, so that hours of
    // quota pass in seconds); it runs with the clock until then.
    void hold_clock_at(double seconds);

private:
    struct bucket {
        double tokens = 0;
        double at = 0;  // quota seconds of the last refill
    };
    struct window_use {
        std::int64_t index = -1;  // which window of its length the count belongs to
        std::int64_t used = 0;
    };

    std::optional<http_answer> charge_read(const quota_rules& rules, const usage& what, double now,
                                           header_list& headers);
    std::optional<http_answer> charge_cost(const quota_rules& rules, const usage& what, double now,
                                           header_list& headers);

    std::mutex mutex_;
    std::chrono::steady_clock::time_point start_;
    std::optional<double> held_;
    std::map<std::string, bucket> buckets_;      // by subscription
    std::map<std::string, window_use> windows_;  // by window and tenant or entity
};

}  // namespace zentrova::monitoring_modules::emulator::impl
