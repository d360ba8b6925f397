#include "host/settings_buffer.hpp"

#include <cstdlib>
#include <jsoncons/json.hpp>

namespace zentrova::monitoring_modules::host {
namespace {

std::string credentials_key(const char* member) {
    return std::string("azure_credentials_section.credentials_group.") + member;
}

}  // namespace

std::map<std::string, std::string> connection_settings(bool logging) {
    std::string host = "management.azure.com";
    if (const char* endpoint = std::getenv("MICROSOFTAZURE_ARM_ENDPOINT")) {
        host = endpoint;
        const auto scheme = host.find("://");
        host = scheme == std::string::npos ? host : host.substr(scheme + 3);
        host = host.substr(0, host.find('/'));
    }
    return {{"host", host}, {"logging", logging ? "enabled" : "disabled"}, {"timeout", "60"}};
}

void add_credentials(std::map<std::string, std::string>& settings,
                     const credentials_file& credentials) {
    settings[credentials_key("tenant_id")] = credentials.tenant_id;
    settings[credentials_key("client_id")] = credentials.client_id;
    settings[credentials_key("subscription_id")] = credentials.subscription_id;
}

std::map<std::string, std::string> secure_settings(const credentials_file& credentials) {
    return {{"zentrovacloudapikey", ""},
            {credentials_key("client_secret"), credentials.client_secret}};
}

std::string settings_buffer(const std::string& kind,
                            const std::map<std::string, std::string>& settings,
                            const std::map<std::string, std::string>& secure,
                            const sensor_state& sensor) {
    jsoncons::ojson root(jsoncons::json_object_arg);
    auto object = [](const std::map<std::string, std::string>& values) {
        jsoncons::ojson o(jsoncons::json_object_arg);
        for (const auto& [key, value] : values) {
            o.insert_or_assign(key, value);
        }
        return o;
    };
    std::map<std::string, std::string> channels;
    for (const auto& [id, channel] : sensor.channels) {
        channels[std::to_string(id)] = channel.name;
    }
    root.insert_or_assign("kind", kind);
    root.insert_or_assign("settings", object(settings));
    root.insert_or_assign("secure_settings", object(secure));
    root.insert_or_assign("channels", object(channels));
    root.insert_or_assign("persistent_data", object(sensor.persistent_data));
    return root.to_string();
}

}  // namespace zentrova::monitoring_modules::host
