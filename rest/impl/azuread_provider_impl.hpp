#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "rest/impl/azuread_authentication_provider.hpp"
#include "rest/impl/recent_urls.hpp"
#include "rest/impl/token_cache.hpp"
#include "rest/rest_interface.hpp"

namespace zentrova::monitoring_modules::rest::impl {

// Where an Azure AD provider gets its tokens and which cache it shares them through.
struct azuread_provider_options {
    // Root of the token endpoint, without trailing "/"; tokens come from
    // login_endpoint + "/" + tenant + "/oauth2/token".
    std::string login_endpoint = "https://login.microsoftonline.com";
    // Makes the client of the token requests. Empty: a client of the provider's own, with the
    // system trust store and a connect time-out of token_connect_timeout.
    rest_client_factory client_factory;
    // The process-wide cache. Empty: a cache of this provider alone.
    std::shared_ptr<token_cache> tokens;
    // Seconds a request for a header waits for its token, its own token request or another's
    // (0: rest_helper_settings' zero_timeout_seconds); the sensor's own time-out, so that a silent
    // endpoint costs a check no more than a silent Azure would.
    std::uint32_t timeout_seconds = 30;
};

// Authorizes requests with an Azure AD bearer token obtained by the OAuth2 client-credentials
// grant for the resource (scheme, host and non-default port) of each request URL. Tokens are
// reused until fewer than 30 seconds of them are left. Safe to share between threads.
class azuread_provider_impl final : public azuread_authentication_provider {
public:
    static constexpr std::chrono::milliseconds token_connect_timeout{5000};

    azuread_provider_impl(std::string client_id, std::string client_secret, std::string tenant_id,
                          azuread_provider_options options = {});

    std::pair<std::string, std::string> get_authorization_header(const std::string& url) override;

private:
    token_cache::fetched_token fetch_token(
        const std::string& resource, const std::shared_ptr<const request_deadline>& deadline) const;

    std::string login_endpoint_;
    std::string token_path_;
    std::string token_endpoint_;  // login_endpoint_ + token_path_
    rest_client_factory client_factory_;
    std::shared_ptr<token_cache> tokens_;
    std::uint32_t timeout_seconds_;
    std::string secret_digest_;
    std::mutex urls_mutex_;
    recent_urls urls_;
};

}  // namespace zentrova::monitoring_modules::rest::impl
