#include "rest/impl/curl/shared_object.hpp"

#include <dlfcn.h>

#include <stdexcept>
#include <utility>

namespace zentrova::monitoring_modules::rest::impl {

namespace {

// dlerror's text, which names the file and says why; it is per thread and read once.
std::string loader_reason(const char* fallback) {
    const char* reason = ::dlerror();
    return reason != nullptr ? reason : fallback;
}

}  // namespace

shared_object::shared_object(std::string name, std::string purpose, std::string remedy, opening how)
    : name_(std::move(name)), purpose_(std::move(purpose)), remedy_(std::move(remedy)) {
    static_cast<void>(::dlerror());  // a reason left over from an earlier call is not ours
    const int flags = RTLD_NOW | RTLD_LOCAL | (how == opening::only_if_loaded ? RTLD_NOLOAD : 0);
    handle_ = ::dlopen(name_.c_str(), flags);
    if (handle_ == nullptr) {
        if (how == opening::only_if_loaded) {
            fail(name_ + " is not loaded in this process (" +
                 loader_reason("the loader gave no reason") + ")");
        }
        fail(loader_reason((name_ + ": the loader gave no reason").c_str()));
    }
}

void* shared_object::address(const char* symbol) const {
    static_cast<void>(::dlerror());
    void* found = ::dlsym(handle_, symbol);
    if (found == nullptr) {
        fail(name_ + " has no function " + symbol + " (" +
             loader_reason("the loader gave no reason") + ")");
    }
    return found;
}

void shared_object::fail(const std::string& reason) const {
    throw std::runtime_error(purpose_ + ": " + reason + "; " + remedy_);
}

}  // namespace zentrova::monitoring_modules::rest::impl
