#pragma once

#include <chrono>
#include <memory>

namespace zentrova::monitoring_modules::host {

// A request to stop from outside, taken by the thread that asks for it: SIGINT and SIGTERM on
// Linux (blocked in the constructing thread and so in every thread it starts afterwards:
// construct it before any; the previous mask comes back on destruction; SIGPIPE is ignored
// meanwhile, so that a closed output is a failed write), Ctrl-C, Ctrl-Break and the console's
// closing on Windows. The platform's part lives in impl/.
class stop_signals {
public:
    stop_signals();
    ~stop_signals();
    stop_signals(const stop_signals&) = delete;
    stop_signals& operator=(const stop_signals&) = delete;

    // Waits up to `timeout` for a stop; true once one has arrived (now or before).
    bool wait(std::chrono::milliseconds timeout);
    bool arrived() { return wait(std::chrono::milliseconds(0)); }
    // "SIGINT", "SIGTERM", "Ctrl-C" ..., or "" while none has arrived.
    const char* name() const;

private:
    struct state;
    std::unique_ptr<state> state_;
};

}  // namespace zentrova::monitoring_modules::host
