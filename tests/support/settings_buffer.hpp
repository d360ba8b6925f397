#pragma once

#include <map>
#include <string>

namespace zentrova::monitoring_modules::testing {

// Builds the settings buffer a host hands to the module, as docs/host-protocol.md describes.
struct settings_buffer {
    std::string kind;
    std::map<std::string, std::string> settings;
    std::map<std::string, std::string> secure_settings;
    std::map<int, std::string> channels;
    std::map<std::string, std::string> persistent_data;

    std::string to_json() const;

    // The connection settings and Azure credentials every kind needs, with test values.
    static settings_buffer with_credentials(const std::string& kind,
                                            const std::string& client_secret = "s3cr3t-value");
};

}  // namespace zentrova::monitoring_modules::testing
