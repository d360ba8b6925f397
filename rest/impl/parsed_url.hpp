#pragma once

#include <cstdint>
#include <string>

namespace zentrova::monitoring_modules::rest::impl {

// Which parts rebuilding writes; the host is always written.
struct url_parts {
    bool scheme = true;
    bool user_info = true;
    bool path = true;
    bool query = true;
    bool fragment = true;

    static constexpr url_parts scheme_only() { return {true, false, false, false, false}; }
};

// A URL split into its parts; `text` keeps the complete URL as given.
struct parsed_url {
    std::string text;
    std::string scheme;
    std::string user;
    std::string password;
    std::string host;
    std::uint16_t port = 0;  // as written (1 to 65535), else the scheme's default, else 0
    std::string path;
    std::string query;     // without "?"
    std::string fragment;  // without "#"

    // Writes the URL back with the chosen parts. A port is written unless it is 0 or, with the
    // scheme written, that scheme's default; with every part chosen the text comes back as given.
    std::string rebuild(const url_parts& parts) const;
};

// 21 for "ftp", 22 for "ssh", 80 for "http", 443 for "https" (compared exactly), else 0.
std::uint16_t default_port(const std::string& scheme);

// Splits `text` by the rules of the regular expression (one expression, broken in two here)
//   ^(([^:\/?#]+):(?=\/\/))?(\/\/)?((([^:]+)(?::([^@]+)?)?@)?([^@\\\/?#:]*)(?::(\d+)?)?)?
//   ([^?#]*)(\?([^#]*))?(#(.*))?
// matched against the whole text (ECMAScript: the first match in the order of its alternatives),
// whose groups are scheme 2, user 6, password 7, host 8, port 9, path 10, query 12, fragment 14.
// Throws rest::exceptions::invalid_url when it does not match, when the scheme holds a backslash,
// when there is no host, when the host is followed by something that starts neither a port nor
// a path, or when the port is not one of 1 to 65535. Linear time, and the stack does not grow
// with the text.
parsed_url parse_url(const std::string& text);

}  // namespace zentrova::monitoring_modules::rest::impl
