#include <windows.h>

#include <string>

#include "host/host_error.hpp"
#include "host/shared_library.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

// The path as UTF-16, so that module paths with any characters load.
std::wstring widen(const std::string& text) {
    if (text.empty()) {
        return {};
    }
    const int length =
        ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                          length);
    return wide;
}

// The loader's reason for an error code, in English where the system has it.
std::string system_message(DWORD code) {
    char* buffer = nullptr;
    const DWORD length = ::FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, code, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US),
        reinterpret_cast<char*>(&buffer),  // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
        0, nullptr);
    std::string text = length > 0 && buffer != nullptr ? std::string(buffer, length) : "";
    ::LocalFree(buffer);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) {
        text.pop_back();
    }
    return (text.empty() ? "error" : text) + " (code " + std::to_string(code) + ")";
}

}  // namespace

struct shared_library::handle {
    HMODULE library = nullptr;
};

shared_library::shared_library(const std::string& path)
    : path_(path), handle_(std::make_unique<handle>()) {
    // LOAD_WITH_ALTERED_SEARCH_PATH: the module's own folder is searched first for the DLLs it
    // imports, so the TikoHelper.dll beside it is the one that loads, as in a probe's folder.
    // That search only works with backslashes in the path.
    std::wstring native_path = widen(path);
    for (auto& character : native_path) {
        if (character == L'/') {
            character = L'\\';
        }
    }
    handle_->library =
        ::LoadLibraryExW(native_path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (handle_->library == nullptr) {
        throw host_error("Cannot load the module " + path + ": " +
                         system_message(::GetLastError()) +
                         ". Check the path (--module) and that TikoHelper.dll is beside it.");
    }
}

shared_library::~shared_library() {
    if (handle_ && handle_->library != nullptr) {
        ::FreeLibrary(handle_->library);
    }
}

void* shared_library::symbol(const char* name) const {
    FARPROC address = ::GetProcAddress(handle_->library, name);
    if (address == nullptr) {
        throw host_error("The module " + path_ + " does not export " + name +
                         "; is it a sensor module?");
    }
    // A function address as the untyped pointer the loader interface hands out.
    return reinterpret_cast<void*>(address);  // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
}

}  // namespace zentrova::monitoring_modules::host
