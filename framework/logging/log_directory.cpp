#include "framework/logging/log_directory.hpp"

#include <cstdlib>

namespace zentrova::monitoring_modules::framework::logging {

std::string log_directory() {
    const char* dir = std::getenv("MICROSOFTAZURE_LOG_DIR");
    return dir != nullptr ? dir : "";
}

}  // namespace zentrova::monitoring_modules::framework::logging
