#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

namespace zentrova::monitoring_modules::host {

// When and on which host thread each sensor of a watch is checked, as a probe schedules them:
// sensors sharing an interval are spread evenly across it, and a sensor always runs on the
// same thread (sensors are dealt to the threads in turn).
class watch_schedule {
public:
    using clock = std::chrono::steady_clock;

    // `intervals` holds each sensor's interval in seconds (above 0), in the order of the watch;
    // `threads` is at least 1 (and no more are used than there are sensors).
    watch_schedule(std::vector<double> intervals, std::size_t threads);

    std::size_t sensors() const { return intervals_.size(); }
    std::size_t threads() const { return threads_; }
    std::size_t thread_of(std::size_t sensor) const { return sensor % threads_; }
    clock::duration interval(std::size_t sensor) const;
    // How long after the start the sensor's first check is due.
    clock::duration first_offset(std::size_t sensor) const;
    // The check due after one that was due at `due` and started at `started`: an interval
    // later, or, when the thread fell behind by whole intervals, the latest of those missed
    // (a late sensor runs once, not once for every check it missed).
    clock::time_point next_due(std::size_t sensor, clock::time_point due,
                               clock::time_point started) const;

private:
    std::vector<double> intervals_;
    std::vector<double> offsets_;
    std::size_t threads_;
};

}  // namespace zentrova::monitoring_modules::host
