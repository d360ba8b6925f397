#include "bench/quota/quota_run.hpp"

#include <cstdlib>
#include <jsoncons/json.hpp>
#include <stdexcept>
#include <utility>
#include <vector>

#include "emulator/azure_emulator.hpp"
#include "host/credentials_file.hpp"
#include "host/host_state.hpp"
#include "host/module_library.hpp"
#include "host/settings_buffer.hpp"

namespace zentrova::monitoring_modules::bench {
namespace {

// The module reads its endpoints from the environment when it is initialised.
void point_module_at(const emulator::azure_emulator& emu) {
    ::setenv("MICROSOFTAZURE_ARM_ENDPOINT", emu.base_url().c_str(), 1);
    ::setenv("MICROSOFTAZURE_LOGIN_ENDPOINT", emu.login_url().c_str(), 1);
    ::setenv("MICROSOFTAZURE_CA_BUNDLE", emu.ca_file().c_str(), 1);
    ::unsetenv("MICROSOFTAZURE_LOG_DIR");
}

// How a check ended: 0 done, 429 throttled, else failed otherwise.
int ending(const std::string& result) {
    if (result.empty()) {
        return 1;  // no scan result at all
    }
    const auto message = jsoncons::json::parse(result);
    if (message["response_code"].as<int>() == 0) {
        return 0;
    }
    return message["message"].as<std::string>().find(": 429: ") != std::string::npos ? 429 : 1;
}

}  // namespace

quota_run::quota_run(std::string module_path, std::string scenario_dir)
    : module_path_(std::move(module_path)), scenario_dir_(std::move(scenario_dir)) {}

quota_outcome quota_run::run(const sensor_fleet& fleet) const {
    emulator::emulator_options options;
    options.scenario_file = scenario_dir_ + "/realistic.json";
    options.request_log_limit = 1;
    emulator::azure_emulator emu(options);
    emu.set_quota_clock(0);
    point_module_at(emu);
    const auto credentials =
        host::credentials_file::load(scenario_dir_ + "/realistic-credentials.json");
    host::module_library module(module_path_);
    if (module.initialize() != 0) {
        throw std::runtime_error("InitializeModule failed");
    }

    auto settings = host::connection_settings(false);
    host::add_credentials(settings, credentials);
    for (const auto& [key, value] : fleet.settings) {
        settings[key] = value;
    }
    const auto secure = host::secure_settings(credentials);
    std::vector<host::sensor_state> states(static_cast<std::size_t>(fleet.sensors));
    auto buffer = [&](int sensor) {
        auto& state = states[static_cast<std::size_t>(sensor)];
        state.kind = fleet.kind;
        return host::settings_buffer(fleet.kind, settings, secure, state);
    };
    auto remember = [&](int sensor) {
        std::string last;
        for (const auto& message : module.take_messages()) {
            states[static_cast<std::size_t>(sensor)].remember(message);
            last = message;
        }
        return last;  // the scan result comes last
    };
    for (int sensor = 0; sensor < fleet.sensors; ++sensor) {
        module.create_sensor(sensor, buffer(sensor));
        remember(sensor);
    }

    quota_outcome outcome;
    const std::uint64_t tokens = emu.counters().token_requests;
    const std::uint64_t before = emu.counters().requests_total;
    const double spacing = fleet.interval_seconds / fleet.sensors;
    for (int round = 0; round < fleet.rounds; ++round) {
        for (int sensor = 0; sensor < fleet.sensors; ++sensor) {
            emu.set_quota_clock(round * fleet.interval_seconds + sensor * spacing);
            module.check(sensor, buffer(sensor));
            const int end = ending(remember(sensor));
            ++outcome.checks;
            outcome.throttled += end == 429 ? 1 : 0;
            outcome.failed += end == 1 ? 1 : 0;
        }
    }
    const auto counters = emu.counters();
    outcome.requests = counters.requests_total - before - (counters.token_requests - tokens);
    module.cleanup();
    return outcome;
}

}  // namespace zentrova::monitoring_modules::bench
