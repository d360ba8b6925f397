#pragma once

#include <memory>

#include "framework/metascans/metascan_base.hpp"
#include "settings/discovery_settings.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// Lists the subscription's virtual machines, one row per machine (name, id, operating system,
// resource group, region), for the host to create virtual machine sensors from.
class virtual_machine_metascan final
    : public framework::metascans::metascan_base<settings::virtual_machine_metascan> {
public:
    virtual_machine_metascan(std::shared_ptr<framework::module::service_container> container,
                             int sensor_id, unsigned scan_id,
                             const framework::settings::sensor_data_wrapper& settings);

protected:
    void scan(framework::responses::meta_scan_result& result) override;
    std::string failure_message(const std::exception_ptr& failure) override;
};

}  // namespace zentrova::monitoring_modules::microsoftazure
