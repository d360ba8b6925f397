#include "tests/reliability/kinds_under_test.hpp"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace zentrova::monitoring_modules::testing {
namespace {

// The bundled scenario's machines: resource group and name.
const std::vector<std::pair<std::string, std::string>> machines = {
    {"rg-web", "vm-web-burst-01"},
    {"rg-web", "vm-app-01"},
    {"rg-web", "vm-batch-01"},
    {"rg-ops", "vm-ops-01"},
};

settings_buffer virtual_machine_sensor(settings_buffer settings, const std::string& subscription_id,
                                       std::size_t variant) {
    const auto& [group, name] = machines.at(variant % machines.size());
    return machine_sensor(std::move(settings), subscription_id, group, name);
}

// The bundled scenario's databases and pools, one of each type: server, resource, region, type.
constexpr std::array<std::array<const char*, 4>, 4> databases = {{
    {"sql-emulator-pool", "elasticPools/pool-dtu", "West Europe", "Elastic pool, DTU"},
    {"sql-emulator-pool", "elasticPools/pool-vcore", "West Europe", "Elastic pool, vCore"},
    {"sql-emulator-single", "databases/db-reporting", "North Europe", "Single database, vCore"},
    {"sql-emulator-single", "databases/db-legacy", "North Europe", "Single database, DTU"},
}};

settings_buffer sql_database_sensor(settings_buffer settings, const std::string& subscription_id,
                                    std::size_t variant) {
    const auto& [server, resource, region, type] = databases.at(variant % databases.size());
    return database_sensor(std::move(settings), subscription_id,
                           std::string(server) + "/" + resource, type, region);
}

// Every option off, every option on, and two mixtures, by the options' names below.
constexpr std::array<const char*, 4> cost_options = {"show_budgets", "show_forecast",
                                                     "show_most_expensive_service",
                                                     "most_expensive_service_grouping"};
constexpr std::array<std::array<const char*, 4>, 4> cost_variants = {{
    {"disabled", "disabled", "disabled", "servicename"},
    {"enabled", "enabled", "enabled", "servicename"},
    {"enabled", "disabled", "disabled", "resourcetype"},
    {"disabled", "enabled", "enabled", "resourcegroupname"},
}};

settings_buffer subscription_cost_sensor(settings_buffer settings, const std::string&,
                                         std::size_t variant) {
    settings.kind = "subscription_cost_sensor";
    for (std::size_t option = 0; option < cost_options.size(); ++option) {
        const std::string group =
            "subscription_cost_sensor_section.subscription_cost_sensor_group.";
        settings.settings[group + cost_options[option]] =
            cost_variants.at(variant % cost_variants.size())[option];
    }
    return settings;
}

// A meta scan needs nothing beyond the connection and the credentials.
settings_buffer discovery(settings_buffer settings, const std::string&, std::size_t) {
    return settings;
}

std::vector<kind_under_test> kinds_where(bool metascan) {
    std::vector<kind_under_test> found;
    std::copy_if(kinds_under_test().begin(), kinds_under_test().end(), std::back_inserter(found),
                 [&](const kind_under_test& kind) { return kind.metascan == metascan; });
    return found;
}

}  // namespace

const std::vector<kind_under_test>& kinds_under_test() {
    static const std::vector<kind_under_test> kinds = {
        {"virtual_machine_sensor", false, "vm_metrics", machines.size(), &virtual_machine_sensor,
         true},
        {"subscription_cost_sensor", false, "billing_periods", cost_variants.size(),
         &subscription_cost_sensor,
         // Its requests wait a fixed 30 seconds, whatever the timeout setting says.
         false},
        {"sql_database_sensor", false, "sql_metrics", databases.size(), &sql_database_sensor, true},
        {"virtual_machine_metascan", true, "vm_list", 1, &discovery, true},
        {"sql_database_metascan", true, "sql_servers", 1, &discovery, true},
    };
    return kinds;
}

settings_buffer machine_sensor(settings_buffer settings, const std::string& subscription_id,
                               const std::string& group, const std::string& name) {
    const std::string columns = "virtual_machine_metascan_section.virtual_machine_metascan_group.";
    settings.kind = "virtual_machine_sensor";
    settings.settings[columns + "name"] = name;
    settings.settings[columns + "vm_id"] = "/subscriptions/" + subscription_id +
                                           "/resourceGroups/" + group +
                                           "/providers/Microsoft.Compute/virtualMachines/" + name;
    settings.settings[columns + "os"] = "Linux";
    settings.settings[columns + "resource_group"] = group;
    settings.settings[columns + "region"] = "West Europe";
    return settings;
}

settings_buffer database_sensor(settings_buffer settings, const std::string& subscription_id,
                                const std::string& resource, const std::string& type,
                                const std::string& region) {
    const std::string columns = "sql_database_metascan_section.sql_database_metascan_group.";
    settings.kind = "sql_database_sensor";
    settings.settings[columns + "name"] = resource.substr(resource.rfind('/') + 1);
    settings.settings[columns + "database_id"] =
        "/subscriptions/" + subscription_id +
        "/resourceGroups/rg-data/providers/Microsoft.Sql/servers/" + resource;
    settings.settings[columns + "region"] = region;
    settings.settings[columns + "type"] = type;
    return settings;
}

std::vector<kind_under_test> sensor_kinds() {
    return kinds_where(false);
}

std::vector<kind_under_test> metascan_kinds() {
    return kinds_where(true);
}

}  // namespace zentrova::monitoring_modules::testing
