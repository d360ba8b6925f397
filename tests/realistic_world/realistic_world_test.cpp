// Every discovery and sensor kind against the emulator's realistic world, which answers as live
// Azure does: what the module makes of those answers, exactly as its rules decide it. Each
// outcome (result, channels, requests made) is a golden file; docs/azure-in-practice.md explains
// them to the team that deploys the module.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <jsoncons/json.hpp>
#include <map>
#include <ostream>
#include <string>

#include "tests/support/azure_harness.hpp"
#include "tests/support/text_file.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::HasSubstr;

// The realistic world, with what a test changes in it.
// (ojson: the order of the scenario's lists and costs is the order of Azure's answers.)
emulator::emulator_options realistic(const std::function<void(jsoncons::ojson&)>& change = {}) {
    auto scenario = jsoncons::ojson::parse(read_text_file(MICROSOFTAZURE_REALISTIC_SCENARIO));
    if (change) {
        change(scenario);
    }
    emulator::emulator_options options;
    options.scenario_json = scenario.to_string();
    return options;
}

std::string golden(const std::string& name) {
    return std::string(MICROSOFTAZURE_TEST_DATA "/") + name + ".txt";
}

// The settings of one sensor beyond the credentials, over the discovery columns the check does
// not read; "{s}" stands for the subscription id.
settings_buffer sensor(const azure_harness& harness, const std::string& kind,
                       std::map<std::string, std::string> values) {
    if (kind == "virtual_machine_sensor") {
        values.insert({{"name", "vm"},
                       {"os", "Linux"},
                       {"resource_group", "rg-web"},
                       {"region", "West Europe"}});
    } else if (kind == "sql_database_sensor") {
        values.insert({{"name", "db"}, {"region", "West Europe"}});
    } else {
        values.insert({{"show_budgets", "disabled"},
                       {"show_forecast", "disabled"},
                       {"show_most_expensive_service", "disabled"},
                       {"most_expensive_service_grouping", "resourcegroupname"}});
    }
    static const std::map<std::string, std::string> sections{
        {"virtual_machine_sensor",
         "virtual_machine_metascan_section.virtual_machine_metascan_group."},
        {"sql_database_sensor", "sql_database_metascan_section.sql_database_metascan_group."},
        {"subscription_cost_sensor",
         "subscription_cost_sensor_section.subscription_cost_sensor_group."}};
    auto settings = harness.settings(kind);
    for (auto [name, value] : values) {
        const auto at = value.find("{s}");
        if (at != std::string::npos) {
            value.replace(at, 3, harness.subscription_id());
        }
        settings.settings[sections.at(kind) + name] = value;
    }
    return settings;
}

std::string vm(const char* name) {
    return std::string(
               "/subscriptions/{s}/resourceGroups/rg-web/providers/Microsoft.Compute/"
               "virtualMachines/") +
           name;
}
std::string sql(const char* resource) {
    return std::string(
               "/subscriptions/{s}/resourceGroups/rg-data/providers/Microsoft.Sql/servers/") +
           resource;
}
// Every option of the cost sensor on, most expensive service grouped by `grouping`.
std::map<std::string, std::string> every_cost_option(const char* grouping) {
    return {{"show_budgets", "enabled"},
            {"show_forecast", "enabled"},
            {"show_most_expensive_service", "enabled"},
            {"most_expensive_service_grouping", grouping}};
}

TEST(RealisticDiscovery, ListsWhatTheFirstPageOfEachListHoldsAndLogsTheRest) {
    // The list whose later pages the log names: the VMs', and a SQL server's databases.
    const std::map<std::string, std::string> unread{
        {"virtual_machine",
         "API response: later pages not read: only the first page counts; "
         "Azure's nextLink is https://"},
        {"sql_database", "Databases response: later pages not read"}};
    for (const auto& [kind, log_line] : unread) {
        azure_harness harness(realistic());
        const auto found = harness.discover(harness.settings(kind + "_metascan"));
        EXPECT_EQ(found.response_code, 0) << found.message;
        expect_golden(found.table() + harness.requests_text(), golden(kind + "_discovery"));
        EXPECT_THAT(harness.sensor_log(1), HasSubstr(log_line));
    }
}

// One check of one sensor: its settings, the golden file of its outcome and a line of its log.
struct check_case {
    const char* golden;
    const char* kind;
    std::map<std::string, std::string> settings;
    const char* log_line;
};

void PrintTo(const check_case& c, std::ostream* out) {
    *out << c.golden;
}

class RealisticChecks : public ::testing::TestWithParam<check_case> {};

