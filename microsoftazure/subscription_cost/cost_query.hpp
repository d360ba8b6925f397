#pragma once

#include <map>
#include <string>

#include "microsoftazure/subscription_cost/cost_endpoint.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// Actual cost per group (a billing period's name, a resource group, a service ...), ascending
// by the group's key in byte order.
using cost_values = std::map<std::string, double>;

// The cost of the previous and of the current billing period.
struct period_costs {
    double previous = 0.0;
    double current = 0.0;
};

// The body of the Cost Management query, with the placeholders "$startDate", "$endDate" and
// "$dimension".
const std::string& cost_query_template();

// Replaces every occurrence of `placeholder`, left to right, resuming after each inserted
// value, so a value that holds the placeholder is not replaced again. An empty placeholder
// changes nothing.
std::string fill_template(std::string text, const std::string& placeholder,
                          const std::string& value);

// The actual cost from `start_date` to `end_date` (verbatim), grouped by `dimension`. Every row
// must be in the `currency` held so far (which an empty one takes from the first row). Throws
// std::runtime_error when the cost, dimension or currency column is missing, or a row's
// currency differs.
cost_values read_costs(cost_endpoint& endpoint, const std::string& start_date,
                       const std::string& end_date, const std::string& dimension,
                       std::string& currency);

// The costs grouped by billing period: with exactly two periods the smaller key is the previous
// and the greater the current one; otherwise the previous cost is 0 and the current one is the
// last period's (0 without any).
period_costs read_previous_and_current_cost(cost_endpoint& endpoint, const std::string& start_date,
                                            const std::string& end_date, std::string& currency);

}  // namespace zentrova::monitoring_modules::microsoftazure
