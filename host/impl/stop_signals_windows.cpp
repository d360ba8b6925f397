#include <windows.h>

#include <condition_variable>
#include <mutex>

#include "host/stop_signals.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

// The console's handler runs on a thread of its own; it only records the event.
std::mutex events_mutex;
std::condition_variable event_arrived;
DWORD received_event = 0;
bool any_event = false;

BOOL WINAPI on_console_event(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT && event != CTRL_CLOSE_EVENT) {
        return FALSE;
    }
    {
        const std::lock_guard<std::mutex> lock(events_mutex);
        if (!any_event) {
            received_event = event;
            any_event = true;
        }
    }
    event_arrived.notify_all();
    return TRUE;
}

}  // namespace

struct stop_signals::state {};

stop_signals::stop_signals() : state_(std::make_unique<state>()) {
    ::SetConsoleCtrlHandler(on_console_event, TRUE);
}

stop_signals::~stop_signals() {
    ::SetConsoleCtrlHandler(on_console_event, FALSE);
}

bool stop_signals::wait(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(events_mutex);
    return event_arrived.wait_for(lock, timeout, [] { return any_event; });
}

const char* stop_signals::name() const {
    const std::lock_guard<std::mutex> lock(events_mutex);
    if (!any_event) {
        return "";
    }
    return received_event == CTRL_C_EVENT       ? "Ctrl-C"
           : received_event == CTRL_BREAK_EVENT ? "Ctrl-Break"
                                                : "the console's closing";
}

}  // namespace zentrova::monitoring_modules::host
