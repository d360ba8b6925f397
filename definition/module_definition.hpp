#pragma once

#include <string>

namespace zentrova::monitoring_modules::microsoftazure::definition {

// The module definition document (JSON) the host receives with the module information.
const std::string& module_definition();

}  // namespace zentrova::monitoring_modules::microsoftazure::definition
