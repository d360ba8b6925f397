#include "host/sensor_watch.hpp"

#include <algorithm>
#include <jsoncons/json.hpp>
#include <utility>

#include "host/closest_name.hpp"
#include "host/discovery_scan.hpp"
#include "host/emulator_counters.hpp"
#include "host/host_error.hpp"
#include "host/jsonl_printer.hpp"
#include "host/live_view.hpp"
#include "host/module_documents.hpp"
#include "host/module_library.hpp"
#include "host/process_usage.hpp"
#include "host/stop_signals.hpp"
#include "host/watch_runner.hpp"
#include "host/watch_summary.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

std::string joined(const std::vector<std::string>& items) {
    std::string text;
    for (const auto& item : items) {
        text += (text.empty() ? "" : ", ") + item;
    }
    return text;
}

double milliseconds_since(std::chrono::steady_clock::time_point started) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started)
        .count();
}

}  // namespace

sensor_watch::sensor_watch(module_library& module, const module_documents& documents,
                           module_log& log, const host_options& host, watch_options watch,
                           const credentials_file& credentials, std::ostream& out,
                           std::ostream& err)
    : module_(module),
      documents_(documents),
      host_(host),
      watch_(std::move(watch)),
      setup_(module, documents, log, credentials, !host.log_dir.empty()),
      credentials_(credentials),
      out_(out),
      err_(err) {
    if (host_.format == "json") {
        throw host_error(
            "watch writes one JSON object a line; pass --format jsonl (or table for the live "
            "view)");
    }
    if (host_.format == "jsonl" || !host_.terminal) {
        jsonl_ = std::make_unique<jsonl_printer>(out_);
    } else {
        live_ = std::make_unique<live_view>(out_, documents_);
    }
}

sensor_watch::~sensor_watch() = default;

void sensor_watch::run(stop_signals& stops) {
    tokens_at_start_ = emulator_counters::token_requests();
    started_ = watch_schedule::clock::now();
    try {
        if (choose_sensors(stops) && create_sensors(stops)) {
            watch_sensors(stops);
        }
    } catch (...) {
        destroy_sensors();  // the module keeps no sensor of a watch that failed
        throw;
    }
    destroy_sensors();
    elapsed_seconds_ =
        std::chrono::duration<double>(watch_schedule::clock::now() - started_).count();
}

std::vector<std::string> sensor_watch::picked_kinds() const {
    const auto known = documents_.sensor_kinds();
    std::vector<std::string> kinds;
    for (const auto& kind : watch_.kinds.empty() ? known : watch_.kinds) {
        if (std::find(known.begin(), known.end(), kind) == known.end()) {
            throw host_error("\"" + kind + "\" is not a sensor kind of this module; did you mean " +
                             closest_name(kind, known) +
                             "? Pass --kinds with some of: " + joined(known));
        }
        if (std::find(kinds.begin(), kinds.end(), kind) == kinds.end()) {
            kinds.push_back(kind);
        }
    }
    for (const auto& assignment : watch_.assignments) {
        const std::string& name = assignment.first;
        if (std::none_of(kinds.begin(), kinds.end(),
                         [&](const auto& kind) { return setup_.has_setting(kind, name); })) {
            std::vector<std::string> known;
            for (const auto& kind : kinds) {
                const auto names = setup_.setting_names(kind);
                known.insert(known.end(), names.begin(), names.end());
            }
            throw host_error("--set " + name + ": none of the kinds watched (" + joined(kinds) +
                             ") has that setting; did you mean " + closest_name(name, known) +
                             "? sensor-host info lists them");
        }
    }
    return kinds;
}

