// The two documents the module hands to the host, against golden copies (tests/module/data): any
// change of a text, a member or their order shows here. A deliberate change updates the copy.
#include <gtest/gtest.h>

#include <jsoncons/json.hpp>

#include "definition/display_texts.hpp"
#include "definition/module_definition.hpp"
#include "tests/support/text_file.hpp"

namespace zentrova::monitoring_modules::microsoftazure::definition {
namespace {

// A document in one canonical spelling: members in their order, no white space.
std::string canonical(const std::string& text) {
    return jsoncons::ojson::parse(text).to_string();
}

std::string golden(const std::string& name) {
    return monitoring_modules::testing::read_text_file(MICROSOFTAZURE_MODULE_TEST_DATA "/" + name);
}

TEST(ModuleDocuments, MatchTheirGoldenCopies) {
    EXPECT_EQ(canonical(module_definition()), canonical(golden("module-definition.json")));
    EXPECT_EQ(canonical(display_texts()), canonical(golden("display-texts.json")));
}

// What a golden copy cannot tell: that every name the definition uses is defined in it.
TEST(ModuleDocuments, EveryReferenceOfTheDefinitionResolves) {
    const auto doc = jsoncons::ojson::parse(module_definition());
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

}  // namespace
}  // namespace zentrova::monitoring_modules::microsoftazure::definition
