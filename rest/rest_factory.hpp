#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "rest/azuread_provider_impl.hpp"
#include "rest/connection_pool.hpp"
#include "rest/endpoint_configuration.hpp"
#include "rest/rest_interface.hpp"
#include "rest/token_cache.hpp"

namespace zentrova::monitoring_modules::rest {

struct client_options {
    // How long the engine may take to set up a connection (TCP and TLS).
    std::chrono::milliseconds connect_timeout{30000};
};

// A client over the process's HTTP engine. Its connections come from `pool`; with no pool the
// client gets a pool of its own (system trust store, nothing shared).
std::unique_ptr<rest_interface> create_rest_client(rest_helper_settings settings,
                                                   std::shared_ptr<connection_pool> pool,
                                                   const client_options& options = {});

// The factory the module keeps in its service container: every client it makes shares `pool`.
rest_client_factory make_rest_client_factory(std::shared_ptr<connection_pool> pool,
                                             client_options options = {});

// Makes Azure AD providers from a sensor's credentials (the secret as plain text, unwrapped by
// the caller at that moment). All of them request tokens from the configured login endpoint
// over `pool` and share `tokens`.
using azuread_provider_factory = std::function<std::shared_ptr<azuread_provider_impl>(
    std::string client_id, std::string client_secret, std::string tenant_id)>;

azuread_provider_factory make_azuread_provider_factory(const endpoint_configuration& endpoints,
                                                       std::shared_ptr<connection_pool> pool,
                                                       std::shared_ptr<token_cache> tokens);

}  // namespace zentrova::monitoring_modules::rest
