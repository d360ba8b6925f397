#pragma once

#include <functional>
#include <optional>
#include <string>

namespace zentrova::monitoring_modules::rest::impl {

// The deployment constants of the Azure endpoints, read once at module initialisation. Defaults
// serve the public cloud; national clouds and the local emulator set the three variables.
struct endpoint_configuration {
    static constexpr const char* arm_endpoint_variable = "MICROSOFTAZURE_ARM_ENDPOINT";
    static constexpr const char* login_endpoint_variable = "MICROSOFTAZURE_LOGIN_ENDPOINT";
    static constexpr const char* ca_bundle_variable = "MICROSOFTAZURE_CA_BUNDLE";

    std::string arm_endpoint = "https://management.azure.com/";        // always ends in "/"
    std::string login_endpoint = "https://login.microsoftonline.com";  // never ends in "/"
    std::string ca_bundle;  // extra trusted CAs (PEM file); empty: the system trust store only

    // Reads the three variables from the process environment; see from_variables.
    static endpoint_configuration from_environment();

    // Reads the three variables through `lookup` (nullopt or empty: unset, the default holds).
    // Throws rest::exceptions::invalid_url naming the variable when an endpoint is not an https
    // URL with a host (and a port of 1 to 65535, when it names one) or holds a blank or a control
    // character anywhere, and std::invalid_argument when the CA bundle is not a readable file.
    static endpoint_configuration from_variables(
        const std::function<std::optional<std::string>(const std::string&)>& lookup);
};

}  // namespace zentrova::monitoring_modules::rest::impl
