#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace zentrova::monitoring_modules::bench {

// A client program run as a process of its own and spoken to line by line over its standard
// input and output (check_client_loop.hpp); its standard error stays this process's.
class client_process {
public:
    // `command[0]` is looked up in PATH. `environment` adds to this process's environment, or
    // replaces a variable of the same name. Throws std::runtime_error when it cannot start.
    client_process(const std::vector<std::string>& command,
                   const std::vector<std::pair<std::string, std::string>>& environment);
    // Asks the client to quit and waits for it.
    ~client_process();
    client_process(const client_process&) = delete;
    client_process& operator=(const client_process&) = delete;
    client_process(client_process&&) = delete;
    client_process& operator=(client_process&&) = delete;

    void send(const std::string& line);
    // The next line the client wrote, without its line break; throws std::runtime_error when the
    // client ended first.
    std::string read_line();

private:
    std::string name_;
    pid_t pid_ = -1;
    int to_child_ = -1;
    FILE* from_child_ = nullptr;
};

}  // namespace zentrova::monitoring_modules::bench
