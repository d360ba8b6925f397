#include "host/watch_runner.hpp"

#include <functional>
#include <queue>
#include <utility>

namespace zentrova::monitoring_modules::host {

watch_runner::watch_runner(const watch_schedule& schedule, check_function check)
    : schedule_(schedule), check_(std::move(check)) {}

watch_runner::~watch_runner() {
    stop();
}

void watch_runner::start(watch_schedule::clock::time_point start) {
    for (std::size_t thread = 0; thread < schedule_.threads(); ++thread) {
        threads_.emplace_back([this, thread, start] { run_thread(thread, start); });
    }
}

void watch_runner::stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    for (auto& thread : threads_) {
        thread.join();
    }
    threads_.clear();
}

void watch_runner::run_thread(std::size_t thread, watch_schedule::clock::time_point start) {
    using entry = std::pair<watch_schedule::clock::time_point, std::size_t>;  // due, sensor
    std::priority_queue<entry, std::vector<entry>, std::greater<>> queue;
    for (std::size_t sensor = thread; sensor < schedule_.sensors(); sensor += schedule_.threads()) {
        queue.emplace(start + schedule_.first_offset(sensor), sensor);
    }
    while (!queue.empty()) {
        const auto [due, sensor] = queue.top();
        {
            std::unique_lock<std::mutex> lock(mutex_);
            if (wake_.wait_until(lock, due, [this] { return stopping_; })) {
                return;
            }
        }
        const auto started = watch_schedule::clock::now();
        check_(sensor, thread, due);
        queue.pop();
        queue.emplace(schedule_.next_due(sensor, due, started), sensor);
    }
}

}  // namespace zentrova::monitoring_modules::host
