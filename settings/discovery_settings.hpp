#pragma once

#include "framework/settings/sensor_data_wrapper.hpp"
#include "settings/azure_credentials.hpp"
#include "settings/connection_options.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {

// What a meta scan needs: the connection head and the credentials, nothing more.
struct discovery_settings {
    connection_options connection;
    azure_credentials credentials;

    explicit discovery_settings(const framework::settings::sensor_data_wrapper& settings)
        : connection(settings), credentials(settings) {}
};

using virtual_machine_metascan = discovery_settings;
using sql_database_metascan = discovery_settings;

}  // namespace zentrova::monitoring_modules::microsoftazure::settings
