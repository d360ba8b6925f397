#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "framework/i18n/i18n_msg.hpp"
#include "framework/messaging/tiko_message.hpp"
#include "framework/responses/response_codes.hpp"

namespace zentrova::monitoring_modules::framework::responses {

// The outcome of one meta scan: the discovered rows, a message and a response code.
class TIKO_API meta_scan_result final : public messaging::tiko_message {
public:
    // One discovered row: what the host shows for it and its values by full setting key.
    struct entry {
        std::string display;
        std::unordered_map<std::string, std::string> values;
    };

    meta_scan_result(int sensor_id, unsigned scan_id) : sensor_id_(sensor_id), scan_id_(scan_id) {}

    void add_entry(const i18n::i18n_msg& display,
                   const std::unordered_map<std::string, std::string>& values) {
        entries_.push_back({display.text(), values});
    }
    void response(scan_response_codes code) { code_ = code; }
    void message(const i18n::i18n_msg& text) { message_ = text.text(); }

    scan_response_codes response_code() const { return code_; }
    const std::string& message_text() const { return message_; }
    const std::vector<entry>& entries() const { return entries_; }

    std::string serialize() const override;

private:
    int sensor_id_;
    unsigned scan_id_;
    scan_response_codes code_ = scan_response_codes::ok;
    std::string message_;
    std::vector<entry> entries_;
};

}  // namespace zentrova::monitoring_modules::framework::responses
