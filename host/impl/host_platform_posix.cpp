#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

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
