#pragma once

#include <string>

#include "framework/settings/sensor_data_wrapper.hpp"
#include "settings/azure_credentials.hpp"
#include "settings/connection_options.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {

// An SQL database sensor: the discovery row (database or pool) it was created from.
struct sql_database_sensor {
    connection_options connection;
    azure_credentials credentials;
    std::string section_name;
    std::string name;
    std::string database_id;
    std::string region;
    std::string type;

    explicit sql_database_sensor(const framework::settings::sensor_data_wrapper& settings);
};

}  // namespace zentrova::monitoring_modules::microsoftazure::settings
