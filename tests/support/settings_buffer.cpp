#include "tests/support/settings_buffer.hpp"

#include <jsoncons/json.hpp>

namespace zentrova::monitoring_modules::testing {
namespace {

jsoncons::ojson texts(const std::map<std::string, std::string>& values) {
    jsoncons::ojson object(jsoncons::json_object_arg);
    for (const auto& [key, value] : values) {
        object.insert_or_assign(key, value);
    }
    return object;
}

}  // namespace

std::string settings_buffer::to_json() const {
    jsoncons::ojson root(jsoncons::json_object_arg);
    root.insert_or_assign("kind", kind);
    root.insert_or_assign("settings", texts(settings));
    root.insert_or_assign("secure_settings", texts(secure_settings));
    std::map<std::string, std::string> channel_texts;
    for (const auto& [id, name] : channels) {
        channel_texts[std::to_string(id)] = name;
    }
    root.insert_or_assign("channels", texts(channel_texts));
    root.insert_or_assign("persistent_data", texts(persistent_data));
    return root.to_string();
}

settings_buffer settings_buffer::with_credentials(const std::string& kind,
                                                  const std::string& client_secret) {
    settings_buffer buffer;
    buffer.kind = kind;
    buffer.settings = {
        {"host", "management.azure.com"},
        {"logging", "enabled"},
        {"timeout", "60"},
        {"azure_credentials_section.credentials_group.tenant_id", "tenant-1"},
        {"azure_credentials_section.credentials_group.client_id", "client-1"},
        {"azure_credentials_section.credentials_group.subscription_id", "sub-1"},
    };
    buffer.secure_settings = {
        {"zentrovacloudapikey", ""},
        {"azure_credentials_section.credentials_group.client_secret", client_secret},
    };
    return buffer;
}

}  // namespace zentrova::monitoring_modules::testing
