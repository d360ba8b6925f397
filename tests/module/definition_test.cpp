#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <jsoncons/json.hpp>

#include "definition/display_texts.hpp"
#include "definition/module_definition.hpp"

namespace zentrova::monitoring_modules::microsoftazure::definition {
namespace {

std::vector<std::string> keys(const jsoncons::ojson& object) {
    std::vector<std::string> names;
    for (const auto& member : object.object_range()) {
        names.emplace_back(member.key());
    }
    return names;
}

class ModuleDefinition : public ::testing::Test {
protected:
    jsoncons::ojson doc = jsoncons::ojson::parse(module_definition());
};

TEST_F(ModuleDefinition, KeepsItsMemberOrder) {
    EXPECT_EQ(keys(doc), (std::vector<std::string>{"Revision", "MetaData", "Sections", "Groups",
                                                   "Lookups", "Sensors", "MetaScans"}));
    EXPECT_EQ(doc["Revision"].as<int>(), 7);
    EXPECT_EQ(keys(doc["Groups"]),
              (std::vector<std::string>{"credentials_group", "virtual_machine_metascan_group",
                                        "sql_database_metascan_group",
                                        "subscription_cost_sensor_group"}));
    EXPECT_EQ(keys(doc["Sensors"]),
              (std::vector<std::string>{"virtual_machine_sensor", "subscription_cost_sensor",
                                        "sql_database_sensor"}));
    EXPECT_EQ(
        keys(doc["Sensors"]["virtual_machine_sensor"]),
        (std::vector<std::string>{"Name", "Display", "Description", "ManualLink", "Help", "Family",
                                  "Compatibility", "ResourceUsage", "MinimumInterval",
                                  "FirstMetaStep", "Settings", "Flag", "Tags"}));
    // The cost sensor is not made from a meta scan, so it has no first step.
    EXPECT_FALSE(doc["Sensors"]["subscription_cost_sensor"].contains("FirstMetaStep"));
    const auto& dependent = doc["Groups"]["subscription_cost_sensor_group"]["Items"][3];
    EXPECT_EQ(keys(dependent), (std::vector<std::string>{"DependsOn", "Condition", "Setting"}));
    EXPECT_EQ(keys(doc["Groups"]["credentials_group"]["Items"][2]["Setting"]),
              (std::vector<std::string>{"Name", "Display", "Help", "Default", "Text", "Flags"}));
}

TEST_F(ModuleDefinition, EveryReferenceResolves) {
    const auto& sections = doc["Sections"];
    const auto& groups = doc["Groups"];
    for (const auto& section : sections.object_range()) {
        EXPECT_EQ(section.value()["Name"].as<std::string>(), section.key());
        for (const auto& group : section.value()["Groups"].array_range()) {
            EXPECT_TRUE(groups.contains(group.as<std::string>())) << group.as<std::string>();
        }
    }
    for (const auto& sensor : doc["Sensors"].object_range()) {
        EXPECT_EQ(sensor.value()["Name"].as<std::string>(), sensor.key());
        for (const auto& section : sensor.value()["Settings"]["Sections"].array_range()) {
            EXPECT_TRUE(sections.contains(section.as<std::string>())) << section.as<std::string>();
        }
        if (sensor.value().contains("FirstMetaStep")) {
            EXPECT_TRUE(
                doc["MetaScans"].contains(sensor.value()["FirstMetaStep"].as<std::string>()));
        }
    }
    for (const auto& scan : doc["MetaScans"].object_range()) {
        EXPECT_TRUE(sections.contains(scan.value()["Section"].as<std::string>()));
    }
}

TEST_F(ModuleDefinition, KeepsTheDeliberateDetails) {
    const auto& vm_items = doc["Groups"]["virtual_machine_metascan_group"]["Items"];
    const auto& sql_items = doc["Groups"]["sql_database_metascan_group"]["Items"];
    // The VM id has no table width while the database id keeps one, though both are hidden.
    EXPECT_FALSE(vm_items[1]["Setting"].contains("MaxLengthInMetascanTable"));
    EXPECT_EQ(sql_items[1]["Setting"]["MaxLengthInMetascanTable"].as<int>(), 100);
    EXPECT_EQ(vm_items[0]["Setting"]["Flags"][0].as<std::string>(),
              "SettingFlagVisibilityNotInNew");
    EXPECT_EQ(sql_items[0]["Setting"]["Flags"][0].as<std::string>(),
              "SettingFlagReadOnlyOnNotEmpty");
    EXPECT_EQ(doc["Groups"]["credentials_group"]["Items"][2]["Setting"]["Text"]["Security"]
                  .as<std::string>(),
              "SettingSecurityMedium");

    std::vector<std::pair<int, std::string>> lookup;
    for (const auto& value :
         doc["Lookups"]["virtual_machine_status"]["LookupValues"].array_range()) {
        lookup.emplace_back(value["Value"].as<int>(), value["State"].as<std::string>());
    }
    EXPECT_EQ(lookup, (std::vector<std::pair<int, std::string>>{{0, "LookupValueStateOk"},
                                                                {1, "LookupValueStateOk"},
                                                                {10, "LookupValueStateWarning"},
                                                                {11, "LookupValueStateWarning"},
                                                                {20, "LookupValueStateError"},
                                                                {21, "LookupValueStateError"}}));
    EXPECT_EQ(doc["Sensors"]["subscription_cost_sensor"]["MinimumInterval"].as<int>(), 14400);
    EXPECT_EQ(doc["Sensors"]["sql_database_sensor"]["Flag"][0].as<std::string>(),
              "SensorFlagIsAlpha");
}

TEST(DisplayTexts, HoldTheThirtyTwoEntriesInOrderWithTheKeptSpellings) {
    const auto doc = jsoncons::ojson::parse(display_texts());
    const auto& translation = doc["Text"]["English"]["Translation"];
    const auto names = keys(translation);
    ASSERT_EQ(names.size(), 32U);
    EXPECT_EQ(names.front(), "channel_avg_cpu");
    EXPECT_EQ(names.back(), "unexpected_error");
    EXPECT_EQ(translation["error.posible_change_of_database_type"]["Display"].as<std::string>(),
              "The resource type of the database has changed. If you initiated this change, please "
              "add the sensor "
              "anew for the new resource type.");
    EXPECT_EQ(translation["storage"]["Display"].as<std::string>(),
              translation["storage_used"]["Display"].as<std::string>());
    EXPECT_EQ(translation["cpu_percent"]["Display"].as<std::string>(), "CPU Used %%");
    EXPECT_EQ(translation["unexpected_error"]["Display"].as<std::string>(),
              "Unexpected error: \"%s\"");
    EXPECT_EQ(translation["most-expensive-service"]["Display"].as<std::string>(),
              "The most expensive service is: %s (%s %s)");
    EXPECT_TRUE(translation.contains("edtu_used"));
    EXPECT_FALSE(translation.contains("eDTU_used"));
}

}  // namespace
}  // namespace zentrova::monitoring_modules::microsoftazure::definition
