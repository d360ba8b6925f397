#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "host/host_error.hpp"
#include "host/host_platform.hpp"

namespace zentrova::monitoring_modules::host {

std::string default_module_path(const char* argv0) {
    // The command's own file says where it lies; argv[0] has no folder when the command runs
    // through PATH.
    std::error_code unknown;
    const std::string executable = std::filesystem::read_symlink("/proc/self/exe", unknown);
    const std::string self = unknown ? std::string(argv0) : executable;
    const auto slash = self.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : self.substr(0, slash);
    return folder + "/../lib/libMicrosoftAzure.so";
}

void set_environment_variable(const std::string& name, const std::string& value) {
    ::setenv(name.c_str(), value.c_str(), 1);
}

std::string make_private_folder(const std::string& prefix) {
    std::error_code unknown;
    const auto temporary = std::filesystem::temp_directory_path(unknown);
    std::string name = (unknown ? std::filesystem::path("/tmp") : temporary) / (prefix + "XXXXXX");
    if (::mkdtemp(name.data()) == nullptr) {  // mode 0700
        throw host_error("Cannot make a temporary folder " + name + ": " + std::strerror(errno) +
                         "; check TMPDIR, or pass --log-dir DIR");
    }
    return name;
}

std::string user_state_folder() {
    const char* state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && state[0] == '/') {
        return std::string(state) + "/microsoftazure";
    }
    const char* home = std::getenv("HOME");
    return home != nullptr && home[0] == '/' ? std::string(home) + "/.local/state/microsoftazure"
                                             : std::string();
}

std::optional<terminal_size> output_terminal_size() {
    if (::isatty(STDOUT_FILENO) == 0) {
        return std::nullopt;
    }
    terminal_size size;
    winsize window{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0 &&
        window.ws_row > 0) {
        size.columns = window.ws_col;
        size.rows = window.ws_row;
    }
    return size;
}

}  // namespace zentrova::monitoring_modules::host
