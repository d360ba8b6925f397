#pragma once

#include <string>

#include "framework/settings/sensor_data_wrapper.hpp"
#include "settings/azure_credentials.hpp"
#include "settings/connection_options.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {

// The category by which the most expensive service is determined, in the order of the
// setting's options.
enum class most_expensive_service_grouping : int {
    resourcegroupname = 0,
    resourcetype = 1,
    resourceid = 2,
    resourcelocation = 3,
    servicename = 4,
};

// A subscription cost sensor: which extras it reports.
struct subscription_cost_sensor {
    connection_options connection;
    azure_credentials credentials;
    std::string section_name;
    bool show_budgets;
    bool show_forecast;
    bool show_most_expensive_service;
    most_expensive_service_grouping grouping;

    explicit subscription_cost_sensor(const framework::settings::sensor_data_wrapper& settings);
};

}  // namespace zentrova::monitoring_modules::microsoftazure::settings
