#include "rest/impl/endpoint_configuration.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string_view>

#include "rest/exceptions.hpp"
#include "rest/impl/parsed_url.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

// The value with its control characters escaped, so that it stays on its log line.
std::string visible(const std::string& value) {
    constexpr std::string_view hex = "0123456789ABCDEF";
    std::string shown;
    for (const char character : value) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '\n') {
            shown += "\\n";
        } else if (byte < 0x20U || byte == 0x7FU) {
            shown += "\\x";
            shown += hex[byte >> 4U];
            shown += hex[byte & 0x0FU];
        } else {
            shown += character;
        }
    }
    return shown;
}

// An endpoint root must name an https host and nothing that cannot be extended by a path;
// otherwise every request of every sensor would fail later and less clearly. Plain http is
// refused: client secrets go to the login endpoint and bearer tokens to the ARM endpoint.
void check_endpoint(const std::string& variable, const std::string& value) {
    const std::string expected =
        variable + " must be an https URL with a host, such as https://host:port";
    // A blank or a control character (a line end left by the file the value came from, say)
    // would end up inside the host name or the path. The value is shown with it made visible.
    const auto blank = std::find_if(value.begin(), value.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte <= 0x20U || byte == 0x7FU;
    });
    if (blank != value.end()) {
        throw exceptions::invalid_url(
            visible(value), variable + " holds a blank or a control character (character " +
                                std::to_string(blank - value.begin() + 1) +
                                "); remove it: an endpoint holds none");
    }
    parsed_url url;
    try {
        url = parse_url(value);
    } catch (const exceptions::invalid_url& error) {
        throw exceptions::invalid_url(value, expected + " (" + error.details() + ")");
    }
    if (url.scheme != "https") {
        throw exceptions::invalid_url(
            value, url.scheme != "http"
                       ? expected
                       : variable +
                             " must be an https URL: the module sends client secrets and bearer "
                             "tokens to it and never over a plain connection");
    }
    if (!url.user.empty() || !url.query.empty() || !url.fragment.empty() ||
        value.find_first_of("?#") != std::string::npos) {
        throw exceptions::invalid_url(
            value, variable + " must not carry user information, a query or a fragment");
    }
}

}  // namespace

endpoint_configuration endpoint_configuration::from_environment() {
    return from_variables([](const std::string& name) -> std::optional<std::string> {
        const char* value = std::getenv(name.c_str());
        if (value == nullptr) {
            return std::nullopt;
        }
        return std::string(value);
    });
}

endpoint_configuration endpoint_configuration::from_variables(
    const std::function<std::optional<std::string>(const std::string&)>& lookup) {
    const auto read = [&](const char* variable) {
        auto value = lookup(variable);
        return value ? std::move(*value) : std::string();
    };
    endpoint_configuration configuration;

    if (std::string arm = read(arm_endpoint_variable); !arm.empty()) {
        check_endpoint(arm_endpoint_variable, arm);
        if (arm.back() != '/') {
            arm += '/';
        }
        configuration.arm_endpoint = std::move(arm);
    }
    if (std::string login = read(login_endpoint_variable); !login.empty()) {
        check_endpoint(login_endpoint_variable, login);
        while (login.back() == '/') {
            login.pop_back();
        }
        configuration.login_endpoint = std::move(login);
    }
    if (std::string ca_bundle = read(ca_bundle_variable); !ca_bundle.empty()) {
        if (!std::ifstream(ca_bundle).good()) {
            throw std::invalid_argument(std::string(ca_bundle_variable) + " names '" + ca_bundle +
                                        "', which is not a readable file; it must name a PEM file "
                                        "of CA certificates");
        }
        configuration.ca_bundle = std::move(ca_bundle);
    }
    return configuration;
}

}  // namespace zentrova::monitoring_modules::rest::impl
