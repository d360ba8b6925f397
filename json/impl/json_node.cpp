#include "json/impl/json_node.hpp"

#include <jsoncons_ext/jsonpointer/jsonpointer.hpp>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <system_error>

#include "json/exceptions.hpp"
#include "json/impl/document_value.hpp"

namespace zentrova::monitoring_modules::json::impl {

namespace {

using jsoncons::json_type;
using jsoncons::jsonpointer::jsonpointer_errc;

const document_value& value_of(const void* address) {
    return *static_cast<const document_value*>(address);
}

const char* kind_name_of(const document_value& value) {
    switch (value.type()) {
        case json_type::null_value:
            return "null";
        case json_type::bool_value:
            return "bool";
        case json_type::int64_value:
            return "int64";
        case json_type::uint64_value:
            return "uint64";
        case json_type::half_value:
            return "half";
        case json_type::double_value:
            return "double";
        case json_type::string_value:
            return "string";
        case json_type::byte_string_value:
            return "byte_string";
        case json_type::array_value:
            return "array";
        case json_type::object_value:
            return "object";
    }
    return "unknown_type";
}

// Thrown as the base class on purpose: callers treat a value of the wrong kind like any other
// unreadable field and catch exceptions::exception, and no handler for the concrete type may
// single it out. The concrete type still supplies the fixed message.
[[noreturn]] void throw_type_error(const document_value& value) {
    const exceptions::unexpected_type_error error(kind_name_of(value));
    throw exceptions::exception(error.what(), error.details());
}

// A pointer that is well formed but names nothing in this document.
bool leads_nowhere(const std::error_code& code) {
    return code == jsonpointer_errc::key_not_found ||
           code == jsonpointer_errc::index_exceeds_array_size ||
           code == jsonpointer_errc::invalid_index ||
           code == jsonpointer_errc::expected_object_or_array;
}

// An array index written the canonical way: "0", or digits without a leading zero. Eighteen
// digits at most, so that the value cannot overflow.
bool canonical_index(std::string_view token, std::size_t& index) {
    if (token.empty() || token.size() > 18 || (token.front() == '0' && token.size() > 1)) {
        return false;
    }
    index = 0;
    for (const char digit : token) {
        if (digit < '0' || digit > '9') {
            return false;
        }
        index = index * 10 + static_cast<std::size_t>(digit - '0');
    }
    return true;
}

// Sensors read tables cell by cell ("/properties/rows/17/0"), and the library's lookup first
// builds a list of token strings for every pointer, which costs more than the walk itself. This
// walks the common pointers in place: no escapes, members by name, elements by canonical index.
// It answers only when every step finds its value; anything else (escapes, "-", odd indexes,
// misses, scalars on the way) returns nullptr and is left to the library's lookup, so results
// and errors stay exactly the library's.
const document_value* find_plain_pointer(const document_value& start, std::string_view pointer) {
    if (pointer.empty() || pointer.front() != '/' || pointer.find('~') != std::string_view::npos) {
        return nullptr;
    }
    const document_value* current = &start;
    std::size_t token_begin = 1;
    for (;;) {
        const std::size_t token_end = std::min(pointer.find('/', token_begin), pointer.size());
        const std::string_view token = pointer.substr(token_begin, token_end - token_begin);
        if (current->type() == json_type::object_value) {
            const auto member = current->find(token);
            if (member == current->object_range().end()) {
                return nullptr;
            }
            current = &member->value();
        } else if (current->type() == json_type::array_value) {
            std::size_t index = 0;
            if (!canonical_index(token, index) || index >= current->size()) {
                return nullptr;
            }
            current = &current->at(index);
        } else {
            return nullptr;
        }
        if (token_end == pointer.size()) {
            return current;
        }
        token_begin = token_end + 1;
    }
}

// Decimal integer with strtoll rules: leading blanks skipped, text after the number ignored.
std::int64_t parse_integer(const std::string& text) {
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    const long long parsed = std::strtoll(begin, &end, 10);
    if (end == begin) {
        throw exceptions::conversion_error("invalid stoll argument");
    }
    if (errno == ERANGE) {
        throw exceptions::conversion_error("stoll argument out of range");
    }
    return parsed;
}

bool is_hex_digit(char character) {
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f') ||
           (character >= 'A' && character <= 'F');
}

// Floating-point number with strtod's rules in the "C" locale: leading blanks skipped, an
// optional sign, then decimal digits, "0x" and hexadecimal digits, "inf", "infinity" or "nan",
// and text after the number ignored. Bodies write numbers with '.', whatever locale the hosting
// process has chosen, and std::from_chars reads them that way on every platform. Like glibc's
// strtod, results too large for a double and results below its smallest normal value (which lose
// precision or vanish) are out of range.
double parse_floating(std::string_view text) {
    const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == std::string_view::npos) {
        throw exceptions::conversion_error("invalid stod argument");
    }
    const char* first = text.data() + start;
    const char* const last = text.data() + text.size();
    // from_chars takes no '+' and reads "0x" as a zero: the sign and the prefix are read here.
    const bool negative = *first == '-';
    if (*first == '+' || *first == '-') {
        ++first;
    }
    if (first == last || *first == '+' || *first == '-') {
        throw exceptions::conversion_error("invalid stod argument");
    }
    double value = 0;
    std::from_chars_result read{};
    if (last - first > 2 && first[0] == '0' && (first[1] == 'x' || first[1] == 'X') &&
        (is_hex_digit(first[2]) || first[2] == '.')) {
        read = std::from_chars(first + 2, last, value, std::chars_format::hex);
        if (read.ec == std::errc::invalid_argument) {
            value = 0;  // "0x." holds no hexadecimal digit: the number is the "0" before it
            read.ec = std::errc();
        }
    } else {
        read = std::from_chars(first, last, value);
    }
    if (read.ec == std::errc::invalid_argument) {
        throw exceptions::conversion_error("invalid stod argument");
    }
    if (read.ec == std::errc::result_out_of_range ||
        (value != 0 && std::fabs(value) < std::numeric_limits<double>::min())) {
        throw exceptions::conversion_error("stod argument out of range");
    }
    return negative ? -value : value;
}

}  // namespace

