#pragma once

#include <memory>

#include "framework/sensors/sensor_base.hpp"
#include "microsoftazure/azure_client.hpp"
#include "settings/virtual_machine_sensor.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// Watches one virtual machine: average CPU, CPU credits remaining and consumed (Azure Monitor,
// the last minute) and the power state (instance view) as a lookup value.
class virtual_machine_sensor final
    : public framework::sensors::sensor_base<settings::virtual_machine_sensor> {
public:
    virtual_machine_sensor(std::shared_ptr<framework::module::service_container> container,
                           int sensor_id, const framework::settings::sensor_data_wrapper& settings);

protected:
    void scan(framework::responses::sensor_scan_result& result) override;
    std::string failure_message(const std::exception_ptr& failure) override;

private:
    void read_metrics(azure_client& client, framework::responses::sensor_scan_result& result);
    void read_power_state(azure_client& client, framework::responses::sensor_scan_result& result);

    std::unique_ptr<azure_client> client_;  // made on the first check, kept for the sensor's life
};

}  // namespace zentrova::monitoring_modules::microsoftazure
