#pragma once

#include <map>
#include <string>

#include "microsoftazure/subscription_cost/cost_endpoint.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// One billing period of the subscription. The dates stay exactly as Azure spells them: they go
// into the cost query unchanged.
struct billing_period {
    std::string name;
    std::string start_date;
    std::string end_date;
};

// Billing periods by name, ascending in byte order; period names sort by time ("202410-1"
// before "202411-1"), so the first entry is the older period and the last the newer.
using billing_period_map = std::map<std::string, billing_period>;

// The subscription's two most recent billing periods (none, one or two).
billing_period_map read_billing_periods(cost_endpoint& endpoint);

}  // namespace zentrova::monitoring_modules::microsoftazure
