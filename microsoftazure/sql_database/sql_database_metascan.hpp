#pragma once

#include <memory>

#include "framework/metascans/metascan_base.hpp"
#include "settings/discovery_settings.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// Lists the subscription's SQL databases server by server, one row per single database and one
// per elastic pool (name, resource id, region, resource type), for the host to create SQL
// database sensors from. System databases are left out.
class sql_database_metascan final
    : public framework::metascans::metascan_base<settings::sql_database_metascan> {
public:
    sql_database_metascan(std::shared_ptr<framework::module::service_container> container,
                          int sensor_id, unsigned scan_id,
                          const framework::settings::sensor_data_wrapper& settings);

protected:
    void scan(framework::responses::meta_scan_result& result) override;
    std::string failure_message(const std::exception_ptr& failure) override;
};

}  // namespace zentrova::monitoring_modules::microsoftazure
