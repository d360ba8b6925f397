#pragma once

#include <atomic>
#include <chrono>

namespace zentrova::monitoring_modules::rest {

// The moment by which a request must have ended: connecting, sending and every read included.
// The HTTP engines read it before each step, so whoever shares it may move it later while the
// request runs (the callers that wait for one token request do). Thread-safe, lock-free.
class request_deadline {
public:
    using clock = std::chrono::steady_clock;

    explicit request_deadline(clock::time_point at) noexcept
        : ticks_(at.time_since_epoch().count()) {}

    clock::time_point at() const noexcept {
        return clock::time_point(clock::duration(ticks_.load(std::memory_order_acquire)));
    }

    // What is left of it at `now`, rounded up to whole milliseconds; zero once it has passed.
    std::chrono::milliseconds remaining(clock::time_point now = clock::now()) const noexcept {
        const auto left = at() - now;
        if (left <= clock::duration::zero()) {
            return std::chrono::milliseconds(0);
        }
        return std::chrono::ceil<std::chrono::milliseconds>(left);
    }

    // Moves the deadline to `later`; one already later stays.
    void extend_to(clock::time_point later) noexcept {
        const clock::rep wanted = later.time_since_epoch().count();
        clock::rep current = ticks_.load(std::memory_order_acquire);
        while (current < wanted &&
               !ticks_.compare_exchange_weak(current, wanted, std::memory_order_acq_rel)) {
        }
    }

private:
    std::atomic<clock::rep> ticks_;
};

}  // namespace zentrova::monitoring_modules::rest
