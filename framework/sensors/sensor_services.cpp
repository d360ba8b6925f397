#include "framework/sensors/sensor_services.hpp"

#include "framework/sensors/sensor_interface.hpp"

#include "framework/logging/dev_null_log.hpp"
#include "framework/logging/sensor_log.hpp"
#include "framework/messaging/message_service_interface.hpp"
#include "framework/module/service_container.hpp"

namespace zentrova::monitoring_modules::framework::sensors {

sensor_interface::~sensor_interface() = default;

std::shared_ptr<logging::log_interface> open_sensor_log(
    module::service_container& container, int sensor_id,
    const settings::sensor_data_wrapper& settings) {
    const auto opener = container.find<logging::sensor_log>();
    if (!opener) {
        return logging::dev_null_log::get_singleton();
    }
    const std::string* logging_setting = settings.find_value("logging");
    return opener->open(sensor_id, logging_setting != nullptr && *logging_setting == "enabled");
}

void send_message(module::service_container& container, const messaging::tiko_message& message) {
    container.get<messaging::message_service_interface>()->send(message);
}

}  // namespace zentrova::monitoring_modules::framework::sensors
