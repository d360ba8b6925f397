#pragma once

#include <memory>
#include <string>
#include <vector>

#include "framework/sensors/sensor_base.hpp"
#include "microsoftazure/azure_client.hpp"
#include "settings/sql_database_sensor.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// Watches one Azure SQL database or elastic pool: the Azure Monitor metrics of its resource
// type (single database or pool, DTU or vCore), one float channel per metric.
class sql_database_sensor final
    : public framework::sensors::sensor_base<settings::sql_database_sensor> {
public:
    sql_database_sensor(std::shared_ptr<framework::module::service_container> container,
                        int sensor_id, const framework::settings::sensor_data_wrapper& settings);

protected:
    void scan(framework::responses::sensor_scan_result& result) override;
    std::string failure_message(const std::exception_ptr& failure) override;

private:
    void read_metrics(azure_client& client, framework::responses::sensor_scan_result& result);

    // The metric names of the sensor's resource type in channel-id order; empty for a type
    // this sensor does not know, which then declares and reports nothing.
    std::vector<std::string> metrics_;
    std::unique_ptr<azure_client> client_;  // made on the first check, kept for the sensor's life
};

}  // namespace zentrova::monitoring_modules::microsoftazure
