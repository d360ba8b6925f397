#include "host/command_line.hpp"

#include <CLI/CLI.hpp>

#include "host/host_error.hpp"
#include "host/host_platform.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

// Decimal digits as a number; 0 for anything else (or more than nine digits), which no option
// takes.
std::size_t counted(const std::string& digits) {
    if (digits.empty() || digits.size() > 9 ||
        digits.find_first_not_of("0123456789") != std::string::npos) {
        return 0;
    }
    return std::stoul(digits);
}

// A row number from 1, or a range of them ("2-5").
std::pair<std::size_t, std::size_t> row_range(const std::string& text) {
    const auto dash = text.find('-');
    const std::size_t first = counted(text.substr(0, dash));
    return {first, dash == std::string::npos ? first : counted(text.substr(dash + 1))};
}

CLI::Validator row_numbers(bool ranges) {
    return {
        [ranges](std::string& text) {
            const auto [first, last] = row_range(text);
            return first >= 1 && last >= first && (ranges || text.find('-') == std::string::npos)
                       ? std::string()
                       : "\"" + text +
                             "\" is not a row: rows are numbered from 1 as discover shows them; " +
                             (ranges ? "pass numbers or ranges such as 1,3,5-9"
                                     : "pass one such as 1");
        },
        ranges ? "ROWS" : "N"};
}

CLI::Validator whole_number(std::size_t least, std::size_t most, const std::string& what) {
    return {[=](std::string& text) {
                const std::size_t value = counted(text);
                return value >= least && value <= most
                           ? std::string()
                           : "\"" + text + "\" is not a number of " + what + ": pass " +
                                 std::to_string(least) + " to " + std::to_string(most);
            },
            "N"};
}

CLI::Validator positive_seconds() {
    return {[](std::string& text) {
                char* end = nullptr;
                const double value = std::strtod(text.c_str(), &end);
                return end != text.c_str() && *end == '\0' && value > 0 && value < 1e9
                           ? std::string()
                           : "\"" + text +
                                 "\" is not a time: pass seconds above 0, such as 60 or 0.5";
            },
            "SECONDS"};
}

}  // namespace

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
                   "Output: table (for people), json (the decoded messages) or, for watch, "
                   "jsonl (a JSON line per check)")
        ->check(CLI::IsMember({"table", "json", "jsonl"}))
        ->capture_default_str();
    app.add_option("--log-dir", options.log_dir,
                   "Write the module's and the sensors' logs into this directory");
    const std::string state_folder = user_state_folder();
    options.state_path =
        (state_folder.empty() ? std::string() : state_folder + "/") + "sensor-host-state.json";
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
    check
        ->add_option("--from-row", from_row,
                     "Take the sensor's resource from row N of the last discovery")
        ->check(row_numbers(false));

    std::vector<std::string> kinds;
    std::vector<std::string> rows;
    double interval = 0;
    auto* watch = app.add_subcommand(
        "watch",
        "Create every discovered sensor (or copies of some) and check each at its interval on "
        "the host's threads, as a probe does, with a live view and a summary at the end");
    watch->footer(
        "Runs until --duration ends, Ctrl-C (SIGINT), SIGTERM or the JSON lines' reader goes "
        "away, then destroys every sensor "
        "and prints the summary. In a terminal it shows a live view; otherwise, or with "
        "--format jsonl, one JSON line per check on standard output and the summary on "
        "standard error.\nExit status: 0 when every check succeeded, 1 when a check failed or "
        "none ran, 2 when the host could not do its part (an option, the credentials, a "
        "discovery or a creation).");
    watch
        ->add_option("--credentials", command.credentials_path,
                     "JSON file with tenant_id, client_id, client_secret, subscription_id")
        ->required();
    watch->add_option("--kinds", kinds, "Sensor kinds to watch, comma-separated (default: all)")
        ->delimiter(',');
    watch
        ->add_option("--rows", rows,
                     "Discovery rows to watch, numbered as --from-row numbers them, "
                     "comma-separated, ranges as 2-5 (default: all)")
        ->delimiter(',')
        ->check(row_numbers(true));
    watch
        ->add_option("--copies", command.watch.copies,
                     "Sensors made from each picked row (and of each kind without discovery), "
                     "for load and quota trials")
        ->check(whole_number(1, 100000, "sensors per row"))
        ->capture_default_str();
    watch
        ->add_option("--interval", interval,
                     "Seconds between two checks of a sensor (default: each kind's minimum "
                     "interval from the module's definition)")
        ->check(positive_seconds());
    watch
        ->add_option("--duration", command.watch.duration,
                     "Stop after this many seconds (default: run until Ctrl-C or SIGTERM)")
        ->check(positive_seconds());
    watch
        ->add_option("--threads", command.watch.threads,
                     "Host threads that run the checks; each sensor stays on one")
        ->check(whole_number(1, 256, "threads"))
        ->capture_default_str();
    watch->add_option("--set", command.assignments,
                      "A sensor setting, NAME=VALUE (repeatable), for the kinds that have it");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        // Help answers 0; every wrong command line 2, as the host's own errors do.
        command.exit_code = app.exit(e) == 0 ? 0 : 2;
        return command;
    }
    command.what = info->parsed()       ? action::info
                   : discover->parsed() ? action::discover
                   : check->parsed()    ? action::check
                                        : action::watch;
    command.watch.kinds = kinds;
    for (const auto& text : rows) {
        command.watch.rows.push_back(row_range(text));
    }
    if (interval > 0) {
        command.watch.interval = interval;
    }
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
