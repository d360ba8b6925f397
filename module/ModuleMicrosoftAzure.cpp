#include "module/ModuleMicrosoftAzure.hpp"

#include "definition/display_texts.hpp"
#include "definition/module_definition.hpp"
#include "microsoftazure/sql_database/sql_database_metascan.hpp"
#include "microsoftazure/sql_database/sql_database_sensor.hpp"
#include "microsoftazure/subscription_cost/subscription_cost_sensor.hpp"
#include "microsoftazure/virtual_machine/virtual_machine_metascan.hpp"
#include "microsoftazure/virtual_machine/virtual_machine_sensor.hpp"
#include "rest/connection_pool.hpp"
#include "rest/endpoint_configuration.hpp"
#include "rest/rest_factory.hpp"
#include "rest/token_cache.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

ModuleMicrosoftAzure::ModuleMicrosoftAzure(void* host_context, void* host_context_extra,
                                           host_message_callback callback)
    : module_instance(host_context, host_context_extra, callback) {
    auto& services = *container();
    const auto& dispatcher = this->dispatcher();
    // The kinds, in the order the host lists them: virtual machine sensor and meta scan, cost
    // sensor, SQL database sensor and meta scan.
    dispatcher->register_sensor_kind<virtual_machine_sensor>("virtual_machine_sensor");
    dispatcher->register_metascan_kind<virtual_machine_metascan>("virtual_machine_metascan");
    dispatcher->register_sensor_kind<subscription_cost_sensor>("subscription_cost_sensor");
    dispatcher->register_sensor_kind<sql_database_sensor>("sql_database_sensor");
    dispatcher->register_metascan_kind<sql_database_metascan>("sql_database_metascan");

    // Shared by every sensor: the endpoints, one pool of connections (and the HTTP engine with
    // it) and one token cache, so that many sensors of a subscription need few connections and
    // one token per lifetime.
    const auto endpoints = std::make_shared<rest::endpoint_configuration>(
        rest::endpoint_configuration::from_environment());
    rest::connection_pool_options pool_options;
    pool_options.ca_bundle = endpoints->ca_bundle;
    const auto pool = std::make_shared<rest::connection_pool>(pool_options);
    services.add_instance(endpoints);
    services.register_factory<rest::rest_interface>(rest::make_rest_client_factory(pool));
    services.add_instance(
        std::make_shared<rest::azuread_provider_factory>(rest::make_azuread_provider_factory(
            *endpoints, pool, std::make_shared<rest::token_cache>())));
}

std::string ModuleMicrosoftAzure::module_definition() const {
    return definition::module_definition();
}

std::vector<std::string> ModuleMicrosoftAzure::languages() const {
    return {definition::display_texts()};
}

}  // namespace zentrova::monitoring_modules::microsoftazure
