// SQL database discovery and sensor, driven through the module's exports against the emulator.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "tests/reliability/kinds_under_test.hpp"
#include "tests/support/azure_harness.hpp"
#include "tests/support/scenario_patch.hpp"
#include "tests/support/text_file.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

settings_buffer sensor_for(const azure_harness& harness, const std::string& type,
                           const std::string& resource) {
    return database_sensor(harness.settings("sql_database_sensor"), harness.subscription_id(),
                           resource, type);
}

TEST(SqlDatabaseDiscovery, ListsSingleDatabasesAndOneRowPerPoolWithoutSystemDatabases) {
    azure_harness harness;
    const auto found = harness.discover(harness.settings("sql_database_metascan"));
    ASSERT_EQ(found.code, 0);
    ASSERT_EQ(found.response_code, 0) << found.message;
    // sql-emulator-meta holds only master; the three databases of pool-dtu give one row.
    expect_golden(found.table() + harness.requests_text(),
                  MICROSOFTAZURE_TEST_DATA "/discovery.txt");
    EXPECT_EQ(found.progress.front(), 50);
    EXPECT_EQ(found.progress.back(), 100);
    EXPECT_TRUE(std::is_sorted(found.progress.begin(), found.progress.end()));
    EXPECT_EQ(found.progress.size(), 1U + 4U + 3U);  // the servers, each row, each server

    EXPECT_THAT(harness.sensor_log(1), HasSubstr("API response: {\"value\":["));
}

// Status failures of every kind are the fault suite's; these are the discovery's own: servers of
// their own, or a databases answer of the test's, give the rows, or the code and message that end
// the scan without rows, in tests/sql_database/data/discoveries.txt.
TEST(SqlDatabaseDiscovery, OtherServersGiveTheirRowsOrEndTheScanWithCodeFive) {
    const auto servers = [](const char* json) { return scenario_patch{{"/sql_servers", json}}; };
    expect_golden(
        discoveries(
            "sql_database_metascan",
            {// Pools are told apart by id: two servers may each have a pool of one name.
             {servers(R"([{"name": "srv-a", "resource_group": "rg-data",
                           "elastic_pools": [{"name": "shared"}],
                           "databases": [{"name": "a", "elastic_pool": "shared"}]},
                          {"name": "srv-b", "resource_group": "rg-data",
                           "elastic_pools": [{"name": "shared"}],
                           "databases": [{"name": "b", "elastic_pool": "shared"}]}])"),
              ""},
             {servers(
                  R"([{"name": "srv-a", "resource_group": "rg-data", "databases": [{"name": "db-a"}]},
                          {"name": "srv-b", "resource_group": "rg-data",
                           "databases": [{"name": "db-b", "location": "northpole"}]}])"),
              ""},
             {servers(
                  R"([{"name": "srv-b", "resource_group": "rg-data", "databases": [{"name": "db-b"}]}])"),
              R"({"route": "sql_databases", "body": "{\"value\":[{\"kind\":\"v12.0,user,pool\",)"
              R"(\"name\":\"p\",\"location\":\"westeurope\",\"id\":\"/x/databases/p\",)"
              R"(\"properties\":{}}]}"})"}}),
        MICROSOFTAZURE_TEST_DATA "/discoveries.txt");
}

// One resource of the default scenario per type: the channels declared, the values the scenario
// gives them and the metrics asked for, in its golden file.
TEST(SqlDatabaseSensor, AsksForEachTypesMetricsAndReportsThemOnTheirChannels) {
    const std::vector<std::array<const char*, 3>> cases{
        {"Single database, vCore", "sql-emulator-single/databases/db-reporting", "single-vcore"},
        {"Single database, DTU", "sql-emulator-single/databases/db-legacy", "single-dtu"},
        {"Elastic pool, vCore", "sql-emulator-pool/elasticPools/pool-vcore", "pool-vcore"},
        {"Elastic pool, DTU", "sql-emulator-pool/elasticPools/pool-dtu", "pool-dtu"},
    };
    for (const auto& [type, resource, golden] : cases) {
        SCOPED_TRACE(type);
        azure_harness harness;
        const auto settings = sensor_for(harness, type, resource);
        const auto created = harness.create(3, settings);
        const auto checked = harness.check(3, settings);
        expect_golden(
            created.text() + harness.channels_text(3) + checked.text() + harness.requests_text(),
            std::string(MICROSOFTAZURE_TEST_DATA "/") + golden + ".txt");
        EXPECT_THAT(harness.sensor_log(3), HasSubstr("Metric cpu_percent: "));
        EXPECT_THAT(harness.create(3, settings).declared_channels, IsEmpty());
    }
}

// A DTU pool whose metrics vary per case (the other metrics of its list left out), or whose
// metrics answer is replaced: what the check reports, declared and asked is in
// tests/sql_database/data/answers.txt.
TEST(SqlDatabaseSensor, AnswersThatDoNotFitTheTypeMapToTheirMessages) {
    struct answer_case {
        const char* metrics;
        const char* fault;  // the metrics route's body instead
        const char* logged;
        const char* type = "Elastic pool, DTU";
    };
    const char* changed_type = "Data is empty for some metric.";
    const std::vector<answer_case> cases{
        {R"({"cpu_percent": [3, 4, 5], "eDTU_used": 7})", "", ""},
        {R"({"cpu_percent": {"values": [1], "error_code": "ResourceNotReady"}, "eDTU_used": 7})",
         "", ""},
        {R"({"cpu_percent": 1, "edtu_used": 7})", "", changed_type},
        {R"({"cpu_percent": 1, "eDTU_used": {"values": []}})", "", changed_type},
        {R"({"eDTU_used": {"values": [1], "empty_timeseries": true}})", "", changed_type},
        {R"({"cpu_percent": null})", "", ""},
        {"{}", "{}", "Response does not contain array of objects as expected"},
        {"{}", R"({\"value\":[]})", "Response does not contain array of objects as expected"},
        {"{}", "", "Unknown resource type 'Hyperscale'", "Hyperscale"},
    };
    std::string outcomes;
    for (const auto& c : cases) {
        azure_harness harness(patched_world(
            {{"/sql_servers",
              std::string(R"([{"name": "srv", "resource_group": "rg-data", "elastic_pools": [
                  {"name": "pool", "model": "dtu", "metrics": )") +
                  c.metrics + "}]}]"}}));
        if (*c.fault != '\0') {
            harness.emulator().set_faults_json(R"({"route": "sql_metrics", "body": ")" +
                                               std::string(c.fault) + "\"}");
        }
        const auto checked =
            harness.create_and_check(1, sensor_for(harness, c.type, "srv/elasticPools/pool"));
        outcomes += std::string("== ") + c.type + " " + c.metrics + " " + c.fault + "\n" +
                    checked.text() + "metric requests " +
                    std::to_string(harness.targets("sql_metrics").size()) + "\n";
        EXPECT_THAT(harness.sensor_log(1), HasSubstr(c.logged)) << c.metrics;
    }
    expect_golden(outcomes, MICROSOFTAZURE_TEST_DATA "/answers.txt");
}

}  // namespace
}  // namespace zentrova::monitoring_modules::testing
