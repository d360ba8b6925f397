#include "bench/end_to_end/thread_phase.hpp"

#include <chrono>
#include <condition_variable>
#include <ctime>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace zentrova::monitoring_modules::bench {
namespace {

double thread_cpu_seconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace

phase_timing run_phase(std::size_t threads,
                       const std::function<std::uint64_t(std::size_t thread_index)>& work) {
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t ready = 0;
    bool started = false;
    phase_timing timing;
    std::exception_ptr failure;

    std::vector<std::thread> workers;
    workers.reserve(threads);
    for (std::size_t index = 0; index < threads; ++index) {
        workers.emplace_back([&, index] {
            {
                std::unique_lock<std::mutex> lock(mutex);
                ++ready;
                changed.notify_all();
                changed.wait(lock, [&] { return started; });
            }
            const double cpu_start = thread_cpu_seconds();
            std::uint64_t failures = 0;
            std::exception_ptr thrown;
            try {
                failures = work(index);
            } catch (...) {
                thrown = std::current_exception();
            }
            const double cpu = thread_cpu_seconds() - cpu_start;
            const std::lock_guard<std::mutex> lock(mutex);
            timing.cpu_seconds += cpu;
            timing.failures += failures;
            if (thrown && !failure) {
                failure = thrown;
            }
        });
    }
    std::chrono::steady_clock::time_point start;
    {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return ready == threads; });
        started = true;
        start = std::chrono::steady_clock::now();
    }
    changed.notify_all();
    for (auto& worker : workers) {
        worker.join();
    }
    timing.wall_seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (failure) {
        std::rethrow_exception(failure);
    }
    return timing;
}

}  // namespace zentrova::monitoring_modules::bench
