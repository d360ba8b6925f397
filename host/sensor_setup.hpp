#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/credentials_file.hpp"
#include "host/host_state.hpp"

namespace zentrova::monitoring_modules::host {

class module_library;
class module_documents;
class module_log;

// Makes sensors as a probe does, for every command that creates them: settles a sensor's
// settings (a discovery row, the defaults of settings with options, then --set) and creates it
// through the module's exports with the host's connection settings and the credentials. What
// the module's definition can tell (a setting's name, a choice's values) is checked here,
// before anything is created.
class sensor_setup {
public:
    // `logging`: the sensors' logs are on unless a --set says otherwise.
    sensor_setup(module_library& module, const module_documents& documents, module_log& log,
                 credentials_file credentials, bool logging);

    // Settles `sensor`'s plain settings for its kind: `row`'s values when one is given (another
    // resource than before starts the sensor afresh), the defaults of settings with options,
    // then `assignments` by name or full key. Throws host_error for a setting the kind lacks, a
    // value its choices lack, or a column of its discovery that is still missing.
    void gather_settings(sensor_state& sensor, const discovered_row* row,
                         const std::map<std::string, std::string>& assignments) const;
    // The full key of a setting given by its last name part or full key; throws host_error
    // naming the closest setting and listing the kind's others when it has none of that name.
    std::string resolve_setting_key(const std::string& sensor_kind, const std::string& name) const;
    bool has_setting(const std::string& sensor_kind, const std::string& name) const;
    // The names --set takes for a kind: its own settings' last parts, then the connection's.
    std::vector<std::string> setting_names(const std::string& sensor_kind) const;

    // The buffer of a call for the sensor: the connection settings, its own settings, the
    // credentials, and its channels and persistent data so far.
    std::string buffer(const sensor_state& sensor) const;
    // CreateSensorInstance under `sensor_id`, keeping what the sensor declares or stores; the
    // call's messages go to `messages`. Returns the export's answer.
    int create(int sensor_id, sensor_state& sensor, std::vector<std::string>& messages) const;
    // Why the last create() failed, for people: its answer and what the module logged.
    std::string why_not_created(int code) const;

private:
    module_library& module_;
    const module_documents& documents_;
    module_log& log_;
    credentials_file credentials_;
    bool logging_;
};

}  // namespace zentrova::monitoring_modules::host
