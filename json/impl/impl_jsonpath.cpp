#include "json/impl/impl_jsonpath.hpp"

#include "json/exceptions.hpp"

namespace zentrova::monitoring_modules::json::impl {

impl_jsonpath::impl_jsonpath(std::string_view body) : document_(body) {}

template <typename Convert>
auto impl_jsonpath::convert_single_match(const std::string& path, Convert convert) const {
    // The matches are copies owned by this local document; it lives until the conversion ends.
    const json_document matches = document_.select(path);
    const std::vector<json_node> found = matches.root().elements();
    if (found.empty()) {
        throw exceptions::empty_result(path);
    }
    if (found.size() > 1) {
        throw exceptions::unexpected_array_error("Array size is: " + std::to_string(found.size()));
    }
    return convert(found.front());
}

std::string impl_jsonpath::get_string(const std::string& path) const {
    return convert_single_match(path, [](const json_node& value) { return value.to_string(); });
}

std::int64_t impl_jsonpath::get_int(const std::string& path) const {
    return convert_single_match(path, [](const json_node& value) { return value.to_int(); });
}

double impl_jsonpath::get_double(const std::string& path) const {
    return convert_single_match(path, [](const json_node& value) { return value.to_double(); });
}

bool impl_jsonpath::get_bool(const std::string& path) const {
    return convert_single_match(path, [](const json_node& value) { return value.to_bool(); });
}

std::vector<std::string> impl_jsonpath::get_string_array(const std::string& /*path*/) const {
    throw exceptions::exception(exceptions::messages::not_yet_implemented);
}

std::map<std::string, std::string> impl_jsonpath::get_string_map(
    const std::string& /*path*/) const {
    throw exceptions::exception(exceptions::messages::not_yet_implemented);
}

std::vector<std::unique_ptr<parser_interface>> impl_jsonpath::get_object_array(
    const std::string& /*path*/) const {
    throw exceptions::exception(exceptions::messages::not_yet_implemented);
}

std::unique_ptr<parser_interface> impl_jsonpath::get_object(const std::string& /*path*/) const {
    throw exceptions::exception(exceptions::messages::not_yet_implemented);
}

}  // namespace zentrova::monitoring_modules::json::impl
