#pragma once

#include <string_view>

namespace jsoncons {
template <typename CharT>
class basic_json_visitor;
}  // namespace jsoncons

namespace zentrova::monitoring_modules::json::impl {

// Reads the plain JSON that Azure answers with, in one pass, and hands the JSON library's
// document builder the very events the library's own parser would: the parser reads a character
// at a time and checks every text again as UTF-8, which costs more than the whole document.
// Plain means: texts without escapes or control characters, in well-formed UTF-8; integers of at
// most 18 digits; numbers with a fraction or an exponent within a double's range; true, false,
// null, objects and arrays, blanks between them. Anything else ends the reading (an escape, a
// byte that is not UTF-8, a longer integer, a comment, anything malformed): the caller then lets
// the library's parser read the text from the start, so that a text that is not plain gets
// exactly the library's document or the library's error.
class plain_json_reader {
public:
    plain_json_reader(std::string_view text, jsoncons::basic_json_visitor<char>& visitor)
        : at_(text.data()), end_(text.data() + text.size()), visitor_(visitor) {}

    // Whether the whole text was plain JSON; when it was not, the visitor has seen part of it.
    bool read();

private:
    bool value(int depth);
    bool object(int depth);
    bool array(int depth);
    bool text(std::string_view& found);
    bool utf8_sequence();
    bool number();
    bool word(std::string_view expected);
    void skip_blanks();
    bool next_is(char expected);

    const char* at_;
    const char* end_;
    jsoncons::basic_json_visitor<char>& visitor_;
};

}  // namespace zentrova::monitoring_modules::json::impl
