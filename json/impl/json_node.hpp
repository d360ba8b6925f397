#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zentrova::monitoring_modules::json::impl {

// One value inside a parsed json_document, read where it lies. A node does not own the value:
// whoever holds a node also holds the document it points into. The conversions here are the
// rules both parser implementations share; a kind that does not fit throws
// exceptions::exception with the kind's name as details ("null", "bool", "int64", "uint64",
// "half", "double", "string", "byte_string", "array", "object" or "unknown_type").
class json_node {
public:
    // An empty string, byte string, array or object. Null, numbers and booleans never are.
    bool is_empty() const;

    // Follows a JSON Pointer from this node. A pointer that leads nowhere throws
    // exceptions::empty_result with the pointer as details; a malformed one throws
    // exceptions::query_error with the library's text.
    json_node at_pointer(const std::string& pointer) const;
    // The same, but a pointer that leads nowhere answers false instead of throwing: callers
    // that probe for the end of a list should not pay for an exception per list.
    bool find_pointer(const std::string& pointer, json_node& found) const;

    std::string to_string() const;
    std::int64_t to_int() const;
    double to_double() const;
    bool to_bool() const;

    // Array elements in order; other kinds are a type error.
    std::vector<json_node> elements() const;
    // Object members ordered by name; other kinds are a type error.
    std::vector<std::pair<std::string, json_node>> members() const;
    // Type error unless the value is an object.
    void expect_object() const;

private:
    friend class json_document;

    // The value's type belongs to the JSON library, which stays out of headers: nodes are made
    // only in json_document.cpp and json_node.cpp, and only json_node.cpp reads through them.
    explicit json_node(const void* value) : value_(value) {}

    const void* value_;
};

}  // namespace zentrova::monitoring_modules::json::impl
