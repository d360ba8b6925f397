#include "rest/exceptions.hpp"

#include <utility>

namespace zentrova::monitoring_modules::rest::exceptions {

namespace {

std::string compose(const std::string& text, const std::string& details) {
    return details.empty() ? text : text + ": " + details;
}

}  // namespace

exception::exception(const std::string& text, std::string details)
    : message_(compose(text, details)), details_(std::move(details)) {}

add_header_failed::add_header_failed(const std::string& name, std::string details)
    : exception("Adding header '" + name + "' failed", std::move(details)) {}

authentication_failed::authentication_failed(std::string details)
    : exception("Authentication failed", std::move(details)) {}

connection_failed::connection_failed(std::string details)
    : exception("Connection failed", std::move(details)) {}

cookie_not_found::cookie_not_found(const std::string& name, std::string details)
    : exception("Cookie '" + name + "' not found", std::move(details)) {}

header_not_found::header_not_found(const std::string& name, std::string details)
    : exception("Header '" + name + "' not found", std::move(details)) {}

invalid_method::invalid_method(std::string details)
    : exception("Invalid Request method", std::move(details)) {}

invalid_url::invalid_url(const std::string& url, std::string details)
    : exception("Url '" + url + "' cannot be parsed", std::move(details)) {}

multiple_authentication_methods::multiple_authentication_methods(std::string details)
    : exception("Multiple authentication methods specified", std::move(details)) {}

request_failed::request_failed(std::string details)
    : exception("Request failed", std::move(details)) {}

}  // namespace zentrova::monitoring_modules::rest::exceptions
