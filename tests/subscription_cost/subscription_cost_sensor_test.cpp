// The subscription cost sensor, driven through the module's exports against the emulator over
// several checks, with the channel map and persistent data carried between them as a probe does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <jsoncons/json.hpp>

#include "tests/support/azure_harness.hpp"
#include "tests/support/text_file.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::string setting(const std::string& name) {
    return "subscription_cost_sensor_section.subscription_cost_sensor_group." + name;
}

// The default world with its first subscription changed.
emulator::emulator_options world(const std::function<void(jsoncons::json&)>& change) {
    auto scenario = jsoncons::json::parse(emulator::default_scenario_json());
    change(scenario["subscriptions"][0]);
    emulator::emulator_options options;
    options.scenario_json = scenario.to_string();
    return options;
}

// The sensor's settings: every option off unless named in `options`.
settings_buffer cost_sensor(const azure_harness& harness,
                            const std::map<std::string, std::string>& options = {}) {
    auto settings = harness.settings("subscription_cost_sensor");
    settings.settings[setting("show_budgets")] = "disabled";
    settings.settings[setting("show_forecast")] = "disabled";
    settings.settings[setting("show_most_expensive_service")] = "disabled";
    settings.settings[setting("most_expensive_service_grouping")] = "resourcegroupname";
    for (const auto& [name, value] : options) {
        settings.settings[setting(name)] = value;
    }
    return settings;
}

settings_buffer everything_on(const azure_harness& harness) {
    return cost_sensor(harness, {{"show_budgets", "enabled"},
                                 {"show_forecast", "enabled"},
                                 {"show_most_expensive_service", "enabled"}});
}

TEST(SubscriptionCostSensor, EveryOptionOnReportsCostsForecastBudgetsAndTheTopResourceGroup) {
    azure_harness harness;
    const auto first = harness.create_and_check(1, everything_on(harness));
    ASSERT_EQ(first.response_code, 0) << first.message << harness.sensor_log(1);
    // What was reported, declared and stored (the forecast leaves the "Actual" row out), then
    // what was asked, in order: the periods, the costs of both, budgets, forecast, top group.
    expect_golden(first.text() + harness.channels_text(1) + harness.requests_text(),
                  MICROSOFTAZURE_TEST_DATA "/every-option.txt");

    const std::string log = harness.sensor_log(1);
    // The values the check worked out, as the log shows them.
    for (const char* line :
         {"- 202411-1: 2024-10-15 - 2024-11-14\n",
          "Using period 2024-09-15 to 2024-11-14 for previous/current costs\n",
          "Previous cost: 1234.560000\n", "Current cost:  987.650000\n", "Forecast: 1216.400000\n",
          "- web-team 456.300000 of 400.000000 used\n",
          "Most expensive service is rg-web with 456.30 EUR\n"}) {
        EXPECT_THAT(log, HasSubstr(line));
    }
    EXPECT_THAT(log, Not(HasSubstr(harness.client_secret())));

    // The next check finds everything in the host's map and data: nothing is declared or
    // stored twice, and the values are the same.
    auto again = first;
    again.declared_channels.clear();
    again.stored.clear();
    EXPECT_EQ(harness.check(1, everything_on(harness)).text(), again.text());
    for (const auto& message : harness.all_messages()) {
        EXPECT_THAT(message, Not(HasSubstr(harness.client_secret())));
    }
}

