#include "rest/rest_interface.hpp"

#include "rest/exceptions.hpp"

namespace zentrova::monitoring_modules::rest {

std::string get_header(const header_map& headers, const std::string& name) {
    const auto found = headers.find(name);
    if (found == headers.end()) {
        throw exceptions::header_not_found(name);
    }
    return found->second;
}

std::string get_header(const response& answer, const std::string& name) {
    return get_header(answer.headers, name);
}

std::string response::get_header(const std::string& name) const {
    return rest::get_header(headers, name);
}

}  // namespace zentrova::monitoring_modules::rest
