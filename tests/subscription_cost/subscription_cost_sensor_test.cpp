// The subscription cost sensor, driven through the module's exports against the emulator over
// several checks, with the channel map and persistent data carried between them as a probe does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/azure_harness.hpp"
#include "tests/support/scenario_patch.hpp"
#include "tests/support/text_file.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* all_options = "show_budgets show_forecast show_most_expensive_service";

// The sensor's settings: every option off unless `options` names it ("show_forecast" switches
// one on, "name=value" sets one).
settings_buffer cost_sensor(const azure_harness& harness, const std::string& options = "") {
    auto settings = harness.settings("subscription_cost_sensor");
    std::istringstream words(
        "show_budgets=disabled show_forecast=disabled "
        "show_most_expensive_service=disabled "
        "most_expensive_service_grouping=resourcegroupname " +
        options);
    for (std::string word; words >> word;) {
        const auto equals = word.find('=');
        settings.settings["subscription_cost_sensor_section.subscription_cost_sensor_group." +
                          word.substr(0, equals)] =
            equals == std::string::npos ? "enabled" : word.substr(equals + 1);
    }
    return settings;
}

TEST(SubscriptionCostSensor, EveryOptionOnReportsCostsForecastBudgetsAndTheTopResourceGroup) {
    azure_harness harness;
    const auto first = harness.create_and_check(1, cost_sensor(harness, all_options));
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
    // The secret reaches no log: the runtime log shows the settings with it masked.
    EXPECT_THAT(log + harness.runtime_log(), Not(HasSubstr(harness.client_secret())));
    EXPECT_THAT(harness.runtime_log(), HasSubstr(R"(credentials_group.client_secret":"********")"));

    // The next check finds everything in the host's map and data: nothing is declared or
    // stored twice, and the values are the same.
    auto again = first;
    again.declared_channels.clear();
    again.stored.clear();
    EXPECT_EQ(harness.check(1, cost_sensor(harness, all_options)).text(), again.text());
    for (const auto& message : harness.all_messages()) {
        EXPECT_THAT(message, Not(HasSubstr(harness.client_secret())));
    }

    // Nor twice to a host that has not applied the first declarations and values yet.
    const std::string unapplied = cost_sensor(harness, all_options).to_json();
    ASSERT_EQ(harness.module().create_sensor(2, unapplied), 0);
    harness.module().check(2, unapplied);
    harness.module().take_messages();
    harness.module().check(2, unapplied);
    EXPECT_THAT(harness.module().take_messages(),
                ::testing::ElementsAre(HasSubstr(R"("type":"sensor_scan_result")")));
}

TEST(SubscriptionCostSensor, AnOptionSwitchedOnLaterDeclaresItsChannelAlone) {
    azure_harness harness;
    ASSERT_EQ(harness.create_and_check(1, cost_sensor(harness)).declared_channels,
              (std::vector<int>{0, 1}));
    // The host makes the sensor anew with the changed settings and the channels it knows.
    const auto later = harness.create_and_check(1, cost_sensor(harness, "show_forecast"));
    EXPECT_EQ(later.declared_channels, (std::vector<int>{2}));
    EXPECT_TRUE(later.has_value(2));
    EXPECT_THAT(harness.channels_text(1), HasSubstr("channel 2 forecast 3 8 EUR\n"));
}

// Lines that only the log shows are not even built when the log is off; what the check reads
// and reports must not change with it, a forecast row without its date included.
TEST(SubscriptionCostSensor, ItsLogSwitchedOffChangesNothingButTheLog) {
    azure_harness harness;
    auto logged = cost_sensor(harness, all_options);
    auto unlogged = logged;
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
    const auto failed = harness.check(1, logged);
    EXPECT_EQ(failed.message, "#:error.generic");
    EXPECT_EQ(harness.check(2, unlogged).text(), failed.text());
}

// One check of a fresh sensor in a world of its own. What it reported, declared and stored, and
// the routes it asked, are in tests/subscription_cost/data/cases.txt. A check that fails keeps
// what it declared and stored before the failure, and reports no value.
struct cost_case {
    std::string name;
    std::string options{};
    scenario_patch world{};
    std::string fault{};                        // set after the sensor was made
    std::map<std::string, std::string> kept{};  // the host's persistent data
    std::string logged{};                       // a part of the sensor log; empty: none asked
};

std::string cost_body(const std::string& route, const std::string& columns,
                      const std::string& rows) {
    return R"({"route": ")" + route + R"(", "body": "{\"properties\":{\"columns\":[)" + columns +
           R"(],\"rows\":[)" + rows + "]}}\"}";
}

TEST(SubscriptionCostSensor, EachWorldGivesItsOutcome) {
    const std::string eur_vs_usd =
        "Previous and current currency differ (EUR vs USD). Cannot continue.";
    const std::string no_columns = "Required columns are not found inside the JSON response.";
    const std::string top = "show_most_expensive_service most_expensive_service_grouping=";
    const std::vector<cost_case> cases{
        {"no option", "", {}},
        // One billing period is the current one, and only forecast rows add to the current cost.
        {"one billing period",
         "show_forecast",
         {{"/billing_periods", R"([{"name": "202411-1", "start_date": "2024-10-15",
                                   "end_date": "2024-11-14", "total_cost": 77.5}])"}}},
        {"actual forecast rows only",
         "show_forecast",
         {{"/forecast", R"([{"date": "2024-11-07", "cost": 31.85, "status": "Actual"},
                            {"date": "2024-11-08", "cost": 20, "status": "Actual"}])"}}},
        {"no forecast rows", "show_forecast", {{"/forecast", "[]"}}},
        {"a period without cost rows costs nothing and keeps the currency",
         "",
         {},
         cost_body(
             "cost_query",
             R"({\"name\":\"PreTaxCost\"},{\"name\":\"BillingPeriod\"},{\"name\":\"Currency\"})",
             ""),
         {{"currency", "EUR"}}},
        {"forecast rows in USD",
         all_options,
         {{"/forecast", R"([{"date": "2024-11-08", "cost": 32.1, "currency": "USD"}])"}},
         "",
         {},
         "Read Forecast: " + eur_vs_usd},
        {"a budget in USD",
         all_options,
         {{"/budgets/1/currency", R"("USD")"}},
         "",
         {},
         "Read Budgets: " + eur_vs_usd},
        {"costs in another currency than earlier checks",
         "",
         {{"/currency", R"("USD")"}},
         "",
         {{"currency", "EUR"}},
         "Read Costs: " + eur_vs_usd},
        {"forecast without CostStatus",
         all_options,
         {},
         cost_body("forecast",
                   R"({\"name\":\"Cost\"},{\"name\":\"UsageDate\"},{\"name\":\"Currency\"})",
                   R"([1,20241108,\"EUR\"])"),
         {},
         no_columns},
        {"cost query with a lower-case currency column",
         all_options,
         {},
         cost_body(
             "cost_query",
             R"({\"name\":\"PreTaxCost\"},{\"name\":\"BillingPeriod\"},{\"name\":\"currency\"})",
             R"([5,\"p\",\"EUR\"])"),
         {},
         no_columns},
        {"no billing period",
         all_options,
         {{"/billing_periods", "[]"}},
         "",
         {},
         "No billing periods found. Cannot continue."},
        {"cost query without properties",
         all_options,
         {},
         R"({"route": "cost_query", "body": "{\"rows\":[]}"})",
         {},
         "The queried field is empty."},
        {"budgets of amount zero",
         "show_budgets",
         {{"/budgets", R"([{"name": "zero", "amount": 0, "current_spend": 3},
                           {"name": "unused", "amount": 0, "current_spend": 0}])"}}},
        // Stored channel ids are read as numbers or fail the check.
        {"a stored next channel id", "show_budgets", {}, "", {{"next_channel_id", "12"}}},
        {"a stored channel id that is no number",
         "show_budgets",
         {},
         "",
         {{"monthly-total_used_percent", "three"}},
         "invalid stoi argument"},
        {"a stored channel id out of range",
         "show_budgets",
         {},
         "",
         {{"next_channel_id", "4000000000"}},
         "stoi argument out of range"},
        // The group that cost most in the newest period, for the groupings beside the resource
        // group (every option's) and the service (with a comma), and no costs at all.
        {"by resource type", top + "resourcetype"},
        {"by resource id", top + "resourceid"},
        {"by location", top + "resourcelocation"},
        {"a service with a comma",
         top + "servicename",
         {{"/billing_periods/1/costs",
           R"({"ServiceName": {"Compute, EU": 1234.5, "Storage": 10}})"}}},
        {"no service costs",
         top + "servicename",
         {{"/billing_periods/1/costs", R"({"ServiceName": {}})"}}},
    };
    std::string outcomes;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        azure_harness harness(patched_world(c.world));
        auto settings = cost_sensor(harness, c.options);
        settings.persistent_data = c.kept;
        const auto created = harness.create(1, settings);
        ASSERT_EQ(created.code, 0);
        if (!c.fault.empty()) {
            harness.emulator().set_faults_json(c.fault);
        }
        auto checked = harness.check(1, settings);
        checked.declared_channels.insert(checked.declared_channels.begin(),
                                         created.declared_channels.begin(),
                                         created.declared_channels.end());
        outcomes += "== " + c.name + "\n" + checked.text() + "asked";
        for (const auto& request : harness.emulator().requests()) {
            outcomes += request.route == "token" ? "" : " " + request.route;
        }
        outcomes += "\n";
        EXPECT_THAT(harness.sensor_log(1), HasSubstr(c.logged));
    }
    expect_golden(outcomes, MICROSOFTAZURE_TEST_DATA "/cases.txt");
}

TEST(SubscriptionCostSensor, BudgetsKeepTheirChannelIdsAcrossChecksAndAbsences) {
    azure_harness harness;
    const auto settings = cost_sensor(harness, "show_budgets");
    std::string text = harness.create_and_check(1, settings).text();
    // "monthly-total" is gone for a while and a new budget comes; then "monthly-total" is back on
    // its old channels; then a subscription without budgets reports no budget channel at all.
    for (const char* budgets :
         {R"([{"name": "web-team", "amount": 400, "current_spend": 100},
              {"name": "new-one", "amount": 50, "current_spend": 5}])",
          R"([{"name": "monthly-total", "amount": 1500, "current_spend": 750}])", "[]"}) {
        harness.emulator().replace_scenario(patched_scenario({{"/budgets", budgets}}));
        text += harness.check(1, settings).text();
    }
    expect_golden(text + harness.channels_text(1), MICROSOFTAZURE_TEST_DATA "/budgets.txt");
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