// Lines that only the log shows are not even built when the log is off; what the check reads
// and reports must not change with it, a forecast row without its date included.
TEST(SubscriptionCostSensor, ItsLogSwitchedOffChangesNothingButTheLog) {
    azure_harness harness;
    auto logged = everything_on(harness);
    auto unlogged = everything_on(harness);
    unlogged.settings["logging"] = "disabled";
    const auto with_log = harness.create_and_check(1, logged);
    const auto without_log = harness.create_and_check(2, unlogged);
    ASSERT_EQ(with_log.response_code, 0) << with_log.message;
    EXPECT_EQ(without_log.text(), with_log.text());
    EXPECT_THAT(harness.sensor_log(1), HasSubstr("Forecast values:"));
    EXPECT_THAT(harness.sensor_log(2), Not(HasSubstr("Forecast")));

    harness.emulator().set_faults_json(
        R"({"route": "forecast", "body": "{\"properties\":{\"columns\":[{\"name\":\"Cost\"},)"
        R"({\"name\":\"CostStatus\"},{\"name\":\"Currency\"},{\"name\":\"UsageDate\"}],)"
        R"(\"rows\":[[1,\"Forecast\",\"EUR\"]]}}"})");
    for (const auto& [id, settings] : {std::pair{1, logged}, std::pair{2, unlogged}}) {
        const auto checked = harness.check(id, settings);
        EXPECT_EQ(checked.response_code, 3) << "sensor " << id;
        EXPECT_EQ(checked.message, "#:error.generic") << "sensor " << id;
    }
}

TEST(SubscriptionCostSensor, WithoutOptionsOnlyThePeriodCostsAreAskedAndAnOptionAddsItsChannel) {
    azure_harness harness;
    const auto checked = harness.create_and_check(1, cost_sensor(harness));
    EXPECT_EQ(checked.response_code, 0);
    EXPECT_EQ(checked.message, "");
    EXPECT_EQ(checked.declared_channels, (std::vector<int>{0, 1}));
    EXPECT_EQ(checked.values.size(), 2U);
    EXPECT_EQ(harness.emulator().counters().requests("cost_query"), 1U);
    EXPECT_EQ(harness.emulator().counters().requests("forecast"), 0U);
    EXPECT_EQ(harness.emulator().counters().requests("budgets"), 0U);

    // The host makes the sensor anew with the changed settings and the channels it knows.
    const auto later =
        harness.create_and_check(1, cost_sensor(harness, {{"show_forecast", "enabled"}}));
    EXPECT_EQ(later.declared_channels, (std::vector<int>{2}));
    EXPECT_EQ(harness.state(1).channels.at(2).name, "forecast");
    EXPECT_EQ(harness.state(1).channels.at(2).custom_unit, "EUR");
    EXPECT_TRUE(later.has_value(2));
}

// Worlds whose costs come out plainly: one billing period is the current one, and only forecast
// rows add to the current cost.
TEST(SubscriptionCostSensor, OneBillingPeriodIsTheCurrentOneAndOnlyForecastRowsAddUp) {
    struct cost_world {
        const char* member;  // of the subscription, replaced by `json`
        const char* json;
        std::map<int, double> values;
    };
    const std::vector<cost_world> worlds{
        {"billing_periods",
         R"([{"name": "202411-1", "start_date": "2024-10-15", "end_date": "2024-11-14",
              "total_cost": 77.5}])",
         {{0, 77.5}, {1, 0.0}}},
        {"forecast",
         R"([{"date": "2024-11-07", "cost": 31.85, "status": "Actual"},
             {"date": "2024-11-08", "cost": 20, "status": "Actual"}])",
         {{2, 987.65}}},
        {"forecast", "[]", {{2, 987.65}}},
    };
    for (const auto& w : worlds) {
        SCOPED_TRACE(w.json);
        azure_harness harness(
            world([&w](jsoncons::json& sub) { sub[w.member] = jsoncons::json::parse(w.json); }));
        const auto checked =
            harness.create_and_check(1, cost_sensor(harness, {{"show_forecast", "enabled"}}));
        EXPECT_EQ(checked.response_code, 0) << checked.message;
        for (const auto& [id, value] : w.values) {
            EXPECT_DOUBLE_EQ(checked.value(id), value) << id;
        }
    }
}

