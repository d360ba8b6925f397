#include "microsoftazure/subscription_cost/budgets.hpp"

#include "microsoftazure/discovery_rows.hpp"
#include "microsoftazure/subscription_cost/cost_rules.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

std::vector<budget_info> read_budgets(cost_endpoint& endpoint, std::string& currency) {
    const auto answer = endpoint.get(
        "Budget response: ", "/providers/Microsoft.Consumption/budgets?api-version=2019-10-01");
    std::vector<budget_info> budgets;
    for (const auto& item : object_rows(*answer, "/value")) {
        budget_info budget;
        budget.name = item->get_string("/name");
        const std::string unit = item->get_string("/properties/currentSpend/unit");
        budget.current_spend = item->get_double("/properties/currentSpend/amount");
        budget.amount = item->get_double("/properties/amount");
        adopt_currency(currency, unit, "Read Budgets");
        budgets.push_back(std::move(budget));
    }
    if (endpoint.logging()) {
        endpoint.log("Budgets:");
        for (const auto& budget : budgets) {
            endpoint.log("- " + budget.name + " " + fixed_text(budget.current_spend, 6) + " of " +
                         fixed_text(budget.amount, 6) + " used");
        }
    }
    return budgets;
}

}  // namespace zentrova::monitoring_modules::microsoftazure
