#include "framework/module/log_registration.hpp"

#include "framework/logging/runtime_log.hpp"
#include "framework/logging/sensor_log.hpp"
#include "framework/module/service_container.hpp"

namespace zentrova::monitoring_modules::framework::module {

void register_runtime_log(const std::shared_ptr<service_container>& container) {
    container->add_instance<logging::runtime_log>(logging::runtime_log::from_environment());
}

void register_sensor_log(const std::shared_ptr<service_container>& container) {
    // Refused sensor log files are told in the runtime log, registered before.
    container->add_instance<logging::sensor_log>(
        logging::sensor_log::from_environment(container->find<logging::runtime_log>()));
}

}  // namespace zentrova::monitoring_modules::framework::module
