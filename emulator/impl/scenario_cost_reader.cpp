#include "emulator/impl/scenario_cost_reader.hpp"

#include <algorithm>

#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

const std::vector<std::string>& cost_dimensions() {
    static const std::vector<std::string> names{"ResourceGroupName", "ResourceType", "ResourceId",
                                                "ResourceLocation", "ServiceName"};
    return names;
}

billing_period read_period(const scenario_node& n) {
    scenario_object o(n, {"name", "start_date", "end_date", "invoice_ids", "total_cost", "costs"});
    billing_period period;
    period.name = o.text("name");
    period.start_date = o.child("start_date").date();
    period.end_date = o.child("end_date").date();
    period.invoice_ids = o.texts("invoice_ids");
    if (o.has("costs")) {
        o.child("costs").each_member(
            "an object of dimension name to costs",
            [&](const std::string& dim_name, const scenario_node& dim_node) {
                auto canonical =
                    std::find_if(cost_dimensions().begin(), cost_dimensions().end(),
                                 [&](const std::string& d) { return iequals(d, dim_name); });
                if (canonical == cost_dimensions().end()) {
                    dim_node.fail("unknown cost dimension \"" + dim_name +
                                  "\" (known: ResourceGroupName, ResourceType, ResourceId, "
                                  "ResourceLocation, ServiceName; the BillingPeriod total is "
                                  "total_cost)");
                }
                std::vector<cost_entry> entries;
                dim_node.each_member("an object of group name to cost",
                                     [&](const std::string& key, const scenario_node& cost) {
                                         entries.push_back({key, cost.number()});
                                     });
                period.costs.emplace_back(*canonical, std::move(entries));
            });
    }
    if (o.has("total_cost")) {
        period.total_cost = o.number("total_cost");
    } else {
        const auto* by_service = period.costs_by("ServiceName");
        const auto* basis = by_service != nullptr  ? by_service
                            : period.costs.empty() ? nullptr
                                                   : &period.costs.front().second;
        if (basis != nullptr) {
            for (const auto& e : *basis) {
                period.total_cost += e.cost;
            }
        }
    }
    return period;
}

}  // namespace

void scenario_cost_reader::read_costs(const scenario_object& o, subscription& sub) {
    o.each("billing_periods", [&](const scenario_node& p) {
        billing_period period = read_period(p);
        for (const auto& other : sub.billing_periods) {
            if (other.name == period.name) {
                p.fail("a billing period \"" + period.name + "\" already exists");
            }
        }
        sub.billing_periods.push_back(std::move(period));
    });
    std::stable_sort(sub.billing_periods.begin(), sub.billing_periods.end(),
                     [](const billing_period& a, const billing_period& b) {
                         return a.start_date != b.start_date ? a.start_date > b.start_date
                                                             : a.name > b.name;
                     });
    o.each("forecast", [&](const scenario_node& r) {
        scenario_object row(r, {"date", "cost", "status", "currency"});
        sub.forecast.push_back({row.child("date").date(), row.number("cost"),
                                row.text("status", "Forecast"),
                                row.text("currency", sub.currency)});
    });
    o.each("budgets", [&](const scenario_node& b) {
        scenario_object budget_node(
            b, {"name", "resource_group", "amount", "current_spend", "category", "time_grain",
                "start_date", "end_date", "currency"});
        budget item;
        item.name = budget_node.text("name");
        item.resource_group = budget_node.text("resource_group", "");
        item.amount = budget_node.number("amount");
        item.current_spend = budget_node.number("current_spend");
        item.category = budget_node.text("category", "Cost");
        item.time_grain = budget_node.text("time_grain", "Monthly");
        item.start_date = budget_node.text("start_date", "2024-01-01T00:00:00Z");
        item.end_date = budget_node.text("end_date", "2025-12-31T00:00:00Z");
        item.currency = budget_node.text("currency", sub.currency);
        sub.budgets.push_back(std::move(item));
    });
}

}  // namespace zentrova::monitoring_modules::emulator::impl
