#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "rest/authentication_provider_interface.hpp"
#include "rest/rest_interface.hpp"

namespace zentrova::monitoring_modules::rest {

namespace impl {
struct endpoint_configuration;
class token_cache;
}  // namespace impl

// Where the module's REST clients and Azure AD providers come from. The module makes one at
// initialisation; it holds the connection pool and the token cache that all of them share, so
// that many sensors of a subscription need few connections and one token per lifetime.
// Thread-safe.
class rest_factory {
public:
    // The endpoints from the variables MICROSOFTAZURE_ARM_ENDPOINT, MICROSOFTAZURE_LOGIN_ENDPOINT
    // and MICROSOFTAZURE_CA_BUNDLE (unset: the public cloud and the system's trust store). Throws
    // exceptions::invalid_url naming the variable when an endpoint is not an https URL with a
    // host, and std::invalid_argument naming the file when the CA bundle cannot be read
    // or holds no certificate.
    static std::shared_ptr<rest_factory> from_environment();

    // Clients over the platform's HTTP engine; throws as from_environment for the CA bundle.
    explicit rest_factory(const impl::endpoint_configuration& endpoints);
    // Clients, token requests included, made by `clients` instead (a test's or a fuzzer's).
    rest_factory(const impl::endpoint_configuration& endpoints, rest_client_factory clients);

    // A client over the shared connections.
    std::unique_ptr<rest_interface> make_client(rest_helper_settings settings) const;

    // Authorizes requests with Azure AD bearer tokens for an application's client credentials
    // (the secret as plain text, unwrapped by the caller at that moment). The tokens come from
    // the login endpoint and live in the shared cache; a token request waits at most
    // `timeout_seconds` for its answer (0: rest_helper_settings::zero_timeout_seconds).
    std::shared_ptr<authentication_provider_interface> azuread_provider(
        std::string client_id, std::string client_secret, std::string tenant_id,
        std::uint32_t timeout_seconds) const;

    // The Azure Resource Manager root that the sensors' URLs begin with; ends in "/".
    const std::string& arm_endpoint() const noexcept { return arm_endpoint_; }

private:
    std::string arm_endpoint_;
    std::string login_endpoint_;
    std::shared_ptr<impl::token_cache> tokens_;
    rest_client_factory clients_;
    rest_client_factory token_clients_;
};

}  // namespace zentrova::monitoring_modules::rest
