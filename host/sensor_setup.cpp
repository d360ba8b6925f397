#include "host/sensor_setup.hpp"

#include <utility>

#include "host/host_error.hpp"
#include "host/module_documents.hpp"
#include "host/module_library.hpp"
#include "host/settings_buffer.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

std::string last_part(const std::string& key) {
    return key.substr(key.rfind('.') + 1);
}

}  // namespace

sensor_setup::sensor_setup(module_library& module, const module_documents& documents,
                           credentials_file credentials, bool logging)
    : module_(module),
      documents_(documents),
      credentials_(std::move(credentials)),
      logging_(logging) {}

bool sensor_setup::has_setting(const std::string& sensor_kind, const std::string& name) const {
    for (const auto& setting : documents_.sensor_settings(sensor_kind)) {
        if (setting.key == name || last_part(setting.key) == name) {
            return true;
        }
    }
    return false;
}

std::string sensor_setup::resolve_setting_key(const std::string& sensor_kind,
                                              const std::string& name) const {
    std::string known;
    for (const auto& setting : documents_.sensor_settings(sensor_kind)) {
        if (setting.key == name || last_part(setting.key) == name) {
            return setting.key;
        }
        known += (known.empty() ? "" : ", ") + last_part(setting.key);
    }
    if (name.find('.') != std::string::npos) {
        return name;  // a full key the definition does not list: passed on as given
    }
    throw host_error("\"" + sensor_kind + "\" has no setting \"" + name + "\"" +
                     (known.empty() ? "" : "; its settings are: " + known));
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
    for (const auto& setting : documents_.sensor_settings(kind)) {
        if (!setting.options.empty() && sensor.settings.count(setting.key) == 0) {
            sensor.settings[setting.key] = setting.default_value;
        }
    }
    for (const auto& [name, value] : assignments) {
        sensor.settings[resolve_setting_key(kind, name)] = value;
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
    settings.insert(sensor.settings.begin(), sensor.settings.end());
    add_credentials(settings, credentials_);
    return settings_buffer(sensor.kind, settings, secure_settings(credentials_), sensor);
}

int sensor_setup::create(int sensor_id, sensor_state& sensor,
                         std::vector<std::string>& messages) const {
    const int code = module_.create_sensor(sensor_id, buffer(sensor), messages);
    for (const auto& text : messages) {
        sensor.remember(text);
    }
    return code;
}

}  // namespace zentrova::monitoring_modules::host
