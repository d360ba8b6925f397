#include "settings/setting_readers.hpp"

#include "framework/settings/kind_string.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {

std::string read_string(const framework::settings::sensor_data_wrapper& settings,
                        const std::string& key) {
    return framework::settings::kind_string::parse_and_validate(settings.get_value(key), {});
}

bool read_switch(const framework::settings::sensor_data_wrapper& settings, const std::string& key,
                 const std::string& setting_name) {
    return read_selection<bool>(settings, key, setting_name,
                                {{"disabled", false}, {"enabled", true}});
}

}  // namespace zentrova::monitoring_modules::microsoftazure::settings
