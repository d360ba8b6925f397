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
#include "tests/reliability/kinds_under_test.hpp"

namespace {

namespace framework = zentrova::monitoring_modules::framework;
namespace json = zentrova::monitoring_modules::json;
namespace rest = zentrova::monitoring_modules::rest;
namespace azure = zentrova::monitoring_modules::microsoftazure;
namespace testing = zentrova::monitoring_modules::testing;
using framework::module::sensor_dispatcher;
using framework::module::service_container;
using zentrova::monitoring_modules::fuzz::require;
using zentrova::monitoring_modules::fuzz::scripted_answers;
using zentrova::monitoring_modules::fuzz::scripted_transport;

// Every kind, registered as the module registers it.
void register_kinds(sensor_dispatcher& d) {
    d.register_sensor_kind<azure::virtual_machine_sensor>("virtual_machine_sensor");
    d.register_metascan_kind<azure::virtual_machine_metascan>("virtual_machine_metascan");
    d.register_sensor_kind<azure::subscription_cost_sensor>("subscription_cost_sensor");
    d.register_sensor_kind<azure::sql_database_sensor>("sql_database_sensor");
    d.register_metascan_kind<azure::sql_database_metascan>("sql_database_metascan");
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
    // Each meta scan once, and the odd variants of each sensor kind: the cost sensor with every
    // option and with a mixture, a vCore pool and a DTU single database (a machine's variants
    // differ only in names).
    for (const auto& k : testing::kinds_under_test()) {
        for (std::size_t variant = k.variants > 1 ? 1 : 0; variant < k.variants; variant += 2) {
            auto answers = std::make_shared<scripted_answers>(script);
            std::vector<std::string> sent;
            const auto container = scripted_container(answers, sent);
            sensor_dispatcher dispatcher(container);
            register_kinds(dispatcher);
            auto host_settings =
                k.settings(testing::settings_buffer::with_credentials(k.name, "secret"),
                           "subscription-1", variant);
            host_settings.settings["logging"] = "disabled";
            const std::string buffer = host_settings.to_json();
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
    }
    return 0;
}
