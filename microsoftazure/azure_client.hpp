#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "framework/module/service_container.hpp"
#include "rest/rest_interface.hpp"
#include "settings/azure_credentials.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// The module's Azure Resource Manager endpoint (ends in "/"), read once at initialisation.
std::string arm_endpoint(framework::module::service_container& container);

// A REST client bound to a root URL of Azure Resource Manager and authorised with the
// credentials' Azure AD application. A request names what follows the root, and the URL on
// the wire is root + tail joined as plain text: a tail that is a resource id keeps its leading
// "/" after the root's. Owned by one sensor or one meta-scan run; one thread at a time.
class azure_client {
public:
    // An empty root means the module's ARM endpoint. `timeout` is the response time-out in seconds.
    azure_client(framework::module::service_container& container,
                 const settings::azure_credentials& credentials, std::uint32_t timeout,
                 std::string root = {});

    rest::response get(const std::string& tail);
    rest::response post_json(const std::string& tail, const std::string& body);

    const std::string& root() const { return root_; }

private:
    std::string path(const std::string& tail) const;

    std::string root_;
    std::unique_ptr<rest::rest_interface> client_;
};

}  // namespace zentrova::monitoring_modules::microsoftazure
