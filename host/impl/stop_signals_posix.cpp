#include <pthread.h>

#include <cerrno>
#include <csignal>
#include <ctime>

#include "host/stop_signals.hpp"

namespace zentrova::monitoring_modules::host {

struct stop_signals::state {
    sigset_t stops{};
    sigset_t previous{};
    int received = 0;
    void (*previous_pipe)(int) = SIG_DFL;
};

stop_signals::stop_signals() : state_(std::make_unique<state>()) {
    sigemptyset(&state_->stops);
    sigaddset(&state_->stops, SIGINT);
    sigaddset(&state_->stops, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &state_->stops, &state_->previous);
    // A reader that goes away (`| head`) shows as a failed write, which ends the watch cleanly,
    // instead of a SIGPIPE that would end the process with its sensors still made.
    state_->previous_pipe = std::signal(SIGPIPE, SIG_IGN);
}

stop_signals::~stop_signals() {
    std::signal(SIGPIPE, state_->previous_pipe);
    pthread_sigmask(SIG_SETMASK, &state_->previous, nullptr);
}

bool stop_signals::wait(std::chrono::milliseconds timeout) {
    if (state_->received != 0) {
        return true;
    }
    const auto whole = std::chrono::duration_cast<std::chrono::seconds>(timeout);
    const timespec limit{static_cast<time_t>(whole.count()),
                         static_cast<long>(std::chrono::nanoseconds(timeout - whole).count())};
    int signal = -1;
    do {
        signal = ::sigtimedwait(&state_->stops, nullptr, &limit);
    } while (signal < 0 && errno == EINTR);
    state_->received = signal > 0 ? signal : 0;
    return state_->received != 0;
}

const char* stop_signals::name() const {
    return state_->received == SIGINT ? "SIGINT" : state_->received == SIGTERM ? "SIGTERM" : "";
}

}  // namespace zentrova::monitoring_modules::host
