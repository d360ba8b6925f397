#pragma once

#include <string_view>

namespace jsoncons {
template <typename CharT>
class basic_json_visitor;
}  // namespace jsoncons

namespace zentrova::monitoring_modules::framework::settings::impl {

// The buffers hosts send are objects of objects of plain texts: no escapes, no numbers, no
// arrays, nothing but printable ASCII inside quotes. plain_buffer_scanner reads exactly that shape
// and sends the same events the JSON parser would to the visitor, at a fraction of the parser's
// cost per character. At the first thing outside that shape it gives up, and the buffer is read
// again by the JSON parser, which decides what it is and, when it is not JSON, says why.
class plain_buffer_scanner {
public:
    plain_buffer_scanner(std::string_view text, jsoncons::basic_json_visitor<char>& visitor)
        : at_(text.data()), end_(text.data() + text.size()), visitor_(visitor) {}

    // Whether the whole text had that shape; the visitor has seen part of it when it had not.
    bool scan();

private:
    void skip_blanks();
    bool next_is(char expected);
    bool text(std::string_view& found);
    bool object(int depth);
    bool value(int depth);

    const char* at_;
    const char* const end_;
    jsoncons::basic_json_visitor<char>& visitor_;
};

}  // namespace zentrova::monitoring_modules::framework::settings::impl
