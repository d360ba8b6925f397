#pragma once

#include <string>
#include <utility>

namespace zentrova::monitoring_modules::rest {

// Supplies the one header that authorizes a request. A REST client asks its provider before
// every request, handing it the complete request URL. Implemented by
// impl::basic_authentication_provider and impl::azuread_provider_impl (see rest_factory);
// providers are shared between a client and whoever built it. The implementations of this layer
// may be called from several threads at once. Failures are rest::exceptions
// (authentication_failed, connection_failed, invalid_url).
class authentication_provider_interface {
public:
    authentication_provider_interface() = default;
    virtual ~authentication_provider_interface() = default;
    authentication_provider_interface(const authentication_provider_interface&) = delete;
    authentication_provider_interface& operator=(const authentication_provider_interface&) = delete;
    authentication_provider_interface(authentication_provider_interface&&) = delete;
    authentication_provider_interface& operator=(authentication_provider_interface&&) = delete;

    // Returns the header as (name, value), for example ("Authorization", "Bearer ...").
    virtual std::pair<std::string, std::string> get_authorization_header(
        const std::string& url) = 0;
};

}  // namespace zentrova::monitoring_modules::rest
