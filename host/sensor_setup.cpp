#include "host/sensor_setup.hpp"

#include <algorithm>
#include <utility>

#include "host/closest_name.hpp"
#include "host/host_error.hpp"
#include "host/module_documents.hpp"
#include "host/module_library.hpp"
#include "host/module_log.hpp"
#include "host/settings_buffer.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

std::string last_part(const std::string& key) {
    return key.substr(key.rfind('.') + 1);
}

// The settings every call carries, which any kind takes (connection_settings() gives their
// defaults); "host" follows MICROSOFTAZURE_ARM_ENDPOINT and is not the user's to set.
bool is_connection_setting(const std::string& name) {
    return name == "timeout" || name == "logging";
}

// "a or b", "a, b or c".
std::string alternatives(const std::vector<std::string>& values) {
    std::string text;
    for (std::size_t i = 0; i < values.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == values.size() ? " or " : ", ") + values[i];
    }
    return text;
}

}  // namespace

sensor_setup::sensor_setup(module_library& module, const module_documents& documents,
                           module_log& log, credentials_file credentials, bool logging)
    : module_(module),
      documents_(documents),
      log_(log),
      credentials_(std::move(credentials)),
      logging_(logging) {}

std::vector<std::string> sensor_setup::setting_names(const std::string& sensor_kind) const {
    std::vector<std::string> names;
    for (const auto& setting : documents_.sensor_settings(sensor_kind)) {
        names.push_back(last_part(setting.key));
    }
    names.emplace_back("timeout");
    names.emplace_back("logging");
    return names;
}

bool sensor_setup::has_setting(const std::string& sensor_kind, const std::string& name) const {
    if (is_connection_setting(name)) {
        return true;
    }
    const auto settings = documents_.sensor_settings(sensor_kind);
    return std::any_of(settings.begin(), settings.end(), [&](const auto& setting) {
        return setting.key == name || last_part(setting.key) == name;
    });
}

std::string sensor_setup::resolve_setting_key(const std::string& sensor_kind,
                                              const std::string& name) const {
    if (is_connection_setting(name)) {
        return name;
    }
    for (const auto& setting : documents_.sensor_settings(sensor_kind)) {
        if (setting.key == name || last_part(setting.key) == name) {
            return setting.key;
        }
    }
    if (name.find('.') != std::string::npos) {
        return name;  // a full key the definition does not list: passed on as given
    }
    const auto known = setting_names(sensor_kind);
    std::string listed;
    for (const auto& setting : known) {
        listed += (listed.empty() ? "" : ", ") + setting;
    }
    throw host_error("\"" + sensor_kind + "\" has no setting \"" + name + "\"; did you mean " +
                     closest_name(name, known) + "? Its settings are: " + listed);
}

void sensor_setup::gather_settings(sensor_state& sensor, const discovered_row* row,
                                   const std::map<std::string, std::string>& assignments) const {
    const std::string& kind = sensor.kind;
    if (row != nullptr) {
        if (sensor.settings != row->values) {
            sensor.channels.clear();  // another resource: the host starts the sensor afresh
            sensor.persistent_data.clear();
        }
        sensor.settings = row->values;
    }
    const auto settings = documents_.sensor_settings(kind);
    for (const auto& setting : settings) {
        if (!setting.options.empty() && sensor.settings.count(setting.key) == 0) {
            sensor.settings[setting.key] = setting.default_value;
        }
    }
    for (const auto& [name, value] : assignments) {
        const std::string key = resolve_setting_key(kind, name);
        const auto setting = std::find_if(settings.begin(), settings.end(),
                                          [&](const auto& known) { return known.key == key; });
        if (setting != settings.end() && !setting->options.empty() &&
            std::find(setting->options.begin(), setting->options.end(), value) ==
                setting->options.end()) {
            std::string message = "--set ";
            message.append(name).append("=").append(value).append(": ").append(last_part(key));
            message.append(" takes ").append(alternatives(setting->options));
            message.append(" (").append(setting->display).append(")");
            throw host_error(message);
        }
        if (key == "logging" && value == "enabled" && !log_.kept()) {
            throw host_error(
                "--set logging=enabled writes the sensor's log into the log folder; pass "
                "--log-dir DIR as well");
        }
        sensor.settings[key] = value;
    }
    if (const auto first = documents_.first_meta_step(kind)) {
        for (const auto& column : documents_.metascan_columns(*first)) {
            if (sensor.settings.count(column.key) == 0) {
                throw host_error(
                    "\"" + kind +
                    "\" watches a resource that discovery found; run sensor-host discover " +
                    *first + " and pass --from-row N, or give --set " + column.key +
                    "=... for each column");
            }
        }
    }
}

std::string sensor_setup::buffer(const sensor_state& sensor) const {
    auto settings = connection_settings(logging_);
    for (const auto& [key, value] : sensor.settings) {
        settings[key] = value;  // a --set timeout or logging stands over the host's own
    }
    add_credentials(settings, credentials_);
    return settings_buffer(sensor.kind, settings, secure_settings(credentials_), sensor);
}

int sensor_setup::create(int sensor_id, sensor_state& sensor,
                         std::vector<std::string>& messages) const {
    log_.mark();
    const int code = module_.create_sensor(sensor_id, buffer(sensor), messages);
    for (const auto& text : messages) {
        sensor.remember(text);
    }
    return code;
}

std::string sensor_setup::why_not_created(int code) const {
    return "CreateSensorInstance answered " + std::to_string(code) + ": " +
           module_library::answer_meaning(code) + "." + log_.explanation();
}

}  // namespace zentrova::monitoring_modules::host
