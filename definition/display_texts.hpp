#pragma once

#include <string>

namespace zentrova::monitoring_modules::microsoftazure::definition {

// The display-text document (JSON): English texts for the keys the module sends.
const std::string& display_texts();

}  // namespace zentrova::monitoring_modules::microsoftazure::definition
