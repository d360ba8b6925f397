#pragma once

#include <memory>
#include <string>

#include "json/parser_interface.hpp"

namespace zentrova::monitoring_modules::json {

// Parses the body once; paths are JSON Pointers ("/properties/rows/0/1"). Throws
// exceptions::parse_error when the body is not JSON.
std::unique_ptr<parser_interface> create_jsonpointer_parser(std::string body);

// Parses the body once; paths are JSONPath expressions ("$.properties.rows[0][1]"). Only the
// four scalar queries are available on it. Throws exceptions::parse_error when the body is not
// JSON.
std::unique_ptr<parser_interface> create_jsonpath_parser(std::string body);

}  // namespace zentrova::monitoring_modules::json
