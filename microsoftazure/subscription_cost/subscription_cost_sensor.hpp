#pragma once

#include <memory>
#include <string>

#include "microsoftazure/azure_sensor_base.hpp"
#include "microsoftazure/subscription_cost/cost_endpoint.hpp"
#include "settings/subscription_cost_sensor.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// Reports what one subscription costs: the current and the previous billing period, and on
// request the forecast for the current period, the usage of every budget (two channels each)
// and the most expensive service as the sensor message. Between checks it keeps, through the
// host's persistent data, the currency it saw and the channel ids it gave to budgets.
class subscription_cost_sensor final
    : public azure_sensor_base<settings::subscription_cost_sensor> {
public:
    subscription_cost_sensor(std::shared_ptr<framework::module::service_container> container,
                             int sensor_id,
                             const framework::settings::sensor_data_wrapper& settings);

protected:
    void read(scan_result& result) override;
    // Its own time-out, and the root kept as "base_url" when there is one.
    std::unique_ptr<azure_client> make_client() override;

private:
    void declare_fixed_channels(const std::string& currency);
    void report_budgets(cost_endpoint& endpoint, std::string& currency, scan_result& result);
    // The channel id kept under `key`, or the next free one (kept from then on).
    int channel_id_for(const std::string& key);
};

}  // namespace zentrova::monitoring_modules::microsoftazure
