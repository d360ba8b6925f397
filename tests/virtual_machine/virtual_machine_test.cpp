// Virtual machine discovery and sensor, driven through the module's exports against the emulator.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/reliability/kinds_under_test.hpp"
#include "tests/support/azure_harness.hpp"
#include "tests/support/scenario_patch.hpp"
#include "tests/support/text_file.hpp"

namespace zentrova::monitoring_modules::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

settings_buffer sensor_for_machine(const azure_harness& harness, const std::string& group,
                                   const std::string& name) {
    return machine_sensor(harness.settings("virtual_machine_sensor"), harness.subscription_id(),
                          group, name);
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

// Machines of their own, or a list answer of the test's: the rows, or the code and message that
// end the scan without rows, in tests/virtual_machine/data/discoveries.txt.
TEST(VirtualMachineDiscovery, OtherListsGiveTheirRowsOrEndTheScanWithCodeFive) {
    const auto machines = [](const char* json) {
        return scenario_patch{{"/virtual_machines", json}};
    };
    expect_golden(
        discoveries(
            "virtual_machine_metascan",
            {// The resource group as the id writes it.
             {machines(R"([{"name": "vm-a", "resource_group": "RG-Mixed"}])"), ""},
             {machines("[]"), ""},
             {machines(R"([{"name": "vm-a", "resource_group": "RG-Mixed", "location": "westeurope"},
                           {"name": "vm-b", "resource_group": "rg", "location": "northpole"}])"),
              ""},
             {machines("[]"),
              R"({"route": "vm_list", "body": "{\"value\":[{\"name\":\"odd\",\"id\":\"/subscriptions/x\",)"
              R"(\"location\":\"westeurope\",\"properties\":{\"storageProfile\":{\"osDisk\":)"
              R"({\"osType\":\"Linux\"}}}}]}"})"}}),
        MICROSOFTAZURE_TEST_DATA "/discoveries.txt");
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

// Status, connection and token failures of every kind are the reliability fault suite's; these
// are the machines' own: what each reports (tests/virtual_machine/data/machines.txt) and the log
// line that says why. A value added before a failure is kept.
TEST(VirtualMachineSensor, EachMachineReportsWhatItHas) {
    azure_harness harness(patched_world({
        {"/virtual_machines/-",
         R"({"name": "vm-starting", "resource_group": "rg", "metrics": {"Percentage CPU": 5},
             "statuses": ["ProvisioningState/succeeded", "PowerState/starting"]})"},
        {"/virtual_machines/-", R"({"name": "vm-unknown", "resource_group": "rg",
                                    "metrics": {"Percentage CPU": 6}, "power_state": null})"},
        {"/virtual_machines/-",
         R"({"name": "vm-b", "resource_group": "rg", "metrics": {
              "Percentage CPU": {"values": [7.5], "error_code": "ResourceNotReady"},
              "CPU Credits Remaining": 12, "CPU Credits Consumed": 3}})"},
    }));
    const std::vector<std::tuple<const char*, const char*, const char*>> machines{
        {"rg-web", "vm-app-01", ""},
        {"rg-web", "vm-batch-01", "Data empty for metric Percentage CPU: "},
        {"rg", "vm-starting", "invalid map<K, T> key"},
        {"rg", "vm-unknown", ""},
        {"rg", "vm-b", "Error Code:ResourceNotReadyfor metric Percentage CPU"},
    };
    std::string outcomes;
    int id = 0;
    for (const auto& [group, name, logged] : machines) {
        outcomes += "== " + std::string(name) + "\n" +
                    harness.create_and_check(++id, sensor_for_machine(harness, group, name)).text();
        EXPECT_THAT(harness.sensor_log(id), HasSubstr(logged)) << name;
    }
    // An answer without any metric fails the check.
    harness.emulator().set_faults_json(
        R"({"route": "vm_metrics", "body": "{\"cost\":0,\"value\":[]}"})");
    outcomes +=
        "== no metrics\n" + harness.check(id, sensor_for_machine(harness, "rg", "vm-b")).text();
    expect_golden(outcomes, MICROSOFTAZURE_TEST_DATA "/machines.txt");
}

}  // namespace
}  // namespace zentrova::monitoring_modules::testing
