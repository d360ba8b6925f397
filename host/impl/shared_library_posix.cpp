#include <dlfcn.h>

#include "host/host_error.hpp"
#include "host/shared_library.hpp"

namespace zentrova::monitoring_modules::host {

struct shared_library::handle {
    void* library = nullptr;
};

shared_library::shared_library(const std::string& path)
    : path_(path), handle_(std::make_unique<handle>()) {
    // RTLD_LOCAL keeps the module's symbols to itself, as a probe loads it.
    handle_->library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_->library == nullptr) {
        const char* reason = ::dlerror();
        throw host_error("Cannot load the module " + path + ": " +
                         (reason != nullptr ? reason : "unknown reason") +
                         ". Check the path (--module) and that libTikoHelper.so is beside it.");
    }
}

shared_library::~shared_library() {
    if (handle_ && handle_->library != nullptr) {
        ::dlclose(handle_->library);
    }
}

void* shared_library::symbol(const char* name) const {
    ::dlerror();
    void* address = ::dlsym(handle_->library, name);
    if (address == nullptr) {
        throw host_error("The module " + path_ + " does not export " + name +
                         "; is it a sensor module?");
    }
    return address;
}

}  // namespace zentrova::monitoring_modules::host
