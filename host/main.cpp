// sensor-host: runs the module's discoveries and checks from the command line, as a probe would.
#include <iostream>

#include "host/command_line.hpp"
#include "host/credentials_file.hpp"
#include "host/host_error.hpp"
#include "host/host_platform.hpp"
#include "host/sensor_host.hpp"

int main(int argc, char** argv) {
    using zentrova::monitoring_modules::host::command_line;
    using zentrova::monitoring_modules::host::credentials_file;
    using zentrova::monitoring_modules::host::host_error;
    using zentrova::monitoring_modules::host::output_terminal_size;
    using zentrova::monitoring_modules::host::sensor_host;

    const auto command = command_line::parse(argc, argv);
    if (command.exit_code) {
        return *command.exit_code;
    }
    try {
        auto options = command.options;
        if (options.format == "jsonl" && command.what != command_line::action::watch) {
            throw host_error("--format jsonl is for watch; pass table or json");
        }
        options.terminal = output_terminal_size().has_value();
        sensor_host host(options, std::cout, std::cerr);
        if (command.what == command_line::action::info) {
            return host.info();
        }
        const auto credentials = credentials_file::load(command.credentials_path);
        if (command.what == command_line::action::discover) {
            return host.discover(command.kind, credentials);
        }
        if (command.what == command_line::action::check) {
            return host.check(command.kind, credentials, command.settings(), command.from_row);
        }
        auto watch = command.watch;
        watch.assignments = command.settings();
        return host.watch(watch, credentials);
    } catch (const host_error& e) {
        std::cerr << "sensor-host: " << e.what() << "\n";
        return 2;
    } catch (const std::exception& e) {
        std::cerr << "sensor-host: unexpected failure: " << e.what() << "\n";
        return 2;
    }
}
