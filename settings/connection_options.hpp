#pragma once

#include <cstdint>
#include <string>

#include "framework/settings/secure_string.hpp"
#include "framework/settings/sensor_data_wrapper.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {

// The connection settings every kind receives, under bare keys.
struct connection_options {
    std::string host;
    bool logging;
    std::int64_t timeout;  // seconds, 0 to 300
    framework::settings::secure_string zentrovacloudapikey;

    explicit connection_options(const framework::settings::sensor_data_wrapper& settings);
};

}  // namespace zentrova::monitoring_modules::microsoftazure::settings
