#pragma once

#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "host/credentials_file.hpp"
#include "host/watch_options.hpp"

namespace zentrova::monitoring_modules::host {

class module_library;
class module_documents;
class module_log;
class interrupt_exit;
class host_state;
struct sensor_state;
struct discovered_row;

// How a run of the sensor host is set up.
struct host_options {
    std::string module_path;
    std::string format = "table";  // "table" for people, "json" for scripts, "jsonl" for watch
    std::string log_dir;           // sensor and module logs go here when set
    std::string state_path;        // command_line gives the default, in the user's state folder
    int sensor_id = 1;
    bool terminal = false;  // standard output is a terminal: watch shows its live view
};

// The reference host: loads the module, drives it through its exports as a probe does, keeps
// each sensor's channels and persistent data between runs, and prints what came back.
// Each operation returns the process exit code: 0 when the module reported success, 1 when
// the sensor or meta scan reported a failure, 2 when the host could not do its part.
class sensor_host {
public:
    sensor_host(host_options options, std::ostream& out, std::ostream& err);
    sensor_host(const sensor_host&) = delete;
    sensor_host& operator=(const sensor_host&) = delete;
    ~sensor_host();

    int info();
    int discover(const std::string& metascan_kind, const credentials_file& credentials);
    int check(const std::string& sensor_kind, const credentials_file& credentials,
              const std::map<std::string, std::string>& assignments,
              std::optional<size_t> from_row);
    // Exit status 0 when every check succeeded, 1 when one failed or none ran.
    int watch(const watch_options& watch, const credentials_file& credentials);

private:
    // Loads and initialises the module, its runtime log in the user's folder or a temporary one;
    // `exit_on_interrupt`: Ctrl-C ends the process at once, the temporary folder removed.
    void start(bool exit_on_interrupt);
    // The --from-row'th row of the sensor kind's last discovery; throws host_error when there
    // is none.
    const discovered_row& stored_row(const std::string& sensor_kind, host_state& state,
                                     std::size_t from_row) const;

    host_options options_;
    std::ostream& out_;
    std::ostream& err_;
    std::unique_ptr<module_log> log_;  // outlives the module, which writes to it to the end
    std::unique_ptr<interrupt_exit> interrupts_;
    std::unique_ptr<module_library> module_;
    std::unique_ptr<module_documents> documents_;
};

}  // namespace zentrova::monitoring_modules::host
