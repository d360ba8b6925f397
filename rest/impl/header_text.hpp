#pragma once

#include <algorithm>
#include <cctype>
#include <string_view>

namespace zentrova::monitoring_modules::rest::impl {

// Header and cookie names compare without regard to case on the wire.
inline bool same_header_name(std::string_view left, std::string_view right) {
    return left.size() == right.size() &&
           std::equal(left.begin(), left.end(), right.begin(), [](char one, char other) {
               return std::tolower(static_cast<unsigned char>(one)) ==
                      std::tolower(static_cast<unsigned char>(other));
           });
}

// `text` without the blanks (and line ends) around it.
inline std::string_view trim_blanks(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace zentrova::monitoring_modules::rest::impl
