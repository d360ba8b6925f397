#include "rest/rest_factory.hpp"

#include <utility>

#include "rest/impl/azuread_provider_impl.hpp"
#include "rest/impl/connection_pool_interface.hpp"
#include "rest/impl/endpoint_configuration.hpp"
#include "rest/impl/rest_impl.hpp"
#include "rest/impl/token_cache.hpp"

namespace zentrova::monitoring_modules::rest {

std::shared_ptr<rest_factory> rest_factory::from_environment() {
    return std::make_shared<rest_factory>(impl::endpoint_configuration::from_environment());
}

rest_factory::rest_factory(const impl::endpoint_configuration& endpoints)
    : arm_endpoint_(endpoints.arm_endpoint),
      login_endpoint_(endpoints.login_endpoint),
      tokens_(std::make_shared<impl::token_cache>()) {
    impl::connection_pool_options pool_options;
    pool_options.ca_bundle = endpoints.ca_bundle;
    const auto pool = impl::make_connection_pool(pool_options);
    clients_ = impl::clients_over(pool);
    token_clients_ = impl::clients_over(pool, impl::azuread_provider_impl::token_connect_timeout);
}

rest_factory::rest_factory(const impl::endpoint_configuration& endpoints,
                           rest_client_factory clients)
    : arm_endpoint_(endpoints.arm_endpoint),
      login_endpoint_(endpoints.login_endpoint),
      tokens_(std::make_shared<impl::token_cache>()),
      clients_(clients),
      token_clients_(std::move(clients)) {}

std::unique_ptr<rest_interface> rest_factory::make_client(rest_helper_settings settings) const {
    return clients_(std::move(settings));
}

std::shared_ptr<authentication_provider_interface> rest_factory::azuread_provider(
    std::string client_id, std::string client_secret, std::string tenant_id,
    std::uint32_t timeout_seconds) const {
    return std::make_shared<impl::azuread_provider_impl>(
        std::move(client_id), std::move(client_secret), std::move(tenant_id),
        impl::azuread_provider_options{login_endpoint_, token_clients_, tokens_, timeout_seconds});
}

}  // namespace zentrova::monitoring_modules::rest
