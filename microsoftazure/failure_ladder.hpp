#pragma once

#include <exception>
#include <string>

#include "framework/logging/log_interface.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// How every sensor check and meta scan tells the host what went wrong. Each function logs the
// failure's text first, then picks the message by the failure's kind, most specific first.

// Sensors: "#:error.authentication_failed", "#:error.connection_failed",
// "#:error.request_failed[<failure text>]" (also for an answer with too many values to read), or
// "#:error.generic" for anything else.
std::string sensor_failure_message(const std::exception_ptr& failure,
                                   framework::logging::log_interface& log);

// Meta scans: "#:error.meta.authentication_failed[<text>]",
// "#:error.meta.connection_failed[<text>]", or "An error occurred." directly followed by the
// failure text.
std::string metascan_failure_message(const std::exception_ptr& failure,
                                     framework::logging::log_interface& log);

}  // namespace zentrova::monitoring_modules::microsoftazure
