// Counters, the request log, scenario replacement, concurrency and stopping.

#include <gtest/gtest.h>

#include <chrono>
#include <jsoncons/json.hpp>
#include <memory>
#include <thread>

#include "emulator/azure_emulator.hpp"
#include "tests/emulator/https_client.hpp"

namespace zentrova::monitoring_modules::emulator::testing {
namespace {

using jsoncons::json;

class transport_test : public ::testing::Test {
protected:
    azure_emulator emu;
    https_client client{emu.ca_file()};
    header_list auth{{"Authorization", "Bearer " + fetch_token(client, emu)}};
    const std::string locations =
        emu.base_url() + "subscriptions/" + subscription_id + "/locations?api-version=2020-01-01";
};

TEST_F(transport_test, counters_tell_connections_from_requests) {
    ASSERT_EQ(client.get(locations, auth).status, 200);
    ASSERT_EQ(client.get(locations, auth).status, 200);
    emulator_counters c = emu.counters();
    EXPECT_EQ(c.requests_total, 3u);  // with the token request
    EXPECT_EQ(c.token_requests, 1u);
    EXPECT_EQ(c.requests("locations"), 2u);
    EXPECT_EQ(c.connections_accepted, 1u);  // keep-alive: one connection for all three
    EXPECT_EQ(c.tls_handshakes, 1u);

    https_client second(emu.ca_file());
    ASSERT_EQ(second.get(locations, auth).status, 200);
    c = emu.counters();
    EXPECT_EQ(c.connections_accepted, 2u);
    EXPECT_EQ(c.tls_handshakes, 2u);

    // The control endpoint reports the same, and control requests are not counted.
    const json shown = json::parse(client.get(emu.base_url() + "_emulator/counters").body);
    EXPECT_EQ(shown["requests_total"].as<int>(), 4);
    EXPECT_EQ(shown["requests"]["locations"].as<int>(), 3);
    EXPECT_EQ(shown["token_requests"].as<int>(), 1);
    EXPECT_EQ(shown["connections_accepted"].as<int>(), 2);
    EXPECT_EQ(emu.counters().requests_total, 4u);

    ASSERT_EQ(client.post(emu.base_url() + "_emulator/reset", "", "application/json").status, 200);
    c = emu.counters();
    EXPECT_EQ(c.requests_total, 0u);
    EXPECT_EQ(c.connections_accepted, 0u);
    EXPECT_TRUE(c.requests_by_route.empty());
    EXPECT_TRUE(emu.requests().empty());
}

TEST_F(transport_test, request_log_keeps_target_headers_and_body_as_received) {
    const std::string target = "//subscriptions/" + subscription_id +
                               "/resourceGroups/rg-web/providers/Microsoft.Compute/"
                               "virtualMachines/vm-app-01/providers/microsoft.insights/metrics?"
                               "api-version=2018-01-01&metricnames=Percentage%20CPU";
    ASSERT_EQ(client.get(emu.base_url() + target.substr(1), auth).status, 200);
    const std::string body = R"({"type": "ActualCost"})";
    client.post(emu.base_url() + "subscriptions/" + subscription_id +
                    "/providers/Microsoft.CostManagement/forecast?api-version=2019-11-01",
                body, "application/json", auth);
    const auto log = emu.requests();
    ASSERT_EQ(log.size(), 3u);
    EXPECT_EQ(log[0].route, "token");
    EXPECT_NE(log[0].body.find("client_secret=" + client_secret), std::string::npos);
    EXPECT_EQ(log[1].method, "GET");
    EXPECT_EQ(log[1].target, target);
    EXPECT_EQ(log[1].route, "vm_metrics");
    EXPECT_EQ(log[1].header("authorization"), auth[0].second);
    EXPECT_EQ(log[1].status, 200);
    EXPECT_EQ(log[2].body, body);
    EXPECT_EQ(log[2].status, 400);  // no dataset

    const json shown = json::parse(client.get(emu.base_url() + "_emulator/requests").body);
    ASSERT_EQ(shown.size(), 3u);
    EXPECT_EQ(shown[1]["target"].as<std::string>(), target);
    EXPECT_EQ(shown[2]["headers"]["Content-Type"].as<std::string>(), "application/json");
}

TEST_F(transport_test, scenario_is_replaced_whole_or_not_at_all) {
    const std::string replacement = R"({"tenants": [{"id": ")" + tenant_id +
                                    R"(", "applications": [{"client_id": ")" + client_id +
                                    R"(", "client_secret": "s"}]}],
        "regions": [{"name": "swedencentral", "display_name": "Sweden Central"}],
        "subscriptions": [{"id": ")" +
                                    subscription_id + R"("}]})";
    emu.replace_scenario(replacement);
    json regions = json::parse(client.get(locations, auth).body);
    ASSERT_EQ(regions["value"].size(), 1u);
    EXPECT_EQ(regions["value"][0]["displayName"].as<std::string>(), "Sweden Central");

    EXPECT_THROW(emu.replace_scenario(R"({"regions": [{"name": 5}]})"), scenario_error);
    const http_result rejected = client.post(emu.base_url() + "_emulator/scenario",
                                             R"({"tenants": "none"})", "application/json");
    EXPECT_EQ(rejected.status, 400);
    EXPECT_NE(rejected.body.find("$.tenants: expected an array"), std::string::npos)
        << rejected.body;
    regions = json::parse(client.get(locations, auth).body);
    EXPECT_EQ(regions["value"].size(), 1u);

    const http_result posted = client.post(emu.base_url() + "_emulator/scenario",
                                           default_scenario_json(), "application/json");
    EXPECT_EQ(posted.status, 200) << posted.body;
    EXPECT_EQ(json::parse(client.get(locations, auth).body)["value"].size(), 3u);
}

