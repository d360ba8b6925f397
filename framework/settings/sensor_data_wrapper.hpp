#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "framework/tiko_export.hpp"

namespace zentrova::monitoring_modules::framework::settings {

// Read-only view of the settings buffer the host hands over with one call: the sensor's kind,
// its settings and secret settings by full key, its channel map and its persistent data.
// The buffer is a JSON object; see docs/host-protocol.md.
class TIKO_API sensor_data_wrapper {
public:
    // Reads the buffer; throws utils::exceptions::invalid_settings_buffer saying what is wrong
    // (null pointer, not JSON, a member of the wrong type). The pointer is not kept.
    sensor_data_wrapper(const void* data, unsigned size);

    // The kind the host asks for ("" when the buffer names none).
    const std::string& get_kind() const { return kind_; }

    // The text of a setting; throws utils::exceptions::setting_not_available when missing.
    const std::string& get_value(const std::string& key) const;
    // The text of a secret setting (looked up among the secret settings only).
    const std::string& get_secure_value(const std::string& key) const;
    // The text of a setting, or nullptr when the host sent none.
    const std::string* find_value(const std::string& key) const;

    std::map<int, std::string> get_channels() const { return channels_; }
    std::map<std::string, std::string> get_persistent_data() const { return persistent_data_; }

    // The whole buffer as JSON, every secret value replaced by "********" (for logging).
    std::string to_json() const;

    // Where a text of "settings" or "secure_settings" lies in the buffer: name and value.
    struct text_place {
        std::uint32_t name_at;
        std::uint32_t name_size;
        std::uint32_t value_at;
        std::uint32_t value_size;
    };

private:
    // The settings and secret settings, made from the places of their texts on first use: a
    // check reads none of them (a sensor reads its settings when it is made). A wrapper belongs
    // to the one call it was made for and is not shared between threads.
    const std::map<std::string, std::string>& settings() const;
    const std::map<std::string, std::string>& secure_settings() const;

    std::string kind_;
    std::string text_;  // the buffer, when the places below point into it
    std::vector<text_place> settings_places_;
    std::vector<text_place> secure_settings_places_;
    mutable bool texts_made_ = false;
    mutable std::map<std::string, std::string> settings_;
    mutable std::map<std::string, std::string> secure_settings_;
    std::map<int, std::string> channels_;
    std::map<std::string, std::string> persistent_data_;
};

}  // namespace zentrova::monitoring_modules::framework::settings
