#pragma once

#include <string>

namespace zentrova::monitoring_modules::framework::logging {

// The directory named by MICROSOFTAZURE_LOG_DIR, or "" when logs go nowhere.
std::string log_directory();

}  // namespace zentrova::monitoring_modules::framework::logging