TEST(SubscriptionCostSensor, PeriodsWithoutCostRowsCostNothingAndKeepTheCurrency) {
    azure_harness harness;
    const auto settings = cost_sensor(harness);
    ASSERT_EQ(harness.create_and_check(1, settings).stored.at("currency"), "EUR");
    harness.emulator().set_faults_json(
        R"({"route": "cost_query", "body": "{\"properties\":{\"columns\":[{\"name\":\"PreTaxCost\"},)"
        R"({\"name\":\"BillingPeriod\"},{\"name\":\"Currency\"}],\"rows\":[]}}"})");
    const auto checked = harness.check(1, settings);
    EXPECT_EQ(checked.response_code, 0) << checked.message;
    EXPECT_DOUBLE_EQ(checked.value(0), 0.0);
    EXPECT_DOUBLE_EQ(checked.value(1), 0.0);
    EXPECT_THAT(checked.stored, IsEmpty());
}

// A check that fails keeps what it declared and stored before the failure, and reports no value.
struct failing_world {
    const char* what;
    std::function<void(jsoncons::json&)> change;
    const char* fault;  // injected after the sensor was made; "" for none
    const char* logged;
    bool after_period_costs;  // the fixed channels and the currency came before the failure
};

TEST(SubscriptionCostSensor, ForeignCurrenciesAndMissingColumnsFailTheCheck) {
    const auto unchanged = [](jsoncons::json&) {};
    const std::vector<failing_world> worlds{
        {"forecast rows in USD",
         [](jsoncons::json& sub) {
             for (auto& row : sub["forecast"].array_range()) {
                 row["currency"] = "USD";
             }
         },
         "", "Read Forecast: Previous and current currency differ (EUR vs USD). Cannot continue.",
         true},
        {"a budget in USD", [](jsoncons::json& sub) { sub["budgets"][1]["currency"] = "USD"; }, "",
         "Read Budgets: Previous and current currency differ (EUR vs USD). Cannot continue.", true},
        {"forecast without CostStatus", unchanged,
         R"({"route": "forecast", "body": "{\"properties\":{\"columns\":[{\"name\":\"Cost\"},)"
         R"({\"name\":\"UsageDate\"},{\"name\":\"Currency\"}],\"rows\":[[1,20241108,\"EUR\"]]}}"})",
         "Required columns are not found inside the JSON response.", true},
        {"cost query with a lower-case currency column", unchanged,
         R"({"route": "cost_query", "body": "{\"properties\":{\"columns\":[{\"name\":\"PreTaxCost\"},)"
         R"({\"name\":\"BillingPeriod\"},{\"name\":\"currency\"}],\"rows\":[[5,\"p\",\"EUR\"]]}}"})",
         "Required columns are not found inside the JSON response.", false},
        {"no billing period",
         [](jsoncons::json& sub) { sub["billing_periods"] = jsoncons::json::parse("[]"); }, "",
         "No billing periods found. Cannot continue.", false},
        {"cost query without properties", unchanged,
         R"({"route": "cost_query", "body": "{\"rows\":[]}"})", "The queried field is empty.",
         false},
    };
    for (const auto& w : worlds) {
        SCOPED_TRACE(w.what);
        azure_harness harness(world(w.change));
        const auto settings = everything_on(harness);
        ASSERT_EQ(harness.create(1, settings).code, 0);
        if (*w.fault != '\0') {
            harness.emulator().set_faults_json(w.fault);
        }
        const auto checked = harness.check(1, settings);
        EXPECT_EQ(checked.response_code, 3);
        EXPECT_EQ(checked.message, "#:error.generic");
        EXPECT_THAT(checked.values, IsEmpty());
        if (w.after_period_costs) {
            EXPECT_EQ(checked.declared_channels, (std::vector<int>{0, 1, 2}));
            EXPECT_EQ(checked.stored, (std::map<std::string, std::string>{{"currency", "EUR"}}));
        } else {
            EXPECT_THAT(checked.declared_channels, IsEmpty());
            EXPECT_THAT(checked.stored, IsEmpty());
        }
        EXPECT_THAT(harness.sensor_log(1), HasSubstr(w.logged));
    }
}

