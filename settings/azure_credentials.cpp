#include "settings/azure_credentials.hpp"

#include "framework/settings/kind_string.hpp"
#include "settings/setting_readers.hpp"

namespace zentrova::monitoring_modules::microsoftazure::settings {
namespace {

constexpr const char* credentials_section = "azure_credentials_section";
constexpr const char* credentials_group = "credentials_group";

std::string key(const std::string& setting) {
    return full_key(credentials_section, credentials_group, setting);
}

}  // namespace

azure_credentials::azure_credentials(const framework::settings::sensor_data_wrapper& settings)
    : section_name(credentials_section),
      tenant_id(read_string(settings, key("tenant_id"))),
      client_id(read_string(settings, key("client_id"))),
      client_secret(framework::settings::kind_securestring::parse_and_validate(
          settings.get_secure_value(key("client_secret")), {})),
      subscription_id(read_string(settings, key("subscription_id"))) {}

}  // namespace zentrova::monitoring_modules::microsoftazure::settings
