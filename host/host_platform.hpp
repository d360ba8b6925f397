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

// A new folder only this process's user can read, in the system's temporary folder, named
// `prefix` and a unique ending. Throws host_error when none can be made.
std::string make_private_folder(const std::string& prefix);

// Where the host keeps its state between runs when --state names no file:
// $XDG_STATE_HOME/microsoftazure (or ~/.local/state/microsoftazure) on Linux,
// %LOCALAPPDATA%\MicrosoftAzure on Windows; "" when the environment names no home.
std::string user_state_folder();

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
