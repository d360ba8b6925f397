#include "tests/reliability/kinds_under_test.hpp"

#include <utility>

namespace zentrova::monitoring_modules::testing {
namespace {

const std::string vm_columns = "virtual_machine_metascan_section.virtual_machine_metascan_group.";

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
    settings.kind = "virtual_machine_sensor";
    settings.settings[vm_columns + "name"] = name;
    settings.settings[vm_columns + "vm_id"] =
        "/subscriptions/" + subscription_id + "/resourceGroups/" + group +
        "/providers/Microsoft.Compute/virtualMachines/" + name;
    settings.settings[vm_columns + "os"] = "Linux";
    settings.settings[vm_columns + "resource_group"] = group;
    settings.settings[vm_columns + "region"] = "West Europe";
    return settings;
}

const std::string sql_columns = "sql_database_metascan_section.sql_database_metascan_group.";

// The bundled scenario's databases and pools, one of each type: server, resource, region, type.
struct database {
    const char* server;
    const char* resource;
    const char* region;
    const char* type;
};
const std::vector<database> databases = {
    {"sql-emulator-pool", "elasticPools/pool-dtu", "West Europe", "Elastic pool, DTU"},
    {"sql-emulator-pool", "elasticPools/pool-vcore", "West Europe", "Elastic pool, vCore"},
    {"sql-emulator-single", "databases/db-reporting", "North Europe", "Single database, vCore"},
    {"sql-emulator-single", "databases/db-legacy", "North Europe", "Single database, DTU"},
};

settings_buffer sql_database_sensor(settings_buffer settings, const std::string& subscription_id,
                                    std::size_t variant) {
    const database& chosen = databases.at(variant % databases.size());
    const std::string resource = chosen.resource;
    settings.kind = "sql_database_sensor";
    settings.settings[sql_columns + "name"] = resource.substr(resource.find('/') + 1);
    settings.settings[sql_columns + "database_id"] =
        "/subscriptions/" + subscription_id +
        "/resourceGroups/rg-data/providers/Microsoft.Sql/servers/" + chosen.server + "/" + resource;
    settings.settings[sql_columns + "region"] = chosen.region;
    settings.settings[sql_columns + "type"] = chosen.type;
    return settings;
}

const std::string cost_options = "subscription_cost_sensor_section.subscription_cost_sensor_group.";

// Every option off, every option on, and two mixtures.
struct cost_variant {
    const char* budgets;
    const char* forecast;
    const char* most_expensive_service;
    const char* grouping;
};
const std::vector<cost_variant> cost_variants = {
    {"disabled", "disabled", "disabled", "servicename"},
    {"enabled", "enabled", "enabled", "servicename"},
    {"enabled", "disabled", "disabled", "resourcetype"},
    {"disabled", "enabled", "enabled", "resourcegroupname"},
};

settings_buffer subscription_cost_sensor(settings_buffer settings, const std::string&,
                                         std::size_t variant) {
    const cost_variant& chosen = cost_variants.at(variant % cost_variants.size());
    settings.kind = "subscription_cost_sensor";
    settings.settings[cost_options + "show_budgets"] = chosen.budgets;
    settings.settings[cost_options + "show_forecast"] = chosen.forecast;
    settings.settings[cost_options + "show_most_expensive_service"] = chosen.most_expensive_service;
    settings.settings[cost_options + "most_expensive_service_grouping"] = chosen.grouping;
    return settings;
}

// A meta scan needs nothing beyond the connection and the credentials.
template <const char* name>
settings_buffer discovery(settings_buffer settings, const std::string&, std::size_t) {
    settings.kind = name;
    return settings;
}
constexpr char vm_discovery[] = "virtual_machine_metascan";
constexpr char sql_discovery[] = "sql_database_metascan";

std::vector<kind_under_test> kinds_where(bool metascan) {
    std::vector<kind_under_test> found;
    for (const auto& kind : kinds_under_test()) {
        if (kind.metascan == metascan) {
            found.push_back(kind);
        }
    }
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
        {vm_discovery, true, "vm_list", 1, &discovery<vm_discovery>, true},
        {sql_discovery, true, "sql_servers", 1, &discovery<sql_discovery>, true},
    };
    return kinds;
}

std::vector<kind_under_test> sensor_kinds() {
    return kinds_where(false);
}

std::vector<kind_under_test> metascan_kinds() {
    return kinds_where(true);
}

}  // namespace zentrova::monitoring_modules::testing
