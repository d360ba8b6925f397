#pragma once

#include <chrono>
#include <ostream>
#include <string>
#include <vector>

#include "host/process_usage.hpp"
#include "host/watch_tally.hpp"

namespace zentrova::monitoring_modules::host {

class module_documents;

// A watch in a terminal: a header (elapsed time, sensors, checks and their rate, failures by
// message key, throttled requests, the process's CPU and memory) and a line per sensor, failing
// ones first, with its last result. Each draw replaces the last in place with plain ANSI
// escapes and fits the terminal's size, read again every time.
class live_view {
public:
    // `out` is standard output, a terminal (output_terminal_size).
    live_view(std::ostream& out, const module_documents& documents);
    ~live_view();  // shows the cursor again
    live_view(const live_view&) = delete;
    live_view& operator=(const live_view&) = delete;

    void draw(const watch_tally& tally, std::chrono::duration<double> elapsed,
              const std::string& state);

private:
    std::vector<std::string> header(const watch_tally& tally, double elapsed,
                                    const std::string& state, std::size_t width);
    std::string last_result(const sensor_tally& tally) const;

    std::ostream& out_;
    const module_documents& documents_;
    bool drawn_ = false;
    double last_elapsed_ = 0;
    std::uint64_t last_checks_ = 0;
    process_usage last_usage_;
    double rate_ = 0;
    double cpu_percent_ = 0;
};

}  // namespace zentrova::monitoring_modules::host
