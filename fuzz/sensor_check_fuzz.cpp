// A whole sensor check and a whole meta scan of every registered kind, each REST answer taken
// from the input (see scripted_transport.hpp for its form) instead of the network.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "framework/messaging/message_service.hpp"
#include "framework/module/sensor_dispatcher.hpp"
#include "framework/module/service_container.hpp"
#include "fuzz/fuzz_target.hpp"
#include "fuzz/scripted_transport.hpp"
#include "json/exceptions.hpp"
#include "json/parser_factory.hpp"
#include "microsoftazure/sql_database/sql_database_metascan.hpp"
#include "microsoftazure/sql_database/sql_database_sensor.hpp"
#include "microsoftazure/subscription_cost/subscription_cost_sensor.hpp"
#include "microsoftazure/virtual_machine/virtual_machine_metascan.hpp"
#include "microsoftazure/virtual_machine/virtual_machine_sensor.hpp"
#include "rest/impl/endpoint_configuration.hpp"
#include "rest/rest_factory.hpp"

namespace {

namespace framework = zentrova::monitoring_modules::framework;
namespace json = zentrova::monitoring_modules::json;
namespace rest = zentrova::monitoring_modules::rest;
namespace azure = zentrova::monitoring_modules::microsoftazure;
using framework::module::sensor_dispatcher;
using framework::module::service_container;
using zentrova::monitoring_modules::fuzz::require;
using zentrova::monitoring_modules::fuzz::scripted_answers;
using zentrova::monitoring_modules::fuzz::scripted_transport;

// One kind the module offers, with settings that it accepts.
struct kind {
    const char* name;
    bool metascan;
    std::function<void(sensor_dispatcher&)> register_kind;
    std::vector<std::pair<std::string, std::string>> settings;  // by full key, beyond connection
                                                                // and credentials
};

const std::string vm_columns = "virtual_machine_metascan_section.virtual_machine_metascan_group.";
const std::string sql_columns = "sql_database_metascan_section.sql_database_metascan_group.";
const std::string cost_options = "subscription_cost_sensor_section.subscription_cost_sensor_group.";

kind sql_database_sensor(const char* type, const char* id) {
    return {"sql_database_sensor",
            false,
            [](sensor_dispatcher& d) {
                d.register_sensor_kind<azure::sql_database_sensor>("sql_database_sensor");
            },
            {{sql_columns + "name", "db"},
             {sql_columns + "database_id", id},
             {sql_columns + "region", "West Europe"},
             {sql_columns + "type", type}}};
}

const std::vector<kind>& kinds() {
    static const std::vector<kind> table = {
        {"virtual_machine_sensor",
         false,
         [](sensor_dispatcher& d) {
             d.register_sensor_kind<azure::virtual_machine_sensor>("virtual_machine_sensor");
         },
         {{vm_columns + "name", "vm-1"},
          {vm_columns + "vm_id",
           "/subscriptions/s/resourceGroups/rg/providers/Microsoft.Compute/virtualMachines/vm-1"},
          {vm_columns + "os", "Linux"},
          {vm_columns + "resource_group", "rg"},
          {vm_columns + "region", "West Europe"}}},
        {"subscription_cost_sensor",
         false,
         [](sensor_dispatcher& d) {
             d.register_sensor_kind<azure::subscription_cost_sensor>("subscription_cost_sensor");
         },
         {{cost_options + "show_budgets", "enabled"},
          {cost_options + "show_forecast", "enabled"},
          {cost_options + "show_most_expensive_service", "enabled"},
          {cost_options + "most_expensive_service_grouping", "servicename"}}},
        sql_database_sensor("Single database, DTU",
                            "/subscriptions/s/resourceGroups/rg/providers/Microsoft.Sql/servers/"
                            "srv/databases/db"),
        sql_database_sensor("Elastic pool, vCore",
                            "/subscriptions/s/resourceGroups/rg/providers/Microsoft.Sql/servers/"
                            "srv/elasticPools/pool"),
        {"sql_database_metascan",
         true,
         [](sensor_dispatcher& d) {
             d.register_metascan_kind<azure::sql_database_metascan>("sql_database_metascan");
         },
         {}},
        {"virtual_machine_metascan",
         true,
         [](sensor_dispatcher& d) {
             d.register_metascan_kind<azure::virtual_machine_metascan>("virtual_machine_metascan");
         },
         {}},
    };
    return table;
}

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

// The host's settings buffer for a kind. Every text here is plain ASCII without quotes.
std::string settings_buffer(const kind& k) {
    const std::string credentials = "azure_credentials_section.credentials_group.";
    std::string settings = quoted("host") + ":" + quoted("management.azure.com") + "," +
                           quoted("logging") + ":" + quoted("disabled") + "," + quoted("timeout") +
                           ":" + quoted("60");
    for (const char* name : {"tenant_id", "client_id", "subscription_id"}) {
        settings += "," + quoted(credentials + name) + ":" + quoted(std::string(name) + "-value");
    }
    for (const auto& [name, value] : k.settings) {
        settings += "," + quoted(name) + ":" + quoted(value);
    }
    return "{" + quoted("kind") + ":" + quoted(k.name) + "," + quoted("settings") + ":{" +
           settings + "}," + quoted("secure_settings") + ":{" + quoted("zentrovacloudapikey") +
           ":\"\"," + quoted(credentials + "client_secret") + ":" + quoted("secret") + "}}";
}

// A container like the module's, whose REST clients answer from the script.
std::shared_ptr<service_container> scripted_container(std::shared_ptr<scripted_answers> answers,
                                                      std::vector<std::string>& sent) {
    auto container = std::make_shared<service_container>();
    container->register_factory<framework::messaging::message_service_interface>(
        std::function<std::unique_ptr<framework::messaging::message_service_interface>()>(
            [&sent]() {
                return std::make_unique<framework::messaging::message_service>(
                    [&sent](void* data, unsigned size) {
                        sent.emplace_back(static_cast<const char*>(data), size);
                    });
            }));
    // Token requests would go to the script as well; the scripted client asks no provider.
    container->add_instance(std::make_shared<rest::rest_factory>(
        rest::impl::endpoint_configuration{},
        [answers](
            const rest::rest_helper_settings& settings) -> std::unique_ptr<rest::rest_interface> {
            return std::make_unique<scripted_transport>(answers, settings.base_url);
        }));
    return container;
}

// Every message must be JSON; exactly one of them is the result of the given type, and a failed
// result says what failed.
void expect_one_result(const std::vector<std::string>& sent, const std::string& type,
                       int failure_code) {
    int results = 0;
    for (const auto& message : sent) {
        std::unique_ptr<json::parser_interface> parsed;
        try {
            parsed = json::create_jsonpointer_parser(message);
        } catch (const json::exceptions::exception&) {
            require(false, "a message to the host is not JSON");
        }
        if (parsed->get_string("/type") != type) {
            continue;
        }
        ++results;
        const auto code = parsed->get_int("/response_code");
        require(code == 0 || code == failure_code, "a result carries an unknown response code");
        if (code == failure_code) {
            std::string text;
            try {
                text = parsed->get_string("/message");
            } catch (const json::exceptions::empty_result&) {
            }
            require(!text.empty(), "a failed result does not say what failed");
        }
    }
    require(results == 1, "a call did not end in exactly one result");
}

}  // namespace

