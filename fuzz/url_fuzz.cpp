// The URL parser and rebuilder. Input: the URL text.
#include <string>

#include "fuzz/fuzz_target.hpp"
#include "rest/exceptions.hpp"
#include "rest/impl/parsed_url.hpp"
#include "tests/rest/url_expression.hpp"

namespace {

namespace rest = zentrova::monitoring_modules::rest;
using rest::impl::parse_url;
using rest::impl::parsed_url;
using rest::impl::url_parts;
using zentrova::monitoring_modules::fuzz::require;

// The regular expression that the parser writes out recurses once per character.
constexpr std::size_t longest_text_for_the_expression = 256;

// Splits the text as the client does; its one documented failure ends the run quietly.
bool try_parse(const std::string& text, parsed_url& url) {
    try {
        url = parse_url(text);
        return true;
    } catch (const rest::exceptions::invalid_url&) {
        return false;
    }
}

void rebuild_every_way(const parsed_url& url) {
    for (unsigned mask = 0; mask < 32; ++mask) {
        const url_parts parts{(mask & 1U) != 0, (mask & 2U) != 0, (mask & 4U) != 0,
                              (mask & 8U) != 0, (mask & 16U) != 0};
        const std::string text = url.rebuild(parts);
        require(text.find(url.host) != std::string::npos, "a rebuilt URL lost its host");
    }
    require(url.rebuild({}) == url.text, "rebuilding every part changed the URL");
}

}  // namespace

MICROSOFTAZURE_FUZZ_TARGET(url) {
    const std::string text(reinterpret_cast<const char*>(data), size);  // NOLINT: bytes as text
    if (text.size() <= longest_text_for_the_expression) {
        require(rest::testing::split_by_parse_url(text) == rest::testing::split_by_expression(text),
                "the parser splits a URL otherwise than its regular expression");
    }
    parsed_url url;
    if (!try_parse(text, url)) {
        return 0;
    }
    require(!url.host.empty(), "a URL without host was accepted");
    rebuild_every_way(url);

    // The Azure AD provider keys tokens on the scheme-only form (scheme, host and a port that is
    // not the scheme's default); that form must split again into the same origin.
    const std::string origin = url.rebuild(url_parts::scheme_only());
    parsed_url again;
    require(try_parse(origin, again), "the origin of a valid URL does not parse");
    require(again.host == url.host, "the origin of a URL names another host");
    require(again.scheme == url.scheme || url.scheme.empty(),
            "the origin of a URL has another scheme");
    if (url.port != 0) {
        require(again.port == url.port, "the origin of a URL has another port");
    }
    return 0;
}
