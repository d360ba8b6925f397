// What the other suites rely on in the emulator but cannot see through the module: scenario
// errors, the v2 token and OpenID routes that SDK clients use, the fault control endpoint and a
// stop that does not sit out a delay. The routes' answers are checked through the module, by the
// sensors' suites.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <jsoncons/json.hpp>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "emulator/azure_emulator.hpp"
#include "rest/impl/connection_pool_interface.hpp"
#include "rest/impl/rest_impl.hpp"
#include "tests/support/scratch_directory.hpp"

namespace zentrova::monitoring_modules::emulator {
namespace {

using jsoncons::json;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// The bundled scenario's identities.
const std::string tenant_id = "7d3c9f0e-51a2-4b6c-9e1d-2f8a6b4c0d11";
const std::string client_id = "5b8e2a71-3c4d-4e9f-a012-6d7c8b9e0f21";
const std::string client_secret = "emulator-client-secret";
const std::string subscription = "subscriptions/3f2a1b0c-9d8e-4f7a-b6c5-d4e3f2a1b0c9";
const std::string locations = subscription + "/locations?api-version=2020-01-01";
constexpr const char* form = "application/x-www-form-urlencoded";

// Requests to one server through the module's own HTTP client, on connections of its own.
class client {
public:
    explicit client(const azure_emulator& emu) {
        rest::rest_helper_settings settings;
        settings.base_url = emu.base_url();
        settings.timeout = 120;
        rest_ = rest::impl::clients_over(rest::impl::make_connection_pool({emu.ca_file(), 8}))(
            settings);
    }

    rest::response get(const std::string& path, const std::string& token = "") {
        rest::request request;
        if (!token.empty()) {
            request.headers["Authorization"] = "Bearer " + token;
        }
        return rest_->send_request_path(path, request);
    }
    rest::response post(const std::string& path, const std::string& body,
                        const std::string& content_type = "application/json") {
        rest::request request;
        request.method = rest::request_method::POST;
        request.headers["Content-Type"] = content_type;
        request.body = body;
        return rest_->send_request_path(path, request);
    }

    // A v1 token for the server itself, as the module asks for one.
    std::string access_token(const std::string& login_url) {
        const auto answer = post(tenant_id + "/oauth2/token",
                                 "grant_type=client_credentials&client_id=" + client_id +
                                     "&client_secret=" + client_secret + "&resource=" + login_url,
                                 form);
        EXPECT_EQ(answer.status_code, 200) << answer.body;
        return answer.status_code == 200
                   ? json::parse(answer.body)["access_token"].as<std::string>()
                   : "";
    }

private:
    std::unique_ptr<rest::rest_interface> rest_;
};

TEST(EmulatorScenario, ABadScenarioIsRefusedWithThePathAndTheProblemAndTheOldOneStays) {
    azure_emulator emu;
    const std::vector<std::pair<std::string, std::string>> cases{
        {"{\n\"tenants\": [}", "not valid JSON: "},
        {R"({"token_lifetime_seconds": "long"})", "$.token_lifetime_seconds: expected an integer"},
        {R"({"token_lifetime_seconds": -1})", "$.token_lifetime_seconds: must be between 0 and"},
        {R"({"tenant": []})", "$.tenant: unknown member \"tenant\""},
        {R"({"tenants": [{"applications": []}]})", "$.tenants[0].id: required member is missing"},
        {R"({"subscriptions": [{"id": "s", "virtual_machines": [
            {"name": "v", "resource_group": "g"}, {"name": "V", "resource_group": "G"}]}]})",
         "already exists"},
        {R"({"subscriptions": [{"id": "s", "sql_servers": [{"name": "x", "resource_group": "g",
            "databases": [{"name": "d", "elastic_pool": "missing"}]}]}]})",
         "$.subscriptions[0].sql_servers[0].databases[0].elastic_pool: no elastic pool "
         "\"missing\""},
        {R"({"subscriptions": [{"id": "s", "billing_periods": [
            {"name": "p", "start_date": "15.10.2024", "end_date": "2024-11-14"}]}]})",
         "$.subscriptions[0].billing_periods[0].start_date: expected a date written YYYY-MM-DD"},
        {R"({"faults": [{"route": "vm_lists", "status": 500}]})",
         "$.faults[0].route: unknown route"},
    };
    for (const auto& [scenario, expected] : cases) {
        try {
            emu.replace_scenario(scenario);
            ADD_FAILURE() << "accepted: " << scenario;
        } catch (const scenario_error& e) {
            EXPECT_THAT(e.what(), AllOf(StartsWith("scenario: "), HasSubstr(expected))) << scenario;
        }
    }
    EXPECT_THROW(emu.replace_scenario_file("/nonexistent/world.json"), scenario_error);
    // The bundled world still serves.
    client azure(emu);
    EXPECT_EQ(azure.get(locations, azure.access_token(emu.login_url())).status_code, 200);
}

// The command's exit code and standard output.
struct command_output {
    int exit_code = -1;
    std::string text;
};

command_output run_command(const std::string& arguments) {
    FILE* pipe = ::popen((std::string(AZURE_EMULATOR_COMMAND) + " " + arguments).c_str(), "r");
    command_output output;
    std::array<char, 4096> buffer{};
    while (pipe != nullptr && std::fgets(buffer.data(), buffer.size(), pipe) != nullptr) {
        output.text += buffer.data();
    }
    const int status = pipe == nullptr ? -1 : ::pclose(pipe);
    output.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return output;
}

