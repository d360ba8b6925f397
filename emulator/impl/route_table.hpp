#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zentrova::monitoring_modules::emulator::impl {

enum class route_id {
    token,
    token_v2,
    openid_configuration,
    openid_keys,
    vm_list,
    locations,
    vm_metrics,
    instance_view,
    sql_servers,
    sql_databases,
    sql_database_metrics,
    sql_pool_metrics,
    billing_periods,
    cost_query,
    forecast,
    budgets,
    unknown
};

// The outcome of matching one request path against the routes.
struct route_match {
    route_id id = route_id::unknown;
    std::string name = "unknown";  // the name faults and counters use
    bool method_allowed = true;
    std::string allowed_method;
    bool arm = false;                       // an Azure Resource Manager route (bearer token)
    std::vector<std::string> api_versions;  // accepted api-version values (ARM routes)
    std::string action;                     // the permission an ARM route needs, for 403 texts
    std::vector<std::pair<std::string, std::string>> captures;

    const std::string& capture(std::string_view name) const;
};

// Maps a normalized request path (runs of "/" collapsed) and method to one of the routes the
// module uses, matching literal segments without regard to case as Azure does.
class route_table {
public:
    route_table();
    route_match match(std::string_view method, std::string_view normalized_path) const;

private:
    struct entry {
        route_id id;
        std::string name;
        std::string method;
        std::vector<std::string> segments;  // "{name}" captures one segment
        bool arm;
        std::vector<std::string> api_versions;
        std::string action;
    };
    std::vector<entry> entries_;
};

}  // namespace zentrova::monitoring_modules::emulator::impl
