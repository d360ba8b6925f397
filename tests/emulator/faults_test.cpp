// Fault injection: every kind, how faults are set and how long they last.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <jsoncons/json.hpp>

#include "emulator/azure_emulator.hpp"
#include "tests/emulator/https_client.hpp"

namespace zentrova::monitoring_modules::emulator::testing {
namespace {

using jsoncons::json;

bool is_json(const std::string& text) {
    try {
        json::parse(text);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

class faults_test : public ::testing::Test {
protected:
    azure_emulator emu;
    https_client client{emu.ca_file()};
    header_list auth{{"Authorization", "Bearer " + fetch_token(client, emu)}};
    const std::string locations =
        emu.base_url() + "subscriptions/" + subscription_id + "/locations?api-version=2020-01-01";

    http_result fetch_locations() {
        https_client fresh(emu.ca_file());  // a fault may leave the connection unusable
        return fresh.get(locations, auth);
    }
};

TEST_F(faults_test, each_kind_changes_the_answer_as_described) {
    const http_result normal = fetch_locations();
    ASSERT_EQ(normal.status, 200);

    struct kind_case {
        const char* fault;
        std::function<void(const http_result&)> check;
    };
    const std::vector<kind_case> cases{
        {R"({"kind": "status", "status": 503, "error_code": "ServerBusy"})",
         [](const http_result& r) {
             EXPECT_EQ(r.status, 503);
             EXPECT_EQ(r.reason, "Service Unavailable");
             EXPECT_EQ(json::parse(r.body)["error"]["code"].as<std::string>(), "ServerBusy");
             EXPECT_TRUE(r.header("Retry-After").empty());
         }},
        {R"({"status": 429})",
         [](const http_result& r) {
             EXPECT_EQ(r.status, 429);
             EXPECT_EQ(r.header("Retry-After"), "1");
             EXPECT_EQ(json::parse(r.body)["error"]["code"].as<std::string>(), "TooManyRequests");
         }},
        {R"({"status": 429, "retry_after": 7, "reason": "Slow Down"})",
         [](const http_result& r) {
             EXPECT_EQ(r.status, 429);
             EXPECT_EQ(r.reason, "Slow Down");
             EXPECT_EQ(r.header("Retry-After"), "7");
             EXPECT_EQ(r.header("Connection"), "close");
             EXPECT_TRUE(is_json(r.body));
         }},
        {R"({"kind": "close"})",
         [](const http_result& r) {
             EXPECT_NE(r.error, CURLE_OK);
             EXPECT_EQ(r.status, 0);
         }},
        {R"({"kind": "close_mid_body"})",
         [&normal](const http_result& r) {
             EXPECT_EQ(r.error, CURLE_PARTIAL_FILE);
             EXPECT_EQ(r.status, 200);
             EXPECT_EQ(r.header("Content-Length"), std::to_string(normal.body.size()));
             EXPECT_EQ(r.body, normal.body.substr(0, normal.body.size() / 2));
         }},
        {R"({"kind": "wrong_content_type"})",
         [&normal](const http_result& r) {
             EXPECT_EQ(r.header("Content-Type"), "text/html; charset=utf-8");
             EXPECT_EQ(r.body, normal.body);
         }},
        {R"({"kind": "truncated_body"})",
         [&normal](const http_result& r) {
             EXPECT_EQ(r.error, CURLE_OK);
             EXPECT_EQ(r.body, normal.body.substr(0, normal.body.size() / 2));
             EXPECT_FALSE(is_json(r.body));
         }},
        {R"({"kind": "invalid_json"})",
         [](const http_result& r) {
             EXPECT_EQ(r.status, 200);
             EXPECT_EQ(r.header("Content-Type"), "application/json; charset=utf-8");
             EXPECT_FALSE(is_json(r.body));
         }},
        {R"({"kind": "empty_body"})",
         [](const http_result& r) {
             EXPECT_EQ(r.status, 200);
             EXPECT_TRUE(r.body.empty());
         }},
        {R"({"kind": "large_body", "size": 10485760})",
         [&normal](const http_result& r) {
             EXPECT_EQ(r.error, CURLE_OK);
             ASSERT_EQ(r.body.size(), 10485760u);
             EXPECT_EQ(json::parse(r.body)["value"], json::parse(normal.body)["value"]);
         }},
        {R"({"body": "{}", "status": 200})",
         [](const http_result& r) {
             EXPECT_EQ(r.status, 200);
             EXPECT_EQ(r.body, "{}");
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        emu.clear_faults();
        json fault = json::parse(c.fault);
        fault["route"] = "locations";
        emu.set_faults_json(fault.to_string());
        c.check(fetch_locations());
    }
    emu.clear_faults();
    EXPECT_EQ(fetch_locations().body, normal.body);
    EXPECT_EQ(emu.counters().faults_applied, cases.size());
}

TEST_F(faults_test, delay_holds_the_answer_back) {
    fault slow;
    slow.route = "locations";
    slow.kind = fault_kind::delay;
    slow.delay_ms = 300;
    emu.set_fault(slow);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(fetch_locations().status, 200);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
}

TEST_F(faults_test, count_route_and_path_decide_which_requests_are_hit) {
    fault outage;
    outage.route = "vm_metrics";
    outage.status = 500;
    outage.count = 2;
    outage.path_contains = "/VM-APP-01/";
    emu.set_fault(outage);
    const std::string metrics = "/providers/microsoft.insights/metrics?api-version=2018-01-01";
    const std::string prefix =
        emu.base_url() + "subscriptions/" + subscription_id +
        "/resourceGroups/rg-web/providers/Microsoft.Compute/virtualMachines/";
    EXPECT_EQ(client.get(prefix + "vm-web-burst-01" + metrics, auth).status, 200);
    EXPECT_EQ(client.get(prefix + "vm-app-01" + metrics, auth).status, 500);
    EXPECT_EQ(client.get(prefix + "vm-app-01" + metrics, auth).status, 500);
    EXPECT_EQ(client.get(prefix + "vm-app-01" + metrics, auth).status, 200);
    EXPECT_TRUE(emu.faults().empty());

    // "*" reaches every Azure route; on the token routes the body is Azure AD's.
    emu.set_faults_json(R"({"route": "*", "status": 503})");
    EXPECT_EQ(client.get(locations, auth).status, 503);
    const http_result token =
        client.post(emu.login_url() + "/" + tenant_id + "/oauth2/token",
                    token_form(emu.login_url()), "application/x-www-form-urlencoded");
    EXPECT_EQ(token.status, 503);
    EXPECT_EQ(json::parse(token.body)["error"].as<std::string>(), "temporarily_unavailable");
    emu.clear_faults("*");
    EXPECT_EQ(client.get(locations, auth).status, 200);
}

TEST_F(faults_test, control_endpoint_sets_lists_and_clears_faults) {
    const std::string control = emu.base_url() + "_emulator/faults";
    const http_result set = client.post(
        control,
        R"([{"route": "budgets", "status": 502}, {"route": "locations", "kind": "empty_body"}])",
        "application/json");
    ASSERT_EQ(set.status, 200) << set.body;
    EXPECT_EQ(json::parse(set.body).size(), 2u);
    EXPECT_TRUE(client.get(locations, auth).body.empty());

    const http_result bad =
        client.post(control, R"({"route": "locatoins", "status": 500})", "application/json");
    EXPECT_EQ(bad.status, 400);
    EXPECT_NE(bad.body.find("$.route"), std::string::npos) << bad.body;

    EXPECT_EQ(
        client.post(control + "/clear", R"({"route": "locations"})", "application/json").status,
        200);
    EXPECT_EQ(emu.faults().size(), 1u);
    EXPECT_EQ(client.post(control + "/clear", "", "application/json").status, 200);
    EXPECT_TRUE(emu.faults().empty());
    EXPECT_THROW(emu.set_faults_json(R"({"kind": "explode"})"), scenario_error);
    fault odd;
    odd.status = 42;
    EXPECT_THROW(emu.set_fault(odd), scenario_error);
    odd.status = 500;
    odd.route = "unknown";
    EXPECT_THROW(emu.set_fault(odd), scenario_error);
}

}  // namespace
}  // namespace zentrova::monitoring_modules::emulator::testing
