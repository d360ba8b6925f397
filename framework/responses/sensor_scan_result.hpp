#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "framework/i18n/i18n_msg.hpp"
#include "framework/messaging/tiko_message.hpp"
#include "framework/responses/response_codes.hpp"

namespace zentrova::monitoring_modules::framework::responses {

// The outcome of one sensor check: channel values, a message and a response code.
class TIKO_API sensor_scan_result final : public messaging::tiko_message {
public:
    // One reported value, in the order the sensor added it.
    struct channel_value {
        int channel_id;
        bool is_float;
        std::int64_t integer;
        double floating;
    };

    explicit sensor_scan_result(int sensor_id) : sensor_id_(sensor_id) {}

    void add_integer(int channel_id, std::int64_t value) {
        values_.push_back({channel_id, false, value, 0.0});
    }
    void add_float(int channel_id, double value) {
        values_.push_back({channel_id, true, 0, value});
    }
    void set_response_code(scan_response_codes code) { code_ = code; }
    void set_response_message(const i18n::i18n_msg& message) { message_ = message.text(); }

    std::string response_message() const { return message_; }
    scan_response_codes response_code() const { return code_; }
    int sensor_id() const { return sensor_id_; }
    const std::vector<channel_value>& values() const { return values_; }

    std::string serialize() const override;

private:
    int sensor_id_;
    scan_response_codes code_ = scan_response_codes::ok;
    std::string message_;
    std::vector<channel_value> values_;
};

}  // namespace zentrova::monitoring_modules::framework::responses
