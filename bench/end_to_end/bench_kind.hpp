#pragma once

#include <map>
#include <string>
#include <vector>

#include "bench/end_to_end/module_driver.hpp"
#include "host/host_state.hpp"

namespace zentrova::monitoring_modules::bench {

// The Azure AD application and subscription the sensors use (the scenario's first ones).
struct azure_account {
    std::string tenant_id;
    std::string client_id;
    std::string client_secret;
    std::string subscription_id;

    static azure_account from_scenario(const std::string& scenario_json);
};

// One sensor kind as the benchmark runs it: the settings of each of its variants (the resources
// discovery found, or the options of the cost sensor), beyond the credentials.
struct bench_kind {
    std::string name;   // the kind as the module registers it
    std::string label;  // its name in the table
    std::vector<std::map<std::string, std::string>> variants;
};

// The settings buffer a probe hands over for a sensor: connection settings, credentials, the
// variant's settings, and what the probe keeps of the sensor (its channels and persistent data).
std::string settings_buffer(const std::string& kind, const azure_account& account,
                            const std::map<std::string, std::string>& variant,
                            const host::sensor_state& kept = {});

// Finds the variants as a probe does: the virtual machines and the SQL databases and pools
// through the module's own meta scans; the cost sensor with every option on. The module must be
// initialised. Throws when a meta scan fails or finds nothing.
std::vector<bench_kind> discover_kinds(module_driver& module, const azure_account& account);

}  // namespace zentrova::monitoring_modules::bench
