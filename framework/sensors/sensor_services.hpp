#pragma once

#include <memory>

#include "framework/logging/log_interface.hpp"
#include "framework/messaging/tiko_message.hpp"
#include "framework/settings/sensor_data_wrapper.hpp"

namespace zentrova::monitoring_modules::framework::module {
class service_container;
}

namespace zentrova::monitoring_modules::framework::sensors {

// The log of a sensor or meta scan: its own file when the container can open one and its
// "logging" setting is "enabled"; the shared do-nothing log otherwise. Never null.
TIKO_API std::shared_ptr<logging::log_interface> open_sensor_log(
    module::service_container& container, int sensor_id,
    const settings::sensor_data_wrapper& settings);

// Sends one message to the host through the container's message service.
TIKO_API void send_message(module::service_container& container,
                           const messaging::tiko_message& message);

}  // namespace zentrova::monitoring_modules::framework::sensors
