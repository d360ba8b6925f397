#include "framework/messaging/impl/json_writer.hpp"

#include <cmath>
#include <cstring>
#include <jsoncons/json.hpp>
#include <string_view>
#include <vector>

#include "framework/utils/exceptions.hpp"
#include "framework/utils/plain_text.hpp"

namespace zentrova::monitoring_modules::framework::messaging::impl {

// Writes exactly what the JSON library's compact encoder writes, without going through its
// visitor a character at a time: every message to the host is written here. Texts without
// anything to escape are copied whole; any other text, and every number, is written by the
// library's own functions.
struct json_writer::state {
    // One open object or array: whether it is an array, and how many values it holds so far.
    struct level {
        bool array;
        std::size_t count;
    };

    std::string output;
    std::vector<level> levels;
    jsoncons::detail::write_double write_double{jsoncons::float_chars_format::general, 0};

    // Before a value: the comma between the elements of an array.
    void before_value() {
        if (!levels.empty() && levels.back().array && levels.back().count > 0) {
            output += ',';
        }
    }
    // After a value: one more value in the object or array that holds it.
    void after_value() {
        if (!levels.empty()) {
            ++levels.back().count;
        }
    }
    void begin(bool array) {
        before_value();
        output += array ? '[' : '{';
        levels.push_back({array, 0});
    }
    void end(bool array) {
        output += array ? ']' : '}';
        levels.pop_back();
        after_value();
    }
    void quoted(std::string_view text) {
        output += '"';
        const char* const end = text.data() + text.size();
        // DEL passes the plain test but the library escapes it.
        if (utils::plain_ascii_run_end(text.data(), end) == end &&
            std::memchr(text.data(), 0x7F, text.size()) == nullptr) {
            output.append(text.data(), text.size());
        } else {
            jsoncons::string_sink<std::string> sink(output);
            jsoncons::detail::escape_string(text.data(), text.size(), false, false, sink);
        }
        output += '"';
    }
};

json_writer::json_writer() : state_(std::make_unique<state>()) {
    state_->output.reserve(256);
}
json_writer::~json_writer() = default;

json_writer& json_writer::begin_object() {
    state_->begin(false);
    return *this;
}

json_writer& json_writer::end_object() {
    state_->end(false);
    return *this;
}

json_writer& json_writer::begin_array() {
    state_->begin(true);
    return *this;
}

json_writer& json_writer::end_array() {
    state_->end(true);
    return *this;
}

json_writer& json_writer::key(const std::string& name) {
    if (!state_->levels.empty() && state_->levels.back().count > 0) {
        state_->output += ',';
    }
    state_->quoted(name);
    state_->output += ':';
    return *this;
}

json_writer& json_writer::value(const std::string& text) {
    state_->before_value();
    state_->quoted(text);
    state_->after_value();
    return *this;
}

json_writer& json_writer::value(std::int64_t number) {
    state_->before_value();
    jsoncons::string_sink<std::string> sink(state_->output);
    jsoncons::detail::from_integer(number, sink);
    state_->after_value();
    return *this;
}

json_writer& json_writer::value(double number) {
    if (std::isnan(number)) {
        return value(std::string("NaN"));
    }
    if (std::isinf(number)) {
        return value(std::string(number > 0 ? "Infinity" : "-Infinity"));
    }
    state_->before_value();
    jsoncons::string_sink<std::string> sink(state_->output);
    state_->write_double(number, sink);
    state_->after_value();
    return *this;
}

json_writer& json_writer::value(bool flag) {
    state_->before_value();
    state_->output += flag ? "true" : "false";
    state_->after_value();
    return *this;
}

json_writer& json_writer::json_value(const std::string& json_text) {
    jsoncons::ojson parsed;
    try {
        parsed = jsoncons::ojson::parse(json_text);
    } catch (const std::exception& e) {
        throw utils::exceptions::exception(
            std::string("A message holds a document that is not JSON: ") + e.what());
    }
    state_->before_value();
    std::string compact;
    parsed.dump(compact);
    state_->output += compact;
    state_->after_value();
    return *this;
}

std::string json_writer::str() {
    return state_->output;
}

}  // namespace zentrova::monitoring_modules::framework::messaging::impl
