#pragma once

#include <string>
#include <vector>

#include "microsoftazure/subscription_cost/cost_endpoint.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// One budget of the subscription: its limit and what has been spent against it.
struct budget_info {
    std::string name;
    double amount = 0.0;
    double current_spend = 0.0;
};

// The subscription's budgets in the order Azure lists them (none when it has none). Each
// budget's spend must be in the `currency` held so far (an empty one takes the first budget's);
// a different one throws std::runtime_error.
std::vector<budget_info> read_budgets(cost_endpoint& endpoint, std::string& currency);

}  // namespace zentrova::monitoring_modules::microsoftazure
