#include "host/sensor_host.hpp"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iomanip>
#include <jsoncons/json.hpp>
#include <sstream>

#include "host/host_error.hpp"
#include "host/host_state.hpp"
#include "host/module_documents.hpp"
#include "host/module_library.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

const std::string credentials_prefix = "azure_credentials_section.credentials_group.";

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

std::string settings_buffer(const std::string& kind,
                            const std::map<std::string, std::string>& settings,
                            const std::map<std::string, std::string>& secure,
                            const sensor_state& sensor) {
    jsoncons::ojson root(jsoncons::json_object_arg);
    auto object = [](const std::map<std::string, std::string>& values) {
        jsoncons::ojson o(jsoncons::json_object_arg);
        for (const auto& [key, value] : values) {
            o.insert_or_assign(key, value);
        }
        return o;
    };
    std::map<std::string, std::string> channels;
    for (const auto& [id, channel] : sensor.channels) {
        channels[std::to_string(id)] = channel.name;
    }
    root.insert_or_assign("kind", kind);
    root.insert_or_assign("settings", object(settings));
    root.insert_or_assign("secure_settings", object(secure));
    root.insert_or_assign("channels", object(channels));
    root.insert_or_assign("persistent_data", object(sensor.persistent_data));
    return root.to_string();
}

