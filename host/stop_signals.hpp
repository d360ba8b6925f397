#pragma once

#include <chrono>
#include <csignal>

namespace zentrova::monitoring_modules::host {

// SIGINT and SIGTERM as a request to stop, taken by the thread that asks for them: the two are
// blocked in the constructing thread and so in every thread it starts afterwards (construct it
// before any), and the previous mask comes back on destruction.
class stop_signals {
public:
    stop_signals();
    ~stop_signals();
    stop_signals(const stop_signals&) = delete;
    stop_signals& operator=(const stop_signals&) = delete;

    // Waits up to `timeout` for either signal; true once one has arrived (now or before).
    bool wait(std::chrono::milliseconds timeout);
    bool arrived() { return wait(std::chrono::milliseconds(0)); }
    // "SIGINT", "SIGTERM", or "" while none has arrived.
    const char* name() const;

private:
    sigset_t stops_{};
    sigset_t previous_{};
    int received_ = 0;
};

}  // namespace zentrova::monitoring_modules::host
