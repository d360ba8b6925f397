#pragma once

#include <functional>
#include <memory>
#include <string>

#include "framework/logging/log_interface.hpp"

namespace zentrova::monitoring_modules::framework::logging {

// Opens the log of one sensor or meta scan. Its key in the service container.
class TIKO_API sensor_log final {
public:
    using opener = std::function<std::shared_ptr<log_interface>(int sensor_id, bool enabled)>;

    explicit sensor_log(opener open);

    // sensor_<id>.log in MICROSOFTAZURE_LOG_DIR for sensors whose logging is enabled;
    // nothing for the others or when the variable is not set. A name that holds anything but
    // the module's own file is refused with a line in `report` (on standard error when that
    // keeps nothing), and the sensor runs without its log.
    static std::shared_ptr<sensor_log> from_environment(
        const std::shared_ptr<log_interface>& report = nullptr);

    // Never null: a sensor without a log gets the shared do-nothing log.
    std::shared_ptr<log_interface> open(int sensor_id, bool enabled) const;

private:
    opener open_;
};

}  // namespace zentrova::monitoring_modules::framework::logging
