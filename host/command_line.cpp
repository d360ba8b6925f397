#include "host/command_line.hpp"

#include <CLI/CLI.hpp>

#include "host/host_error.hpp"
#include "host/host_platform.hpp"

namespace zentrova::monitoring_modules::host {

command_line command_line::parse(int argc, char** argv) {
    command_line command;
    host_options& options = command.options;
    CLI::App app{
        "sensor-host: drives the MicrosoftAzure module through its exports, as a probe does"};
    app.require_subcommand(1);
    app.fallthrough();  // global options may follow the subcommand
    options.module_path = default_module_path(argv[0]);
    app.add_option("--module", options.module_path, "Path of the module library")
        ->capture_default_str();
    app.add_option("--format", options.format,
                   "Output: table (for people) or json (the decoded messages)")
        ->check(CLI::IsMember({"table", "json"}))
        ->capture_default_str();
    app.add_option("--log-dir", options.log_dir,
                   "Write the module's and the sensors' logs into this directory");
    app.add_option("--state", options.state_path,
                   "State file: channels, persistent data and discovery rows")
        ->capture_default_str();
    app.add_option("--sensor-id", options.sensor_id, "Sensor id to use")->capture_default_str();

    auto* info = app.add_subcommand("info", "Show the module's sensors, meta scans and settings");

    auto* discover = app.add_subcommand("discover", "Run a meta scan and list what it finds");
    discover->add_option("kind", command.kind, "virtual_machine_metascan or sql_database_metascan")
        ->required();
    discover
        ->add_option("--credentials", command.credentials_path,
                     "JSON file with tenant_id, client_id, client_secret, subscription_id")
        ->required();

    std::size_t from_row = 0;
    auto* check =
        app.add_subcommand("check", "Create a sensor, run one check and show its channels");
    check
        ->add_option("kind", command.kind,
                     "virtual_machine_sensor, sql_database_sensor or subscription_cost_sensor")
        ->required();
    check
        ->add_option("--credentials", command.credentials_path,
                     "JSON file with tenant_id, client_id, client_secret, subscription_id")
        ->required();
    check->add_option("--set", command.assignments, "A sensor setting, NAME=VALUE (repeatable)");
    check->add_option("--from-row", from_row,
                      "Take the sensor's resource from row N of the last discovery");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        command.exit_code = app.exit(e);
        return command;
    }
    command.what = info->parsed()       ? action::info
                   : discover->parsed() ? action::discover
                                        : action::check;
    command.from_row = from_row == 0 ? std::nullopt : std::optional<std::size_t>(from_row);
    return command;
}

std::map<std::string, std::string> command_line::settings() const {
    std::map<std::string, std::string> settings;
    for (const auto& assignment : assignments) {
        const auto equals = assignment.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw host_error("--set takes NAME=VALUE, not \"" + assignment + "\"");
        }
        settings[assignment.substr(0, equals)] = assignment.substr(equals + 1);
    }
    return settings;
}

}  // namespace zentrova::monitoring_modules::host
