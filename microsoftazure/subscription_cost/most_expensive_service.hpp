#pragma once

#include <string>

#include "microsoftazure/subscription_cost/cost_endpoint.hpp"
#include "microsoftazure/subscription_cost/cost_query.hpp"
#include "settings/subscription_cost_sensor.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// The Cost Management dimension that a grouping setting stands for ("ResourceGroupName" ...).
// Throws std::out_of_range "invalid map<K, T> key" for a value outside the setting's options.
const std::string& dimension_for(settings::most_expensive_service_grouping grouping);

// The group that cost most. Groups are walked in key order and a group wins only with a cost
// strictly above the best so far, which starts at -1: equal costs go to the smallest key, and
// costs of -1 or less never win. An empty name means there is no winner.
struct cost_leader {
    std::string name;
    double cost = -1.0;
};
cost_leader most_expensive(const cost_values& costs);

// The message naming the most expensive group from `start_date` to `end_date`, by the grouping's
// dimension: "#:most-expensive-service[<name>,<amount>,<currency>]" with the amount in two
// decimals; empty when there is none to name. Costs follow the currency rule of read_costs.
std::string read_most_expensive_service(cost_endpoint& endpoint, const std::string& start_date,
                                        const std::string& end_date,
                                        settings::most_expensive_service_grouping grouping,
                                        std::string& currency);

}  // namespace zentrova::monitoring_modules::microsoftazure
