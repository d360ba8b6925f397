#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace zentrova::monitoring_modules::framework::messaging::impl {

// Writes one compact JSON document, member by member, in the order the caller gives.
// Keeps the JSON library out of the framework's headers.
class json_writer {
public:
    json_writer();
    json_writer(const json_writer&) = delete;
    json_writer& operator=(const json_writer&) = delete;
    ~json_writer();

    json_writer& begin_object();
    json_writer& end_object();
    json_writer& begin_array();
    json_writer& end_array();
    json_writer& key(const std::string& name);
    json_writer& value(const std::string& text);
    json_writer& value(const char* text) { return value(std::string(text)); }
    json_writer& value(std::int64_t number);
    json_writer& value(int number) { return value(static_cast<std::int64_t>(number)); }
    json_writer& value(unsigned number) { return value(static_cast<std::int64_t>(number)); }
    // Non-finite numbers, which JSON cannot hold, become "NaN", "Infinity" or "-Infinity".
    json_writer& value(double number);
    json_writer& value(bool flag);
    // Embeds a JSON text as a value; throws utils::exceptions::exception when it is not JSON.
    json_writer& json_value(const std::string& json_text);

    // The document written so far; call after the outermost end_object.
    std::string str();

private:
    struct state;
    std::unique_ptr<state> state_;
};

}  // namespace zentrova::monitoring_modules::framework::messaging::impl
