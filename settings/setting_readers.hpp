#pragma once

#include <string>
#include <utility>
#include <vector>

#include "framework/settings/sensor_data_wrapper.hpp"
#include "framework/utils/exceptions.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {

// section + "." + group + "." + setting: how the host names a setting of a section.
inline std::string full_key(const std::string& section, const std::string& group,
                            const std::string& setting) {
    return section + "." + group + "." + setting;
}

// A plain text setting, validated with the default rules.
std::string read_string(const framework::settings::sensor_data_wrapper& settings,
                        const std::string& key);

// A selection setting: the value is compared with each option's text in order, exactly; no
// match throws selection_parse_error for `setting_name`.
template <typename Value>
Value read_selection(const framework::settings::sensor_data_wrapper& settings,
                     const std::string& key, const std::string& setting_name,
                     const std::vector<std::pair<std::string, Value>>& options) {
    const std::string& text = settings.get_value(key);
    for (const auto& [option, value] : options) {
        if (text == option) {
            return value;
        }
    }
    throw framework::utils::exceptions::selection_parse_error(setting_name, text);
}

// "disabled" / "enabled" as false / true.
bool read_switch(const framework::settings::sensor_data_wrapper& settings, const std::string& key,
                 const std::string& setting_name);

}  // namespace zentrova::monitoring_modules::microsoftazure::settings
