#include "framework/logging/dev_null_log.hpp"

namespace zentrova::monitoring_modules::framework::logging {

log_interface::~log_interface() = default;

std::shared_ptr<dev_null_log> dev_null_log::get_singleton() {
    static const auto instance = std::make_shared<dev_null_log>();
    return instance;
}

void dev_null_log::write(int /*level*/, const std::string& /*line*/) {}

}  // namespace zentrova::monitoring_modules::framework::logging
