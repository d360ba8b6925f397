// What the other suites rely on in the emulator but cannot see through the module: scenario
// errors, the v2 token and OpenID routes that SDK clients use, the fault control endpoint, a
// stop that does not sit out a delay, and the realistic world's headers, aggregations and quota
// counts. The routes' answers are checked through the module, by the sensors' suites and the
// realistic world's.
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

    explicit client(const azure_emulator& emu, const std::string& tenant,
                    const std::string& client_id, const std::string& secret)
        : client(emu) {
        tenant_ = tenant;
        client_id_ = client_id;
        secret_ = secret;
    }

    rest::response get(const std::string& path, const std::string& token = "") {
        rest::request request;
        if (!token.empty()) {
            request.headers["Authorization"] = "Bearer " + token;
        }
        return rest_->send_request_path(path, request);
    }
    rest::response post(const std::string& path, const std::string& body,
                        const std::string& content_type = "application/json",
                        const std::string& token = "") {
        rest::request request;
        if (!token.empty()) {
            request.headers["Authorization"] = "Bearer " + token;
        }
        request.method = rest::request_method::POST;
        request.headers["Content-Type"] = content_type;
        request.body = body;
        return rest_->send_request_path(path, request);
    }

    // A v1 token for the server itself, as the module asks for one.
    std::string access_token(const std::string& login_url) {
        const auto answer = post(tenant_ + "/oauth2/token",
                                 "grant_type=client_credentials&client_id=" + client_id_ +
                                     "&client_secret=" + secret_ + "&resource=" + login_url,
                                 form);
        EXPECT_EQ(answer.status_code, 200) << answer.body;
        return answer.status_code == 200
                   ? json::parse(answer.body)["access_token"].as<std::string>()
                   : "";
    }

private:
    std::unique_ptr<rest::rest_interface> rest_;
    std::string tenant_ = tenant_id;
    std::string client_id_ = client_id;
    std::string secret_ = client_secret;
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
        {R"({"copies": 2, "subscriptions": [{"id": "s", "virtual_machines": [
            {"name": "v", "resource_group": "g"}, {"name": "v-2", "resource_group": "g"}]}]})",
         "copy 2 of virtual machine \"v\" would be named \"v-2\", which the scenario already has"},
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

// The realistic world, with its quotas replaced by `quotas` when given.
emulator_options realistic(const char* quotas = nullptr, std::size_t copies = 0) {
    std::ifstream in(MICROSOFTAZURE_REALISTIC_SCENARIO);
    jsoncons::ojson scenario = jsoncons::ojson::parse(in);
    if (quotas != nullptr) {
        scenario["quotas"] = jsoncons::ojson::parse(quotas);
    }
    emulator_options options;
    options.scenario_json = scenario.to_string();
    options.copies = copies;
    return options;
}

class RealisticWorld : public ::testing::Test {
protected:
    explicit RealisticWorld(const char* quotas = nullptr, std::size_t copies = 0)
        : emu(realistic(quotas, copies)) {
        emu.set_quota_clock(0);
    }
    std::string get_header(const rest::response& r, const std::string& name) {
        const auto found = r.headers.find(name);
        return found == r.headers.end() ? "(none)" : found->second;
    }

    azure_emulator emu;
    client azure{emu, "4b1e8c2d-7a3f-4e6b-9c5d-0e2f1a3b4c5d",
                 "9a8b7c6d-5e4f-4a3b-8c2d-1e0f9a8b7c6d", "realistic-client-secret"};
    std::string token = azure.access_token(emu.login_url());
    const std::string sub = "subscriptions/6d5c4b3a-2f1e-4d0c-8b9a-7f6e5d4c3b2a";
};

TEST_F(RealisticWorld, AnswersWithAzuresContentTypesAggregationsPagesAndCostCells) {
    const auto servers =
        azure.get(sub + "/providers/Microsoft.Sql/servers?api-version=2014-04-01", token);
    EXPECT_EQ(get_header(servers, "Content-Type"),
              "application/json; odata=minimalmetadata; streaming=true; charset=utf-8");
    EXPECT_EQ(get_header(servers, "DataServiceVersion"), "3.0;");
    EXPECT_EQ(get_header(servers, "x-ms-ratelimit-remaining-subscription-reads"), "249");

    // Without an aggregation each metric comes in its primary one; errors are flat.
    const std::string metrics =
        sub +
        "/resourceGroups/rg-data/providers/Microsoft.Sql/servers/sql-prod/databases/"
        "db-sales/providers/microsoft.insights/metrics?api-version=2018-01-01&metricnames=";
    const auto db = azure.get(metrics + "storage,deadlock", token);
    EXPECT_EQ(get_header(db, "Content-Type"), "application/json");
    EXPECT_THAT(db.body,
                AllOf(HasSubstr(R"(Z","maximum":268435456.0})"), HasSubstr(R"(Z","total":1.0})")));
    const auto bad = azure.get(metrics + "storage&aggregation=median", token);
    EXPECT_EQ(bad.status_code, 400);
    EXPECT_EQ(json::parse(bad.body)["code"].as<std::string>(), "BadRequest");

    // $top pages the billing periods.
    const auto periods = azure.get(
        sub + "/providers/Microsoft.Billing/billingPeriods?api-version=2017-04-24-preview&$top=2",
        token);
    EXPECT_THAT(periods.body, AllOf(HasSubstr(R"("type":"Microsoft.Billing/BillingPeriods")"),
                                    HasSubstr("$top=2&$skiptoken=2")));

    const std::string query =
        R"({"type": "ActualCost", "timeframe": "Custom", "timePeriod": {"from": "2025-03-19", "to": "2025-04-18"},
            "dataset": {"granularity": "None", "aggregation": {"c": {"name": "PreTaxCost", "function": "Sum"}},
            "grouping": [{"type": "Dimension", "name": "ServiceName"}]}})";
    const auto costs =
        azure.post(sub + "/providers/Microsoft.CostManagement/query?api-version=2019-11-01", query,
                   "application/json", token);
    EXPECT_THAT(costs.body, HasSubstr(R"([1.5E-05,"Storage","USD"])"));
    EXPECT_THAT(costs.body, HasSubstr(R"("nextLink":")"));
    EXPECT_EQ(get_header(costs, "x-ms-ratelimit-microsoft.costmanagement-qpu-consumed"), "1");
    EXPECT_EQ(get_header(costs, "x-ms-ratelimit-microsoft.costmanagement-qpu-remaining"),
              "QueriesPer10Sec:11,QueriesPerMin:59,QueriesPerHour:599");
}

