#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "json/impl/json_node.hpp"

namespace zentrova::monitoring_modules::json::impl {

// The parsed form of one body text, never changed after parsing. Parsers hold it, and the
// sub-parsers cut from a JSON Pointer parser share it, so a sub-object is read where it lies
// instead of being printed and parsed again.
class json_document {
public:
    // Throws exceptions::parse_error with the parser's own text, which names line and column,
    // and exceptions::too_many_values for a text of more than largest_document_values values.
    explicit json_document(std::string_view text);
    ~json_document();

    json_document(json_document&&) noexcept;
    json_document& operator=(json_document&&) noexcept;
    json_document(const json_document&) = delete;
    json_document& operator=(const json_document&) = delete;

    // Valid as long as this document lives; moving the document keeps it valid.
    json_node root() const;

    // Evaluates a JSONPath expression over the whole document. The result is a new document
    // whose root is the array of matches, copied. Throws exceptions::query_error when the
    // expression cannot be evaluated.
    json_document select(const std::string& jsonpath) const;

private:
    struct tree;

    explicit json_document(std::unique_ptr<tree> parsed);

    std::unique_ptr<tree> tree_;
};

}  // namespace zentrova::monitoring_modules::json::impl