void print_table(std::ostream& out, const std::vector<std::string>& header,
                 const std::vector<std::vector<std::string>>& rows) {
    std::vector<size_t> widths(header.size(), 0);
    for (size_t i = 0; i < header.size(); ++i) {
        widths[i] = header[i].size();
        for (const auto& row : rows) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    auto line = [&](const std::vector<std::string>& cells) {
        out << " ";
        for (size_t i = 0; i < cells.size(); ++i) {
            out << " " << std::left << std::setw(static_cast<int>(widths[i])) << cells[i];
        }
        out << "\n";
    };
    line(header);
    std::vector<std::string> rule;
    for (const auto w : widths) {
        rule.emplace_back(w, '-');
    }
    line(rule);
    for (const auto& row : rows) {
        line(row);
    }
}

std::string format_value(const jsoncons::ojson& channel) {
    if (channel["value"].is_string()) {
        return channel["value"].as<std::string>();  // NaN and infinities travel as text
    }
    if (channel["kind"].as<std::string>() == "integer") {
        return std::to_string(channel["value"].as<long long>());
    }
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << channel["value"].as<double>();
    return text.str();
}

// 5368709120 bytes as "5.00 GiB".
std::string readable_bytes(double bytes) {
    const char* units[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
    size_t unit = 0;
    while (bytes >= 1024.0 && unit + 1 < sizeof units / sizeof units[0]) {
        bytes /= 1024.0;
        ++unit;
    }
    std::ostringstream text;
    text << std::fixed << std::setprecision(unit == 0 ? 0 : 2) << bytes << " " << units[unit];
    return text.str();
}

class progress_bar {
public:
    explicit progress_bar(std::ostream& err) : err_(err), enabled_(::isatty(STDERR_FILENO) != 0) {}
    void show(int percent, const std::string& text) {
        if (!enabled_) {
            return;
        }
        percent = std::clamp(percent, 0, 100);
        const int filled = percent / 5;
        err_ << "\r[" << std::string(static_cast<size_t>(filled), '#')
             << std::string(static_cast<size_t>(20 - filled), ' ') << "] " << std::setw(3)
             << percent << "% " << text.substr(0, 50) << "\033[K" << std::flush;
        shown_ = true;
    }
    ~progress_bar() {
        if (shown_) {
            err_ << "\r\033[K" << std::flush;
        }
    }
    progress_bar(const progress_bar&) = delete;
    progress_bar& operator=(const progress_bar&) = delete;

private:
    std::ostream& err_;
    bool enabled_;
    bool shown_ = false;
};

std::vector<jsoncons::ojson> decode(const std::vector<std::string>& texts) {
    std::vector<jsoncons::ojson> messages;
    for (const auto& text : texts) {
        messages.push_back(jsoncons::ojson::parse(text));
    }
    return messages;
}

void print_json(std::ostream& out, const std::vector<jsoncons::ojson>& messages) {
    jsoncons::ojson list(jsoncons::json_array_arg);
    for (const auto& m : messages) {
        list.push_back(m);
    }
    out << jsoncons::pretty_print(list) << "\n";
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
        ::setenv("MICROSOFTAZURE_LOG_DIR", options_.log_dir.c_str(), 1);
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

std::map<std::string, std::string> sensor_host::connection_settings() const {
    std::string host = "management.azure.com";
    if (const char* endpoint = std::getenv("MICROSOFTAZURE_ARM_ENDPOINT")) {
        host = endpoint;
        const auto scheme = host.find("://");
        host = scheme == std::string::npos ? host : host.substr(scheme + 3);
        host = host.substr(0, host.find('/'));
    }
    return {{"host", host},
            {"logging", options_.log_dir.empty() ? "disabled" : "enabled"},
            {"timeout", "60"}};
}

std::map<std::string, std::string> sensor_host::secure_settings(
    const credentials_file& credentials) const {
    return {{"zentrovacloudapikey", ""},
            {credentials_prefix + "client_secret", credentials.client_secret}};
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
    out_ << "Module " << options_.module_path << " (API level " << module_->api_level()
         << ")\n\nSensors:\n";
    for (const auto& kind : documents_->sensor_kinds()) {
        out_ << "  " << kind << "  \"" << documents_->display_name(kind) << "\"";
        if (const auto first = documents_->first_meta_step(kind)) {
            out_ << "  (created from rows of " << *first << ")";
        }
        out_ << "\n";
        for (const auto& setting : documents_->sensor_settings(kind)) {
            out_ << "      --set " << setting.key.substr(setting.key.rfind('.') + 1) << "=";
            if (setting.options.empty()) {
                out_ << "TEXT";
            } else {
                std::string options;
                for (const auto& option : setting.options) {
                    options += (options.empty() ? "" : "|") + option;
                }
                out_ << options << "  (default " << setting.default_value << ")";
            }
            out_ << "  " << setting.display << "\n";
        }
    }
    out_ << "\nMeta scans:\n";
    for (const auto& kind : documents_->metascan_kinds()) {
        out_ << "  " << kind << "  columns:";
        for (const auto& column : documents_->metascan_columns(kind)) {
            out_ << " \"" << column.display << "\"";
        }
        out_ << "\n";
    }
    return 0;
}

int sensor_host::discover(const std::string& metascan_kind, const credentials_file& credentials) {
    start();
    const auto kinds = documents_->metascan_kinds();
    if (std::find(kinds.begin(), kinds.end(), metascan_kind) == kinds.end()) {
        throw host_error("\"" + metascan_kind + "\" is not a meta scan of this module; try " +
                         (kinds.empty() ? std::string("sensor-host info") : kinds.front()));
    }
    auto settings = connection_settings();
    settings[credentials_prefix + "tenant_id"] = credentials.tenant_id;
    settings[credentials_prefix + "client_id"] = credentials.client_id;
    settings[credentials_prefix + "subscription_id"] = credentials.subscription_id;

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
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
                             std::chrono::steady_clock::now() - started)
                             .count();
    module_->on_message(nullptr);
    const auto messages = decode(module_->take_messages());
    if (options_.format == "json") {
        print_json(out_, messages);
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
            out_ << "Discovery failed (response code " << response
                 << "): " << documents_->resolve((*result)["message"].as<std::string>()) << "\n";
        } else {
            std::vector<std::string> header{"#"};
            const auto columns = documents_->metascan_columns(metascan_kind);
            for (const auto& column : columns) {
                if (column.shown) {
                    header.push_back(column.display);
                }
            }
            std::vector<std::vector<std::string>> table;
            for (size_t i = 0; i < rows.size(); ++i) {
                std::vector<std::string> cells{std::to_string(i + 1)};
                for (const auto& column : columns) {
                    if (column.shown) {
                        const auto found = rows[i].values.find(column.key);
                        cells.push_back(found == rows[i].values.end() ? "" : found->second);
                    }
                }
                table.push_back(std::move(cells));
            }
            out_ << documents_->display_name(metascan_kind) << ": " << rows.size() << " found in "
                 << elapsed << " ms\n";
            print_table(out_, header, table);
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

    auto settings = connection_settings();
    settings.insert(sensor.settings.begin(), sensor.settings.end());
    settings[credentials_prefix + "tenant_id"] = credentials.tenant_id;
    settings[credentials_prefix + "client_id"] = credentials.client_id;
    settings[credentials_prefix + "subscription_id"] = credentials.subscription_id;
    const auto secure = secure_settings(credentials);

    std::vector<jsoncons::ojson> all;
    const int created = module_->create_sensor(
        options_.sensor_id, settings_buffer(sensor_kind, settings, secure, sensor));
    for (const auto& text : module_->take_messages()) {
        sensor.remember(text);
        all.push_back(jsoncons::ojson::parse(text));
    }
    if (created != 0) {
        if (options_.format == "json") {
            print_json(out_, all);
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
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
                             std::chrono::steady_clock::now() - started)
                             .count();
    std::optional<jsoncons::ojson> result;
    for (const auto& text : module_->take_messages()) {
        sensor.remember(text);
        auto message = jsoncons::ojson::parse(text);
        if (message["type"].as<std::string>() == "sensor_scan_result") {
            result = message;
        }
        all.push_back(std::move(message));
    }
    module_->destroy_sensor(options_.sensor_id);
    module_->take_messages();
    state.save(options_.state_path);

    if (options_.format == "json") {
        print_json(out_, all);
    }
    if (checked != 0 || !result) {
        err_ << "ExecuteCheck answered " << checked << ": " << exit_reason(checked) << "\n";
        return 2;
    }
    const int response = (*result)["response_code"].as<int>();
    if (options_.format == "json") {
        return response == 0 ? 0 : 1;
    }
    out_ << documents_->display_name(sensor_kind) << " (sensor " << options_.sensor_id
         << "), checked in " << elapsed << " ms\n";
    std::vector<std::vector<std::string>> rows;
    for (const auto& channel : (*result)["channels"].array_range()) {
        const int id = channel["id"].as<int>();
        const auto found = sensor.channels.find(id);
        const channel_definition definition =
            found == sensor.channels.end() ? channel_definition{} : found->second;
        std::string value = format_value(channel);
        if (!definition.lookup.empty() && channel["kind"].as<std::string>() == "integer") {
            value = documents_->lookup_text(definition.lookup, channel["value"].as<long long>()) +
                    " (" + value + ")";
        } else if (definition.unit == "3" && channel["value"].is_number()) {
            value = readable_bytes(channel["value"].as<double>());
        } else {
            const std::string unit =
                module_documents::unit_text(definition.unit, definition.custom_unit);
            value += unit.empty() ? "" : (unit == "%" ? "" : " ") + unit;
        }
        rows.push_back(
            {std::to_string(id),
             definition.name.empty() ? "(undeclared)" : documents_->resolve(definition.name),
             value});
    }
    print_table(out_, {"Id", "Channel", "Value"}, rows);
    const std::string message = (*result)["message"].as<std::string>();
    out_ << "  Result:  "
         << (response == 0 ? "OK" : "failed (response code " + std::to_string(response) + ")")
         << "\n";
    if (!message.empty()) {
        out_ << "  Message: " << documents_->resolve(message) << "\n";
    }
    return response == 0 ? 0 : 1;
}

}  // namespace zentrova::monitoring_modules::host
