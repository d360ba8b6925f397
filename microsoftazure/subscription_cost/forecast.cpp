#include "microsoftazure/subscription_cost/forecast.hpp"

#include <vector>

#include "microsoftazure/subscription_cost/cost_rules.hpp"
#include "microsoftazure/subscription_cost/cost_table.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

const std::string& forecast_body() {
    // The forecast service spells the data set "dataSet", unlike the cost query's "dataset".
    static const std::string body = R"json({
    "type": "ActualCost",
    "dataSet": {
        "granularity": "Daily",
        "aggregation": {
            "totalCost": {
                "name": "Cost",
                "function": "Sum"
            }
        },
        "grouping": [
            {
                "type": "Dimension",
                "name": "BillingPeriod"
            }
        ]
    },
    "includeActualCost": false,
    "includeFreshPartialCost": false
})json";
    return body;
}

double read_forecast(cost_endpoint& endpoint, double current_cost, std::string& currency) {
    const auto answer = endpoint.post(
        "Forecast response: ",
        "/providers/Microsoft.CostManagement/forecast?api-version=2019-11-01", forecast_body());

    const cost_table table(*answer);
    const auto columns = table.require_columns({"Cost", "UsageDate", "CostStatus", "Currency"});
    const std::size_t cost_column = columns[0];
    const std::size_t date_column = columns[1];
    const std::size_t status_column = columns[2];
    const std::size_t currency_column = columns[3];

    // The actual cost of the period is already counted in the current cost; only the days
    // still to come are added.
    double forecast = current_cost;
    // The rows are printed after the total's rows are all read, and only when the log keeps
    // them; every row's date is read either way, so a short row fails the check alike.
    const bool logging = endpoint.logging();
    std::vector<std::string> lines;
    for (std::size_t row = 0; row < table.row_count(); ++row) {
        const std::string& row_currency = table.text(row, currency_column);
        adopt_currency(currency, row_currency, "Read Forecast");
        const std::string& status = table.text(row, status_column);
        if (status == "Forecast") {
            forecast += table.number(row, cost_column);
        }
        const std::string& date = table.text(row, date_column);
        if (logging) {
            std::string line = "- " + date;
            line.append(": ").append(table.text(row, cost_column)).append(" ").append(row_currency);
            line.append(" (").append(status).append(")");
            lines.push_back(std::move(line));
        }
    }

    if (logging) {
        endpoint.log("Forecast values:");
        for (const auto& line : lines) {
            endpoint.log(line);
        }
        endpoint.log("Forecast: " + fixed_text(forecast, 6));
    }
    return forecast;
}

}  // namespace zentrova::monitoring_modules::microsoftazure
