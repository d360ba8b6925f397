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
    return std::make_shared<runtime_log>(std::make_shared<impl::file_log>(
        (std::filesystem::path(dir) / "MicrosoftAzure.log").string()));
}

}  // namespace zentrova::monitoring_modules::framework::logging
