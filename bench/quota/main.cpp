// How many sensors of one subscription Azure's quotas let a probe run at the minimum intervals:
// fleets just under, at and over the limit the quotas set, each run through the module against
// the realistic world, with the checks that hit 429. docs/performance.md ("Azure's quotas")
// explains the figures.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "bench/quota/quota_run.hpp"

namespace bench = zentrova::monitoring_modules::bench;

namespace {

constexpr const char* vm_section =
    "virtual_machine_metascan_section.virtual_machine_metascan_group.";
constexpr const char* sql_section = "sql_database_metascan_section.sql_database_metascan_group.";
constexpr const char* cost_section =
    "subscription_cost_sensor_section.subscription_cost_sensor_group.";
// The realistic world's subscription (emulator/scenarios/realistic-credentials.json).
constexpr const char* subscription = "/subscriptions/6d5c4b3a-2f1e-4d0c-8b9a-7f6e5d4c3b2a";

bench::sensor_fleet fleet(const std::string& kind, int sensors) {
    const std::string vm = vm_section;
    const std::string sql = sql_section;
    const std::string cost = cost_section;
    bench::sensor_fleet f;
    f.kind = kind;
    f.sensors = sensors;
    if (kind == "virtual_machine_sensor") {
        f.settings[vm + "vm_id"] =
            std::string(subscription) +
            "/resourceGroups/rg-web/providers/Microsoft.Compute/virtualMachines/vm-web-01";
        f.settings[vm + "name"] = "vm-web-01";
        f.settings[vm + "os"] = "Linux";
        f.settings[vm + "resource_group"] = "rg-web";
        f.settings[vm + "region"] = "West Europe";
        f.rounds = 5;  // the bucket of 250 reads hides an excess for the first minutes
    } else if (kind == "sql_database_sensor") {
        f.settings[sql + "database_id"] =
            std::string(subscription) +
            "/resourceGroups/rg-data/providers/Microsoft.Sql/servers/sql-pools/"
            "elasticPools/pool-dtu";
        f.settings[sql + "type"] = "Elastic pool, DTU";
        f.settings[sql + "name"] = "pool-dtu";
        f.settings[sql + "region"] = "North Europe";
        f.rounds = 5;
    } else {
        for (const char* option :
             {"show_budgets", "show_forecast", "show_most_expensive_service"}) {
            f.settings[cost + option] = "enabled";
        }
        f.settings[cost + "most_expensive_service_grouping"] = "resourcegroupname";
        f.interval_seconds = 14400;  // the cost sensor's minimum interval
        f.rounds = 2;
    }
    return f;
}

}  // namespace

int main() {
    try {
        const bench::quota_run runner(MICROSOFTAZURE_MODULE_PATH, MICROSOFTAZURE_SCENARIOS);
        const std::vector<std::pair<std::string, std::vector<int>>> rows{
            {"virtual_machine_sensor", {700, 750, 800}},
            {"sql_database_sensor", {1400, 1500, 1600}},
            {"subscription_cost_sensor", {750, 800, 850}},
        };
        std::printf(
            "Sensors of one subscription against the realistic world's quotas (Resource Manager "
            "reads: bucket 250, refilled 25 a second; Cost Management: 12 QPU a 10 s, 60 a "
            "minute, 600 an hour), checks spread evenly over the interval, quota time stepped.\n");
        std::printf("%-26s %8s %9s %7s %8s %13s %10s %7s\n", "kind", "sensors", "interval",
                    "rounds", "checks", "requests/check", "throttled", "failed");
        for (const auto& [kind, sizes] : rows) {
            for (const int sensors : sizes) {
                const auto f = fleet(kind, sensors);
                const auto outcome = runner.run(f);
                std::printf(
                    "%-26s %8d %8.0fs %7d %8llu %14.2f %10llu %7llu\n", kind.c_str(), sensors,
                    f.interval_seconds, f.rounds, static_cast<unsigned long long>(outcome.checks),
                    static_cast<double>(outcome.requests) / static_cast<double>(outcome.checks),
                    static_cast<unsigned long long>(outcome.throttled),
                    static_cast<unsigned long long>(outcome.failed));
                std::fflush(stdout);
            }
        }
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "quota_throttling: %s\n", e.what());
        return 1;
    }
}
