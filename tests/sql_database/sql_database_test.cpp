// SQL database discovery and sensor, driven through the module's exports against the emulator.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

#include <jsoncons/json.hpp>

#include "tests/support/azure_harness.hpp"
#include "tests/support/text_file.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

std::string column(const char* name) {
    return std::string("sql_database_metascan_section.sql_database_metascan_group.") + name;
}

// The default world with the first subscription's SQL servers replaced.
emulator::emulator_options with_servers(const std::string& servers_json) {
    auto scenario = jsoncons::json::parse(emulator::default_scenario_json());
    scenario["subscriptions"][0]["sql_servers"] = jsoncons::json::parse(servers_json);
    emulator::emulator_options options;
    options.scenario_json = scenario.to_string();
    return options;
}

// The id of a resource below a server of the resource group "rg-data":
// "databases/<name>" or "elasticPools/<name>".
std::string sql_id(const azure_harness& harness, const std::string& server,
                   const std::string& resource = {}) {
    return "/subscriptions/" + harness.subscription_id() +
           "/resourceGroups/rg-data/providers/Microsoft.Sql/servers/" + server +
           (resource.empty() ? "" : "/" + resource);
}

settings_buffer sensor_for(const azure_harness& harness, const std::string& type,
                           const std::string& id) {
    auto settings = harness.settings("sql_database_sensor");
    settings.settings[column("name")] = id.substr(id.rfind('/') + 1);
    settings.settings[column("database_id")] = id;
    settings.settings[column("region")] = "West Europe";
    settings.settings[column("type")] = type;
    return settings;
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

// Pools are told apart by id: two servers may each have a pool of one name.
TEST(SqlDatabaseDiscovery, PoolsOfOneNameOnTwoServersAreTwoRows) {
    azure_harness harness(with_servers(R"([
        {"name": "srv-a", "resource_group": "rg-data", "elastic_pools": [{"name": "shared"}],
         "databases": [{"name": "a", "elastic_pool": "shared"}]},
        {"name": "srv-b", "resource_group": "rg-data", "elastic_pools": [{"name": "shared"}],
         "databases": [{"name": "b", "elastic_pool": "shared"}]}])"));
    const auto found = harness.discover(harness.settings("sql_database_metascan"));
    EXPECT_EQ(found.response_code, 0) << found.message;
    EXPECT_EQ(found.rows.size(), 2U) << found.table();
}

// Status failures of every kind are the fault suite's; these are the discovery's own.
TEST(SqlDatabaseDiscovery, UnknownRegionsAndPoolsWithoutIdsEndTheScanWithCodeFiveAndNoRows) {
    azure_harness harness(with_servers(R"([
        {"name": "srv-a", "resource_group": "rg-data", "databases": [{"name": "db-a"}]},
        {"name": "srv-b", "resource_group": "rg-data", "databases": [{"name": "db-b", "location": "northpole"}]}])"));
    const auto settings = harness.settings("sql_database_metascan");
    auto found = harness.discover(settings);
    EXPECT_EQ(found.response_code, 5);
    EXPECT_EQ(found.message, "An error occurred.invalid map<K, T> key");
    EXPECT_THAT(found.rows, IsEmpty());

    harness.emulator().set_faults_json(
        R"({"route": "sql_databases", "path_contains": "srv-b", "body":
        "{\"value\":[{\"kind\":\"v12.0,user,pool\",\"name\":\"p\",\"location\":\"westeurope\",\"id\":\"/x/databases/p\",\"properties\":{}}]}"})");
    found = harness.discover(settings);
    EXPECT_EQ(found.response_code, 5);
    EXPECT_EQ(found.message,
              "An error occurred.The database '/x/databases/p' is in an elastic pool but names no "
              "properties.elasticPoolId");
    EXPECT_THAT(found.rows, IsEmpty());
}

// One resource of the default scenario per type: the channels declared, the values the scenario
// gives them and the metrics asked for, in its golden file.
struct sensor_case {
    const char* type;
    const char* server;
    const char* resource;
    const char* golden;
};

void PrintTo(const sensor_case& c, std::ostream* out) {
    *out << c.type;
}

class SqlDatabaseSensorTypes : public ::testing::TestWithParam<sensor_case> {};

