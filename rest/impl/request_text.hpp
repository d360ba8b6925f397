#pragma once

#include <string>
#include <string_view>

namespace zentrova::monitoring_modules::rest::impl {

// What every HTTP engine checks and encodes the same way before a request goes out, so that the
// engines refuse and send exactly the same requests.

inline bool is_header_token_character(unsigned char character) {
    constexpr std::string_view punctuation = "!#$%&'*+-.^_`|~";
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
           (character >= 'A' && character <= 'Z') ||
           punctuation.find(static_cast<char>(character)) != std::string_view::npos;
}

// A header that would break the request apart (or smuggle in another) is refused. Returns the
// reason, or nothing when the header can go out.
inline std::string header_problem(const std::string& name, const std::string& value) {
    if (name.empty()) {
        return "a header name must not be empty";
    }
    for (const char character : name) {
        if (!is_header_token_character(static_cast<unsigned char>(character))) {
            return "the name holds '" + std::string(1, character) +
                   "', which a header name cannot hold (letters, digits and !#$%&'*+-.^_`|~ only)";
        }
    }
    // Three vectorised scans for single characters: a scan against a set of three tests every
    // character one by one, and the bearer token, over a kilobyte, goes out with every request.
    if (value.find('\r') != std::string::npos || value.find('\n') != std::string::npos ||
        value.find('\0') != std::string::npos) {
        return "the value holds a line break or a NUL character";
    }
    return {};
}

// Blanks and control characters cannot stand in a request line; they go out percent-encoded, as
// any client would send them. Everything else is left exactly as the caller wrote it.
inline void append_encoded_target(std::string& encoded, const std::string& target) {
    constexpr std::string_view hex = "0123456789ABCDEF";
    encoded.reserve(encoded.size() + target.size());
    // Runs of characters that go out as they are are copied whole: targets are long (a resource
    // id and a list of metric names) and rarely hold anything to encode.
    std::size_t run = 0;
    for (std::size_t at = 0; at < target.size(); ++at) {
        const auto byte = static_cast<unsigned char>(target[at]);
        if (byte <= 0x20U || byte >= 0x7FU) {
            encoded.append(target, run, at - run);
            encoded += '%';
            encoded += hex[byte >> 4U];
            encoded += hex[byte & 0x0FU];
            run = at + 1;
        }
    }
    encoded.append(target, run, std::string::npos);
}

}  // namespace zentrova::monitoring_modules::rest::impl
