#include "tests/support/scenario_patch.hpp"

#include "tests/support/azure_harness.hpp"

#include <jsoncons/json.hpp>
#include <jsoncons_ext/jsonpointer/jsonpointer.hpp>

namespace zentrova::monitoring_modules::testing {

std::string patched_scenario(const scenario_patch& patch) {
    auto scenario = jsoncons::json::parse(emulator::default_scenario_json());
    for (const auto& [pointer, value] : patch) {
        jsoncons::jsonpointer::add(scenario, "/subscriptions/0" + pointer,
                                   jsoncons::json::parse(value));
    }
    return scenario.to_string();
}

emulator::emulator_options patched_world(const scenario_patch& patch) {
    emulator::emulator_options options;
    options.scenario_json = patched_scenario(patch);
    return options;
}

std::string discoveries(const std::string& kind,
                        const std::vector<std::pair<scenario_patch, std::string>>& worlds) {
    std::string text;
    for (const auto& [patch, fault] : worlds) {
        azure_harness harness(patched_world(patch));
        if (!fault.empty()) {
            harness.emulator().set_faults_json(fault);
        }
        const auto found = harness.discover(harness.settings(kind));
        text += "==";
        for (const auto& [pointer, value] : patch) {
            text += " " + jsoncons::json::parse(value).to_string();
        }
        text += "\nresponse " + std::to_string(found.response_code) + ", message \"" +
                found.message + "\"\n" + found.table();
    }
    return text;
}

}  // namespace zentrova::monitoring_modules::testing