TEST_P(RealisticChecks, ReportWhatTheModulesRulesMakeOfAzuresAnswers) {
    const auto& c = GetParam();
    azure_harness harness(realistic());
    const auto settings = sensor(harness, c.kind, c.settings);
    const auto created = harness.create(2, settings);
    const auto checked = harness.check(2, settings);
    expect_golden(
        created.text() + harness.channels_text(2) + checked.text() + harness.requests_text(),
        golden(c.golden));
    EXPECT_THAT(harness.sensor_log(2), HasSubstr(c.log_line));
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, RealisticChecks,
    ::testing::Values(
        // The newest minute is not ingested yet: its point has no value, reported as 0.0.
        check_case{"vm_newest_minute_empty",
                   "virtual_machine_sensor",
                   {{"vm_id", vm("vm-web-01")}},
                   "Data empty for metric Percentage CPU: "},
        // Azure writes "PowerState/starting"; the power-state table does not know it.
        check_case{"vm_starting",
                   "virtual_machine_sensor",
                   {{"vm_id", vm("vm-app-01")}},
                   "invalid map<K, T> key"},
        // "timeseries": [] with errorCode Success ends the check before the power state is read.
        check_case{"vm_empty_series",
                   "virtual_machine_sensor",
                   {{"vm_id", vm("vm-batch-01")}},
                   "The metric Percentage CPU has no time series"},
        // Single databases answer storage as maximum: reading its average fails the check after
        // the three metrics before it.
        check_case{
            "sql_single_dtu",
            "sql_database_sensor",
            {{"type", "Single database, DTU"}, {"database_id", sql("sql-prod/databases/db-sales")}},
            "Data empty for metric storage: The queried field is empty.: /average"},
        check_case{"sql_single_vcore",
                   "sql_database_sensor",
                   {{"type", "Single database, vCore"},
                    {"database_id", sql("sql-prod/databases/db-reports")}},
                   "Data empty for metric storage: "},
        // Elastic pools answer every metric the sensor asks for as an average.
        check_case{"sql_pool_dtu",
                   "sql_database_sensor",
                   {{"type", "Elastic pool, DTU"},
                    {"database_id", sql("sql-pools/elasticPools/pool-dtu")}},
                   "Metric eDTU_used: 22.500000"},
        check_case{"sql_pool_vcore",
                   "sql_database_sensor",
                   {{"type", "Elastic pool, vCore"},
                    {"database_id", sql("sql-pools/elasticPools/pool-vcore")}},
                   "Metric storage_used: 10737418240.000000"},
        // The biggest resource group is the empty key: no message. Two budgets of one name (the
        // subscription's and a resource group's) share their channels; the fourth is on page 2.
        check_case{"cost_by_resource_group", "subscription_cost_sensor",
                   every_cost_option("resourcegroupname"), "- : 512.400000 USD"},
        // The biggest service is on the second page of rows, which the module does not read
        // (the message names the first page's biggest); the log says a page was left.
        check_case{"cost_by_service", "subscription_cost_sensor", every_cost_option("servicename"),
                   "Cost response: later pages not read"}));

// A spent quota answers 429 with Retry-After; the module fails the check at once, without a retry,
// and its log gives the headers that say when to ask again and which quota ran out.
struct quota_case {
    const char* name;
    const char* kind;
    std::map<std::string, std::string> settings;
    const char* quotas;
    const char* throttled_route;
    const char* headers_logged;
};

void PrintTo(const quota_case& c, std::ostream* out) {
    *out << c.name;
}

class RealisticQuotas : public ::testing::TestWithParam<quota_case> {};

TEST_P(RealisticQuotas, ASpentQuotaFailsTheSecondCheckWithoutARetry) {
    const auto& c = GetParam();
    azure_harness harness(realistic(
        [&](jsoncons::ojson& world) { world["quotas"] = jsoncons::ojson::parse(c.quotas); }));
    harness.emulator().set_quota_clock(0);  // no refill between the checks
    const auto settings = sensor(harness, c.kind, c.settings);
    EXPECT_EQ(harness.create_and_check(2, settings).response_code, 0);
    const auto requests = harness.targets(c.throttled_route).size();
    const auto throttled = harness.check(2, settings);
    EXPECT_EQ(throttled.response_code, 3);
    EXPECT_EQ(throttled.message,
              "#:error.request_failed[Request failed: HTTP request was not successful: 429: Too "
              "Many Requests]");
    EXPECT_EQ(harness.targets(c.throttled_route).size(), requests + 1);
    EXPECT_THAT(harness.sensor_log(2),
                HasSubstr("Azure throttled the request (429 Too Many Requests); " +
                          std::string(c.headers_logged) + ". Nothing is retried"));
}

INSTANTIATE_TEST_SUITE_P(
    ReadsAndQueries, RealisticQuotas,
    ::testing::Values(quota_case{"arm_reads",
                                 "virtual_machine_sensor",
                                 {{"vm_id", vm("vm-web-01")}},
                                 R"({"subscription_reads": {"bucket": 3, "refill_per_second": 1}})",
                                 "instance_view",
                                 "Retry-After: 1; x-ms-ratelimit-remaining-subscription-reads: 0"},
                      quota_case{"cost_qpu",
                                 "subscription_cost_sensor",
                                 {},
                                 R"({"cost_management": [{"name": "QueriesPerHour",
                                     "limit": 3, "seconds": 3600}]})",
                                 "cost_query",
                                 "Retry-After: 3600; "
                                 "x-ms-ratelimit-microsoft.costmanagement-qpu-retry-after: 3600; "
                                 "x-ms-ratelimit-remaining-subscription-reads: 11999"}));

}  // namespace
}  // namespace zentrova::monitoring_modules::testing
