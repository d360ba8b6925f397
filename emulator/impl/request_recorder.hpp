#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "emulator/azure_emulator.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Counts what the emulator served and keeps the most recent requests. Connection events come
// from the transport, request events from the service; every member is thread-safe.
class request_recorder {
public:
    explicit request_recorder(std::size_t log_limit);

    void request_received(const std::string& route);
    void record(recorded_request request);
    void fault_applied();
    void connection_accepted();
    void handshake_completed();
    void connection_opened();
    void connection_closed();

    emulator_counters snapshot() const;
    std::vector<recorded_request> requests() const;
    bool wait_for_requests(std::uint64_t count, std::chrono::milliseconds timeout) const;
    void reset();

private:
    const std::size_t log_limit_;
    mutable std::mutex mutex_;
    mutable std::condition_variable arrived_;
    std::uint64_t requests_total_ = 0;
    std::uint64_t token_requests_ = 0;
    std::map<std::string, std::uint64_t> by_route_;
    std::deque<recorded_request> log_;
    std::atomic<std::uint64_t> faults_applied_{0};
    std::atomic<std::uint64_t> connections_accepted_{0};
    std::atomic<std::uint64_t> tls_handshakes_{0};
    std::atomic<std::uint64_t> open_connections_{0};
};

}  // namespace zentrova::monitoring_modules::emulator::impl