MICROSOFTAZURE_FUZZ_TARGET(sensor_check) {
    const std::string_view script(reinterpret_cast<const char*>(data), size);  // NOLINT
    for (const kind& k : kinds()) {
        auto answers = std::make_shared<scripted_answers>(script);
        std::vector<std::string> sent;
        const auto container = scripted_container(answers, sent);
        sensor_dispatcher dispatcher(container);
        k.register_kind(dispatcher);
        const std::string buffer = settings_buffer(k);
        const framework::settings::sensor_data_wrapper settings(
            buffer.data(), static_cast<unsigned>(buffer.size()));

        if (k.metascan) {
            require(dispatcher.execute_meta_scan(1, 1, settings) ==
                        framework::responses::meta_scan_response_code::success,
                    "a meta scan escaped its failure handling");
            expect_one_result(sent, "meta_scan_result", 5);
            continue;
        }
        require(dispatcher.create_sensor_instance(1, settings) ==
                    framework::responses::sensor_create_response_code::success,
                "a sensor could not be created from valid settings");
        // Two checks: the second reuses the client the first made and reads further answers.
        for (int check = 0; check < 2; ++check) {
            sent.clear();
            require(dispatcher.execute_check(1, settings) ==
                        framework::responses::check_response_code::success,
                    "a check escaped its failure handling");
            expect_one_result(sent, "sensor_scan_result", 3);
        }
        require(dispatcher.destroy_sensor_instance(1) ==
                    framework::responses::sensor_destroy_response_code::success,
                "a sensor could not be destroyed");
    }
    return 0;
}