std::vector<discovered_row> sensor_watch::discover(const std::string& kind,
                                                   const std::string& metascan, int scan_id) {
    err_ << "Discovering " << metascan << " for " << kind << "\n";
    auto outcome =
        discovery_scan(module_, credentials_, !host_.log_dir.empty()).run(metascan, scan_id, err_);
    if (!outcome.succeeded()) {
        throw host_error("Discovery of " + metascan + " failed (" +
                         (outcome.has_result
                              ? "response code " + std::to_string(outcome.response_code) + ": " +
                                    documents_.resolve(outcome.message)
                              : "ExecuteMetaScan answered " + std::to_string(outcome.code) + ": " +
                                    module_library::answer_meaning(outcome.code)) +
                         "). Check the credentials and the application's roles, or leave " + kind +
                         " out of --kinds");
    }
    auto state = host_state::load(host_.state_path);
    state.discoveries[metascan] = outcome.rows;  // so that check --from-row N means row N here
    state.save(host_.state_path);
    for (const auto& [first, last] : watch_.rows) {
        if (last > outcome.rows.size()) {
            const auto found = std::to_string(outcome.rows.size());
            std::string message = "There is no row " + std::to_string(last) + " of " + metascan;
            message += ": it found " + found + " rows";
            message += outcome.rows.empty() ? "; leave " + kind + " out of --kinds"
                                            : "; pass --rows from 1 to " + found;
            throw host_error(message);
        }
    }
    if (outcome.rows.empty()) {
        err_ << metascan << " found nothing to watch for " << kind << "\n";
    }
    return std::move(outcome.rows);
}

void sensor_watch::add_sensors(const std::string& kind, const std::string& resource,
                               const discovered_row* row) {
    std::map<std::string, std::string> assignments;  // the --set options this kind has
    for (const auto& [name, value] : watch_.assignments) {
        if (setup_.has_setting(kind, name)) {
            assignments[name] = value;
        }
    }
    for (std::size_t copy = 0; copy < watch_.copies; ++copy) {
        sensor_state sensor;
        sensor.kind = kind;
        setup_.gather_settings(sensor, row, assignments);
        const int id = host_.sensor_id + static_cast<int>(sensors_.size());
        sensors_.push_back({id, kind, resource});
        states_.push_back(std::move(sensor));
    }
}

bool sensor_watch::choose_sensors(stop_signals& stops) {
    const auto kinds = picked_kinds();
    for (const auto& kind : kinds) {
        const auto metascan = documents_.first_meta_step(kind);
        if (!metascan) {
            add_sensors(kind, credentials_.subscription_id, nullptr);  // the subscription's own
            continue;
        }
        const auto rows =
            discover(kind, *metascan, host_.sensor_id + static_cast<int>(sensors_.size()));
        if (stops.arrived()) {
            ending_ = std::string("stopped by ") + stops.name() + " during discovery";
            return false;
        }
        for (std::size_t row = 1; row <= rows.size(); ++row) {
            if (watch_.rows.empty() ||
                std::any_of(watch_.rows.begin(), watch_.rows.end(), [row](const auto& range) {
                    return range.first <= row && row <= range.second;
                })) {
                add_sensors(kind, rows[row - 1].display, &rows[row - 1]);
            }
        }
    }
    if (sensors_.empty()) {
        throw host_error("There is nothing to watch: discovery found no resource of " +
                         joined(kinds) + "; pick other --kinds");
    }
    return true;
}

bool sensor_watch::create_sensors(stop_signals& stops) {
    err_ << "Creating " << sensors_.size() << " sensors\n";
    for (; created_ < sensors_.size(); ++created_) {
        if (stops.arrived()) {
            ending_ = std::string("stopped by ") + stops.name() + " during creation";
            break;
        }
        std::vector<std::string> messages;
        const int code = setup_.create(sensors_[created_].id, states_[created_], messages);
        if (code != 0) {
            const auto& sensor = sensors_[created_];
            throw host_error("Sensor " + std::to_string(sensor.id) + ", a " + sensor.kind + " of " +
                             sensor.resource + ", was not made. " + setup_.why_not_created(code));
        }
    }
    tally_ = std::make_unique<watch_tally>(std::vector<watched_sensor>(
        sensors_.begin(), sensors_.begin() + static_cast<long>(created_)));
    return created_ == sensors_.size();
}

