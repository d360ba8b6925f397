#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "host/watch_schedule.hpp"

namespace zentrova::monitoring_modules::host {

// The host threads of a watch: each runs the checks of its own sensors when the schedule says
// they are due, one at a time, until stopped. What a check does is the caller's.
class watch_runner {
public:
    // Called on the sensor's thread with the time the check was due.
    using check_function = std::function<void(std::size_t sensor, std::size_t thread,
                                              watch_schedule::clock::time_point due)>;

    watch_runner(const watch_schedule& schedule, check_function check);
    ~watch_runner();  // stops
    watch_runner(const watch_runner&) = delete;
    watch_runner& operator=(const watch_runner&) = delete;

    // Starts the threads; the first checks are due from `start` on.
    void start(watch_schedule::clock::time_point start);
    // No check starts after this; returns when the running ones have ended and every thread
    // has been joined. A second call does nothing.
    void stop();

private:
    void run_thread(std::size_t thread, watch_schedule::clock::time_point start);

    const watch_schedule& schedule_;
    check_function check_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::vector<std::thread> threads_;
};

}  // namespace zentrova::monitoring_modules::host
