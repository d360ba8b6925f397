// sensor-host: runs the module's discoveries and checks from the command line, as a probe would.
#include <CLI/CLI.hpp>
#include <iostream>

#include "host/credentials_file.hpp"
#include "host/host_error.hpp"
#include "host/sensor_host.hpp"

namespace {

std::string default_module_path(const char* argv0) {
    // Beside the built command: <build>/bin/sensor-host and <build>/lib/libMicrosoftAzure.so.
    const std::string self(argv0);
    const auto slash = self.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : self.substr(0, slash);
    return dir + "/../lib/libMicrosoftAzure.so";
}

}  // namespace

int main(int argc, char** argv) {
    using zentrova::monitoring_modules::host::credentials_file;
    using zentrova::monitoring_modules::host::host_error;
    using zentrova::monitoring_modules::host::host_options;
    using zentrova::monitoring_modules::host::sensor_host;

    CLI::App app{
        "sensor-host: drives the MicrosoftAzure module through its exports, as a probe does"};
    app.require_subcommand(1);
    app.fallthrough();  // global options may follow the subcommand
    host_options options;
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

    std::string credentials_path;
    std::string kind;
    auto* discover = app.add_subcommand("discover", "Run a meta scan and list what it finds");
    discover->add_option("kind", kind, "virtual_machine_metascan or sql_database_metascan")
        ->required();
    discover
        ->add_option("--credentials", credentials_path,
                     "JSON file with tenant_id, client_id, client_secret, subscription_id")
        ->required();

    std::vector<std::string> assignments;
    std::size_t from_row = 0;
    auto* check =
        app.add_subcommand("check", "Create a sensor, run one check and show its channels");
    check
        ->add_option("kind", kind,
                     "virtual_machine_sensor, sql_database_sensor or subscription_cost_sensor")
        ->required();
    check
        ->add_option("--credentials", credentials_path,
                     "JSON file with tenant_id, client_id, client_secret, subscription_id")
        ->required();
    check->add_option("--set", assignments, "A sensor setting, NAME=VALUE (repeatable)");
    check->add_option("--from-row", from_row,
                      "Take the sensor's resource from row N of the last discovery");

    CLI11_PARSE(app, argc, argv);
    try {
        sensor_host host(options, std::cout, std::cerr);
        if (info->parsed()) {
            return host.info();
        }
        const auto credentials = credentials_file::load(credentials_path);
        if (discover->parsed()) {
            return host.discover(kind, credentials);
        }
        std::map<std::string, std::string> settings;
        for (const auto& assignment : assignments) {
            const auto equals = assignment.find('=');
            if (equals == std::string::npos || equals == 0) {
                throw host_error("--set takes NAME=VALUE, not \"" + assignment + "\"");
            }
            settings[assignment.substr(0, equals)] = assignment.substr(equals + 1);
        }
        return host.check(kind, credentials, settings,
                          from_row == 0 ? std::nullopt : std::optional<std::size_t>(from_row));
    } catch (const host_error& e) {
        std::cerr << "sensor-host: " << e.what() << "\n";
        return 2;
    } catch (const std::exception& e) {
        std::cerr << "sensor-host: unexpected failure: " << e.what() << "\n";
        return 2;
    }
}
