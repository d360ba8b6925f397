#pragma once

#include <optional>
#include <string>
#include <utility>

namespace zentrova::monitoring_modules::emulator {

class azure_emulator;

// How the azure-emulator command tells its caller that it listens, or why it could not start:
// the printed lines, the environment file, and with --background the report that the waiting
// foreground process prints before it returns.
class start_report {
public:
    struct choices {
        bool print_env = false;   // export lines instead of "URL:" and "CA file:"
        bool background = false;  // return once listening, the emulator going on
        std::string env_file;     // where to write the export lines; empty: nowhere
    };

    explicit start_report(choices chosen) : chosen_(std::move(chosen)) {}
    start_report(const start_report&) = delete;
    start_report& operator=(const start_report&) = delete;
    ~start_report();

    // With --background, forks: the foreground process waits for the other's report, prints it
    // and gets its exit code here; the background process (and any run without --background)
    // gets nothing and goes on to start the emulator, detached from the caller's terminal.
    std::optional<int> detach();
    // The emulator listens: writes the environment file, then prints or reports the lines.
    // Throws std::runtime_error when the file cannot be written.
    void listening(const azure_emulator& server);
    // The start failed: prints or reports the message; returns `code` for main to exit with.
    int failed(int code, const std::string& message);
    // The emulator stopped: its environment file goes, since its CA file may be gone too.
    void stopped() const;

private:
    // Sends the foreground process its report: a status digit, then the text it prints.
    void report(char status, const std::string& text);

    choices chosen_;
    int report_fd_ = -1;  // the background process's end of the pipe until it has reported
};

}  // namespace zentrova::monitoring_modules::emulator
