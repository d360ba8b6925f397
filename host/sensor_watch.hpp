#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "host/credentials_file.hpp"
#include "host/host_state.hpp"
#include "host/sensor_host.hpp"
#include "host/sensor_setup.hpp"
#include "host/watch_options.hpp"
#include "host/watch_schedule.hpp"
#include "host/watch_tally.hpp"

namespace zentrova::monitoring_modules::host {

class jsonl_printer;
class live_view;
class module_documents;
class module_library;
class module_log;
class stop_signals;

// `sensor-host watch`: takes its sensors from discovery (or copies of picked rows), creates
// them, checks each at its interval on the host's threads as a probe does until the duration
// ends or SIGINT or SIGTERM arrives, shows every check (a live view in a terminal, else one JSON
// line each), and destroys the sensors again.
class sensor_watch {
public:
    sensor_watch(module_library& module, const module_documents& documents, module_log& log,
                 const host_options& host, watch_options watch, const credentials_file& credentials,
                 std::ostream& out, std::ostream& err);
    ~sensor_watch();
    sensor_watch(const sensor_watch&) = delete;
    sensor_watch& operator=(const sensor_watch&) = delete;

    // Everything up to the destruction of the last sensor made; a stop signal during discovery
    // or creation ends it early. Throws host_error for options that name no sensor, a failed
    // discovery or a failed creation (after destroying the sensors made so far).
    void run(stop_signals& stops);
    // The summary, after the module's cleanup; returns the exit status.
    int summarize();

private:
    // The --kinds, checked against the module's, each once; every --set must fit one of them.
    std::vector<std::string> picked_kinds() const;
    // The rows of a meta scan, kept in the state file; throws host_error when it fails or lacks
    // a row of --rows.
    std::vector<discovered_row> discover(const std::string& kind, const std::string& metascan,
                                         int scan_id);
    // --copies sensors of the kind for one resource (a row, or the subscription without one).
    void add_sensors(const std::string& kind, const std::string& resource,
                     const discovered_row* row);
    // False when a stop signal came first.
    bool choose_sensors(stop_signals& stops);
    bool create_sensors(stop_signals& stops);
    void watch_sensors(stop_signals& stops);
    void destroy_sensors();
    // One check on a host thread; never throws.
    void check(std::size_t sensor);

    module_library& module_;
    const module_documents& documents_;
    host_options host_;
    watch_options watch_;
    sensor_setup setup_;
    credentials_file credentials_;
    std::ostream& out_;
    std::ostream& err_;

    std::vector<watched_sensor> sensors_;
    std::vector<sensor_state> states_;  // each touched only by its sensor's thread once started
    std::size_t created_ = 0;
    std::unique_ptr<watch_tally> tally_;
    std::unique_ptr<jsonl_printer> jsonl_;
    std::unique_ptr<live_view> live_;
    watch_schedule::clock::time_point started_;
    double elapsed_seconds_ = 0;
    std::string ending_;
    std::optional<std::uint64_t> tokens_at_start_;
};

}  // namespace zentrova::monitoring_modules::host
