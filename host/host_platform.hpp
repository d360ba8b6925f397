#pragma once

#include <string>

// What the sensor host needs of its platform beside loading the module (shared_library.hpp).
// Each platform's part lives in impl/.
namespace zentrova::monitoring_modules::host {

// The module beside the running command: <folder>/../lib/libMicrosoftAzure.so on Linux, in the
// build tree as installed; MicrosoftAzure.dll in the command's own folder on Windows. `argv0`
// serves where the platform cannot say where the command lies.
std::string default_module_path(const char* argv0);

// Sets a variable of this process's environment, where the module reads its configuration.
void set_environment_variable(const std::string& name, const std::string& value);

}  // namespace zentrova::monitoring_modules::host
