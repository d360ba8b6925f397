#include "microsoftazure/subscription_cost/billing_periods.hpp"

#include "microsoftazure/discovery_rows.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

billing_period_map read_billing_periods(cost_endpoint& endpoint) {
    const auto answer = endpoint.get(
        "Billing period response: ",
        "/providers/Microsoft.Billing/billingPeriods?api-version=2017-04-24-preview&$top=2");
    billing_period_map periods;
    for (const auto& item : object_rows(*answer, "/value")) {
        billing_period period;
        period.name = item->get_string("/name");
        period.start_date = item->get_string("/properties/billingPeriodStartDate");
        period.end_date = item->get_string("/properties/billingPeriodEndDate");
        periods.emplace(period.name, period);
    }
    if (endpoint.logging()) {
        endpoint.log("Billing periods:");
        for (const auto& [name, period] : periods) {
            endpoint.log("- " + name + ": " + period.start_date + " - " + period.end_date);
        }
    }
    return periods;
}

}  // namespace zentrova::monitoring_modules::microsoftazure
