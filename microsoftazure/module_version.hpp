#pragma once

namespace zentrova::monitoring_modules::microsoftazure {

// Logged when a sensor starts and sent in the User-Agent of every request.
inline constexpr const char* module_version = "0.22.2.7441";

}  // namespace zentrova::monitoring_modules::microsoftazure
