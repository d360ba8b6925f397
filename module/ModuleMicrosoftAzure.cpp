#include "module/ModuleMicrosoftAzure.hpp"

#include "definition/display_texts.hpp"
#include "definition/module_definition.hpp"
#include "microsoftazure/sql_database/sql_database_metascan.hpp"
#include "microsoftazure/sql_database/sql_database_sensor.hpp"
#include "microsoftazure/subscription_cost/subscription_cost_sensor.hpp"
#include "microsoftazure/virtual_machine/virtual_machine_metascan.hpp"
#include "microsoftazure/virtual_machine/virtual_machine_sensor.hpp"
#include "rest/rest_factory.hpp"

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
    services.add_instance(rest::rest_factory::from_environment());
}

std::string ModuleMicrosoftAzure::module_definition() const {
    return definition::module_definition();
}

std::vector<std::string> ModuleMicrosoftAzure::languages() const {
    return {definition::display_texts()};
}

}  // namespace zentrova::monitoring_modules::microsoftazure
