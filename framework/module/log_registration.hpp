#pragma once

#include <memory>

#include "framework/tiko_export.hpp"

namespace zentrova::monitoring_modules::framework::module {

class service_container;

// Puts the module-wide log (logging::runtime_log) into the container's instance store.
TIKO_API void register_runtime_log(const std::shared_ptr<service_container>& container);

// Puts the opener of per-sensor logs (logging::sensor_log) into the container's instance store.
TIKO_API void register_sensor_log(const std::shared_ptr<service_container>& container);

}  // namespace zentrova::monitoring_modules::framework::module