bool json_node::is_empty() const {
    const document_value& value = value_of(value_);
    switch (value.type()) {
        case json_type::string_value:
            return value.as_string_view().empty();
        case json_type::byte_string_value:
            return value.as_byte_string_view().size() == 0;
        case json_type::array_value:
        case json_type::object_value:
            return value.empty();
        default:
            return false;
    }
}

json_node json_node::at_pointer(const std::string& pointer) const {
    json_node found(nullptr);
    if (!find_pointer(pointer, found)) {
        throw exceptions::empty_result(pointer);
    }
    return found;
}

bool json_node::find_pointer(const std::string& pointer, json_node& found) const {
    if (const document_value* value = find_plain_pointer(value_of(value_), pointer)) {
        found = json_node(value);
        return true;
    }
    std::error_code code;
    // The const overload answers a reference into the document: nothing is copied on the way.
    const document_value& value = jsoncons::jsonpointer::get(value_of(value_), pointer, code);
    if (!code) {
        found = json_node(&value);
        return true;
    }
    if (leads_nowhere(code)) {
        return false;
    }
    throw exceptions::query_error(code.message());
}

std::string json_node::to_string() const {
    const document_value& value = value_of(value_);
    switch (value.type()) {
        case json_type::bool_value:
        case json_type::int64_value:
        case json_type::uint64_value:
        case json_type::half_value:
        case json_type::double_value:
        case json_type::string_value:
            return value.as<std::string>();
        default:
            throw_type_error(value);
    }
}

std::int64_t json_node::to_int() const {
    const document_value& value = value_of(value_);
    switch (value.type()) {
        case json_type::int64_value:
        case json_type::uint64_value:
            return value.as<std::int64_t>();
        case json_type::string_value:
            return parse_integer(std::string(value.as_string_view()));
        default:
            throw_type_error(value);
    }
}

double json_node::to_double() const {
    const document_value& value = value_of(value_);
    switch (value.type()) {
        case json_type::int64_value:
        case json_type::uint64_value:
        case json_type::double_value:
            return value.as<double>();
        case json_type::string_value:
            return parse_floating(value.as_string_view());
        default:
            throw_type_error(value);
    }
}

bool json_node::to_bool() const {
    const document_value& value = value_of(value_);
    if (value.type() != json_type::bool_value) {
        throw_type_error(value);
    }
    return value.as<bool>();
}

std::vector<json_node> json_node::elements() const {
    const document_value& value = value_of(value_);
    if (value.type() != json_type::array_value) {
        throw_type_error(value);
    }
    std::vector<json_node> result;
    result.reserve(value.size());
    for (const document_value& element : value.array_range()) {
        result.push_back(json_node(&element));
    }
    return result;
}

std::vector<std::pair<std::string, json_node>> json_node::members() const {
    const document_value& value = value_of(value_);
    if (value.type() != json_type::object_value) {
        throw_type_error(value);
    }
    std::vector<std::pair<std::string, json_node>> result;
    result.reserve(value.size());
    for (const auto& member : value.object_range()) {
        result.emplace_back(std::string(std::string_view(member.key())),
                            json_node(&member.value()));
    }
    return result;
}

void json_node::expect_object() const {
    const document_value& value = value_of(value_);
    if (value.type() != json_type::object_value) {
        throw_type_error(value);
    }
}

}  // namespace zentrova::monitoring_modules::json::impl