void sensor_watch::watch_sensors(stop_signals& stops) {
    std::vector<double> intervals;
    intervals.reserve(sensors_.size());
    for (const auto& sensor : sensors_) {
        intervals.push_back(watch_.interval.value_or(documents_.minimum_interval(sensor.kind)));
    }
    const watch_schedule schedule(intervals, watch_.threads);
    err_ << "Watching " << sensors_.size() << " sensors on " << schedule.threads()
         << " host threads" << (watch_.duration > 0 ? "" : " until Ctrl-C") << "\n";
    watch_runner runner(schedule,
                        [this](std::size_t sensor, std::size_t /*thread*/,
                               watch_schedule::clock::time_point /*due*/) { check(sensor); });
    const auto start = watch_schedule::clock::now();
    runner.start(start);
    const auto duration = std::chrono::duration_cast<watch_schedule::clock::duration>(
        std::chrono::duration<double>(watch_.duration));
    constexpr auto redraw = std::chrono::seconds(1);
    while (true) {
        const auto now = watch_schedule::clock::now();
        auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(redraw);
        if (watch_.duration > 0) {
            if (now - start >= duration) {
                ending_ = "the duration ended";
                break;
            }
            wait = std::min(wait,
                            std::chrono::ceil<std::chrono::milliseconds>(start + duration - now));
        }
        if (stops.wait(wait)) {
            ending_ = std::string("stopped by ") + stops.name();
            break;
        }
        if (jsonl_ && jsonl_->closed()) {
            ending_ = "standard output was closed";
            break;
        }
        if (live_) {
            live_->draw(*tally_, watch_schedule::clock::now() - started_, "Ctrl-C stops");
        }
    }
    if (live_) {
        live_->draw(*tally_, watch_schedule::clock::now() - started_,
                    "stopping: waiting for the running checks");
    }
    runner.stop();
}

void sensor_watch::destroy_sensors() {
    for (std::size_t i = 0; i < created_; ++i) {
        module_.destroy_sensor(sensors_[i].id);
    }
    module_.take_messages();
}

void sensor_watch::check(std::size_t index) {
    auto& state = states_[index];
    check_record record;
    record.sensor = index;
    record.time = std::chrono::system_clock::now();
    try {
        const std::string buffer = setup_.buffer(state);
        std::vector<std::string> messages;
        const double cpu = process_usage::thread_cpu_seconds();
        const auto started = std::chrono::steady_clock::now();
        const int code = module_.check(sensors_[index].id, buffer, messages);
        record.latency_ms = milliseconds_since(started);
        record.cpu_ms = (process_usage::thread_cpu_seconds() - cpu) * 1000.0;
        for (const auto& text : messages) {
            state.remember(text);
            const auto message = jsoncons::ojson::parse(text);
            if (message["type"].as<std::string>() == "sensor_scan_result") {
                record.has_result = true;
                record.response_code = message["response_code"].as<int>();
                record.message = message["message"].as<std::string>();
                record.result = text;
            }
        }
        if (!record.has_result) {
            record.message = "ExecuteCheck answered " + std::to_string(code) + ": " +
                             module_library::answer_meaning(code);
        }
    } catch (const std::exception& e) {
        record.has_result = false;
        record.message = std::string("The host could not read the module's messages: ") + e.what();
    }
    record.channels = state.channels;
    if (jsonl_) {
        jsonl_->print(sensors_[index], record);
    }
    tally_->add(std::move(record));
}

int sensor_watch::summarize() {
    if (live_) {
        if (tally_) {
            live_->draw(*tally_, std::chrono::duration<double>(elapsed_seconds_), ending_);
        }
        live_.reset();
    }
    watch_ending ending;
    ending.elapsed_seconds = elapsed_seconds_;
    ending.reason = ending_;
    ending.threads = std::min(watch_.threads, std::max<std::size_t>(created_, 1));
    ending.peak_memory_bytes = process_usage::now().peak_resident_bytes;
    const auto tokens = emulator_counters::token_requests();
    if (tokens && tokens_at_start_) {
        ending.token_requests = *tokens - *tokens_at_start_;
    }
    const watch_tally empty({});
    return watch_summary::print(jsonl_ ? err_ : out_, tally_ ? *tally_ : empty, ending);
}

}  // namespace zentrova::monitoring_modules::host
