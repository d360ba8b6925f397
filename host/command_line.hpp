#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/sensor_host.hpp"
#include "host/watch_options.hpp"

namespace zentrova::monitoring_modules::host {

// The sensor-host command line: the global options, then info, discover KIND, check KIND or
// watch with their own options.
struct command_line {
    enum class action { info, discover, check, watch };

    // Reads the arguments. For --help or a command line that is wrong, CLI11 has printed what
    // it has to say and `exit_code` holds what the process returns.
    static command_line parse(int argc, char** argv);

    // The --set NAME=VALUE pairs by name; throws host_error for one without a name or "=".
    std::map<std::string, std::string> settings() const;

    std::optional<int> exit_code;
    host_options options;
    action what = action::info;
    std::string kind;
    std::string credentials_path;
    std::vector<std::string> assignments;
    std::optional<std::size_t> from_row;
    watch_options watch;  // with `assignments` left to settings()
};

}  // namespace zentrova::monitoring_modules::host
