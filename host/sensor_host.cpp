#include "host/sensor_host.hpp"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <jsoncons/json.hpp>

#include "host/host_error.hpp"
#include "host/host_platform.hpp"
#include "host/host_state.hpp"
#include "host/module_documents.hpp"
#include "host/module_library.hpp"
#include "host/progress_bar.hpp"
#include "host/result_printer.hpp"
#include "host/settings_buffer.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

std::string exit_reason(int code) {
    switch (code) {
        case 1:
            return "the module could not carry it out";
        case 2:
            return "an unexpected failure escaped the module";
        case 3:
            return "the module is not initialised";
        case 4:
            return "unknown kind or sensor id";
        default:
            return "code " + std::to_string(code);
    }
}

long long milliseconds_since(std::chrono::steady_clock::time_point started) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 started)
        .count();
}

}  // namespace

sensor_host::sensor_host(host_options options, std::ostream& out, std::ostream& err)
    : options_(std::move(options)), out_(out), err_(err) {}

sensor_host::~sensor_host() {
    if (module_) {
        module_->cleanup();
    }
}

void sensor_host::start() {
    if (!options_.log_dir.empty()) {
        set_environment_variable("MICROSOFTAZURE_LOG_DIR", options_.log_dir);
    }
    module_ = std::make_unique<module_library>(options_.module_path);
    const int code = module_->initialize();
    if (code != 0) {
        throw host_error("The module did not start (InitializeModule answered " +
                         std::to_string(code) + "). Check MICROSOFTAZURE_* variables" +
                         (options_.log_dir.empty()
                              ? std::string(" and run with --log-dir to see why")
                              : " and " + options_.log_dir + "/MicrosoftAzure.log"));
    }
    module_->module_information(true);
    const auto messages = module_->take_messages();
    if (messages.size() != 1) {
        throw host_error("The module answered GetModuleInformation with " +
                         std::to_string(messages.size()) + " messages instead of one");
    }
    documents_ = std::make_unique<module_documents>(messages.front());
}

std::string sensor_host::resolve_setting_key(const std::string& sensor_kind,
                                             const std::string& name) const {
    std::string known;
    for (const auto& setting : documents_->sensor_settings(sensor_kind)) {
        if (setting.key == name || setting.key.substr(setting.key.rfind('.') + 1) == name) {
            return setting.key;
        }
        known += (known.empty() ? "" : ", ") + setting.key.substr(setting.key.rfind('.') + 1);
    }
    if (name.find('.') != std::string::npos) {
        return name;  // a full key the definition does not list: passed on as given
    }
    throw host_error("\"" + sensor_kind + "\" has no setting \"" + name + "\"" +
                     (known.empty() ? "" : "; its settings are: " + known));
}

int sensor_host::info() {
    start();
    if (options_.format == "json") {
        out_ << documents_->definition_json() << "\n";
        return 0;
    }
    result_printer(out_, *documents_).module_info(options_.module_path, module_->api_level());
    return 0;
}

int sensor_host::discover(const std::string& metascan_kind, const credentials_file& credentials) {
    start();
    const auto kinds = documents_->metascan_kinds();
    if (std::find(kinds.begin(), kinds.end(), metascan_kind) == kinds.end()) {
        throw host_error("\"" + metascan_kind + "\" is not a meta scan of this module; try " +
                         (kinds.empty() ? std::string("sensor-host info") : kinds.front()));
    }
    auto settings = connection_settings(!options_.log_dir.empty());
    add_credentials(settings, credentials);

    progress_bar bar(err_);
    module_->on_message([&bar](const std::string& text) {
        const auto message = jsoncons::ojson::parse(text);
        if (message["type"].as<std::string>() == "metascan_progress") {
            bar.show(message["progress"].as<int>(), message["text"].as<std::string>());
        }
    });
    const auto started = std::chrono::steady_clock::now();
    const int code = module_->meta_scan(
        options_.sensor_id, 1,
        settings_buffer(metascan_kind, settings, secure_settings(credentials), {}));
    const auto elapsed = milliseconds_since(started);
    module_->on_message(nullptr);
    const auto texts = module_->take_messages();
    std::vector<jsoncons::ojson> messages;
    messages.reserve(texts.size());
    for (const auto& text : texts) {
        messages.push_back(jsoncons::ojson::parse(text));
    }
    const result_printer printer(out_, *documents_);
    if (options_.format == "json") {
        printer.messages(texts);
    }
    if (code != 0) {
        err_ << "ExecuteMetaScan answered " << code << ": " << exit_reason(code) << "\n";
        return 2;
    }
    const auto result = std::find_if(
        messages.begin(), messages.end(),
        [](const jsoncons::ojson& m) { return m["type"].as<std::string>() == "meta_scan_result"; });
    if (result == messages.end()) {
        err_ << "The meta scan sent no result\n";
        return 2;
    }

    auto state = host_state::load(options_.state_path);
    auto& rows = state.discoveries[metascan_kind];
    rows.clear();
    for (const auto& entry : (*result)["entries"].array_range()) {
        discovered_row row{entry["display"].as<std::string>(), {}};
        for (const auto& value : entry["values"].object_range()) {
            row.values[value.key()] = value.value().as<std::string>();
        }
        rows.push_back(std::move(row));
    }
    state.save(options_.state_path);

    const int response = (*result)["response_code"].as<int>();
    if (options_.format != "json") {
        if (response != 0) {
            printer.discovery_failure(response, (*result)["message"].as<std::string>());
        } else {
            printer.discovery(metascan_kind, rows, elapsed);
        }
    }
    return response == 0 ? 0 : 1;
}

