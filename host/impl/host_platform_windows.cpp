#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <string>

#include "host/host_error.hpp"
#include "host/host_platform.hpp"

namespace zentrova::monitoring_modules::host {

std::string default_module_path(const char* argv0) {
    // A probe keeps the module beside its own executable; so does the package.
    std::string self(MAX_PATH, '\0');
    const DWORD length =
        ::GetModuleFileNameA(nullptr, self.data(), static_cast<DWORD>(self.size()));
    self.resize(length > 0 && length < self.size() ? length : 0);
    if (self.empty()) {
        self = argv0;
    }
    const auto separator = self.find_last_of("\\/");
    const std::string folder = separator == std::string::npos ? "." : self.substr(0, separator);
    return folder + "\\MicrosoftAzure.dll";
}

void set_environment_variable(const std::string& name, const std::string& value) {
    // The C runtime's copy, which the module's getenv reads, and the process's.
    ::_putenv_s(name.c_str(), value.c_str());
}

std::string make_private_folder(const std::string& prefix) {
    std::string temporary(MAX_PATH + 1, '\0');
    const DWORD length = ::GetTempPathA(static_cast<DWORD>(temporary.size()), temporary.data());
    temporary.resize(length > 0 && length < temporary.size() ? length : 0);
    static std::atomic<unsigned> made{0};
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string name = temporary + prefix + std::to_string(::GetCurrentProcessId()) +
                                 "-" + std::to_string(made++);
        // The folder inherits the temporary folder's access list, which under the user's
        // profile is the user's own.
        if (::CreateDirectoryA(name.c_str(), nullptr) != 0) {
            return name;
        }
        if (::GetLastError() != ERROR_ALREADY_EXISTS) {
            break;
        }
    }
    throw host_error("Cannot make a temporary folder in " + temporary + " (error " +
                     std::to_string(::GetLastError()) + "); check TEMP, or pass --log-dir DIR");
}

std::string user_state_folder() {
    const char* local = std::getenv("LOCALAPPDATA");
    return local != nullptr && local[0] != '\0' ? std::string(local) + "\\MicrosoftAzure"
                                                : std::string();
}

std::optional<terminal_size> output_terminal_size() {
    const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    if (output == INVALID_HANDLE_VALUE || ::GetConsoleMode(output, &mode) == 0 ||
        ::SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) == 0) {
        return std::nullopt;  // a file, a pipe, or a console without ANSI escapes
    }
    terminal_size size;
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (::GetConsoleScreenBufferInfo(output, &info) != 0) {
        size.columns = static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
        size.rows = static_cast<std::size_t>(info.srWindow.Bottom - info.srWindow.Top + 1);
    }
    return size;
}

}  // namespace zentrova::monitoring_modules::host
