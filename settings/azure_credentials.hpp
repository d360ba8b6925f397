#pragma once

#include <string>

#include "framework/settings/secure_string.hpp"
#include "framework/settings/sensor_data_wrapper.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {

// The Azure AD application and subscription a sensor works with (the parent device's
// credentials section). The secret stays a secure_string until a token is requested.
struct azure_credentials {
    std::string section_name;
    std::string tenant_id;
    std::string client_id;
    framework::settings::secure_string client_secret;
    std::string subscription_id;

    explicit azure_credentials(const framework::settings::sensor_data_wrapper& settings);
};

}  // namespace zentrova::monitoring_modules::microsoftazure::settings
