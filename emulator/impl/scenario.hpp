#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "emulator/azure_emulator.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// The emulated world, read once from a scenario document and never changed afterwards: a
// replacement builds a new one, so request handlers share it without locks.

struct metric_series {
    std::string name;  // as the scenario spells it; answered so
    // One data point per minute, oldest first; an empty optional is a minute without "average".
    std::vector<std::optional<double>> values;
    bool empty_timeseries = false;
    std::string error_code = "Success";
    std::string error_message;
    std::string unit;  // empty: derived from the name
    std::string localized_name;
    std::string description;
};

struct virtual_machine {
    std::string name;
    std::string resource_group;
    std::string location;
    std::string size;
    std::string os_type;
    std::string computer_name;
    std::string os_name;
    std::string os_version;
    std::optional<std::string> power_state;  // empty: the instance view has no power status
    std::vector<std::string> status_codes;   // when given, they are the instance view statuses
    std::vector<std::pair<std::string, std::string>> tags;
    std::vector<metric_series> metrics;
    std::string id;
    std::string vm_id;
};

struct sql_sku {
    std::string name;
    std::string tier;
    std::string family;
    int capacity = 0;  // 0: not sent
};

struct elastic_pool {
    std::string name;
    bool vcore = false;
    std::string location;
    sql_sku sku;
    std::vector<metric_series> metrics;
    std::string id;
};

struct sql_database {
    std::string name;
    bool vcore = false;
    bool system = false;
    std::string elastic_pool_id;  // empty: a single database
    std::string kind;
    std::string location;
    std::string status;
    std::int64_t max_size_bytes = 0;
    sql_sku sku;
    std::vector<metric_series> metrics;
    std::string id;
    std::string database_id;
};

struct sql_server {
    std::string name;
    std::string resource_group;
    std::string location;
    std::string administrator_login;
    std::string version;
    std::string state;
    std::vector<elastic_pool> pools;
    std::vector<sql_database> databases;  // master first
    std::string id;
};

// Cost of one group (resource group, service ...) in one billing period.
struct cost_entry {
    std::string key;
    double cost = 0;
};

struct billing_period {
    std::string name;
    std::string start_date;  // YYYY-MM-DD
    std::string end_date;
    std::vector<std::string> invoice_ids;
    double total_cost = 0;
    // By canonical dimension name ("ResourceGroupName", ...), in scenario order.
    std::vector<std::pair<std::string, std::vector<cost_entry>>> costs;

    const std::vector<cost_entry>* costs_by(std::string_view dimension) const;
};

struct forecast_row {
    std::string date;  // YYYY-MM-DD
    double cost = 0;
    std::string status;
    std::string currency;
};

struct budget {
    std::string name;
    std::string resource_group;  // empty: a budget of the subscription itself
    double amount = 0;
    double current_spend = 0;
    std::string category;
    std::string time_grain;
    std::string start_date;
    std::string end_date;
    std::string currency;
};

struct region {
    std::string name;
    std::string display_name;
    std::string regional_display_name;
    std::string geography_group;
    std::string physical_location;
    std::string latitude;
    std::string longitude;
    std::string paired_region;
    std::string region_type;
    std::string region_category;
};

struct subscription {
    std::string id;
    std::string display_name;
    std::string currency;
    std::vector<std::string> resource_groups;  // named ones plus those of its resources
    std::vector<virtual_machine> virtual_machines;
    std::vector<sql_server> sql_servers;
    std::vector<billing_period> billing_periods;  // newest first
    std::vector<forecast_row> forecast;
    std::vector<budget> budgets;

    bool has_resource_group(std::string_view name) const;
    const virtual_machine* find_vm(std::string_view group, std::string_view name) const;
    const sql_server* find_server(std::string_view group, std::string_view name) const;
};

struct application {
    std::string client_id;
    std::string client_secret;
    std::string display_name;
    std::string object_id;
    std::vector<std::string> subscriptions;  // empty: every subscription of the scenario
};

struct tenant {
    std::string id;
    std::vector<std::string> domains;
    std::vector<application> applications;

    const application* find_application(std::string_view client_id) const;
};

// One counting window of Cost Management's quotas: at most `limit` units per `seconds`, counted
// per tenant or per entity (the subscription asked about), in query processing units or requests.
struct quota_window {
    std::string name;  // the label in the remaining-quota header ("QueriesPerMin")
    bool qpu = true;
    bool per_tenant = true;
    std::int64_t limit = 0;
    double seconds = 60;
};

// The throttling a scenario switches on.
struct quota_rules {
    std::int64_t read_bucket = 0;  // 0: no quota on Resource Manager reads
    double read_refill_per_second = 0;
    std::vector<quota_window> cost_management;

    bool any() const { return read_bucket > 0 || !cost_management.empty(); }
};

struct scenario {
    int token_lifetime_seconds = 3599;
    std::size_t page_size = 0;  // 0: lists are not paged
    // How many times each machine and SQL server appears (scenario_copies). The VM and server
    // lists, which the copies lengthen, page at page_size × copies; the others at page_size.
    std::size_t copies = 1;
    // Metrics asked for without an aggregation: each in its own primary one (as Azure answers)
    // rather than in average.
    bool primary_aggregations = false;
    std::string billing_period_type = "Microsoft.Billing/billingPeriods";
    quota_rules quotas;
    std::vector<tenant> tenants;
    std::vector<region> regions;
    std::vector<subscription> subscriptions;
    std::vector<fault> faults;

    const tenant* find_tenant(std::string_view id_or_domain) const;
    const subscription* find_subscription(std::string_view id) const;
    const region* find_region(std::string_view name) const;
    bool may_access(const application& app, std::string_view subscription_id) const;
};

}  // namespace zentrova::monitoring_modules::emulator::impl
