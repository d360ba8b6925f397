#include "framework/settings/sensor_data_wrapper.hpp"

#include <charconv>
#include <jsoncons/json.hpp>

#include "framework/messaging/impl/json_writer.hpp"
#include "framework/utils/exceptions.hpp"

namespace zentrova::monitoring_modules::framework::settings {
namespace {

using utils::exceptions::invalid_settings_buffer;
using utils::exceptions::setting_not_available;

// A member that must be an object of texts; a missing or null member means empty.
std::map<std::string, std::string> read_texts(const jsoncons::json& root,
                                              const std::string& member) {
    std::map<std::string, std::string> texts;
    const auto found = root.find(member);
    if (found == root.object_range().end() || found->value().is_null()) {
        return texts;
    }
    if (!found->value().is_object()) {
        throw invalid_settings_buffer("\"" + member + "\" must be an object of texts");
    }
    for (const auto& entry : found->value().object_range()) {
        if (!entry.value().is_string()) {
            throw invalid_settings_buffer(
                "\"" + member + "\".\"" + entry.key() +
                "\" must be a text (numbers are sent as text, e.g. \"60\")");
        }
        texts.emplace(entry.key(), entry.value().as_string());
    }
    return texts;
}

std::map<int, std::string> read_channels(const jsoncons::json& root) {
    std::map<int, std::string> channels;
    for (const auto& [id_text, name] : read_texts(root, "channels")) {
        int id = 0;
        const char* end = id_text.data() + id_text.size();
        const auto [stop, error] = std::from_chars(id_text.data(), end, id, 10);
        if (id_text.empty() || error != std::errc() || stop != end) {
            throw invalid_settings_buffer("the channel id \"" + id_text +
                                          "\" is not a decimal number");
        }
        channels.emplace(id, name);
    }
    return channels;
}

void write_texts(messaging::impl::json_writer& out, const std::map<std::string, std::string>& texts,
                 bool masked) {
    out.begin_object();
    for (const auto& [key, value] : texts) {
        out.key(key).value(masked ? std::string("********") : value);
    }
    out.end_object();
}

}  // namespace

sensor_data_wrapper::sensor_data_wrapper(const void* data, unsigned size) {
    if (data == nullptr) {
        throw invalid_settings_buffer("the host passed a null pointer (size " +
                                      std::to_string(size) + ")");
    }
    if (size == 0) {
        throw invalid_settings_buffer("the host passed an empty buffer");
    }
    const std::string_view text(static_cast<const char*>(data), size);
    jsoncons::json root;
    try {
        root = jsoncons::json::parse(text);
    } catch (const std::exception& e) {
        throw invalid_settings_buffer(std::string("it is not JSON (") + e.what() + ")");
    }
    if (!root.is_object()) {
        throw invalid_settings_buffer("it must be a JSON object with \"kind\" and \"settings\"");
    }
    const auto kind = root.find("kind");
    if (kind != root.object_range().end() && !kind->value().is_null()) {
        if (!kind->value().is_string()) {
            throw invalid_settings_buffer("\"kind\" must be a text");
        }
        kind_ = kind->value().as_string();
    }
    settings_ = read_texts(root, "settings");
    secure_settings_ = read_texts(root, "secure_settings");
    channels_ = read_channels(root);
    persistent_data_ = read_texts(root, "persistent_data");
}

const std::string& sensor_data_wrapper::get_value(const std::string& key) const {
    const std::string* value = find_value(key);
    if (value == nullptr) {
        throw setting_not_available(key);
    }
    return *value;
}

const std::string& sensor_data_wrapper::get_secure_value(const std::string& key) const {
    const auto found = secure_settings_.find(key);
    if (found == secure_settings_.end()) {
        throw setting_not_available(key);
    }
    return found->second;
}

const std::string* sensor_data_wrapper::find_value(const std::string& key) const {
    const auto found = settings_.find(key);
    return found == settings_.end() ? nullptr : &found->second;
}

std::string sensor_data_wrapper::to_json() const {
    messaging::impl::json_writer out;
    out.begin_object();
    out.key("kind").value(kind_);
    out.key("settings");
    write_texts(out, settings_, false);
    out.key("secure_settings");
    write_texts(out, secure_settings_, true);
    out.key("channels").begin_object();
    for (const auto& [id, name] : channels_) {
        out.key(std::to_string(id)).value(name);
    }
    out.end_object();
    out.key("persistent_data");
    write_texts(out, persistent_data_, false);
    out.end_object();
    return out.str();
}

}  // namespace zentrova::monitoring_modules::framework::settings
