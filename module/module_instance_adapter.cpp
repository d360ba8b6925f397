#include "module/module_instance_adapter.hpp"

#include <stdexcept>

#include "framework/logging/log_text.hpp"
#include "framework/logging/runtime_log.hpp"
#include "framework/messaging/message_service_interface.hpp"
#include "framework/messaging/module_information_message.hpp"
#include "framework/module/log_registration.hpp"

namespace zentrova::monitoring_modules::framework::module {
namespace {

const char* const adapter_name =
    "zentrova::monitoring_modules::framework::module::module_instance_adapter::";

std::string begin_line(const char* operation) {
    return std::string("### Begin ") + adapter_name + operation + " ###";
}
std::string end_line(const char* operation) {
    return std::string("### End   ") + adapter_name + operation + " ###";
}

}  // namespace

module_instance_adapter::module_instance_adapter(std::unique_ptr<module_instance> instance)
    : instance_(std::move(instance)) {
    if (!instance_) {
        throw std::invalid_argument("module_instance_adapter: module_instance must not be null");
    }
    register_runtime_log(instance_->container());
    register_sensor_log(instance_->container());
}

module_instance_adapter::~module_instance_adapter() = default;

void module_instance_adapter::log(const std::string& message) const {
    if (!instance_) {
        return;
    }
    if (const auto runtime = instance_->container()->find<logging::runtime_log>()) {
        runtime->write(logging::debug, message);
    }
}

template <typename Operation>
int module_instance_adapter::forward(const char* operation, const void* settings,
                                     unsigned settings_size, Operation&& call) {
    // Every call of a check passes here: its lines are built only when the log keeps them.
    const auto runtime = instance_->container()->find<logging::runtime_log>();
    const bool keeps_lines = runtime && runtime->enabled();
    if (keeps_lines) {
        runtime->write(logging::debug, begin_line(operation));
    }
    const settings::sensor_data_wrapper wrapper(settings, settings_size);
    if (keeps_lines) {
        runtime->write(logging::debug, logging::clipped_for_log(wrapper.to_json()));
    }
    const int code = static_cast<int>(call(*instance_->dispatcher(), wrapper));
    if (keeps_lines) {
        runtime->write(logging::debug, end_line(operation));
    }
    return code;
}

int module_instance_adapter::create_sensor_instance(int sensor_id, const void* settings,
                                                    unsigned settings_size) {
    return forward(
        "create_sensor_instance", settings, settings_size,
        [sensor_id](sensor_dispatcher& dispatcher, const settings::sensor_data_wrapper& wrapper) {
            return dispatcher.create_sensor_instance(sensor_id, wrapper);
        });
}

int module_instance_adapter::execute_check(int sensor_id, const void* settings,
                                           unsigned settings_size) {
    return forward(
        "execute_check", settings, settings_size,
        [sensor_id](sensor_dispatcher& dispatcher, const settings::sensor_data_wrapper& wrapper) {
            return dispatcher.execute_check(sensor_id, wrapper);
        });
}

int module_instance_adapter::execute_meta_scan(int sensor_id, unsigned scan_id,
                                               const void* settings, unsigned settings_size) {
    return forward("execute_meta_scan", settings, settings_size,
                   [sensor_id, scan_id](sensor_dispatcher& dispatcher,
                                        const settings::sensor_data_wrapper& wrapper) {
                       return dispatcher.execute_meta_scan(sensor_id, scan_id, wrapper);
                   });
}

int module_instance_adapter::destroy_sensor_instance(int sensor_id) {
    log(begin_line("destroy_sensor_instance"));
    const int code = static_cast<int>(instance_->dispatcher()->destroy_sensor_instance(sensor_id));
    log(end_line("destroy_sensor_instance"));
    return code;
}

int module_instance_adapter::execute_sensor_scan(int sensor_id) {
    log(begin_line("execute_sensor_scan"));
    const int code = static_cast<int>(instance_->dispatcher()->execute_sensor_scan(sensor_id));
    log(end_line("execute_sensor_scan"));
    return code;
}

void module_instance_adapter::get_module_information(bool load_languages) {
    log(begin_line("get_module_information"));
    const std::string definition = instance_->module_definition();
    log(definition);
    messaging::module_information_message message(definition);
    log(std::string("Got LoadLanguages: ") + (load_languages ? "true" : "false"));
    if (load_languages) {
        for (const auto& language : instance_->languages()) {
            log(language);
            message.addLanguage(language);
        }
    }
    instance_->container()->get<messaging::message_service_interface>()->send(message);
    log(end_line("get_module_information"));
}

}  // namespace zentrova::monitoring_modules::framework::module
