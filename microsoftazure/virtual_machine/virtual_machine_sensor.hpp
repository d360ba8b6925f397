#pragma once

#include <memory>

#include "microsoftazure/azure_sensor_base.hpp"
#include "settings/virtual_machine_sensor.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// Watches one virtual machine: average CPU, CPU credits remaining and consumed (Azure Monitor,
// the last minute) and the power state (instance view) as a lookup value.
class virtual_machine_sensor final : public azure_sensor_base<settings::virtual_machine_sensor> {
public:
    virtual_machine_sensor(std::shared_ptr<framework::module::service_container> container,
                           int sensor_id, const framework::settings::sensor_data_wrapper& settings);

protected:
    void read(scan_result& result) override;

private:
    void read_metrics(scan_result& result);
    void read_power_state(scan_result& result);
};

}  // namespace zentrova::monitoring_modules::microsoftazure
