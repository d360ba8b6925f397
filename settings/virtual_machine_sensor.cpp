#include "settings/virtual_machine_sensor.hpp"

#include "settings/setting_readers.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {
namespace {

std::string key(const std::string& setting) {
    return full_key("virtual_machine_metascan_section", "virtual_machine_metascan_group", setting);
}

}  // namespace

virtual_machine_sensor::virtual_machine_sensor(
    const framework::settings::sensor_data_wrapper& settings)
    : connection(settings),
      credentials(settings),
      section_name("virtual_machine_metascan_section"),
      name(read_string(settings, key("name"))),
      vm_id(read_string(settings, key("vm_id"))),
      os(read_string(settings, key("os"))),
      resource_group(read_string(settings, key("resource_group"))),
      region(read_string(settings, key("region"))) {}

}  // namespace zentrova::monitoring_modules::microsoftazure::settings
