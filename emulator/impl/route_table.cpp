#include "emulator/impl/route_table.hpp"

#include "emulator/azure_emulator.hpp"
#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator {

const std::vector<std::string>& route_names() {
    static const std::vector<std::string> names{
        "token",       "token_v2",        "openid_configuration", "openid_keys", "vm_list",
        "locations",   "vm_metrics",      "instance_view",        "sql_servers", "sql_databases",
        "sql_metrics", "billing_periods", "cost_query",           "forecast",    "budgets",
        "unknown"};
    return names;
}

namespace impl {
const std::string& route_match::capture(std::string_view name) const {
    static const std::string none;
    for (const auto& [key, value] : captures) {
        if (key == name) {
            return value;
        }
    }
    return none;
}

route_table::route_table() {
    const std::string vm_prefix =
        "subscriptions/{subscription}/resourceGroups/{group}/providers/Microsoft.Compute/"
        "virtualMachines/{vm}";
    const std::string server_prefix =
        "subscriptions/{subscription}/resourceGroups/{group}/providers/Microsoft.Sql/servers/"
        "{server}";
    const std::string metrics_suffix = "/providers/microsoft.insights/metrics";
    auto add = [this](route_id id, const char* name, const char* method, const std::string& pattern,
                      std::vector<std::string> versions, const char* action) {
        entries_.push_back({id, name, method, split(pattern, '/'), action[0] != '\0',
                            std::move(versions), action});
    };
    add(route_id::token, "token", "POST", "{tenant}/oauth2/token", {}, "");
    add(route_id::token_v2, "token_v2", "POST", "{tenant}/oauth2/v2.0/token", {}, "");
    add(route_id::openid_configuration, "openid_configuration", "GET",
        "{tenant}/v2.0/.well-known/openid-configuration", {}, "");
    add(route_id::openid_keys, "openid_keys", "GET", "{tenant}/discovery/v2.0/keys", {}, "");
    add(route_id::vm_list, "vm_list", "GET",
        "subscriptions/{subscription}/providers/Microsoft.Compute/virtualMachines", {"2019-12-01"},
        "Microsoft.Compute/virtualMachines/read");
    add(route_id::locations, "locations", "GET", "subscriptions/{subscription}/locations",
        {"2020-01-01"}, "Microsoft.Resources/subscriptions/locations/read");
    add(route_id::vm_metrics, "vm_metrics", "GET", vm_prefix + metrics_suffix, {"2018-01-01"},
        "Microsoft.Insights/metrics/read");
    add(route_id::instance_view, "instance_view", "GET", vm_prefix + "/instanceView",
        {"2020-06-01", "2026-03-01"}, "Microsoft.Compute/virtualMachines/instanceView/read");
    add(route_id::sql_servers, "sql_servers", "GET",
        "subscriptions/{subscription}/providers/Microsoft.Sql/servers", {"2014-04-01"},
        "Microsoft.Sql/servers/read");
    add(route_id::sql_databases, "sql_databases", "GET", server_prefix + "/databases",
        {"2020-02-02-preview"}, "Microsoft.Sql/servers/databases/read");
    add(route_id::sql_database_metrics, "sql_metrics", "GET",
        server_prefix + "/databases/{database}" + metrics_suffix, {"2018-01-01"},
        "Microsoft.Insights/metrics/read");
    add(route_id::sql_pool_metrics, "sql_metrics", "GET",
        server_prefix + "/elasticPools/{pool}" + metrics_suffix, {"2018-01-01"},
        "Microsoft.Insights/metrics/read");
    add(route_id::billing_periods, "billing_periods", "GET",
        "subscriptions/{subscription}/providers/Microsoft.Billing/billingPeriods",
        {"2017-04-24-preview"}, "Microsoft.Billing/billingPeriods/read");
    add(route_id::cost_query, "cost_query", "POST",
        "subscriptions/{subscription}/providers/Microsoft.CostManagement/query", {"2019-11-01"},
        "Microsoft.CostManagement/query/action");
    add(route_id::forecast, "forecast", "POST",
        "subscriptions/{subscription}/providers/Microsoft.CostManagement/forecast", {"2019-11-01"},
        "Microsoft.CostManagement/forecast/action");
    add(route_id::budgets, "budgets", "GET",
        "subscriptions/{subscription}/providers/Microsoft.Consumption/budgets", {"2019-10-01"},
        "Microsoft.Consumption/budgets/read");
}

route_match route_table::match(std::string_view method, std::string_view normalized_path) const {
    const std::vector<std::string> segments =
        split(normalized_path.size() > 1 ? normalized_path.substr(1) : std::string_view{}, '/');
    for (const auto& e : entries_) {
        if (e.segments.size() != segments.size()) {
            continue;
        }
        route_match m;
        bool ok = true;
        for (std::size_t i = 0; i < segments.size() && ok; ++i) {
            const std::string& p = e.segments[i];
            if (p.size() > 2 && p.front() == '{' && p.back() == '}') {
                ok = !segments[i].empty();
                m.captures.emplace_back(p.substr(1, p.size() - 2), segments[i]);
            } else {
                ok = iequals(p, segments[i]);
            }
        }
        if (!ok) {
            continue;
        }
        m.id = e.id;
        m.name = e.name;
        m.arm = e.arm;
        m.api_versions = e.api_versions;
        m.action = e.action;
        m.allowed_method = e.method;
        m.method_allowed = method == e.method;
        return m;
    }
    return route_match{};
}

}  // namespace impl
}  // namespace zentrova::monitoring_modules::emulator
