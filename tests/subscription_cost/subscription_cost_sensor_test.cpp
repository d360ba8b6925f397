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
using ::testing::ElementsAre;
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
    EXPECT_EQ(first.message, "#:most-expensive-service[rg-web,456.30,EUR]");
    EXPECT_EQ(first.declared_channels, (std::vector<int>{0, 1, 2, 3, 4, 5, 6}));
    EXPECT_DOUBLE_EQ(first.value(0), 987.65);
    EXPECT_DOUBLE_EQ(first.value(1), 1234.56);
    EXPECT_DOUBLE_EQ(first.value(2), 987.65 + 32.1 + 32.1 + 30.95 + 4 * 33.4);  // "Actual" left out
    EXPECT_DOUBLE_EQ(first.value(3), 987.65 / 1500 * 100);
    EXPECT_DOUBLE_EQ(first.value(4), 987.65);
    EXPECT_DOUBLE_EQ(first.value(5), 456.3 / 400 * 100);
    EXPECT_DOUBLE_EQ(first.value(6), 456.3);
    EXPECT_EQ(first.stored, (std::map<std::string, std::string>{{"currency", "EUR"},
                                                                {"next_channel_id", "7"},
                                                                {"monthly-total_used_percent", "3"},
                                                                {"monthly-total_used", "4"},
                                                                {"web-team_used_percent", "5"},
                                                                {"web-team_used", "6"}}));
    std::string channels;
    for (const auto& [id, c] : harness.state(1).channels) {
        channels += std::to_string(id) + " " + c.name + " " + c.value_kind + " " + c.unit + " " +
                    c.custom_unit + "\n";
    }
    EXPECT_EQ(channels,
              "0 current_cost 3 8 EUR\n1 last_billed_cost 3 8 EUR\n2 forecast 3 8 EUR\n"
              "3 budget_used_percent[monthly-total] 3 5 \n4 budget_used[monthly-total] 3 8 EUR\n"
              "5 budget_used_percent[web-team] 3 5 \n6 budget_used[web-team] 3 8 EUR\n");
    // What was asked, in order: the periods, the costs of both, budgets, forecast, top group.
    expect_golden(harness.requests_text(), MICROSOFTAZURE_TEST_DATA "/every-option-requests.txt");

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
    const auto second = harness.check(1, everything_on(harness));
    EXPECT_EQ(second.response_code, 0);
    EXPECT_THAT(second.declared_channels, IsEmpty());
    EXPECT_THAT(second.stored, IsEmpty());
    EXPECT_EQ(second.values.size(), 7U);
    EXPECT_DOUBLE_EQ(second.value(6), 456.3);
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
    EXPECT_EQ(without_log.response_code, 0);
    EXPECT_EQ(without_log.message, with_log.message);
    ASSERT_EQ(without_log.values.size(), with_log.values.size());
    for (std::size_t i = 0; i < with_log.values.size(); ++i) {
        EXPECT_EQ(without_log.values[i].id, with_log.values[i].id);
        EXPECT_DOUBLE_EQ(without_log.values[i].value, with_log.values[i].value);
    }
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

TEST(SubscriptionCostSensor, OneBillingPeriodIsTheCurrentOne) {
    azure_harness one(world([](jsoncons::json& sub) {
        sub["billing_periods"] = jsoncons::json::parse(
            R"([{"name": "202411-1", "start_date": "2024-10-15", "end_date": "2024-11-14",
                 "total_cost": 77.5}])");
    }));
    const auto checked = one.create_and_check(1, cost_sensor(one));
    EXPECT_EQ(checked.response_code, 0) << checked.message;
    EXPECT_DOUBLE_EQ(checked.value(0), 77.5);
    EXPECT_DOUBLE_EQ(checked.value(1), 0.0);
    EXPECT_THAT(one.requests_text(), HasSubstr(R"("from": "2024-10-15")"));
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

TEST(SubscriptionCostSensor, ForecastAddsOnlyForecastRowsToTheCurrentCost) {
    const std::vector<std::pair<const char*, const char*>> forecasts{
        {"only actual rows", R"([{"date": "2024-11-07", "cost": 31.85, "status": "Actual"},
                                 {"date": "2024-11-08", "cost": 20, "status": "Actual"}])"},
        {"no rows", "[]"},
    };
    for (const auto& [what, rows] : forecasts) {
        SCOPED_TRACE(what);
        azure_harness harness(world(
            [rows = rows](jsoncons::json& sub) { sub["forecast"] = jsoncons::json::parse(rows); }));
        const auto checked =
            harness.create_and_check(1, cost_sensor(harness, {{"show_forecast", "enabled"}}));
        EXPECT_EQ(checked.response_code, 0) << checked.message;
        EXPECT_DOUBLE_EQ(checked.value(2), 987.65);
        EXPECT_THAT(harness.sensor_log(1), HasSubstr("Forecast: 987.650000"));
    }
}