TEST(EmulatorCommand, ABadScenarioFileStopsTheCommandWithItsNameAndProblem) {
    testing::scratch_directory directory("emulator-bad-scenario");
    const auto bad = directory.path() / "bad.json";
    std::ofstream(bad) << "{\n  \"regions\": [{\"name\": \"x\"}]\n}";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"/nonexistent/world.json",
         "scenario file '/nonexistent/world.json': does not exist; check the path"},
        {bad.string(), "$.regions[0].display_name: required member is missing"},
    };
    for (const auto& [file, expected] : cases) {
        const auto output = run_command("--scenario " + file + " 2>&1");
        EXPECT_EQ(output.exit_code, 2);
        EXPECT_THAT(output.text, HasSubstr(expected));
    }
}

class EmulatorRoutes : public ::testing::Test {
protected:
    azure_emulator emu;
    client azure{emu};
    std::string token = azure.access_token(emu.login_url());
};

TEST_F(EmulatorRoutes, V2TokenAndOpenIdMetadataServeSdkClients) {
    const auto metadata =
        azure.get("emulated-tenant.example/v2.0/.well-known/openid-configuration");
    ASSERT_EQ(metadata.status_code, 200) << metadata.body;
    const json doc = json::parse(metadata.body);
    const std::string root = emu.login_url() + "/" + tenant_id;
    EXPECT_EQ(doc["issuer"].as<std::string>(), root + "/v2.0");
    EXPECT_EQ(doc["authorization_endpoint"].as<std::string>(), root + "/oauth2/v2.0/authorize");
    EXPECT_EQ(doc["token_endpoint"].as<std::string>(), root + "/oauth2/v2.0/token");
    EXPECT_EQ(doc["jwks_uri"].as<std::string>(), root + "/discovery/v2.0/keys");
    EXPECT_EQ(azure.get(tenant_id + "/discovery/v2.0/keys").status_code, 200);
    EXPECT_EQ(azure.get("nobody/v2.0/.well-known/openid-configuration").status_code, 400);

    // SDKs write the scope with a double slash before ".default".
    const std::string grant = "grant_type=client_credentials&client_id=" + client_id +
                              "&client_secret=" + client_secret + "&scope=";
    for (const std::string& scope :
         {emu.login_url() + "/.default", emu.login_url() + "//.default"}) {
        const auto answer = azure.post(tenant_id + "/oauth2/v2.0/token", grant + scope, form);
        ASSERT_EQ(answer.status_code, 200) << answer.body;
        const json issued = json::parse(answer.body);
        EXPECT_EQ(issued["expires_in"].as<int>(), 3599);
        EXPECT_EQ(azure.get(locations, issued["access_token"].as<std::string>()).status_code, 200);
    }
    const auto bad_scope =
        azure.post(tenant_id + "/oauth2/v2.0/token", grant + emu.login_url(), form);
    EXPECT_EQ(bad_scope.status_code, 400);
    EXPECT_EQ(json::parse(bad_scope.body)["error"].as<std::string>(), "invalid_scope");
}

TEST_F(EmulatorRoutes, ControlEndpointSetsListsAndClearsFaults) {
    const auto set = azure.post(
        "_emulator/faults",
        R"([{"route": "budgets", "status": 502}, {"route": "locations", "kind": "empty_body"}])");
    ASSERT_EQ(set.status_code, 200) << set.body;
    EXPECT_EQ(json::parse(set.body).size(), 2U);
    EXPECT_TRUE(azure.get(locations, token).body.empty());
    EXPECT_EQ(json::parse(azure.get("_emulator/faults").body).size(), 2U);

    const auto bad = azure.post("_emulator/faults", R"({"route": "locatoins", "status": 500})");
    EXPECT_EQ(bad.status_code, 400);
    EXPECT_THAT(bad.body, HasSubstr("$.route"));

    EXPECT_EQ(azure.post("_emulator/faults/clear", R"({"route": "locations"})").status_code, 200);
    EXPECT_EQ(emu.faults().size(), 1U);
    EXPECT_EQ(azure.get(locations, token).status_code, 200);
    EXPECT_EQ(azure.post("_emulator/faults/clear", "").status_code, 200);
    EXPECT_TRUE(emu.faults().empty());
}

TEST_F(EmulatorRoutes, StopClosesOpenConnectionsAndCutsDelaysShort) {
    fault slow;
    slow.route = "budgets";
    slow.kind = fault_kind::delay;
    slow.delay_ms = 60000;
    emu.set_fault(slow);
    const std::uint64_t before = emu.counters().requests_total;
    std::thread waiting([this] {
        client patient(emu);
        try {
            patient.get(
                subscription + "/providers/Microsoft.Consumption/budgets?api-version=2019-10-01",
                token);
        } catch (const std::exception&) {
            // The connection closed under the request: what a stop does.
        }
    });
    ASSERT_TRUE(emu.wait_for_requests(before + 1, std::chrono::seconds(30)));
    const auto start = std::chrono::steady_clock::now();
    emu.stop();
    const auto took = std::chrono::steady_clock::now() - start;
    waiting.join();
    // The delay was a minute; stop must not sit it out.
    EXPECT_LT(took, std::chrono::seconds(30));
    EXPECT_EQ(emu.counters().open_connections, 0U);
}

}  // namespace
}  // namespace zentrova::monitoring_modules::emulator
