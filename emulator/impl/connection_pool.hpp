#pragma once

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "emulator/impl/request_recorder.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// The server's worker threads. The HTTP server gives each accepted connection to one thread
// for its whole keep-alive life, so a fixed pool would leave connection N+1 waiting until an
// idle one times out; this pool grows a thread whenever all are busy, up to `max_threads`.
// Every accepted connection passes through enqueue(), which is where they are counted.
class connection_pool final : public httplib::TaskQueue {
public:
    connection_pool(std::size_t max_threads, request_recorder& recorder);
    ~connection_pool() override;
    connection_pool(const connection_pool&) = delete;
    connection_pool& operator=(const connection_pool&) = delete;

    void enqueue(std::function<void()> job) override;
    void shutdown() override;  // runs what is queued, then joins every thread

private:
    void work();

    const std::size_t max_threads_;
    request_recorder& recorder_;
    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<std::function<void()>> jobs_;
    std::vector<std::thread> threads_;
    std::size_t idle_ = 0;
    bool shutting_down_ = false;
};

}  // namespace zentrova::monitoring_modules::emulator::impl
