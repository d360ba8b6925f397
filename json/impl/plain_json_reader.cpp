#include "json/impl/plain_json_reader.hpp"

#include <jsoncons/json_visitor.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>

#include "framework/utils/plain_text.hpp"

namespace zentrova::monitoring_modules::json::impl {

namespace {

// Deeper than any answer nests; the library's own limit lies far beyond.
constexpr int deepest = 64;
// Integers of up to 18 digits fit both 64-bit kinds the library reads them into.
constexpr int longest_integer = 18;
// A mantissa of up to 15 digits and a power of ten up to 10^22 are both exact doubles, so one
// multiplication or division rounds the number correctly, as every correct conversion does.
constexpr int longest_mantissa = 15;
constexpr int largest_power = 22;

constexpr std::array<double, largest_power + 1> powers_of_ten{
    1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

bool is_blank(char character) {
    return character == ' ' || character == '\n' || character == '\r' || character == '\t';
}

}  // namespace

bool plain_json_reader::read() {
    if (!value(0)) {
        return false;
    }
    skip_blanks();
    return at_ == end_;
}

void plain_json_reader::skip_blanks() {
    while (at_ != end_ && is_blank(*at_)) {
        ++at_;
    }
}

bool plain_json_reader::next_is(char expected) {
    skip_blanks();
    if (at_ != end_ && *at_ == expected) {
        ++at_;
        return true;
    }
    return false;
}

bool plain_json_reader::value(int depth) {
    skip_blanks();
    if (at_ == end_) {
        return false;
    }
    const jsoncons::ser_context context;
    std::error_code failed;
    switch (*at_) {
        case '{':
            ++at_;
            return object(depth + 1);
        case '[':
            ++at_;
            return array(depth + 1);
        case '"': {
            ++at_;
            std::string_view found;
            if (!text(found)) {
                return false;
            }
            visitor_.string_value(found, jsoncons::semantic_tag::none, context, failed);
            return !failed;
        }
        case 't':
            if (!word("true")) {
                return false;
            }
            visitor_.bool_value(true, jsoncons::semantic_tag::none, context, failed);
            return !failed;
        case 'f':
            if (!word("false")) {
                return false;
            }
            visitor_.bool_value(false, jsoncons::semantic_tag::none, context, failed);
            return !failed;
        case 'n':
            if (!word("null")) {
                return false;
            }
            visitor_.null_value(jsoncons::semantic_tag::none, context, failed);
            return !failed;
        default:
            return number();
    }
}

bool plain_json_reader::object(int depth) {
    const jsoncons::ser_context context;
    std::error_code failed;
    if (depth > deepest) {
        return false;
    }
    visitor_.begin_object(jsoncons::semantic_tag::none, context, failed);
    if (!next_is('}')) {
        do {
            std::string_view name;
            if (failed || !next_is('"') || !text(name)) {
                return false;
            }
            visitor_.key(name, context, failed);
            if (failed || !next_is(':') || !value(depth)) {
                return false;
            }
        } while (next_is(','));
        if (!next_is('}')) {
            return false;
        }
    }
    visitor_.end_object(context, failed);
    return !failed;
}

bool plain_json_reader::array(int depth) {
    const jsoncons::ser_context context;
    std::error_code failed;
    if (depth > deepest) {
        return false;
    }
    visitor_.begin_array(jsoncons::semantic_tag::none, context, failed);
    if (!next_is(']')) {
        do {
            if (failed || !value(depth)) {
                return false;
            }
        } while (next_is(','));
        if (!next_is(']')) {
            return false;
        }
    }
    visitor_.end_array(context, failed);
    return !failed;
}

// A text without escapes or control characters, its opening quote already read. Bytes beyond
// ASCII must form well-formed UTF-8 (the Unicode standard's table of byte sequences, which the
// library checks too); the reader declines any other.
bool plain_json_reader::text(std::string_view& found) {
    const char* const start = at_;
    while (at_ != end_) {
        at_ = framework::utils::plain_ascii_run_end(at_, end_);
        if (at_ == end_) {
            break;
        }
        const auto character = static_cast<unsigned char>(*at_);
        if (character == '"') {
            found = std::string_view(start, static_cast<std::size_t>(at_ - start));
            ++at_;
            return true;
        }
        if (character < 0x80U || !utf8_sequence()) {
            return false;  // a backslash or a control character, or not UTF-8
        }
    }
    return false;
}

// One multi-byte UTF-8 sequence at at_, which it passes.
bool plain_json_reader::utf8_sequence() {
    const auto lead = static_cast<unsigned char>(*at_);
    // The second byte's range depends on the lead byte; the others are 80..BF.
    unsigned char low = 0x80U;
    unsigned char high = 0xBFU;
    std::size_t length = 0;
    if (lead >= 0xC2U && lead <= 0xDFU) {
        length = 2;
    } else if (lead >= 0xE0U && lead <= 0xEFU) {
        length = 3;
        low = lead == 0xE0U ? 0xA0U : low;
        high = lead == 0xEDU ? 0x9FU : high;
    } else if (lead >= 0xF0U && lead <= 0xF4U) {
        length = 4;
        low = lead == 0xF0U ? 0x90U : low;
        high = lead == 0xF4U ? 0x8FU : high;
    } else {
        return false;
    }
    if (static_cast<std::size_t>(end_ - at_) < length) {
        return false;
    }
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(at_[i]);
        if (next < (i == 1 ? low : 0x80U) || next > (i == 1 ? high : 0xBFU)) {
            return false;
        }
    }
    at_ += length;
    return true;
}

bool plain_json_reader::word(std::string_view expected) {
    if (static_cast<std::size_t>(end_ - at_) < expected.size() ||
        std::string_view(at_, expected.size()) != expected) {
        return false;
    }
    at_ += expected.size();
    return true;
}

// The library's number grammar (no leading zeros, digits on both sides of the point), read into
// the kinds it reads them into: negative integers as int64, the others as uint64, numbers with a
// fraction or an exponent as double.
bool plain_json_reader::number() {
    const char* const start = at_;
    const bool negative = *at_ == '-';
    if (negative) {
        ++at_;
    }
    if (at_ == end_ || !is_digit(*at_)) {
        return false;
    }
    std::uint64_t mantissa = 0;  // exact while there are at most longest_integer digits
    int digits = 0;
    int exponent = 0;
    const auto add_digits = [&](int shift) {
        for (; at_ != end_ && is_digit(*at_); ++at_) {
            if (++digits <= longest_integer) {
                mantissa = mantissa * 10U + static_cast<std::uint64_t>(*at_ - '0');
                exponent += shift;
            }
        }
    };
    if (*at_ == '0') {
        ++at_;
        if (at_ != end_ && is_digit(*at_)) {
            return false;
        }
    } else {
        add_digits(0);
    }
    bool fraction = false;
    if (at_ != end_ && *at_ == '.') {
        ++at_;
        fraction = true;
        if (at_ == end_ || !is_digit(*at_)) {
            return false;
        }
        add_digits(-1);
    }
    if (at_ != end_ && (*at_ == 'e' || *at_ == 'E')) {
        ++at_;
        fraction = true;
        const bool below_one = at_ != end_ && *at_ == '-';
        if (at_ != end_ && (*at_ == '+' || *at_ == '-')) {
            ++at_;
        }
        if (at_ == end_ || !is_digit(*at_)) {
            return false;
        }
        int power = 0;
        for (; at_ != end_ && is_digit(*at_); ++at_) {
            power = std::min(power * 10 + (*at_ - '0'), 100000);
        }
        exponent += below_one ? -power : power;
    }
    if (at_ != end_ && *at_ != ',' && *at_ != '}' && *at_ != ']' && !is_blank(*at_)) {
        return false;
    }
    const jsoncons::ser_context context;
    std::error_code failed;
    if (!fraction) {
        if (digits > longest_integer) {
            return false;  // the library reads it as uint64, int64 or a big integer's text
        }
        if (negative) {
            visitor_.int64_value(-static_cast<std::int64_t>(mantissa), jsoncons::semantic_tag::none,
                                 context, failed);
        } else {
            visitor_.uint64_value(mantissa, jsoncons::semantic_tag::none, context, failed);
        }
        return !failed;
    }
    double number = 0;
    if (digits <= longest_mantissa && exponent <= largest_power && exponent >= -largest_power) {
        number = static_cast<double>(mantissa);
        if (exponent < 0) {
            number /= powers_of_ten[static_cast<std::size_t>(-exponent)];
        } else {
            number *= powers_of_ten[static_cast<std::size_t>(exponent)];
        }
        number = negative ? -number : number;
    } else {
        // Longer numbers (Azure writes costs with 17 digits) are converted, correctly rounded, as
        // the library's conversion does; one beyond a double's range is left to the library.
        const auto converted = std::from_chars(start, at_, number);
        if (converted.ec != std::errc() || converted.ptr != at_) {
            return false;
        }
    }
    visitor_.double_value(number, jsoncons::semantic_tag::none, context, failed);
    return !failed;
}

}  // namespace zentrova::monitoring_modules::json::impl
