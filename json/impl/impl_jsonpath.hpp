#pragma once

#include <string_view>

#include "json/impl/json_document.hpp"
#include "json/parser_interface.hpp"

namespace zentrova::monitoring_modules::json::impl {

// parser_interface over JSONPath expressions. A path must select exactly one value; only the
// four scalar queries are available, the collection queries throw "NOT YET IMPLEMENTED".
class impl_jsonpath final : public parser_interface {
public:
    explicit impl_jsonpath(std::string_view body);

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
    // Runs the expression and hands the one match to `convert`.
    template <typename Convert>
    auto convert_single_match(const std::string& path, Convert convert) const;

    json_document document_;
};

}  // namespace zentrova::monitoring_modules::json::impl
