#include "framework/logging/log_directory.hpp"

#include <cstdio>
#include <cstdlib>

namespace zentrova::monitoring_modules::framework::logging {

std::string log_directory() {
    const char* dir = std::getenv("MICROSOFTAZURE_LOG_DIR");
    return dir != nullptr ? dir : "";
}

void write_to_standard_error(const std::string& line) {
    std::fprintf(stderr, "MicrosoftAzure: %s\n", line.c_str());
    std::fflush(stderr);
}

}  // namespace zentrova::monitoring_modules::framework::logging
