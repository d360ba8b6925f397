#include "framework/messaging/impl/json_writer.hpp"

#include <cmath>
#include <jsoncons/json.hpp>

#include "framework/utils/exceptions.hpp"

namespace zentrova::monitoring_modules::framework::messaging::impl {

struct json_writer::state {
    std::string output;
    jsoncons::compact_json_string_encoder encoder{output};
};

json_writer::json_writer() : state_(std::make_unique<state>()) {}
json_writer::~json_writer() = default;

json_writer& json_writer::begin_object() {
    state_->encoder.begin_object();
    return *this;
}

json_writer& json_writer::end_object() {
    state_->encoder.end_object();
    return *this;
}

json_writer& json_writer::begin_array() {
    state_->encoder.begin_array();
    return *this;
}

json_writer& json_writer::end_array() {
    state_->encoder.end_array();
    return *this;
}

json_writer& json_writer::key(const std::string& name) {
    state_->encoder.key(name);
    return *this;
}

json_writer& json_writer::value(const std::string& text) {
    state_->encoder.string_value(text);
    return *this;
}

json_writer& json_writer::value(std::int64_t number) {
    state_->encoder.int64_value(number);
    return *this;
}

json_writer& json_writer::value(double number) {
    if (std::isnan(number)) {
        state_->encoder.string_value("NaN");
    } else if (std::isinf(number)) {
        state_->encoder.string_value(number > 0 ? "Infinity" : "-Infinity");
    } else {
        state_->encoder.double_value(number);
    }
    return *this;
}

json_writer& json_writer::value(bool flag) {
    state_->encoder.bool_value(flag);
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
    parsed.dump(state_->encoder);
    return *this;
}

std::string json_writer::str() {
    state_->encoder.flush();
    return state_->output;
}

}  // namespace zentrova::monitoring_modules::framework::messaging::impl
