#include "framework/settings/impl/plain_buffer_scanner.hpp"

#include <jsoncons/json_visitor.hpp>

#include "framework/utils/plain_text.hpp"

namespace zentrova::monitoring_modules::framework::settings::impl {

namespace {

// Deeper than any buffer nests; the parser's own limit is far beyond it.
constexpr int deepest = 8;

}  // namespace

bool plain_buffer_scanner::scan() {
    skip_blanks();
    if (!object(0)) {
        return false;
    }
    skip_blanks();
    return at_ == end_;
}

void plain_buffer_scanner::skip_blanks() {
    while (at_ != end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) {
        ++at_;
    }
}

bool plain_buffer_scanner::next_is(char expected) {
    skip_blanks();
    if (at_ != end_ && *at_ == expected) {
        ++at_;
        return true;
    }
    return false;
}

// A quoted text of printable ASCII without escapes, the opening quote already read.
bool plain_buffer_scanner::text(std::string_view& found) {
    const char* const start = at_;
    at_ = utils::plain_ascii_run_end(at_, end_);
    if (at_ == end_ || *at_ != '"') {
        return false;
    }
    found = std::string_view(start, static_cast<std::size_t>(at_ - start));
    ++at_;
    return true;
}

bool plain_buffer_scanner::object(int depth) {
    if (depth > deepest || !next_is('{')) {
        return false;
    }
    visitor_.begin_object();
    if (next_is('}')) {
        visitor_.end_object();
        return true;
    }
    do {
        std::string_view name;
        if (!next_is('"') || !text(name) || !next_is(':')) {
            return false;
        }
        visitor_.key(name);
        if (!value(depth)) {
            return false;
        }
    } while (next_is(','));
    if (!next_is('}')) {
        return false;
    }
    visitor_.end_object();
    return true;
}

bool plain_buffer_scanner::value(int depth) {
    skip_blanks();
    if (at_ == end_) {
        return false;
    }
    if (*at_ == '"') {
        ++at_;
        std::string_view found;
        if (!text(found)) {
            return false;
        }
        visitor_.string_value(found);
        return true;
    }
    if (*at_ == '{') {
        return object(depth + 1);
    }
    if (end_ - at_ >= 4 && std::string_view(at_, 4) == "null") {
        at_ += 4;
        visitor_.null_value();
        return true;
    }
    return false;
}

}  // namespace zentrova::monitoring_modules::framework::settings::impl