TEST(SubscriptionCostSensor, CostsInAnotherCurrencyThanEarlierChecksFailAtTheFirstRow) {
    azure_harness harness;
    const auto settings = cost_sensor(harness);
    ASSERT_EQ(harness.create_and_check(1, settings).response_code, 0);
    auto scenario = jsoncons::json::parse(emulator::default_scenario_json());
    scenario["subscriptions"][0]["currency"] = "USD";
    harness.emulator().replace_scenario(scenario.to_string());

    const auto checked = harness.check(1, settings);
    EXPECT_EQ(checked.response_code, 3);
    EXPECT_THAT(checked.values, IsEmpty());
    EXPECT_THAT(checked.stored, IsEmpty());
    const std::string log = harness.sensor_log(1);
    EXPECT_THAT(log, HasSubstr("Read Costs: Previous and current currency differ (EUR vs USD). "
                               "Cannot continue."));
    EXPECT_EQ(harness.state(1).persistent_data.at("currency"), "EUR");
}

TEST(SubscriptionCostSensor, BudgetsKeepTheirChannelIdsAcrossChecksAndAbsences) {
    azure_harness harness;
    const auto settings = cost_sensor(harness, {{"show_budgets", "enabled"}});
    std::string text = harness.create_and_check(1, settings).text();
    // "monthly-total" is gone for a while and a new budget comes; then "monthly-total" is back on
    // its old channels; then a subscription without budgets reports no budget channel at all.
    for (const char* budgets :
         {R"([{"name": "web-team", "amount": 400, "current_spend": 100},
                                    {"name": "new-one", "amount": 50, "current_spend": 5}])",
          R"([{"name": "monthly-total", "amount": 1500, "current_spend": 750}])", "[]"}) {
        auto scenario = jsoncons::json::parse(emulator::default_scenario_json());
        scenario["subscriptions"][0]["budgets"] = jsoncons::json::parse(budgets);
        harness.emulator().replace_scenario(scenario.to_string());
        text += harness.check(1, settings).text();
    }
    expect_golden(text + harness.channels_text(1), MICROSOFTAZURE_TEST_DATA "/budgets.txt");
}

TEST(SubscriptionCostSensor, ABudgetOfAmountZeroReportsAnInfiniteShare) {
    azure_harness harness(world([](jsoncons::json& sub) {
        sub["budgets"] = jsoncons::json::parse(
            R"([{"name": "zero", "amount": 0, "current_spend": 3},
                {"name": "unused", "amount": 0, "current_spend": 0}])");
    }));
    const auto checked =
        harness.create_and_check(1, cost_sensor(harness, {{"show_budgets", "enabled"}}));
    EXPECT_EQ(checked.response_code, 0) << checked.message;
    EXPECT_DOUBLE_EQ(checked.value(4), 3.0);
    EXPECT_TRUE(std::isnan(checked.value(5)));  // 0 / 0
    EXPECT_THAT(checked.messages.back(),
                AllOf(HasSubstr(R"({"id":3,"kind":"float","value":"Infinity"})"),
                      HasSubstr(R"({"id":5,"kind":"float","value":"NaN"})")));
}

TEST(SubscriptionCostSensor, StoredChannelIdsAreReadAsNumbersOrFailTheCheck) {
    struct stored_ids {
        std::map<std::string, std::string> data;
        const char* failure;  // "" when the check succeeds
    };
    const std::vector<stored_ids> cases{
        {{{"next_channel_id", "12"}}, ""},
        {{{"monthly-total_used_percent", "three"}}, "invalid stoi argument"},
        {{{"next_channel_id", "4000000000"}}, "stoi argument out of range"},
    };
    for (const auto& c : cases) {
        azure_harness harness;
        auto settings = cost_sensor(harness, {{"show_budgets", "enabled"}});
        settings.persistent_data = c.data;
        const auto checked = harness.create_and_check(1, settings);
        if (*c.failure == '\0') {
            EXPECT_EQ(checked.response_code, 0);
            EXPECT_EQ(checked.declared_channels, (std::vector<int>{0, 1, 12, 13, 14, 15}));
            EXPECT_EQ(checked.stored.at("next_channel_id"), "16");
            continue;
        }
        EXPECT_EQ(checked.response_code, 3);
        EXPECT_EQ(checked.message, "#:error.generic");
        EXPECT_THAT(checked.values, IsEmpty());
        EXPECT_EQ(checked.declared_channels, (std::vector<int>{0, 1}));
        EXPECT_THAT(harness.sensor_log(1), HasSubstr(c.failure));
    }
}

