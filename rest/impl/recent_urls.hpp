#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "rest/impl/parsed_url.hpp"

namespace zentrova::monitoring_modules::rest::impl {

// The last few URLs parsed. A sensor sends to the same few URLs check after check, and the
// URL pattern costs microseconds per match, so each text is parsed once while it stays in use.
// Not thread-safe: one owner at a time.
class recent_urls {
public:
    explicit recent_urls(std::size_t capacity = 8) : capacity_(capacity) {}

    // Like parse_url (same parts, same failures); the reference lives until the next call.
    const parsed_url& parse(const std::string& text);

private:
    std::size_t capacity_;
    std::vector<parsed_url> urls_;
    std::size_t next_replaced_ = 0;
};

}  // namespace zentrova::monitoring_modules::rest::impl
