#include "host/sensor_host.hpp"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <jsoncons/json.hpp>

#include "host/closest_name.hpp"
#include "host/discovery_scan.hpp"
#include "host/host_error.hpp"
#include "host/host_platform.hpp"
#include "host/host_state.hpp"
#include "host/interrupt_exit.hpp"
#include "host/module_documents.hpp"
#include "host/module_library.hpp"
#include "host/module_log.hpp"
#include "host/result_printer.hpp"
#include "host/sensor_setup.hpp"
#include "host/sensor_watch.hpp"
#include "host/stop_signals.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

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

void sensor_host::start(bool exit_on_interrupt) {
    std::string folder = options_.log_dir;
    const char* environment = std::getenv("MICROSOFTAZURE_LOG_DIR");
    if (folder.empty() && environment != nullptr) {
        folder = environment;
    }
    log_ = std::make_unique<module_log>(folder);
    if (exit_on_interrupt && !log_->kept()) {
        interrupts_ = std::make_unique<interrupt_exit>([folder = log_->folder()] {
            std::error_code ignored;
            std::filesystem::remove_all(folder, ignored);
        });
    }
    set_environment_variable("MICROSOFTAZURE_LOG_DIR", log_->folder());
    module_ = std::make_unique<module_library>(options_.module_path);
    log_->mark();
    const int code = module_->initialize();
    if (code != 0) {
        throw host_error("The module did not start (InitializeModule answered " +
                         std::to_string(code) + "); check the MICROSOFTAZURE_* variables." +
                         log_->explanation());
    }
    module_->module_information(true);
    const auto messages = module_->take_messages();
    if (messages.size() != 1) {
        throw host_error("The module answered GetModuleInformation with " +
                         std::to_string(messages.size()) + " messages instead of one");
    }
    documents_ = std::make_unique<module_documents>(messages.front());
}

int sensor_host::info() {
    start(true);
    if (options_.format == "json") {
        out_ << documents_->definition_json() << "\n";
        return 0;
    }
    result_printer(out_, *documents_).module_info(options_.module_path, module_->api_level());
    return 0;
}

int sensor_host::discover(const std::string& metascan_kind, const credentials_file& credentials) {
    start(true);
    const auto kinds = documents_->metascan_kinds();
    if (std::find(kinds.begin(), kinds.end(), metascan_kind) == kinds.end()) {
        throw host_error("\"" + metascan_kind + "\" is not a meta scan of this module; " +
                         (kinds.empty()
                              ? std::string("sensor-host info lists what it has")
                              : "did you mean " + closest_name(metascan_kind, kinds) + "?"));
    }
    const auto outcome = discovery_scan(*module_, credentials, !options_.log_dir.empty())
                             .run(metascan_kind, options_.sensor_id, err_);
    const result_printer printer(out_, *documents_);
    if (options_.format == "json") {
        printer.messages(outcome.messages);
    }
    if (outcome.code != 0) {
        err_ << "ExecuteMetaScan answered " << outcome.code << ": "
             << module_library::answer_meaning(outcome.code) << "\n";
        return 2;
    }
    if (!outcome.has_result) {
        err_ << "The meta scan sent no result\n";
        return 2;
    }

    auto state = host_state::load(options_.state_path);
    if (outcome.response_code == 0) {
        state.discoveries[metascan_kind] = outcome.rows;
        state.save(options_.state_path);
    } else if (!state.discoveries[metascan_kind].empty()) {
        err_ << "The " << state.discoveries[metascan_kind].size()
             << " rows of the last discovery that succeeded stay in " << options_.state_path
             << " for --from-row\n";
    }

    if (options_.format != "json") {
        if (outcome.response_code != 0) {
            printer.discovery_failure(outcome.response_code, outcome.message);
        } else {
            printer.discovery(metascan_kind, outcome.rows, outcome.elapsed_ms);
        }
    }
    return outcome.response_code == 0 ? 0 : 1;
}

int sensor_host::check(const std::string& sensor_kind, const credentials_file& credentials,
                       const std::map<std::string, std::string>& assignments,
                       std::optional<size_t> from_row) {
    start(true);
    const auto kinds = documents_->sensor_kinds();
    if (std::find(kinds.begin(), kinds.end(), sensor_kind) == kinds.end()) {
        std::string known;
        for (const auto& kind : kinds) {
            known += (known.empty() ? "" : ", ") + kind;
        }
        throw host_error("\"" + sensor_kind +
                         "\" is not a sensor kind of this module; did you mean " +
                         closest_name(sensor_kind, kinds) + "? Its kinds are: " + known);
    }
    auto state = host_state::load(options_.state_path);
    auto& sensor = state.sensors[options_.sensor_id];
    if (!sensor.kind.empty() && sensor.kind != sensor_kind) {
        err_ << "Sensor " << options_.sensor_id << " was a " << sensor.kind << "; starting a new "
             << sensor_kind << " under that id\n";
        sensor = sensor_state{};
    }
    sensor.kind = sensor_kind;
    const sensor_setup setup(*module_, *documents_, *log_, credentials, !options_.log_dir.empty());
    setup.gather_settings(sensor, from_row ? &stored_row(sensor_kind, state, *from_row) : nullptr,
                          assignments);

    std::vector<std::string> all;
    const result_printer printer(out_, *documents_);
    const int created = setup.create(options_.sensor_id, sensor, all);
    if (created != 0) {
        if (options_.format == "json") {
            printer.messages(all);
        }
        err_ << setup.why_not_created(created) << "\n";
        return 2;
    }
    const auto started = std::chrono::steady_clock::now();
    std::vector<std::string> messages;
    const int checked = module_->check(options_.sensor_id, setup.buffer(sensor), messages);
    const auto elapsed = milliseconds_since(started);
    std::optional<std::string> result;
    for (const auto& text : messages) {
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
        err_ << "ExecuteCheck answered " << checked << ": "
             << module_library::answer_meaning(checked) << "\n";
        return 2;
    }
    const int response = jsoncons::ojson::parse(*result)["response_code"].as<int>();
    if (options_.format != "json") {
        printer.check_result(sensor_kind, options_.sensor_id, elapsed, *result, sensor);
    }
    return response == 0 ? 0 : 1;
}

const discovered_row& sensor_host::stored_row(const std::string& sensor_kind, host_state& state,
                                              std::size_t from_row) const {
    const auto first = documents_->first_meta_step(sensor_kind);
    if (!first) {
        throw host_error("\"" + sensor_kind +
                         "\" is not created from discovery rows; drop --from-row");
    }
    const auto& rows = state.discoveries[*first];
    if (from_row == 0 || from_row > rows.size()) {
        const auto where = "There is no row " + std::to_string(from_row) + " of " + *first +
                           " in " + options_.state_path;
        if (rows.empty()) {
            throw host_error(where + "; run: sensor-host discover " + *first + " first");
        }
        throw host_error(where + "; pick a row from 1 to " + std::to_string(rows.size()));
    }
    return rows[from_row - 1];
}

int sensor_host::watch(const watch_options& watch, const credentials_file& credentials) {
    stop_signals stops;  // before any thread starts, so that every one leaves the two alone
    start(false);        // the watch ends itself at a stop
    sensor_watch session(*module_, *documents_, *log_, options_, watch, credentials, out_, err_);
    session.run(stops);
    module_.reset();  // CleanupModule, and the library unloaded, before the summary
    log_.reset();
    return session.summarize();
}

}  // namespace zentrova::monitoring_modules::host
