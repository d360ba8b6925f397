#pragma once

#include <string>
#include <utility>

#include "rest/authentication_provider_interface.hpp"

namespace zentrova::monitoring_modules::rest::impl {

// An Azure AD application's client credentials; subclasses turn them into bearer tokens. The
// secret is readable by subclasses only, so nothing else can hand it on by accident.
class azuread_authentication_provider : public authentication_provider_interface {
public:
    const std::string& client_id() const noexcept { return client_id_; }
    const std::string& tenant_id() const noexcept { return tenant_id_; }

protected:
    azuread_authentication_provider(std::string client_id, std::string client_secret,
                                    std::string tenant_id)
        : client_id_(std::move(client_id)),
          client_secret_(std::move(client_secret)),
          tenant_id_(std::move(tenant_id)) {}

    const std::string& client_secret() const noexcept { return client_secret_; }

private:
    std::string client_id_;
    std::string client_secret_;
    std::string tenant_id_;
};

}  // namespace zentrova::monitoring_modules::rest::impl
