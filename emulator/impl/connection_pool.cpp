#include "emulator/impl/connection_pool.hpp"

#include <pthread.h>
#include <csignal>

#include <system_error>

namespace zentrova::monitoring_modules::emulator::impl {

connection_pool::connection_pool(std::size_t max_threads, request_recorder& recorder)
    : max_threads_(max_threads == 0 ? 1 : max_threads), recorder_(recorder) {}

connection_pool::~connection_pool() {
    shutdown();
}

void connection_pool::enqueue(std::function<void()> job) {
    recorder_.connection_accepted();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        jobs_.push_back(std::move(job));
        if (jobs_.size() > idle_ && threads_.size() < max_threads_) {
            try {
                threads_.emplace_back([this] { work(); });
            } catch (const std::system_error&) {
                // Out of threads: the queued connection waits for a busy one to finish.
            }
        }
    }
    ready_.notify_one();
}

void connection_pool::shutdown() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        shutting_down_ = true;
    }
    ready_.notify_all();
    for (auto& t : threads_) {
        if (t.joinable()) {
            t.join();
        }
    }
}

void connection_pool::work() {
    // A peer that goes away mid-write must cost an error code, not the process.
    sigset_t pipe_signal;
    sigemptyset(&pipe_signal);
    sigaddset(&pipe_signal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_signal, nullptr);
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            ++idle_;
            ready_.wait(lock, [this] { return shutting_down_ || !jobs_.empty(); });
            --idle_;
            if (jobs_.empty()) {
                return;
            }
            job = std::move(jobs_.front());
            jobs_.pop_front();
        }
        job();
    }
}

}  // namespace zentrova::monitoring_modules::emulator::impl
