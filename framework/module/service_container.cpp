#include "framework/module/service_container.hpp"

#if defined(__GNUG__)
#include <cxxabi.h>

#include <cstdlib>
#endif

namespace zentrova::monitoring_modules::framework::module {

std::string type_name(const std::type_info& type) {
#if defined(__GNUG__)
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    if (status == 0 && name) {
        return name.get();
    }
#endif
    return type.name();
}

}  // namespace zentrova::monitoring_modules::framework::module
