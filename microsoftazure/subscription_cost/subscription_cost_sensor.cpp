#include "microsoftazure/subscription_cost/subscription_cost_sensor.hpp"

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "microsoftazure/subscription_cost/billing_periods.hpp"
#include "microsoftazure/subscription_cost/budgets.hpp"
#include "microsoftazure/subscription_cost/cost_query.hpp"
#include "microsoftazure/subscription_cost/cost_rules.hpp"
#include "microsoftazure/subscription_cost/forecast.hpp"
#include "microsoftazure/subscription_cost/most_expensive_service.hpp"

namespace zentrova::monitoring_modules::microsoftazure {
namespace {

using framework::channels::dynamic_channel_options;
using framework::channels::unit;
using framework::channels::value_kind;

constexpr int current_cost_channel = 0;
constexpr int previous_cost_channel = 1;
constexpr int forecast_channel = 2;
// Budget channels get ids from here on; the ids below belong to the fixed channels.
constexpr int first_budget_channel = 3;
constexpr std::uint32_t request_timeout_seconds = 30;

const char* const base_url_key = "base_url";
const char* const currency_key = "currency";
const char* const next_channel_id_key = "next_channel_id";

const std::string& fixed_channel_name(int channel_id) {
    static const std::vector<std::string> names{"current_cost", "last_billed_cost", "forecast"};
    if (channel_id < 0 || static_cast<std::size_t>(channel_id) >= names.size()) {
        throw std::out_of_range("invalid vector subscript");
    }
    return names[static_cast<std::size_t>(channel_id)];
}

dynamic_channel_options money_channel(const std::string& name, const std::string& currency) {
    dynamic_channel_options options;
    options.name = name;
    options.kind = value_kind::floating_point;
    options.unit = unit::custom;
    options.custom_unit = currency;
    return options;
}

dynamic_channel_options percent_channel(const std::string& name) {
    dynamic_channel_options options;
    options.name = name;
    options.kind = value_kind::floating_point;
    options.unit = unit::percent;
    return options;
}

}  // namespace

subscription_cost_sensor::subscription_cost_sensor(
    std::shared_ptr<framework::module::service_container> container, int sensor_id,
    const framework::settings::sensor_data_wrapper& settings)
    : azure_sensor_base(std::move(container), sensor_id, settings,
                        "Microsoft Azure Subscription Cost", partial_values::discard) {}

void subscription_cost_sensor::read(scan_result& result) {
    const auto& config = settings();
    cost_endpoint endpoint(client(), config.credentials.subscription_id, log());

    const billing_period_map periods = read_billing_periods(endpoint);
    if (periods.empty()) {
        throw std::runtime_error("No billing periods found. Cannot continue.");
    }
    const billing_period& older = periods.begin()->second;
    const billing_period& newer = periods.rbegin()->second;

    std::string currency =
        persistent_data().exists(currency_key) ? persistent_data().at(currency_key) : "";
    log("Using period " + older.start_date + " to " + newer.end_date +
        " for previous/current costs");
    const period_costs costs =
        read_previous_and_current_cost(endpoint, older.start_date, newer.end_date, currency);
    store_persistent(currency_key, currency);

    declare_fixed_channels(currency);
    result.add_float(current_cost_channel, costs.current);
    result.add_float(previous_cost_channel, costs.previous);

    if (config.show_forecast) {
        result.add_float(forecast_channel, read_forecast(endpoint, costs.current, currency));
    }
    if (config.show_budgets) {
        report_budgets(endpoint, currency, result);
    }
    if (config.show_most_expensive_service) {
        log("Using period " + newer.start_date + " to " + newer.end_date +
            " for most expensive service");
        const std::string message = read_most_expensive_service(
            endpoint, newer.start_date, newer.end_date, config.grouping, currency);
        if (!message.empty()) {
            result.set_response_message(message);
        }
    }
}

std::unique_ptr<azure_client> subscription_cost_sensor::make_client() {
    // A kept "base_url" points the sensor at another Resource Manager root (a national cloud, a
    // proxy); requests are made by appending to it, so it must end in "/".
    std::string root;
    if (persistent_data().exists(base_url_key)) {
        root = persistent_data().at(base_url_key);
        if (!root.empty() && root.back() != '/') {
            root += '/';
        }
    }
    auto made = std::make_unique<azure_client>(*container(), settings().credentials,
                                               request_timeout_seconds, root);
    log("Azure Resource Manager root: " + made->root());
    return made;
}

void subscription_cost_sensor::declare_fixed_channels(const std::string& currency) {
    std::vector<int> ids{current_cost_channel, previous_cost_channel};
    if (settings().show_forecast) {
        ids.push_back(forecast_channel);
    }
    // A channel the host has already keeps its options, even if the currency changed since.
    for (const int id : ids) {
        declare_channel(id, money_channel(fixed_channel_name(id), currency));
    }
}

void subscription_cost_sensor::report_budgets(cost_endpoint& endpoint, std::string& currency,
                                              scan_result& result) {
    for (const budget_info& budget : read_budgets(endpoint, currency)) {
        const int percent_id = channel_id_for(budget.name + "_used_percent");
        declare_channel(percent_id, percent_channel("budget_used_percent[" + budget.name + "]"));
        // A budget of amount 0 gives an infinite (or undefined) share, reported as such.
        result.add_float(percent_id, budget.current_spend / budget.amount * 100);

        const int spend_id = channel_id_for(budget.name + "_used");
        declare_channel(spend_id, money_channel("budget_used[" + budget.name + "]", currency));
        result.add_float(spend_id, budget.current_spend);
    }
}

int subscription_cost_sensor::channel_id_for(const std::string& key) {
    if (persistent_data().exists(key)) {
        return parse_channel_id(persistent_data().at(key));
    }
    const int id = persistent_data().exists(next_channel_id_key)
                       ? parse_channel_id(persistent_data().at(next_channel_id_key))
                       : first_budget_channel;
    // Widened, so that the last int still yields a next id (which then fails to parse) instead
    // of overflowing.
    store_persistent(next_channel_id_key, std::to_string(static_cast<long long>(id) + 1));
    store_persistent(key, std::to_string(id));
    return id;
}

}  // namespace zentrova::monitoring_modules::microsoftazure
