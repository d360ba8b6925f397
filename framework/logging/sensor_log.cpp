#include "framework/logging/sensor_log.hpp"

#include <filesystem>

#include "framework/logging/dev_null_log.hpp"
#include "framework/logging/impl/file_log.hpp"
#include "framework/logging/log_directory.hpp"

namespace zentrova::monitoring_modules::framework::logging {

sensor_log::sensor_log(opener open) : open_(std::move(open)) {}

std::shared_ptr<sensor_log> sensor_log::from_environment(
    const std::shared_ptr<log_interface>& report) {
    const std::string dir = log_directory();
    if (dir.empty()) {
        return std::make_shared<sensor_log>(nullptr);
    }
    return std::make_shared<sensor_log>(
        [dir, report](int sensor_id, bool enabled) -> std::shared_ptr<log_interface> {
            if (!enabled) {
                return nullptr;
            }
            const auto path =
                std::filesystem::path(dir) / ("sensor_" + std::to_string(sensor_id) + ".log");
            try {
                return impl::file_log::open(path.string());
            } catch (const impl::log_file_refused& refused) {
                const std::string line = std::string(refused.what()) + ". The sensor with id " +
                                         std::to_string(sensor_id) +
                                         " runs without it; remove what is there or check who "
                                         "else writes to MICROSOFTAZURE_LOG_DIR.";
                if (report && report->enabled()) {
                    report->write(error, line);
                } else {
                    write_to_standard_error(line);
                }
                return nullptr;
            }
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
