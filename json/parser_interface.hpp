#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zentrova::monitoring_modules::json {

// Typed queries by path over one parsed JSON document (a REST response body). The parser
// factories in parser_factory.hpp hand out the two implementations: one takes JSON Pointers
// ("/value/0/name"), the other JSONPath expressions ("$.value[0].name"). The document is
// parsed once, when the parser is made, and never changes afterwards; queries only read it.
// A parser has no locks: it belongs to the one sensor run that made it and is not shared.
// Failures are exceptions of json/exceptions.hpp; no query returns a default value, except
// get_string_array, which answers an empty list when the path leads nowhere.
class parser_interface {
public:
    virtual ~parser_interface() = default;

    parser_interface(const parser_interface&) = delete;
    parser_interface& operator=(const parser_interface&) = delete;
    parser_interface(parser_interface&&) = delete;
    parser_interface& operator=(parser_interface&&) = delete;

    // Scalars: strings, numbers and booleans, numbers in their JSON text form.
    virtual std::string get_string(const std::string& path) const = 0;
    // Integers, or strings that begin with a decimal integer; numbers with a fraction fail.
    virtual std::int64_t get_int(const std::string& path) const = 0;
    // Numbers, or strings that begin with a number.
    virtual double get_double(const std::string& path) const = 0;
    // JSON true and false only.
    virtual bool get_bool(const std::string& path) const = 0;
    // An array of scalars, in array order.
    virtual std::vector<std::string> get_string_array(const std::string& path) const = 0;
    // An object of scalars, ordered by member name.
    virtual std::map<std::string, std::string> get_string_map(const std::string& path) const = 0;
    // An array of objects, one parser per element; its paths start at that element.
    virtual std::vector<std::unique_ptr<parser_interface>> get_object_array(
        const std::string& path) const = 0;
    // An object; the new parser's paths start at that object.
    virtual std::unique_ptr<parser_interface> get_object(const std::string& path) const = 0;

protected:
    parser_interface() = default;
};

}  // namespace zentrova::monitoring_modules::json
