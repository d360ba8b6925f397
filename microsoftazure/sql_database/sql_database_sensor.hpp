#pragma once

#include <memory>
#include <string>
#include <vector>

#include "microsoftazure/azure_sensor_base.hpp"
#include "settings/sql_database_sensor.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

class monitor_metric;

// Watches one Azure SQL database or elastic pool: the Azure Monitor metrics of its resource
// type (single database or pool, DTU or vCore), one float channel per metric.
class sql_database_sensor final : public azure_sensor_base<settings::sql_database_sensor> {
public:
    sql_database_sensor(std::shared_ptr<framework::module::service_container> container,
                        int sensor_id, const framework::settings::sensor_data_wrapper& settings);

protected:
    void read(scan_result& result) override;
    // A type outside the known four, and metrics that do not fit the stored type, have
    // messages of their own.
    std::string kind_failure_message(const std::exception_ptr& failure) override;

private:
    void read_metrics(scan_result& result);
    // The metric's first average; a failure to read it is logged with the metric's name.
    double average_of(const monitor_metric& metric, const std::string& name);

    // The metric names of the sensor's resource type in channel-id order; empty for a type
    // this sensor does not know, which then declares and reports nothing.
    std::vector<std::string> metrics_;
};

}  // namespace zentrova::monitoring_modules::microsoftazure
