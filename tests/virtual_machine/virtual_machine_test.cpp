// Virtual machine discovery and sensor, driven through the module's exports against the emulator.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <jsoncons/json.hpp>

#include "tests/support/azure_harness.hpp"
#include "tests/support/text_file.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string columns = "virtual_machine_metascan_section.virtual_machine_metascan_group.";

// The default world with the first subscription's machines replaced.
std::string scenario_with_machines(const std::string& machines_json) {
    auto scenario = jsoncons::json::parse(emulator::default_scenario_json());
    scenario["subscriptions"][0]["virtual_machines"] = jsoncons::json::parse(machines_json);
    return scenario.to_string();
}

emulator::emulator_options with_machines(const std::string& machines_json) {
    emulator::emulator_options options;
    options.scenario_json = scenario_with_machines(machines_json);
    return options;
}

// A sensor's settings for one discovered row.
settings_buffer sensor_for(const azure_harness& harness,
                           const std::map<std::string, std::string>& row) {
    auto settings = harness.settings("virtual_machine_sensor");
    settings.settings.insert(row.begin(), row.end());
    return settings;
}

std::string vm_id(const azure_harness& harness, const std::string& group, const std::string& name) {
    return "/subscriptions/" + harness.subscription_id() + "/resourceGroups/" + group +
           "/providers/Microsoft.Compute/virtualMachines/" + name;
}

settings_buffer sensor_for_machine(const azure_harness& harness, const std::string& group,
                                   const std::string& name) {
    return sensor_for(harness, {{columns + "name", name},
                                {columns + "vm_id", vm_id(harness, group, name)},
                                {columns + "os", "Linux"},
                                {columns + "resource_group", group},
                                {columns + "region", "West Europe"}});
}

TEST(VirtualMachineDiscovery, ListsEveryMachineOfTheSubscriptionWithItsRow) {
    azure_harness harness;
    const auto found = harness.discover(harness.settings("virtual_machine_metascan"));
    ASSERT_EQ(found.code, 0);
    EXPECT_EQ(found.response_code, 0) << found.message;
    expect_golden(found.table() + harness.requests_text(),
                  MICROSOFTAZURE_TEST_DATA "/discovery.txt");
    EXPECT_EQ(found.progress.front(), 50);
    EXPECT_EQ(found.progress.back(), 100);
    EXPECT_EQ(found.progress.size(), 5U);
    EXPECT_THAT(harness.sensor_log(1), HasSubstr("API response: {\"value\":["));
}

TEST(VirtualMachineDiscovery, UnknownRegionsAndOddIdsEndTheScanWithCodeFiveAndNoRows) {
    azure_harness harness(with_machines(
        R"([{"name": "vm-a", "resource_group": "RG-Mixed", "location": "westeurope"},
            {"name": "vm-b", "resource_group": "rg", "location": "northpole"}])"));
    const auto settings = harness.settings("virtual_machine_metascan");

    auto found = harness.discover(settings);
    EXPECT_EQ(found.response_code, 5);
    EXPECT_EQ(found.message, "An error occurred.invalid map<K, T> key");
    EXPECT_THAT(found.rows, IsEmpty());

    harness.emulator().set_faults_json(R"({"route": "vm_list", "body":
        "{\"value\":[{\"name\":\"odd\",\"id\":\"/subscriptions/x\",\"location\":\"westeurope\",\"properties\":{\"storageProfile\":{\"osDisk\":{\"osType\":\"Linux\"}}}}]}"})");
    found = harness.discover(settings);
    EXPECT_EQ(found.response_code, 5);
    EXPECT_THAT(found.message, HasSubstr("'/subscriptions/x'"));
}

TEST(VirtualMachineDiscovery, KeepsTheResourceGroupAsTheIdWritesItAndListsNoMachineAsNoRow) {
    azure_harness harness(with_machines(R"([{"name": "vm-a", "resource_group": "RG-Mixed"}])"));
    const auto settings = harness.settings("virtual_machine_metascan");
    const auto found = harness.discover(settings);
    ASSERT_EQ(found.rows.size(), 1U) << found.message;
    EXPECT_EQ(found.rows[0].at(columns + "resource_group"), "RG-Mixed");

    harness.emulator().replace_scenario(scenario_with_machines("[]"));
    const auto none = harness.discover(settings);
    EXPECT_EQ(none.response_code, 0) << none.message;
    EXPECT_THAT(none.rows, IsEmpty());
}

