#include "framework/logging/sensor_log.hpp"

#include <filesystem>

#include "framework/logging/dev_null_log.hpp"
#include "framework/logging/impl/file_log.hpp"
#include "framework/logging/log_directory.hpp"

namespace zentrova::monitoring_modules::framework::logging {

sensor_log::sensor_log(opener open) : open_(std::move(open)) {}

std::shared_ptr<sensor_log> sensor_log::from_environment() {
    const std::string dir = log_directory();
    if (dir.empty()) {
        return std::make_shared<sensor_log>(nullptr);
    }
    return std::make_shared<sensor_log>(
        [dir](int sensor_id, bool enabled) -> std::shared_ptr<log_interface> {
            if (!enabled) {
                return nullptr;
            }
            const auto path =
                std::filesystem::path(dir) / ("sensor_" + std::to_string(sensor_id) + ".log");
            return std::make_shared<impl::file_log>(path.string());
        });
}

std::shared_ptr<log_interface> sensor_log::open(int sensor_id, bool enabled) const {
    std::shared_ptr<log_interface> log = open_ ? open_(sensor_id, enabled) : nullptr;
    if (!log) {
        return dev_null_log::get_singleton();
    }
    return log;
}

}  // namespace zentrova::monitoring_modules::framework::logging
