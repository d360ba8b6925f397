#include "definition/display_texts.hpp"

namespace zentrova::monitoring_modules::microsoftazure::definition {

const std::string& display_texts() {
    static const std::string document = R"json({
    "Text": {
        "English": {
            "Translation": {
                "channel_avg_cpu": {
                    "Display": "Average CPU Usage"
                },
                "channel_state": {
                    "Display": "Status"
                },
                "channel_cpu_creds_available": {
                    "Display": "CPU Credits Remaining"
                },
                "channel_cpu_creds_consumed": {
                    "Display": "CPU Credits Consumed"
                },
                "cpu_percent": {
                    "Display": "CPU Used %%"
                },
                "dtu_limit": {
                    "Display": "DTU Limit"
                },
                "dtu_used": {
                    "Display": "DTU Used"
                },
                "dtu_consumption_percent": {
                    "Display": "DTU %%"
                },
                "log_write_percent": {
                    "Display": "Log I/O %%"
                },
                "physical_data_read_percent": {
                    "Display": "Data I/O %%"
                },
                "storage": {
                    "Display": "Data Space Used"
                },
                "storage_used": {
                    "Display": "Data Space Used"
                },
                "storage_percent": {
                    "Display": "Data Space Used %%"
                },
                "deadlock": {
                    "Display": "Deadlocks"
                },
                "connection_failed": {
                    "Display": "Connections Failed"
                },
                "sessions_percent": {
                    "Display": "Sessions %%"
                },
                "edtu_limit": {
                    "Display": "eDTU Limit"
                },
                "edtu_used": {
                    "Display": "eDTU Used"
                },
                "error.authentication_failed": {
                    "Display": "The sensor could not authenticate with Azure AD. Check your credentials in the device settings or look into the sensor log for more details."
                },
                "error.connection_failed": {
                    "Display": "The sensor could not connect to the server. Check the sensor log for more information."
                },
                "error.generic": {
                    "Display": "An error occurred. Check the sensor log for more information."
                },
                "error.request_failed": {
                    "Display": "An error occurred. %s"
                },
                "error.posible_change_of_database_type": {
                    "Display": "The resource type of the database has changed. If you initiated this change, please add the sensor anew for the new resource type."
                },
                "error.meta.authentication_failed": {
                    "Display": "The sensor could not authenticate with Azure AD. Check your credentials in the device settings. %s"
                },
                "error.meta.connection_failed": {
                    "Display": "The sensor could not connect to the server. (%s)"
                },
                "most-expensive-service": {
                    "Display": "The most expensive service is: %s (%s %s)"
                },
                "current_cost": {
                    "Display": "Current Period Cost"
                },
                "last_billed_cost": {
                    "Display": "Previous Period Cost"
                },
                "forecast": {
                    "Display": "Forecast"
                },
                "budget_used_percent": {
                    "Display": "%s Used %%"
                },
                "budget_used": {
                    "Display": "%s Used"
                },
                "unexpected_error": {
                    "Display": "Unexpected error: \"%s\""
                }
            }
        }
    }
})json";
    return document;
}

}  // namespace zentrova::monitoring_modules::microsoftazure::definition
