#include "tests/support/azure_harness.hpp"

#include <jsoncons/json.hpp>

namespace zentrova::monitoring_modules::testing {
namespace {

emulator_owner started(const emulator::emulator_options& options) {
    return {std::make_unique<emulator::azure_emulator>(options)};
}

azure_world world_of(const emulator::azure_emulator& server,
                     const emulator::emulator_options& options) {
    const auto scenario = jsoncons::json::parse(
        options.scenario_json.empty() ? emulator::default_scenario_json() : options.scenario_json);
    const auto& tenant = scenario["tenants"][0];
    return {server.base_url(),
            server.login_url(),
            server.ca_file(),
            tenant["id"].as<std::string>(),
            tenant["applications"][0]["client_id"].as<std::string>(),
            tenant["applications"][0]["client_secret"].as<std::string>(),
            scenario["subscriptions"][0]["id"].as<std::string>()};
}

}  // namespace

azure_harness::azure_harness(const emulator::emulator_options& options)
    : emulator_owner(started(options)), module_driver(world_of(*emulator_, options)) {}

// The module goes first (module_driver), then the emulator it talked to.
azure_harness::~azure_harness() = default;

std::vector<std::string> azure_harness::targets(const std::string& route) const {
    std::vector<std::string> found;
    for (const auto& request : emulator_->requests()) {
        if (request.route == route) {
            found.push_back(request.target);
        }
    }
    return found;
}

std::string azure_harness::requests_text() const {
    std::string text;
    for (const auto& request : emulator_->requests()) {
        if (request.route != "token") {
            text += request.method + " " + request.target + "\n";
            if (!request.body.empty()) {
                text +=
                    "Content-Type: " + request.header("Content-Type") + "\n" + request.body + "\n";
            }
        }
    }
    return text;
}

}  // namespace zentrova::monitoring_modules::testing
