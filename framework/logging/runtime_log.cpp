#include "framework/logging/runtime_log.hpp"

#include <filesystem>

#include "framework/logging/dev_null_log.hpp"
#include "framework/logging/impl/file_log.hpp"
#include "framework/logging/log_directory.hpp"

namespace zentrova::monitoring_modules::framework::logging {

runtime_log::runtime_log(std::shared_ptr<log_interface> target)
    : target_(target ? std::move(target) : dev_null_log::get_singleton()) {}

std::shared_ptr<runtime_log> runtime_log::from_environment() {
    const std::string dir = log_directory();
    if (dir.empty()) {
        return std::make_shared<runtime_log>(nullptr);
    }
    const std::string path = (std::filesystem::path(dir) / "MicrosoftAzure.log").string();
    try {
        return std::make_shared<runtime_log>(impl::file_log::open(path));
    } catch (const impl::log_file_refused& refused) {
        write_to_standard_error(
            std::string(refused.what()) +
            ". The module runs without its runtime log; remove what is there or "
            "check who else writes to MICROSOFTAZURE_LOG_DIR.");
        return std::make_shared<runtime_log>(nullptr);
    }
}

}  // namespace zentrova::monitoring_modules::framework::logging