TEST(SubscriptionCostSensor, BudgetsKeepTheirChannelIdsAcrossChecksAndAbsences) {
    azure_harness harness;
    const auto settings = cost_sensor(harness, {{"show_budgets", "enabled"}});
    ASSERT_EQ(harness.create_and_check(1, settings).declared_channels,
              (std::vector<int>{0, 1, 3, 4, 5, 6}));

    const auto set_budgets = [&harness](const char* budgets) {
        auto scenario = jsoncons::json::parse(emulator::default_scenario_json());
        scenario["subscriptions"][0]["budgets"] = jsoncons::json::parse(budgets);
        harness.emulator().replace_scenario(scenario.to_string());
    };
    // "monthly-total" is gone for a while, and a new budget comes.
    set_budgets(R"([{"name": "web-team", "amount": 400, "current_spend": 100},
                    {"name": "new-one", "amount": 50, "current_spend": 5}])");
    auto checked = harness.check(1, settings);
    EXPECT_EQ(checked.declared_channels, (std::vector<int>{7, 8}));
    EXPECT_EQ(checked.stored,
              (std::map<std::string, std::string>{
                  {"next_channel_id", "9"}, {"new-one_used_percent", "7"}, {"new-one_used", "8"}}));
    EXPECT_FALSE(checked.has_value(3));
    EXPECT_DOUBLE_EQ(checked.value(5), 25.0);
    EXPECT_DOUBLE_EQ(checked.value(6), 100.0);
    EXPECT_DOUBLE_EQ(checked.value(7), 10.0);
    EXPECT_EQ(harness.state(1).channels.at(7).name, "budget_used_percent[new-one]");

    set_budgets(R"([{"name": "monthly-total", "amount": 1500, "current_spend": 750}])");
    checked = harness.check(1, settings);
    EXPECT_THAT(checked.declared_channels, IsEmpty());
    EXPECT_THAT(checked.stored, IsEmpty());
    EXPECT_DOUBLE_EQ(checked.value(3), 50.0);
    EXPECT_DOUBLE_EQ(checked.value(4), 750.0);

    // A subscription without budgets reports no budget channel at all.
    set_budgets("[]");
    checked = harness.check(1, settings);
    EXPECT_EQ(checked.response_code, 0);
    EXPECT_EQ(checked.values.size(), 2U);
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

// The group that cost most in the newest period, for each grouping of the setting.
struct top_group {
    const char* grouping;
    const char* dimension;
    const char* message;
};

TEST(SubscriptionCostSensor, MostExpensiveServiceIsNamedForEveryGrouping) {
    const std::vector<top_group> groupings{
        {"resourcegroupname", "ResourceGroupName", "rg-web,456.30,EUR"},
        {"resourcetype", "ResourceType", "microsoft.compute/virtualmachines,512.40,EUR"},
        {"resourceid", "ResourceId",
         "/subscriptions/3f2a1b0c-9d8e-4f7a-b6c5-d4e3f2a1b0c9/resourcegroups/rg-web/providers/"
         "microsoft.compute/virtualmachines/vm-app-01,283.40,EUR"},
        {"resourcelocation", "ResourceLocation", "westeurope,701.35,EUR"},
        {"servicename", "ServiceName", "Virtual Machines,512.40,EUR"},
    };
    azure_harness harness;
    int sensor_id = 0;
    for (const auto& g : groupings) {
        SCOPED_TRACE(g.grouping);
        harness.emulator().reset();
        const auto checked = harness.create_and_check(
            ++sensor_id, cost_sensor(harness, {{"show_most_expensive_service", "enabled"},
                                               {"most_expensive_service_grouping", g.grouping}}));
        EXPECT_EQ(checked.message, std::string("#:most-expensive-service[") + g.message + "]");
        EXPECT_THAT(harness.requests_text(),
                    HasSubstr(std::string(R"("name": ")") + g.dimension + '"'));
    }
}

TEST(SubscriptionCostSensor, MostExpensiveServiceTiesCommasAndNothing) {
    const std::vector<std::pair<const char*, const char*>> cases{
        {R"({"Storage": 50, "Backup": 50, "Compute": 10})",
         "#:most-expensive-service[Backup,50.00,EUR]"},
        {R"({"Compute, EU": 1234.5, "Storage": 10})",
         "#:most-expensive-service[Compute, EU,1234.50,EUR]"},
        {"{}", ""},
    };
    for (const auto& [costs, message] : cases) {
        SCOPED_TRACE(costs);
        azure_harness harness(world([costs = costs](jsoncons::json& sub) {
            auto& newest = sub["billing_periods"][1];
            newest["costs"] =
                jsoncons::json::parse(std::string(R"({"ServiceName": )") + costs + "}");
        }));
        const auto checked = harness.create_and_check(
            1, cost_sensor(harness, {{"show_most_expensive_service", "enabled"},
                                     {"most_expensive_service_grouping", "servicename"}}));
        EXPECT_EQ(checked.response_code, 0);
        EXPECT_EQ(checked.message, message);
        EXPECT_DOUBLE_EQ(checked.value(0), 987.65);
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
