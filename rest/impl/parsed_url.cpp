#include "rest/impl/parsed_url.hpp"

#include <algorithm>
#include <string_view>

#include "rest/exceptions.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

constexpr std::size_t npos = std::string_view::npos;

struct url_groups {
    std::string_view scheme;
    std::string_view user;
    std::string_view password;
    std::string_view host;
    std::string_view port;
    std::string_view path;
    std::string_view query;
    std::string_view fragment;
};

// The regular expression of parse_url, written out. std::regex's matchers recurse once per
// character (a URL of a few thousand characters, a long resource id say, exhausted a 1 MiB
// thread stack), and breadth-first matching is an extension of one standard library only. The
// alternatives are tried in the expression's order; each step takes the longest text its
// character class allows, because whatever a shorter one leaves over cannot start the next part.
class url_splitter {
public:
    explicit url_splitter(std::string_view text) : text_(text) {
        // The fragment's "." takes no line break, so the path, query and fragment match from a
        // position only if no '#' lies between it and the last line break.
        const std::size_t last_break = text.find_last_of("\r\n");
        if (last_break != npos) {
            hash_before_break_ = text.rfind('#', last_break);
        }
    }

    bool split(url_groups& groups) const {
        // A scheme counts only when "://" follows it; the "//" may still be taken as the start
        // of what follows.
        const std::size_t scheme_end = text_.find_first_of(":/?#");
        if (scheme_end != npos && scheme_end > 0 && text_[scheme_end] == ':' &&
            text_.compare(scheme_end + 1, 2, "//") == 0) {
            groups.scheme = text_.substr(0, scheme_end);
            if (split_from(scheme_end + 3, groups) || split_from(scheme_end + 1, groups)) {
                return true;
            }
            groups.scheme = {};
        }
        if (text_.compare(0, 2, "//") == 0 && split_from(2, groups)) {
            return true;
        }
        return split_from(0, groups);
    }

private:
    bool tail_matches_from(std::size_t position) const {
        return hash_before_break_ == npos || position > hash_before_break_;
    }

    // User information, host, port, path, query and fragment from `start` on.
    bool split_from(std::size_t start, url_groups& groups) const {
        const std::size_t end = text_.size();
        // The user runs up to the first ':' at the most. The longest user that lets the rest
        // match is taken: up to that ':' with a password up to the next '@', else up to the last
        // '@' before the ':'. A shorter one never helps, since the rest matches from a position
        // only if it matches from every later one.
        const std::size_t colon = std::min(text_.find(':', start), end);
        const std::size_t at_after_colon = colon < end ? text_.find('@', colon + 1) : npos;
        std::size_t host_start = start;
        std::string_view user;
        std::string_view password;
        if (colon > start && at_after_colon != npos) {
            user = text_.substr(start, colon - start);
            password = text_.substr(colon + 1, at_after_colon - colon - 1);
            host_start = at_after_colon + 1;
        } else if (colon > start) {
            const std::size_t at = text_.rfind('@', colon - 1);
            if (at != npos && at > start) {
                user = text_.substr(start, at - start);
                host_start = at + 1;
            }
        }
        if (!tail_matches_from(host_start)) {
            return false;
        }
        const std::size_t host_end = std::min(text_.find_first_of("@\\/?#:", host_start), end);
        std::size_t path_start = host_end;
        groups.port = {};
        if (host_end < end && text_[host_end] == ':') {
            path_start = host_end + 1;
            while (path_start < end && text_[path_start] >= '0' && text_[path_start] <= '9') {
                ++path_start;
            }
            groups.port = text_.substr(host_end + 1, path_start - host_end - 1);
        }
        groups.user = user;
        groups.password = password;
        groups.host = text_.substr(host_start, host_end - host_start);
        const std::size_t path_end = std::min(text_.find_first_of("?#", path_start), end);
        groups.path = text_.substr(path_start, path_end - path_start);
        std::size_t fragment_mark = path_end;
        groups.query = {};
        if (path_end < end && text_[path_end] == '?') {
            fragment_mark = std::min(text_.find('#', path_end + 1), end);
            groups.query = text_.substr(path_end + 1, fragment_mark - path_end - 1);
        }
        groups.fragment =
            fragment_mark < end ? text_.substr(fragment_mark + 1) : std::string_view();
        return true;
    }

    std::string_view text_;
    std::size_t hash_before_break_ = npos;  // the last '#' before the last line break
};

// The port as written (decimal digits, leading zeros allowed). One outside 1 to 65535 is
// refused: cut to 16 bits it would send the request to another port (65979 to 443).
std::uint16_t port_number(const std::string& text, std::string_view digits) {
    std::uint32_t port = 0;
    for (const char digit : digits) {
        port = port * 10U + static_cast<std::uint32_t>(digit - '0');
        if (port > 65535U) {
            break;
        }
    }
    if (port == 0U || port > 65535U) {
        throw exceptions::invalid_url(
            text, "the port " + std::string(digits) + " is not a port number (1 to 65535)");
    }
    return static_cast<std::uint16_t>(port);
}

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

parsed_url parse_url(const std::string& text) {
    url_groups groups;
    if (!url_splitter(text).split(groups)) {
        throw exceptions::invalid_url(text);
    }
    parsed_url url;
    url.text = text;
    url.scheme = groups.scheme;
    if (url.scheme.find('\\') != std::string::npos) {
        throw exceptions::invalid_url(text, "the scheme holds a backslash");
    }
    url.user = groups.user;
    url.password = groups.password;
    url.host = groups.host;
    if (url.host.empty()) {
        throw exceptions::invalid_url(text, "there is no host");
    }
    url.path = groups.path;
    // The host stops at the first character it cannot hold; unless that begins the path, it is
    // something like a backslash or a port that is not a number, and the request would go to
    // the wrong place.
    if (!url.path.empty() && url.path.front() != '/') {
        throw exceptions::invalid_url(text, "the host '" + url.host + "' is followed by '" +
                                                url.path.substr(0, 1) +
                                                "', which begins neither a port nor a path");
    }
    url.port = groups.port.empty() ? default_port(url.scheme) : port_number(text, groups.port);
    url.query = groups.query;
    url.fragment = groups.fragment;
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