int sensor_host::check(const std::string& sensor_kind, const credentials_file& credentials,
                       const std::map<std::string, std::string>& assignments,
                       std::optional<size_t> from_row) {
    start();
    const auto kinds = documents_->sensor_kinds();
    if (std::find(kinds.begin(), kinds.end(), sensor_kind) == kinds.end()) {
        std::string known;
        for (const auto& kind : kinds) {
            known += (known.empty() ? "" : ", ") + kind;
        }
        throw host_error("\"" + sensor_kind +
                         "\" is not a sensor kind of this module; its kinds are: " + known);
    }
    auto state = host_state::load(options_.state_path);
    auto& sensor = state.sensors[options_.sensor_id];
    if (!sensor.kind.empty() && sensor.kind != sensor_kind) {
        err_ << "Sensor " << options_.sensor_id << " was a " << sensor.kind << "; starting a new "
             << sensor_kind << " under that id\n";
        sensor = sensor_state{};
    }
    sensor.kind = sensor_kind;
    gather_settings(sensor_kind, state, sensor, assignments, from_row);

    auto settings = connection_settings(!options_.log_dir.empty());
    settings.insert(sensor.settings.begin(), sensor.settings.end());
    add_credentials(settings, credentials);
    const auto secure = secure_settings(credentials);

    std::vector<std::string> all;
    const result_printer printer(out_, *documents_);
    const int created = module_->create_sensor(
        options_.sensor_id, settings_buffer(sensor_kind, settings, secure, sensor));
    for (const auto& text : module_->take_messages()) {
        sensor.remember(text);
        all.push_back(text);
    }
    if (created != 0) {
        if (options_.format == "json") {
            printer.messages(all);
        }
        err_ << "CreateSensorInstance answered " << created << ": " << exit_reason(created)
             << (options_.log_dir.empty() ? "; run with --log-dir DIR to see why"
                                          : "; see " + options_.log_dir + "/MicrosoftAzure.log")
             << "\n";
        return 2;
    }
    const auto started = std::chrono::steady_clock::now();
    const int checked =
        module_->check(options_.sensor_id, settings_buffer(sensor_kind, settings, secure, sensor));
    const auto elapsed = milliseconds_since(started);
    std::optional<std::string> result;
    for (const auto& text : module_->take_messages()) {
        sensor.remember(text);
        if (jsoncons::ojson::parse(text)["type"].as<std::string>() == "sensor_scan_result") {
            result = text;
        }
        all.push_back(text);
    }
    module_->destroy_sensor(options_.sensor_id);
    module_->take_messages();
    state.save(options_.state_path);

    if (options_.format == "json") {
        printer.messages(all);
    }
    if (checked != 0 || !result) {
        err_ << "ExecuteCheck answered " << checked << ": " << exit_reason(checked) << "\n";
        return 2;
    }
    const int response = jsoncons::ojson::parse(*result)["response_code"].as<int>();
    if (options_.format != "json") {
        printer.check_result(sensor_kind, options_.sensor_id, elapsed, *result, sensor);
    }
    return response == 0 ? 0 : 1;
}

void sensor_host::gather_settings(const std::string& sensor_kind, host_state& state,
                                  sensor_state& sensor,
                                  const std::map<std::string, std::string>& assignments,
                                  std::optional<size_t> from_row) const {
    if (from_row) {
        const auto first = documents_->first_meta_step(sensor_kind);
        if (!first) {
            throw host_error("\"" + sensor_kind +
                             "\" is not created from discovery rows; drop --from-row");
        }
        const auto& rows = state.discoveries[*first];
        if (*from_row == 0 || *from_row > rows.size()) {
            const auto where = "There is no row " + std::to_string(*from_row) + " of " + *first +
                               " in " + options_.state_path;
            if (rows.empty()) {
                throw host_error(where + "; run: sensor-host discover " + *first + " first");
            }
            throw host_error(where + "; pick a row from 1 to " + std::to_string(rows.size()));
        }
        if (sensor.settings != rows[*from_row - 1].values) {
            sensor.channels.clear();  // another resource: the host starts the sensor afresh
            sensor.persistent_data.clear();
        }
        sensor.settings = rows[*from_row - 1].values;
    }
    for (const auto& setting : documents_->sensor_settings(sensor_kind)) {
        if (!setting.options.empty() && sensor.settings.count(setting.key) == 0) {
            sensor.settings[setting.key] = setting.default_value;
        }
    }
    for (const auto& [name, value] : assignments) {
        sensor.settings[resolve_setting_key(sensor_kind, name)] = value;
    }
    if (const auto first = documents_->first_meta_step(sensor_kind)) {
        for (const auto& column : documents_->metascan_columns(*first)) {
            if (sensor.settings.count(column.key) == 0) {
                throw host_error(
                    "\"" + sensor_kind +
                    "\" watches a resource that discovery found; run sensor-host discover " +
                    *first + " and pass --from-row N, or give --set " + column.key +
                    "=... for each column");
            }
        }
    }
}

}  // namespace zentrova::monitoring_modules::host
