#include "settings/sql_database_sensor.hpp"

#include "settings/setting_readers.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {
namespace {

std::string key(const std::string& setting) {
    return full_key("sql_database_metascan_section", "sql_database_metascan_group", setting);
}

}  // namespace

sql_database_sensor::sql_database_sensor(const framework::settings::sensor_data_wrapper& settings)
    : connection(settings),
      credentials(settings),
      section_name("sql_database_metascan_section"),
      name(read_string(settings, key("name"))),
      database_id(read_string(settings, key("database_id"))),
      region(read_string(settings, key("region"))),
      type(read_string(settings, key("type"))) {}

}  // namespace zentrova::monitoring_modules::microsoftazure::settings
