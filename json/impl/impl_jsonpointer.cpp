#include "json/impl/impl_jsonpointer.hpp"

#include <utility>

#include "json/exceptions.hpp"

namespace zentrova::monitoring_modules::json::impl {

impl_jsonpointer::impl_jsonpointer(std::string_view body)
    : document_(std::make_shared<const json_document>(body)), base_(document_->root()) {}

impl_jsonpointer::impl_jsonpointer(std::shared_ptr<const json_document> document, json_node base)
    : document_(std::move(document)), base_(base) {}

json_node impl_jsonpointer::find(const std::string& path) const {
    const json_node found = base_.at_pointer(path);
    if (found.is_empty()) {
        throw exceptions::empty_result(path);
    }
    return found;
}

std::string impl_jsonpointer::get_string(const std::string& path) const {
    return find(path).to_string();
}

std::int64_t impl_jsonpointer::get_int(const std::string& path) const {
    return find(path).to_int();
}

double impl_jsonpointer::get_double(const std::string& path) const {
    return find(path).to_double();
}

bool impl_jsonpointer::get_bool(const std::string& path) const {
    return find(path).to_bool();
}

std::vector<std::string> impl_jsonpointer::get_string_array(const std::string& path) const {
    // A list that is missing or empty reads as no entries. Callers read tables row by row
    // until a row is missing, so that case is answered without an exception.
    json_node list(base_);
    if (!base_.find_pointer(path, list) || list.is_empty()) {
        return {};
    }
    const std::vector<json_node> elements = list.elements();
    std::vector<std::string> result;
    result.reserve(elements.size());
    for (const json_node& element : elements) {
        result.push_back(element.to_string());
    }
    return result;
}

std::map<std::string, std::string> impl_jsonpointer::get_string_map(const std::string& path) const {
    std::map<std::string, std::string> result;
    for (auto& [name, value] : find(path).members()) {
        result.emplace(std::move(name), value.to_string());
    }
    return result;
}

std::vector<std::unique_ptr<parser_interface>> impl_jsonpointer::get_object_array(
    const std::string& path) const {
    const std::vector<json_node> elements = find(path).elements();
    // Check every element before building any parser, so a bad element costs nothing.
    for (const json_node& element : elements) {
        element.expect_object();
    }
    std::vector<std::unique_ptr<parser_interface>> result;
    result.reserve(elements.size());
    for (const json_node& element : elements) {
        result.push_back(std::make_unique<impl_jsonpointer>(document_, element));
    }
    return result;
}

std::unique_ptr<parser_interface> impl_jsonpointer::get_object(const std::string& path) const {
    const json_node found = find(path);
    found.expect_object();
    return std::make_unique<impl_jsonpointer>(document_, found);
}

}  // namespace zentrova::monitoring_modules::json::impl
