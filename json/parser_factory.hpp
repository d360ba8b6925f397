#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "json/parser_interface.hpp"

namespace zentrova::monitoring_modules::json {

// The most values a body may hold: each object, array, text, number, true, false and null counts
// one. A parsed value costs up to about 150 bytes however short its text, so a 30 MB answer of
// zeros would take gigabytes; Azure's answers hold thousands of values, a page of a long list a
// few hundred thousand at most. A body with more is refused with exceptions::too_many_values
// (docs/reliability.md has the figures).
constexpr std::size_t largest_document_values = 1'000'000;

// Parses the body once; paths are JSON Pointers ("/properties/rows/0/1"). Throws
// exceptions::parse_error when the body is not JSON, exceptions::too_many_values when it holds
// more values than the limit. The body is read where it lies and may go once the parser is made.
std::unique_ptr<parser_interface> create_jsonpointer_parser(std::string_view body);

// Parses the body once; paths are JSONPath expressions ("$.properties.rows[0][1]"). Only the
// four scalar queries are available on it. Throws as create_jsonpointer_parser does.
std::unique_ptr<parser_interface> create_jsonpath_parser(std::string_view body);

}  // namespace zentrova::monitoring_modules::json
