#pragma once

#include <map>
#include <string>

#include "host/credentials_file.hpp"
#include "host/host_state.hpp"

namespace zentrova::monitoring_modules::host {

// The settings buffer a probe hands the module with each call, and the settings that go into it.

// The settings every call carries: the Resource Manager host (taken from
// MICROSOFTAZURE_ARM_ENDPOINT when that is set), the logging switch and the time-out.
std::map<std::string, std::string> connection_settings(bool logging);

// Puts the credentials' plain members (tenant, client, subscription) into `settings`, replacing
// any value of the same key.
void add_credentials(std::map<std::string, std::string>& settings,
                     const credentials_file& credentials);

// The secure settings: the client secret, and the probe's own API key left empty.
std::map<std::string, std::string> secure_settings(const credentials_file& credentials);

// The buffer as JSON: the kind, both kinds of settings, and what the host keeps of the sensor
// (its channels' names and its persistent data).
std::string settings_buffer(const std::string& kind,
                            const std::map<std::string, std::string>& settings,
                            const std::map<std::string, std::string>& secure,
                            const sensor_state& sensor);

}  // namespace zentrova::monitoring_modules::host
