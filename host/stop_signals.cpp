#include "host/stop_signals.hpp"

#include <pthread.h>

#include <cerrno>
#include <ctime>

namespace zentrova::monitoring_modules::host {

stop_signals::stop_signals() {
    sigemptyset(&stops_);
    sigaddset(&stops_, SIGINT);
    sigaddset(&stops_, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stops_, &previous_);
}

stop_signals::~stop_signals() {
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
}

bool stop_signals::wait(std::chrono::milliseconds timeout) {
    if (received_ != 0) {
        return true;
    }
    const auto whole = std::chrono::duration_cast<std::chrono::seconds>(timeout);
    const timespec limit{static_cast<time_t>(whole.count()),
                         static_cast<long>(std::chrono::nanoseconds(timeout - whole).count())};
    int signal = -1;
    do {
        signal = ::sigtimedwait(&stops_, nullptr, &limit);
    } while (signal < 0 && errno == EINTR);
    received_ = signal > 0 ? signal : 0;
    return received_ != 0;
}

const char* stop_signals::name() const {
    return received_ == SIGINT ? "SIGINT" : received_ == SIGTERM ? "SIGTERM" : "";
}

}  // namespace zentrova::monitoring_modules::host
