#pragma once

#include <algorithm>
#include <regex>
#include <string>

#include "rest/exceptions.hpp"
#include "rest/impl/parsed_url.hpp"

// parse_url follows a regular expression that it writes out by hand. The expression itself,
// run by std::regex, is the reference it is compared with on short texts (std::regex recurses
// once per character, so only short ones).
namespace zentrova::monitoring_modules::rest::testing {

// What parse_url makes of `text`: its parts joined by "|", or the text of its failure.
inline std::string split_by_parse_url(const std::string& text) {
    try {
        const auto url = impl::parse_url(text);
        return url.scheme + "|" + url.user + "|" + url.password + "|" + url.host + "|" +
               std::to_string(url.port) + "|" + url.path + "|" + url.query + "|" + url.fragment;
    } catch (const exceptions::invalid_url& failure) {
        return failure.what();
    }
}

// The same from the expression's groups and parse_url's checks of them.
inline std::string split_by_expression(const std::string& text) {
    static const std::regex expression(
        R"(^(([^:\/?#]+):(?=\/\/))?(\/\/)?((([^:]+)(?::([^@]+)?)?@)?([^@\\\/?#:]*)(?::(\d+)?)?)?([^?#]*)(\?([^#]*))?(#(.*))?)");
    std::smatch groups;
    if (!std::regex_match(text, groups, expression)) {
        return exceptions::invalid_url(text).what();
    }
    const std::string scheme = groups[2];
    const std::string host = groups[8];
    const std::string path = groups[10];
    if (scheme.find('\\') != std::string::npos) {
        return exceptions::invalid_url(text, "the scheme holds a backslash").what();
    }
    if (host.empty()) {
        return exceptions::invalid_url(text, "there is no host").what();
    }
    if (!path.empty() && path.front() != '/') {
        return exceptions::invalid_url(text, "the host '" + host + "' is followed by '" +
                                                 path.substr(0, 1) +
                                                 "', which begins neither a port nor a path")
            .what();
    }
    std::uint16_t port = impl::default_port(scheme);
    if (groups[9].length() > 0) {
        const std::string digits = groups[9].str();
        const std::string significant =
            digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
        const unsigned long value = significant.size() > 5 ? 65536 : std::stoul("0" + significant);
        if (value == 0 || value > 65535) {
            return exceptions::invalid_url(
                       text, "the port " + digits + " is not a port number (1 to 65535)")
                .what();
        }
        port = static_cast<std::uint16_t>(value);
    }
    return scheme + "|" + groups[6].str() + "|" + groups[7].str() + "|" + host + "|" +
           std::to_string(port) + "|" + path + "|" + groups[12].str() + "|" + groups[14].str();
}

}  // namespace zentrova::monitoring_modules::rest::testing
