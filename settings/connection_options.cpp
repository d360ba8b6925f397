#include "settings/connection_options.hpp"

#include "framework/settings/kind_integer.hpp"
#include "framework/settings/kind_string.hpp"
#include "settings/setting_readers.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {
namespace {

using framework::settings::validation_rules;

std::int64_t read_timeout(const framework::settings::sensor_data_wrapper& settings) {
    validation_rules rules;
    rules.lower_bound = 0;
    rules.upper_bound = 300;
    const std::string& text = settings.get_value("timeout");
    const auto timeout = framework::settings::kind_integer::parse_and_validate(text, rules);
    if (!timeout) {
        throw framework::utils::exceptions::setting_invalid(
            "\"timeout\" must be a whole number of seconds from 0 to 300, not \"" + text + "\".");
    }
    return *timeout;
}

framework::settings::secure_string read_api_key(
    const framework::settings::sensor_data_wrapper& settings) {
    validation_rules rules;
    rules.pattern = ".*";
    return framework::settings::secure_string(
        framework::settings::kind_securestring::parse_and_validate(
            settings.get_secure_value("zentrovacloudapikey"), rules));
}

}  // namespace

connection_options::connection_options(const framework::settings::sensor_data_wrapper& settings)
    : host(read_string(settings, "host")),
      logging(read_switch(settings, "logging", "logging")),
      timeout(read_timeout(settings)),
      zentrovacloudapikey(read_api_key(settings)) {}

}  // namespace zentrova::monitoring_modules::microsoftazure::settings
