#pragma once

#include <string>

namespace zentrova::monitoring_modules::host {

// The Azure AD application and subscription a run uses, read from a small JSON file:
// {"tenant_id": ..., "client_id": ..., "client_secret": ..., "subscription_id": ...}.
struct credentials_file {
    std::string tenant_id;
    std::string client_id;
    std::string client_secret;
    std::string subscription_id;

    // Throws host_error naming the file and the member that is missing or wrong.
    static credentials_file load(const std::string& path);
};

}  // namespace zentrova::monitoring_modules::host