TEST_P(SqlDatabaseSensorTypes, AsksForTheTypesMetricsAndReportsThemOnTheirChannels) {
    const auto& c = GetParam();
    azure_harness harness;
    const auto settings = sensor_for(harness, c.type, sql_id(harness, c.server, c.resource));
    const auto created = harness.create(3, settings);
    const auto checked = harness.check(3, settings);
    expect_golden(
        created.text() + harness.channels_text(3) + checked.text() + harness.requests_text(),
        std::string(MICROSOFTAZURE_TEST_DATA "/") + c.golden);
    EXPECT_THAT(harness.sensor_log(3), HasSubstr("Metric cpu_percent: "));
    EXPECT_THAT(harness.create(3, settings).declared_channels, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    DefaultScenario, SqlDatabaseSensorTypes,
    ::testing::Values(sensor_case{"Single database, vCore", "sql-emulator-single",
                                  "databases/db-reporting", "single-vcore.txt"},
                      sensor_case{"Single database, DTU", "sql-emulator-single",
                                  "databases/db-legacy", "single-dtu.txt"},
                      sensor_case{"Elastic pool, vCore", "sql-emulator-pool",
                                  "elasticPools/pool-vcore", "pool-vcore.txt"},
                      sensor_case{"Elastic pool, DTU", "sql-emulator-pool", "elasticPools/pool-dtu",
                                  "pool-dtu.txt"}));

TEST(SqlDatabaseSensor, AnswersThatDoNotFitTheTypeMapToTheirMessages) {
    // A DTU pool whose metrics vary per case; the other metrics of its list are left out.
    struct metrics_case {
        const char* metrics;
        const char* message;
        std::map<int, double> values;
    };
    const std::vector<metrics_case> cases{
        {R"({"cpu_percent": [3, 4, 5], "eDTU_used": 7})", "", {{0, 3.0}, {7, 7.0}}},
        {R"({"cpu_percent": {"values": [1], "error_code": "ResourceNotReady"}, "eDTU_used": 7})",
         "",
         {{7, 7.0}}},
        {R"({"cpu_percent": 1, "edtu_used": 7})",
         "#:error.posible_change_of_database_type",
         {{0, 1.0}}},
        {R"({"cpu_percent": 1, "eDTU_used": {"values": []}})",
         "#:error.posible_change_of_database_type",
         {{0, 1.0}}},
        {R"({"eDTU_used": {"values": [1], "empty_timeseries": true}})",
         "#:error.posible_change_of_database_type",
         {}},
        {R"({"cpu_percent": null})", "#:error.generic", {}},
    };
    for (const auto& c : cases) {
        azure_harness harness(with_servers(
            std::string(R"([{"name": "srv", "resource_group": "rg-data", "elastic_pools": [
                {"name": "pool", "model": "dtu", "metrics": )") +
            c.metrics + "}]}]"));
        const auto checked = harness.create_and_check(
            1,
            sensor_for(harness, "Elastic pool, DTU", sql_id(harness, "srv", "elasticPools/pool")));
        EXPECT_EQ(checked.message, c.message) << c.metrics;
        EXPECT_EQ(checked.response_code, *c.message == '\0' ? 0 : 3) << c.metrics;
        std::map<int, double> values;
        for (const auto& value : checked.values) {
            values[value.id] = value.value;
        }
        EXPECT_EQ(values, c.values) << c.metrics;
        if (std::string(c.message) == "#:error.posible_change_of_database_type") {
            EXPECT_THAT(harness.sensor_log(1), HasSubstr("Data is empty for some metric."));
        }
    }
}

TEST(SqlDatabaseSensor, BodiesWithoutMetricsMapToTheGenericMessage) {
    azure_harness harness;
    const auto settings = sensor_for(harness, "Single database, DTU",
                                     sql_id(harness, "sql-emulator-single", "databases/db-legacy"));
    ASSERT_EQ(harness.create(1, settings).code, 0);
    for (const std::string body : {R"("{}")", R"("{\"value\":[]}")"}) {
        harness.emulator().clear_faults();
        harness.emulator().set_faults_json(R"({"route": "sql_metrics", "body": )" + body + "}");
        const auto checked = harness.check(1, settings);
        EXPECT_EQ(checked.response_code, 3) << body;
        EXPECT_EQ(checked.message, "#:error.generic") << body;
        EXPECT_THAT(checked.values, IsEmpty()) << body;
    }
    EXPECT_THAT(harness.sensor_log(1),
                HasSubstr("Response does not contain array of objects as expected"));
}

TEST(SqlDatabaseSensor, AnUnknownTypeDeclaresNothingAndSendsNoRequest) {
    azure_harness harness;
    const auto checked = harness.create_and_check(
        1, sensor_for(harness, "Hyperscale",
                      sql_id(harness, "sql-emulator-single", "databases/db-legacy")));
    EXPECT_THAT(checked.declared_channels, IsEmpty());
    EXPECT_THAT(harness.state(1).channels, IsEmpty());
    EXPECT_EQ(checked.response_code, 3);
    EXPECT_THAT(checked.message,
                StartsWith("#:unexpected_error[Unknown resource type 'Hyperscale'; "
                           "the sensor supports Single database, DTU; "));
    EXPECT_THAT(checked.values, IsEmpty());
    EXPECT_THAT(harness.targets("sql_metrics"), IsEmpty());
    EXPECT_THAT(harness.sensor_log(1), HasSubstr("Unknown resource type 'Hyperscale'"));
}

}  // namespace
}  // namespace zentrova::monitoring_modules::testing
