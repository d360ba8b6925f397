#include "bench/end_to_end/bench_kind.hpp"

#include <jsoncons/json.hpp>

#include <stdexcept>

#include "host/settings_buffer.hpp"

namespace zentrova::monitoring_modules::bench {
namespace {

const std::string credentials_group = "azure_credentials_section.credentials_group.";
const std::string cost_group = "subscription_cost_sensor_section.subscription_cost_sensor_group.";

// The rows of one meta scan, each as the settings it gives a new sensor.
std::vector<std::map<std::string, std::string>> discover(module_driver& module,
                                                         const azure_account& account,
                                                         const std::string& kind) {
    module_driver::keep_messages(true);
    const int code = module.meta_scan(1, 1, settings_buffer(kind, account, {}));
    module_driver::keep_messages(false);
    std::vector<std::map<std::string, std::string>> rows;
    for (const auto& text : module_driver::take_kept_messages()) {
        const auto message = jsoncons::ojson::parse(text);
        if (message["type"].as<std::string>() != "meta_scan_result") {
            continue;
        }
        if (message["response_code"].as<int>() != 0) {
            throw std::runtime_error(kind + " failed: " + message["message"].as<std::string>());
        }
        for (const auto& entry : message["entries"].array_range()) {
            std::map<std::string, std::string> row;
            for (const auto& value : entry["values"].object_range()) {
                row[value.key()] = value.value().as<std::string>();
            }
            rows.push_back(std::move(row));
        }
    }
    if (code != 0 || rows.empty()) {
        throw std::runtime_error(kind + " found nothing (export answered " + std::to_string(code) +
                                 ")");
    }
    return rows;
}

}  // namespace

azure_account azure_account::from_scenario(const std::string& scenario_json) {
    const auto scenario = jsoncons::json::parse(scenario_json);
    const auto& tenant = scenario["tenants"][0];
    azure_account account;
    account.tenant_id = tenant["id"].as<std::string>();
    account.client_id = tenant["applications"][0]["client_id"].as<std::string>();
    account.client_secret = tenant["applications"][0]["client_secret"].as<std::string>();
    account.subscription_id = scenario["subscriptions"][0]["id"].as<std::string>();
    return account;
}

std::string settings_buffer(const std::string& kind, const azure_account& account,
                            const std::map<std::string, std::string>& variant,
                            const host::sensor_state& kept) {
    std::map<std::string, std::string> plain = {
        {"host", "management.azure.com"},
        {"logging", "disabled"},
        {"timeout", "60"},
        {credentials_group + "tenant_id", account.tenant_id},
        {credentials_group + "client_id", account.client_id},
        {credentials_group + "subscription_id", account.subscription_id},
    };
    for (const auto& [key, value] : variant) {
        plain[key] = value;
    }
    return host::settings_buffer(
        kind, plain,
        {{"zentrovacloudapikey", ""}, {credentials_group + "client_secret", account.client_secret}},
        kept);
}

std::vector<bench_kind> discover_kinds(module_driver& module, const azure_account& account) {
    std::vector<bench_kind> kinds;
    kinds.push_back({"virtual_machine_sensor", "virtual machine",
                     discover(module, account, "virtual_machine_metascan")});
    kinds.push_back({"sql_database_sensor", "SQL database",
                     discover(module, account, "sql_database_metascan")});
    kinds.push_back({"subscription_cost_sensor",
                     "subscription cost",
                     {{{cost_group + "show_budgets", "enabled"},
                       {cost_group + "show_forecast", "enabled"},
                       {cost_group + "show_most_expensive_service", "enabled"},
                       {cost_group + "most_expensive_service_grouping", "servicename"}}}});
    return kinds;
}

}  // namespace zentrova::monitoring_modules::bench
