#pragma once

#include <memory>
#include <string>

namespace zentrova::monitoring_modules::host {

// A shared library loaded by path, and the addresses of its exported functions. The platform
// part (dlopen, LoadLibrary) lives in impl/.
class shared_library {
public:
    // Throws host_error naming the path and the loader's reason.
    explicit shared_library(const std::string& path);
    shared_library(const shared_library&) = delete;
    shared_library& operator=(const shared_library&) = delete;
    ~shared_library();

    // The address of an exported function; throws host_error when the library lacks it.
    void* symbol(const char* name) const;
    const std::string& path() const { return path_; }

private:
    struct handle;
    std::string path_;
    std::unique_ptr<handle> handle_;
};

}  // namespace zentrova::monitoring_modules::host
