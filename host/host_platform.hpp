#pragma once

#include <cstddef>
#include <optional>
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

// A terminal's size in characters.
struct terminal_size {
    std::size_t columns = 80;
    std::size_t rows = 24;
};

// Standard output's size when it is a terminal that takes ANSI escapes (on Windows a console,
// whose escapes this switches on); empty when it is a file or a pipe. Asked again at every
// redraw, so a resized window is followed.
std::optional<terminal_size> output_terminal_size();

}  // namespace zentrova::monitoring_modules::host