// The group that cost most in the newest period, for each grouping of the setting, and ties,
// commas and no costs at all (`costs`: the newest period's service costs; null keeps the world's).
struct top_group {
    const char* grouping;
    const char* dimension;
    const char* costs;
    const char* message;
};

TEST(SubscriptionCostSensor, MostExpensiveServiceIsNamedForEveryGrouping) {
    const std::vector<top_group> cases{
        {"resourcegroupname", "ResourceGroupName", nullptr, "[rg-web,456.30,EUR]"},
        {"resourcetype", "ResourceType", nullptr, "[microsoft.compute/virtualmachines,512.40,EUR]"},
        {"resourceid", "ResourceId", nullptr,
         "[/subscriptions/3f2a1b0c-9d8e-4f7a-b6c5-d4e3f2a1b0c9/resourcegroups/rg-web/providers/"
         "microsoft.compute/virtualmachines/vm-app-01,283.40,EUR]"},
        {"resourcelocation", "ResourceLocation", nullptr, "[westeurope,701.35,EUR]"},
        {"servicename", "ServiceName", nullptr, "[Virtual Machines,512.40,EUR]"},
        {"servicename", "ServiceName", R"({"Storage": 50, "Backup": 50, "Compute": 10})",
         "[Backup,50.00,EUR]"},
        {"servicename", "ServiceName", R"({"Compute, EU": 1234.5, "Storage": 10})",
         "[Compute, EU,1234.50,EUR]"},
        {"servicename", "ServiceName", "{}", nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.costs == nullptr ? c.grouping : c.costs);
        azure_harness harness(world([&c](jsoncons::json& sub) {
            if (c.costs != nullptr) {
                sub["billing_periods"][1]["costs"] =
                    jsoncons::json::parse(std::string(R"({"ServiceName": )") + c.costs + "}");
            }
        }));
        const auto checked = harness.create_and_check(
            1, cost_sensor(harness, {{"show_most_expensive_service", "enabled"},
                                     {"most_expensive_service_grouping", c.grouping}}));
        EXPECT_EQ(checked.response_code, 0);
        EXPECT_EQ(checked.message,
                  c.message == nullptr ? "" : std::string("#:most-expensive-service") + c.message);
        EXPECT_DOUBLE_EQ(checked.value(0), 987.65);
        EXPECT_THAT(harness.requests_text(),
                    HasSubstr(std::string(R"("name": ")") + c.dimension + '"'));
    }
}

TEST(SubscriptionCostSensor, KeptBaseUrlPointsTheSensorAtAnotherRoot) {
    azure_harness harness;
    std::string other_root = harness.emulator().base_url();
    other_root.replace(other_root.find("127.0.0.1"), 9, "localhost");
    const std::string host = "localhost:" + std::to_string(harness.emulator().port());
    int sensor_id = 0;
    for (const std::string& root : {other_root, other_root.substr(0, other_root.size() - 1)}) {
        SCOPED_TRACE(root);
        harness.emulator().reset();
        auto settings = cost_sensor(harness);
        settings.persistent_data["base_url"] = root;
        const auto checked = harness.create_and_check(++sensor_id, settings);
        EXPECT_EQ(checked.response_code, 0) << checked.message;
        EXPECT_EQ(checked.stored.count("base_url"), 0U);
        for (const auto& request : harness.emulator().requests()) {
            if (request.route != "token") {
                EXPECT_EQ(request.header("Host"), host) << request.target;
                EXPECT_EQ(request.target.rfind("/subscriptions/", 0), 0U) << request.target;
            }
        }
    }
}

}  // namespace
}  // namespace zentrova::monitoring_modules::testing
