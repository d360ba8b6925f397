#include "microsoftazure/subscription_cost/cost_query.hpp"

#include "microsoftazure/subscription_cost/cost_rules.hpp"
#include "microsoftazure/subscription_cost/cost_table.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

const std::string& cost_query_template() {
    // Sent as it stands once the placeholders are filled: four-space indents, no final newline.
    static const std::string body = R"json({
    "type": "ActualCost",
    "timeframe": "Custom",
    "timeperiod": {
        "from": "$startDate",
        "to": "$endDate"
    },
    "dataset": {
        "granularity": "None",
        "aggregation": {
            "totalCost": {
                "name": "PreTaxCost",
                "function": "Sum"
            }
        },
        "grouping": [
            {
                "type": "Dimension",
                "name": "$dimension"
            }
        ]
    }
})json";
    return body;
}

std::string fill_template(std::string text, const std::string& placeholder,
                          const std::string& value) {
    if (placeholder.empty()) {
        return text;
    }
    for (auto at = text.find(placeholder); at != std::string::npos;
         at = text.find(placeholder, at + value.size())) {
        text.replace(at, placeholder.size(), value);
    }
    return text;
}

cost_values read_costs(cost_endpoint& endpoint, const std::string& start_date,
                       const std::string& end_date, const std::string& dimension,
                       std::string& currency) {
    std::string body = fill_template(cost_query_template(), "$startDate", start_date);
    body = fill_template(std::move(body), "$endDate", end_date);
    body = fill_template(std::move(body), "$dimension", dimension);
    const auto answer = endpoint.post(
        "Cost response: ", "/providers/Microsoft.CostManagement/query?api-version=2019-11-01",
        body);

    const cost_table table(*answer);
    const auto columns = table.require_columns({"PreTaxCost", dimension, "Currency"});
    const std::size_t cost_column = columns[0];
    const std::size_t key_column = columns[1];
    const std::size_t currency_column = columns[2];

    cost_values costs;
    for (std::size_t row = 0; row < table.row_count(); ++row) {
        adopt_currency(currency, table.text(row, currency_column), "Read Costs");
        // Azure sends one row per group; should a group come twice, its rows add up, so no
        // money of the group is lost.
        costs[table.text(row, key_column)] += table.number(row, cost_column);
    }

    if (endpoint.logging()) {
        endpoint.log("Cost values:");
        for (const auto& [key, cost] : costs) {
            endpoint.log("- " + key + ": " + fixed_text(cost, 6) + " " + currency);
        }
    }
    return costs;
}

period_costs read_previous_and_current_cost(cost_endpoint& endpoint, const std::string& start_date,
                                            const std::string& end_date, std::string& currency) {
    const cost_values costs = read_costs(endpoint, start_date, end_date, "BillingPeriod", currency);
    period_costs result;
    if (costs.size() == 2) {
        result.previous = costs.begin()->second;
        result.current = costs.rbegin()->second;
    } else if (!costs.empty()) {
        // One period has no previous one. With more than two, which of them is "previous" is
        // unclear, so only the newest is reported and no previous cost rather than a wrong one.
        result.current = costs.rbegin()->second;
    }
    if (endpoint.logging()) {
        endpoint.log("Previous cost: " + fixed_text(result.previous, 6));
        endpoint.log("Current cost:  " + fixed_text(result.current, 6));
    }
    return result;
}

}  // namespace zentrova::monitoring_modules::microsoftazure
