#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include "host/stop_signals.hpp"

namespace zentrova::monitoring_modules::host {

// For commands that make one call at a time and have nothing to finish when stopped: Ctrl-C or
// SIGTERM ends the process as its default action would (exit status 130 or 143), after
// `cleanup` has run on a thread of its own. Construct it before any other thread starts.
class interrupt_exit {
public:
    explicit interrupt_exit(std::function<void()> cleanup);
    ~interrupt_exit();  // stops watching, within one poll
    interrupt_exit(const interrupt_exit&) = delete;
    interrupt_exit& operator=(const interrupt_exit&) = delete;

private:
    stop_signals stops_;
    std::atomic<bool> done_{false};
    std::thread watcher_;
};

}  // namespace zentrova::monitoring_modules::host