// Three copies of every machine and server, as sensor-host watch trials use them.
class RealisticCopies : public RealisticWorld {
protected:
    RealisticCopies() : RealisticWorld(nullptr, 3) {}
    std::vector<std::string> names(const std::string& path) {
        const auto answer = azure.get(path, token);
        EXPECT_EQ(answer.status_code, 200) << path << "\n" << answer.body;
        std::vector<std::string> found;
        const auto body = json::parse(answer.body);
        for (const auto& item : body["value"].array_range()) {
            found.push_back(item["name"].as<std::string>());
        }
        next = body.contains("nextLink")
                   ? body["nextLink"].as<std::string>().substr(emu.base_url().size())
                   : "";
        return found;
    }
    std::string next;
};

TEST_F(RealisticCopies, ListCopiesBesideTheirOriginalAndPageThemTogether) {
    // The first page of three machines becomes their nine copies; the fourth stays beyond it.
    EXPECT_EQ(names(sub + "/providers/Microsoft.Compute/virtualMachines?api-version=2019-12-01"),
              (std::vector<std::string>{"vm-web-01", "vm-web-01-2", "vm-web-01-3", "vm-app-01",
                                        "vm-app-01-2", "vm-app-01-3", "vm-batch-01",
                                        "vm-batch-01-2", "vm-batch-01-3"}));
    EXPECT_EQ(names(next), (std::vector<std::string>{"vm-ops-01", "vm-ops-01-2", "vm-ops-01-3"}));
    EXPECT_EQ(azure
                  .get(sub + "/resourceGroups/rg-web/providers/Microsoft.Compute/virtualMachines/"
                             "vm-app-01-3/instanceView?api-version=2020-06-01",
                       token)
                  .status_code,
              200);
    EXPECT_EQ(names(sub + "/providers/Microsoft.Sql/servers?api-version=2014-04-01").size(), 6U);
    // A copied server has its own pools and databases, which still page three at a time.
    const std::string server =
        sub + "/resourceGroups/rg-data/providers/Microsoft.Sql/servers/sql-pools-3";
    EXPECT_EQ(names(server + "/databases?api-version=2020-02-02-preview"),
              (std::vector<std::string>{"master", "db-orders", "db-invoices"}));
    EXPECT_FALSE(next.empty());
    EXPECT_EQ(azure
                  .get(server + "/elasticPools/pool-dtu/providers/microsoft.insights/metrics?"
                                "api-version=2018-01-01&metricnames=cpu_percent",
                       token)
                  .status_code,
              200);
}

// Tenant- and entity-scoped request windows, and reads past their bucket.
class RealisticQuotas : public RealisticWorld {
protected:
    RealisticQuotas()
        : RealisticWorld(R"({"subscription_reads": {"bucket": 1, "refill_per_second": 1},
            "cost_management": [{"name": "DefaultQuota", "unit": "requests", "scope": "entity", "limit": 1, "seconds": 60},
                                {"name": "DefaultQuota", "unit": "requests", "scope": "tenant", "limit": 5, "seconds": 60}]})") {
    }
};

TEST_F(RealisticQuotas, SpentQuotasAnswer429WithRetryAfter) {
    const std::string forecast =
        sub + "/providers/Microsoft.CostManagement/forecast?api-version=2019-11-01";
    const std::string body =
        R"({"type": "ActualCost", "dataSet": {"aggregation": {"c": {"name": "Cost", "function": "Sum"}}}})";
    const auto first = azure.post(forecast, body, "application/json", token);
    EXPECT_EQ(first.status_code, 200) << first.body;
    EXPECT_EQ(
        get_header(first, "x-ms-ratelimit-remaining-microsoft.costmanagement-entity-requests"),
        "DefaultQuota:0");
    EXPECT_EQ(
        get_header(first, "x-ms-ratelimit-remaining-microsoft.costmanagement-tenant-requests"),
        "DefaultQuota:4");
    const auto second = azure.post(forecast, body, "application/json", token);
    EXPECT_EQ(second.status_code, 429);
    EXPECT_EQ(get_header(second, "x-ms-ratelimit-microsoft.costmanagement-entity-retry-after"),
              "60");
    EXPECT_EQ(get_header(second, "Retry-After"), "60");

    EXPECT_EQ(azure.get(sub + "/locations?api-version=2020-01-01", token).status_code, 200);
    const auto spent = azure.get(sub + "/locations?api-version=2020-01-01", token);
    EXPECT_EQ(spent.status_code, 429);
    EXPECT_EQ(get_header(spent, "Retry-After"), "1");
}

}  // namespace
}  // namespace zentrova::monitoring_modules::emulator
