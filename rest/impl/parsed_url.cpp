#include "rest/impl/parsed_url.hpp"

#include <regex>

#include "rest/exceptions.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

constexpr const char* url_expression =
    R"(^(([^:\/?#]+):(?=\/\/))?(\/\/)?((([^:]+)(?::([^@]+)?)?@)?([^@\\\/?#:]*)(?::(\d+)?)?)?([^?#]*)(\?([^#]*))?(#(.*))?)";

// Groups: 2 scheme, 6 user, 7 password, 8 host, 9 port, 10 path, 12 query, 14 fragment.
const std::regex& url_pattern() {
    static const std::regex pattern(url_expression, std::regex::ECMAScript | std::regex::optimize);
    return pattern;
}

// libstdc++'s default matcher recurses once per character of the text, so a URL of a few thousand
// characters (a resource id from the settings, say) would exhaust a host thread's stack. Its
// breadth-first matcher keeps the same groups for this pattern without recursing on the text, but
// costs many times more, so it serves only URLs too long for the default one (Azure URLs are a
// few hundred characters; 512 keep the recursion inside a 1 MiB thread stack, sanitizers included).
constexpr std::size_t recursive_match_limit = 512;

const std::regex& long_url_pattern() {
#if defined(__GLIBCXX__)
    static const std::regex pattern(url_expression, std::regex::ECMAScript |
                                                        std::regex_constants::__polynomial |
                                                        std::regex::optimize);
    return pattern;
#else
    return url_pattern();
#endif
}

enum group : std::size_t {
    scheme_group = 2,
    user_group = 6,
    password_group = 7,
    host_group = 8,
    port_group = 9,
    path_group = 10,
    query_group = 12,
    fragment_group = 14,
};

}  // namespace

std::uint16_t default_port(const std::string& scheme) {
    if (scheme == "ftp") {
        return 21;
    }
    if (scheme == "ssh") {
        return 22;
    }
    if (scheme == "http") {
        return 80;
    }
    if (scheme == "https") {
        return 443;
    }
    return 0;
}

parsed_url parse_url(const std::string& text, bool allow_no_host) {
    std::smatch match;
    const auto& pattern = text.size() <= recursive_match_limit ? url_pattern() : long_url_pattern();
    if (!std::regex_match(text, match, pattern)) {
        throw exceptions::invalid_url(text);
    }
    parsed_url url;
    url.text = text;
    url.scheme = match[scheme_group].str();
    if (url.scheme.find('\\') != std::string::npos) {
        throw exceptions::invalid_url(text, "the scheme holds a backslash");
    }
    url.user = match[user_group].str();
    url.password = match[password_group].str();
    url.host = match[host_group].str();
    if (url.host.find('\\') != std::string::npos) {
        throw exceptions::invalid_url(text, "the host holds a backslash");
    }
    if (url.host.empty() && !allow_no_host) {
        throw exceptions::invalid_url(text, "there is no host");
    }
    url.path = match[path_group].str();
    // The host stops at the first character it cannot hold; unless that begins the path, it is
    // something like a backslash or a port that is not a number, and the request would go to
    // the wrong place.
    if (!url.path.empty() && url.path.front() != '/') {
        throw exceptions::invalid_url(text, "the host '" + url.host + "' is followed by '" +
                                                url.path.substr(0, 1) +
                                                "', which begins neither a port nor a path");
    }
    const std::string port = match[port_group].str();
    url.port = port.empty() ? default_port(url.scheme)
                            : static_cast<std::uint16_t>(std::stoul(port, nullptr, 10) & 0xFFFFU);
    url.query = match[query_group].str();
    url.fragment = match[fragment_group].str();
    return url;
}

std::string parsed_url::rebuild(const url_parts& parts) const {
    if (parts.scheme && parts.user_info && parts.path && parts.query && parts.fragment) {
        return text;
    }
    std::string url;
    if (parts.scheme && !scheme.empty()) {
        url += scheme + "://";
    }
    if (parts.user_info && !user.empty()) {
        url += user + ":" + password + "@";
    }
    url += host;
    if (port != 0 && !(parts.scheme && port == default_port(scheme))) {
        url += ":" + std::to_string(port);
    }
    if (parts.path) {
        url += path;
    }
    if (parts.query && !query.empty()) {
        url += "?" + query;
    }
    if (parts.fragment && !fragment.empty()) {
        url += "#" + fragment;
    }
    return url;
}

}  // namespace zentrova::monitoring_modules::rest::impl
