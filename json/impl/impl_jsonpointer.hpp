#pragma once

#include <memory>
#include <string_view>

#include "json/impl/json_document.hpp"
#include "json/impl/json_node.hpp"
#include "json/parser_interface.hpp"

namespace zentrova::monitoring_modules::json::impl {

// parser_interface over JSON Pointers. A path that leads nowhere, or to an empty string, array
// or object, is an empty_result. Sub-parsers share this parser's document and start their
// paths at the value they were cut from.
class impl_jsonpointer final : public parser_interface {
public:
    explicit impl_jsonpointer(std::string_view body);
    impl_jsonpointer(std::shared_ptr<const json_document> document, json_node base);

    std::string get_string(const std::string& path) const override;
    std::int64_t get_int(const std::string& path) const override;
    double get_double(const std::string& path) const override;
    bool get_bool(const std::string& path) const override;
    std::vector<std::string> get_string_array(const std::string& path) const override;
    std::map<std::string, std::string> get_string_map(const std::string& path) const override;
    std::vector<std::unique_ptr<parser_interface>> get_object_array(
        const std::string& path) const override;
    std::unique_ptr<parser_interface> get_object(const std::string& path) const override;

private:
    json_node find(const std::string& path) const;

    std::shared_ptr<const json_document> document_;
    json_node base_;
};

}  // namespace zentrova::monitoring_modules::json::impl
