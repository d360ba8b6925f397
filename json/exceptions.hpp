#pragma once

#include <exception>
#include <string>

// Errors of the JSON query layer. Each carries a fixed message, returned unchanged by what(),
// and a details string naming the case at hand (the path, the value's kind, the library's own
// error text). Log lines and user-facing texts that want both use full_message().
namespace zentrova::monitoring_modules::json::exceptions {

// Fixed messages, one per exception class; "NOT YET IMPLEMENTED" goes with the base class.
namespace messages {
constexpr const char* conversion_error = "The conversion of a string to a number failed.";
constexpr const char* empty_result = "The queried field is empty.";
constexpr const char* parse_error = "The received JSON data could not be parsed.";
constexpr const char* too_many_values = "The received JSON data holds too many values";
constexpr const char* query_error = "The provided JSONPath is incorrect.";
constexpr const char* unexpected_type_error = "The received value has an unexpected data type.";
constexpr const char* unexpected_array_error =
    "The received value is an array instead of a single value.";
constexpr const char* invalid_content_type = "Invalid Content-Type";
constexpr const char* not_yet_implemented = "NOT YET IMPLEMENTED";
}  // namespace messages

// Base of the family; thrown directly for type mismatches and unimplemented operations.
class exception : public std::exception {
public:
    explicit exception(std::string message, std::string details = {});

    const char* what() const noexcept override;
    const std::string& details() const noexcept { return details_; }
    // The message, then ": " and the details when there are any.
    std::string full_message() const;

private:
    std::string message_;
    std::string details_;
};

// A numeric string had no number at its start or a value out of range.
class conversion_error : public exception {
public:
    explicit conversion_error(std::string details = {});
};

// The path led nowhere, or to an empty string, array or object.
class empty_result : public exception {
public:
    explicit empty_result(std::string details = {});
};

// The body text is not JSON.
class parse_error : public exception {
public:
    explicit parse_error(std::string details = {});
};

// The body holds more values than a document may (parser_factory.hpp); details give the limit.
class too_many_values : public exception {
public:
    explicit too_many_values(std::string details = {});
};

// The path expression itself is malformed.
class query_error : public exception {
public:
    explicit query_error(std::string details = {});
};

// The value's kind does not fit the operation; details name the kind.
class unexpected_type_error : public exception {
public:
    explicit unexpected_type_error(std::string details = {});
};

// A path expected to select one value selected several.
class unexpected_array_error : public exception {
public:
    explicit unexpected_array_error(std::string details = {});
};

// A response declared a body that is not JSON.
class invalid_content_type : public exception {
public:
    explicit invalid_content_type(std::string details = {});
};

}  // namespace zentrova::monitoring_modules::json::exceptions