TEST_F(transport_test, many_concurrent_keep_alive_connections_are_each_served) {
    // Every client holds its connection open until all have been answered once, so a fixed
    // pool smaller than the crowd would leave the rest waiting past the client time-out.
    constexpr int crowd = 100;
    std::vector<std::unique_ptr<https_client>> clients;
    clients.reserve(crowd);
    for (int i = 0; i < crowd; ++i) {
        clients.push_back(std::make_unique<https_client>(emu.ca_file(), 10));
    }
    std::vector<long> first(crowd);
    std::vector<long> second(crowd);
    std::vector<std::thread> threads;
    threads.reserve(crowd);
    for (int i = 0; i < crowd; ++i) {
        threads.emplace_back([&, i] { first[i] = clients[i]->get(locations, auth).status; });
    }
    for (auto& t : threads) {
        t.join();
    }
    threads.clear();
    for (int i = 0; i < crowd; ++i) {
        threads.emplace_back([&, i] { second[i] = clients[i]->get(locations, auth).status; });
    }
    for (auto& t : threads) {
        t.join();
    }
    EXPECT_EQ(first, std::vector<long>(crowd, 200));
    EXPECT_EQ(second, std::vector<long>(crowd, 200));
    const emulator_counters c = emu.counters();
    EXPECT_EQ(c.connections_accepted, crowd + 1u);  // and the token request's
    EXPECT_EQ(c.requests("locations"), 2u * crowd);
}

TEST_F(transport_test, stop_closes_open_connections_and_cuts_delays_short) {
    std::vector<std::unique_ptr<https_client>> idle;
    for (int i = 0; i < 5; ++i) {
        idle.push_back(std::make_unique<https_client>(emu.ca_file(), 5));
        ASSERT_EQ(idle.back()->get(locations, auth).status, 200);
    }
    EXPECT_EQ(emu.counters().open_connections, 6u);

    fault slow;
    slow.route = "budgets";
    slow.kind = fault_kind::delay;
    slow.delay_ms = 60000;
    emu.set_fault(slow);
    const std::uint64_t before = emu.counters().requests_total;
    http_result delayed;
    std::thread waiting([&] {
        https_client c(emu.ca_file(), 120);
        delayed = c.get(emu.base_url() + "subscriptions/" + subscription_id +
                            "/providers/Microsoft.Consumption/budgets?api-version=2019-10-01",
                        auth);
    });
    ASSERT_TRUE(emu.wait_for_requests(before + 1, std::chrono::seconds(30)));
    const auto start = std::chrono::steady_clock::now();
    emu.stop();
    const auto took = std::chrono::steady_clock::now() - start;
    waiting.join();
    // The delay was a minute; stop must not sit it out.
    EXPECT_LT(took, std::chrono::seconds(30));
    EXPECT_EQ(emu.counters().open_connections, 0u);
    EXPECT_NE(idle.front()->get(locations, auth).error, CURLE_OK);
    emu.stop();  // harmless
}

}  // namespace
}  // namespace zentrova::monitoring_modules::emulator::testing
