#pragma once

#include <string>
#include <utility>

#include "rest/authentication_provider_interface.hpp"

namespace zentrova::monitoring_modules::rest::impl {

// HTTP Basic authentication with a fixed user name and password; the URL is not looked at.
class basic_authentication_provider final : public authentication_provider_interface {
public:
    basic_authentication_provider(std::string user, std::string password);

    std::pair<std::string, std::string> get_authorization_header(const std::string& url) override;

private:
    std::string user_;
    std::string password_;
};

}  // namespace zentrova::monitoring_modules::rest::impl
