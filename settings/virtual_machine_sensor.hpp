#pragma once

#include <string>

#include "framework/settings/sensor_data_wrapper.hpp"
#include "settings/azure_credentials.hpp"
#include "settings/connection_options.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {

// A virtual machine sensor: the discovery row it was created from.
struct virtual_machine_sensor {
    connection_options connection;
    azure_credentials credentials;
    std::string section_name;
    std::string name;
    std::string vm_id;
    std::string os;
    std::string resource_group;
    std::string region;

    explicit virtual_machine_sensor(const framework::settings::sensor_data_wrapper& settings);
};

}  // namespace zentrova::monitoring_modules::microsoftazure::settings
