// Scenario documents: what a bad one is told, and what a minimal one implies.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <jsoncons/json.hpp>

#include "emulator/azure_emulator.hpp"
#include "tests/emulator/https_client.hpp"

namespace zentrova::monitoring_modules::emulator::testing {
namespace {

using jsoncons::json;

std::string rejection(const std::string& scenario) {
    try {
        azure_emulator emu(with_scenario(scenario));
    } catch (const scenario_error& e) {
        return e.what();
    }
    return "accepted";
}

TEST(scenario_test, a_bad_scenario_is_refused_with_the_path_and_the_problem) {
    const std::string tenant =
        R"("tenants": [{"id": "t", "applications": [{"client_id": "c", "client_secret": "s"}]}])";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"{\"tenants\": [", "not valid JSON"},
        {R"({"token_lifetime_seconds": "long"})", "$.token_lifetime_seconds: expected an integer"},
        {R"({"token_lifetime_seconds": -1})", "$.token_lifetime_seconds: must be between 0 and"},
        {R"({"tenant": []})", "$.tenant: unknown member \"tenant\""},
        {R"({"tenants": [{"applications": []}]})", "$.tenants[0].id: required member is missing"},
        {"{" + tenant + R"(, "subscriptions": [{"id": "s", "virtual_machines": [
            {"name": "v", "resource_group": "g", "power_sate": "running"}]}]})",
         "$.subscriptions[0].virtual_machines[0].power_sate: unknown member"},
        {R"({"subscriptions": [{"id": "s", "virtual_machines": [
            {"name": "v", "resource_group": "g", "metrics": {"Percentage CPU": "high"}}]}]})",
         "$.subscriptions[0].virtual_machines[0].metrics.Percentage CPU: expected a number"},
        {R"({"subscriptions": [{"id": "s", "virtual_machines": [
            {"name": "v", "resource_group": "g"}, {"name": "V", "resource_group": "G"}]}]})",
         "already exists"},
        {R"({"subscriptions": [{"id": "s", "sql_servers": [{"name": "x", "resource_group": "g",
            "databases": [{"name": "d", "elastic_pool": "missing"}]}]}]})",
         "$.subscriptions[0].sql_servers[0].databases[0].elastic_pool: no elastic pool "
         "\"missing\""},
        {R"({"subscriptions": [{"id": "s", "sql_servers": [{"name": "x", "resource_group": "g",
            "elastic_pools": [{"name": "p", "model": "serverless"}]}]}]})",
         R"(expected "dtu" or "vcore")"},
        {R"({"subscriptions": [{"id": "s", "billing_periods": [
            {"name": "p", "start_date": "15.10.2024", "end_date": "2024-11-14"}]}]})",
         "$.subscriptions[0].billing_periods[0].start_date: expected a date written YYYY-MM-DD"},
        {R"({"subscriptions": [{"id": "s", "billing_periods": [{"name": "p",
            "start_date": "2024-10-15", "end_date": "2024-11-14", "costs": {"Colour": {}}}]}]})",
         "unknown cost dimension \"Colour\""},
        {R"({"tenants": [{"id": "t", "applications": [{"client_id": "c", "client_secret": "s",
            "subscriptions": ["nowhere"]}]}]})",
         "names subscription \"nowhere\""},
        {R"({"faults": [{"route": "vm_lists", "status": 500}]})",
         "$.faults[0].route: unknown route"},
        {R"({"faults": [{"route": "vm_list", "delay_ms": 600000}]})",
         "$.faults[0].delay_ms: must be between 0 and 60000"},
        {R"({"faults": [{"route": "vm_list"}]})", "$.faults[0]: a fault needs a \"kind\""},
    };
    for (const auto& [scenario, expected] : cases) {
        const std::string message = rejection(scenario);
        EXPECT_NE(message.find(expected), std::string::npos)
            << "scenario: " << scenario << "\nmessage: " << message;
        EXPECT_EQ(message.rfind("scenario: ", 0), 0u) << message;
    }
    EXPECT_NE(rejection("{\n\"tenants\": [}").find("line 2"), std::string::npos);
}

TEST(scenario_test, a_missing_file_is_named) {
    emulator_options options;
    options.scenario_file = "/nonexistent/world.json";
    try {
        azure_emulator emu(options);
        FAIL() << "started without its scenario";
    } catch (const scenario_error& e) {
        EXPECT_STREQ(e.what(),
                     "scenario file '/nonexistent/world.json': does not exist; check the path");
    }
}

TEST(scenario_test, defaults_fill_a_minimal_scenario_and_tls_files_are_reused) {
    const auto dir =
        std::filesystem::temp_directory_path() / ("emulator-test-" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir);
    emulator_options options = with_scenario(R"({
        "tenants": [{"id": "t", "applications": [{"client_id": "c", "client_secret": "s"}]}],
        "subscriptions": [{"id": "s", "virtual_machines": [{"name": "v", "resource_group": "g",
            "power_state": null}],
            "sql_servers": [{"name": "x", "resource_group": "g",
                "databases": [{"name": "d", "model": "vcore"}]}]}]})");
    options.tls_directory = dir.string();
    options.host = "localhost";
    std::string first_ca;
    {
        azure_emulator emu(options);
        EXPECT_EQ(emu.base_url(), "https://localhost:" + std::to_string(emu.port()) + "/");
        EXPECT_EQ(emu.ca_file(), (dir / "ca.pem").string());
        https_client client(emu.ca_file());
        const http_result t =
            client.post(emu.login_url() + "/t/oauth2/token", token_form(emu.login_url(), "s", "c"),
                        "application/x-www-form-urlencoded");
        const header_list auth{
            {"Authorization", "Bearer " + json::parse(t.body)["access_token"].as<std::string>()}};
        const std::string base = emu.base_url() + "subscriptions/s/resourceGroups/g/providers/";
        const json view = json::parse(
            client
                .get(base +
                         "Microsoft.Compute/virtualMachines/v/instanceView?api-version=2020-06-01",
                     auth)
                .body);
        ASSERT_EQ(view["statuses"].size(), 1u);  // no power state at all
        const json dbs = json::parse(
            client
                .get(base + "Microsoft.Sql/servers/x/databases?api-version=2020-02-02-preview",
                     auth)
                .body);
        ASSERT_EQ(dbs["value"].size(), 2u);
        EXPECT_EQ(dbs["value"][0]["name"].as<std::string>(), "master");
        EXPECT_EQ(dbs["value"][1]["kind"].as<std::string>(), "v12.0,user,vcore");
        std::ifstream in(emu.ca_file());
        first_ca.assign(std::istreambuf_iterator<char>(in), {});
    }
    // The directory is the caller's: kept at stop, and its identity is used again.
    azure_emulator again(options);
    std::ifstream in(again.ca_file());
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), first_ca);
    again.stop();
    std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace zentrova::monitoring_modules::emulator::testing
