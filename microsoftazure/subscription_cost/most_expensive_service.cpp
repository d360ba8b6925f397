#include "microsoftazure/subscription_cost/most_expensive_service.hpp"

#include <map>
#include <stdexcept>

#include "microsoftazure/subscription_cost/cost_rules.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

const std::string& dimension_for(settings::most_expensive_service_grouping grouping) {
    using settings::most_expensive_service_grouping;
    static const std::map<most_expensive_service_grouping, std::string> dimensions{
        {most_expensive_service_grouping::resourcegroupname, "ResourceGroupName"},
        {most_expensive_service_grouping::resourcetype, "ResourceType"},
        {most_expensive_service_grouping::resourceid, "ResourceId"},
        {most_expensive_service_grouping::resourcelocation, "ResourceLocation"},
        {most_expensive_service_grouping::servicename, "ServiceName"},
    };
    const auto found = dimensions.find(grouping);
    if (found == dimensions.end()) {
        throw std::out_of_range("invalid map<K, T> key");
    }
    return found->second;
}

cost_leader most_expensive(const cost_values& costs) {
    cost_leader best;
    for (const auto& [name, cost] : costs) {
        if (cost > best.cost) {
            best.name = name;
            best.cost = cost;
        }
    }
    return best;
}

std::string read_most_expensive_service(cost_endpoint& endpoint, const std::string& start_date,
                                        const std::string& end_date,
                                        settings::most_expensive_service_grouping grouping,
                                        std::string& currency) {
    const std::string& dimension = dimension_for(grouping);
    const cost_leader best =
        most_expensive(read_costs(endpoint, start_date, end_date, dimension, currency));
    if (best.name.empty()) {
        return {};
    }
    const std::string amount = fixed_text(best.cost, 2);
    endpoint.log("Most expensive service is " + best.name + " with " + amount + " " + currency);
    // The arguments go into the message as they are: a comma in a name is not escaped.
    return "#:most-expensive-service[" + best.name + "," + amount + "," + currency + "]";
}

}  // namespace zentrova::monitoring_modules::microsoftazure
