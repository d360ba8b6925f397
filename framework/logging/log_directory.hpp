#pragma once

#include <string>

namespace zentrova::monitoring_modules::framework::logging {

// The directory named by MICROSOFTAZURE_LOG_DIR, or "" when logs go nowhere.
std::string log_directory();

// Writes "MicrosoftAzure: <line>" to standard error: what a log says where it has no log file to
// say it in.
void write_to_standard_error(const std::string& line);

}  // namespace zentrova::monitoring_modules::framework::logging
