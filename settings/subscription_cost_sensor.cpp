#include "settings/subscription_cost_sensor.hpp"

#include "settings/setting_readers.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {
namespace {

std::string key(const std::string& setting) {
    return full_key("subscription_cost_sensor_section", "subscription_cost_sensor_group", setting);
}

most_expensive_service_grouping read_grouping(
    const framework::settings::sensor_data_wrapper& settings) {
    using grouping = most_expensive_service_grouping;
    return read_selection<grouping>(settings, key("most_expensive_service_grouping"),
                                    "most_expensive_service_grouping",
                                    {{"resourcegroupname", grouping::resourcegroupname},
                                     {"resourcetype", grouping::resourcetype},
                                     {"resourceid", grouping::resourceid},
                                     {"resourcelocation", grouping::resourcelocation},
                                     {"servicename", grouping::servicename}});
}

}  // namespace

subscription_cost_sensor::subscription_cost_sensor(
    const framework::settings::sensor_data_wrapper& settings)
    : connection(settings),
      credentials(settings),
      section_name("subscription_cost_sensor_section"),
      show_budgets(read_switch(settings, key("show_budgets"), "show_budgets")),
      show_forecast(read_switch(settings, key("show_forecast"), "show_forecast")),
      show_most_expensive_service(
          read_switch(settings, key("show_most_expensive_service"), "show_most_expensive_service")),
      grouping(read_grouping(settings)) {}

}  // namespace zentrova::monitoring_modules::microsoftazure::settings