TEST(VirtualMachineSensor, BurstableMachineReportsCpuCreditsAndStateOnTheirFixedIds) {
    azure_harness harness;
    const auto settings = sensor_for_machine(harness, "rg-web", "vm-web-burst-01");
    const auto created = harness.create(7, settings);
    const auto checked = harness.check(7, settings);
    // The channels declared on creation, then the check: the newest of three minutes of CPU, the
    // state, the credits; and what was asked.
    expect_golden(
        created.text() + harness.channels_text(7) + checked.text() + harness.requests_text(),
        MICROSOFTAZURE_TEST_DATA "/burstable.txt");
    EXPECT_THAT(harness.sensor_log(7), HasSubstr("Response Message is: "));

    // Made anew with the host's channel map, the sensor declares nothing again.
    EXPECT_THAT(harness.create(7, settings).declared_channels, IsEmpty());
}

TEST(VirtualMachineSensor, OtherMachinesReportWhatTheyHave) {
    azure_harness harness;
    const auto plain =
        harness.create_and_check(1, sensor_for_machine(harness, "rg-web", "vm-app-01"));
    EXPECT_EQ(plain.response_code, 0);
    EXPECT_DOUBLE_EQ(plain.value(0), 41.3);
    EXPECT_DOUBLE_EQ(plain.value(1), 0.0);
    EXPECT_FALSE(plain.has_value(2));
    EXPECT_FALSE(plain.has_value(3));

    const auto deallocated =
        harness.create_and_check(2, sensor_for_machine(harness, "rg-web", "vm-batch-01"));
    EXPECT_EQ(deallocated.response_code, 0);
    EXPECT_DOUBLE_EQ(deallocated.value(0), 0.0);
    EXPECT_DOUBLE_EQ(deallocated.value(1), 20.0);
    EXPECT_THAT(harness.sensor_log(2), HasSubstr("Data empty for metric Percentage CPU: "));
}

TEST(VirtualMachineSensor, PowerStatesOutsideTheTableEndInTheGenericError) {
    azure_harness harness(with_machines(
        R"([{"name": "vm-starting", "resource_group": "rg", "metrics": {"Percentage CPU": 5},
             "statuses": ["ProvisioningState/succeeded", "PowerState/starting"]},
            {"name": "vm-unknown", "resource_group": "rg", "metrics": {"Percentage CPU": 6}, "power_state": null}])"));
    const auto starting =
        harness.create_and_check(1, sensor_for_machine(harness, "rg", "vm-starting"));
    EXPECT_EQ(starting.response_code, 3);
    EXPECT_EQ(starting.message, "#:error.generic");
    EXPECT_DOUBLE_EQ(starting.value(0), 5.0);  // added before the state failed, and kept
    EXPECT_FALSE(starting.has_value(1));
    EXPECT_THAT(harness.sensor_log(1), HasSubstr("invalid map<K, T> key"));

    const auto unknown =
        harness.create_and_check(2, sensor_for_machine(harness, "rg", "vm-unknown"));
    EXPECT_EQ(unknown.message, "#:error.generic");
    EXPECT_FALSE(unknown.has_value(1));
}

// Status, connection and token failures of every kind are the reliability fault suite's; these
// are the virtual machine's own: one metric failing alone, and an answer without any.
TEST(VirtualMachineSensor, AMetricWithAnErrorCodeIsSkippedAndAnAnswerWithoutMetricsFails) {
    azure_harness harness(with_machines(
        R"([{"name": "vm-b", "resource_group": "rg", "metrics": {
              "Percentage CPU": {"values": [7.5], "error_code": "ResourceNotReady"},
              "CPU Credits Remaining": 12, "CPU Credits Consumed": 3}}])"));
    const auto settings = sensor_for_machine(harness, "rg", "vm-b");
    auto checked = harness.create_and_check(1, settings);
    EXPECT_EQ(checked.response_code, 0);
    EXPECT_FALSE(checked.has_value(0));
    EXPECT_DOUBLE_EQ(checked.value(3), 12.0);
    EXPECT_DOUBLE_EQ(checked.value(2), 3.0);
    EXPECT_THAT(harness.sensor_log(1),
                HasSubstr("Error Code:ResourceNotReadyfor metric Percentage CPU"));

    harness.emulator().set_faults_json(
        R"({"route": "vm_metrics", "body": "{\"cost\":0,\"value\":[]}"})");
    checked = harness.check(1, settings);
    EXPECT_EQ(checked.response_code, 3);
    EXPECT_EQ(checked.message, "#:error.generic");
    EXPECT_THAT(checked.values, IsEmpty());
}

}  // namespace
}  // namespace zentrova::monitoring_modules::testing
