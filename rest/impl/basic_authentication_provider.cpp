#include "rest/impl/basic_authentication_provider.hpp"

#include "rest/impl/base64.hpp"

namespace zentrova::monitoring_modules::rest::impl {

basic_authentication_provider::basic_authentication_provider(std::string user, std::string password)
    : user_(std::move(user)), password_(std::move(password)) {}

std::pair<std::string, std::string> basic_authentication_provider::get_authorization_header(
    const std::string& /*url*/) {
    return {"Authorization", "Basic " + base64_encode(user_ + ":" + password_)};
}

}  // namespace zentrova::monitoring_modules::rest::impl
