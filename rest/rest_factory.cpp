#include "rest/rest_factory.hpp"

#include <utility>

#include "rest/impl/http_engine_factory.hpp"
#include "rest/impl/rest_impl.hpp"

namespace zentrova::monitoring_modules::rest {

std::unique_ptr<rest_interface> create_rest_client(rest_helper_settings settings,
                                                   std::shared_ptr<connection_pool> pool,
                                                   const client_options& options) {
    if (!pool) {
        pool = std::make_shared<connection_pool>();
    }
    return std::make_unique<impl::rest_impl>(
        std::move(settings), impl::make_http_engine(std::move(pool)), options.connect_timeout);
}

rest_client_factory make_rest_client_factory(std::shared_ptr<connection_pool> pool,
                                             client_options options) {
    return [pool = std::move(pool), options](rest_helper_settings settings) {
        return create_rest_client(std::move(settings), pool, options);
    };
}

azuread_provider_factory make_azuread_provider_factory(const endpoint_configuration& endpoints,
                                                       std::shared_ptr<connection_pool> pool,
                                                       std::shared_ptr<token_cache> tokens) {
    auto token_clients = make_rest_client_factory(
        std::move(pool), client_options{azuread_provider_impl::token_connect_timeout});
    return [login_endpoint = endpoints.login_endpoint, token_clients = std::move(token_clients),
            tokens = std::move(tokens)](std::string client_id, std::string client_secret,
                                        std::string tenant_id) {
        return std::make_shared<azuread_provider_impl>(
            std::move(client_id), std::move(client_secret), std::move(tenant_id),
            azuread_provider_options{login_endpoint, token_clients, tokens});
    };
}

}  // namespace zentrova::monitoring_modules::rest
