#include "emulator/impl/request_recorder.hpp"

#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator {

std::uint64_t emulator_counters::requests(const std::string& route) const {
    auto it = requests_by_route.find(route);
    return it == requests_by_route.end() ? 0 : it->second;
}

std::string recorded_request::header(const std::string& name) const {
    for (const auto& [key, value] : headers) {
        if (impl::iequals(key, name)) {
            return value;
        }
    }
    return {};
}

namespace impl {

request_recorder::request_recorder(std::size_t log_limit) : log_limit_(log_limit) {}

void request_recorder::request_received(const std::string& route) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ++requests_total_;
        ++by_route_[route];
        if (route == "token" || route == "token_v2") {
            ++token_requests_;
        }
    }
    arrived_.notify_all();
}

void request_recorder::record(recorded_request request) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (log_limit_ == 0) {
        return;
    }
    if (log_.size() >= log_limit_) {
        log_.pop_front();
    }
    log_.push_back(std::move(request));
}

void request_recorder::fault_applied() {
    ++faults_applied_;
}

void request_recorder::connection_accepted() {
    ++connections_accepted_;
}

void request_recorder::handshake_completed() {
    ++tls_handshakes_;
}

void request_recorder::connection_opened() {
    ++open_connections_;
}

void request_recorder::connection_closed() {
    --open_connections_;
}

emulator_counters request_recorder::snapshot() const {
    emulator_counters c;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        c.requests_total = requests_total_;
        c.token_requests = token_requests_;
        c.requests_by_route = by_route_;
    }
    c.faults_applied = faults_applied_;
    c.connections_accepted = connections_accepted_;
    c.tls_handshakes = tls_handshakes_;
    c.open_connections = open_connections_;
    return c;
}

std::vector<recorded_request> request_recorder::requests() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return {log_.begin(), log_.end()};
}

bool request_recorder::wait_for_requests(std::uint64_t count,
                                         std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return arrived_.wait_for(lock, timeout, [&] { return requests_total_ >= count; });
}

void request_recorder::reset() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        requests_total_ = 0;
        token_requests_ = 0;
        by_route_.clear();
        log_.clear();
    }
    faults_applied_ = 0;
    connections_accepted_ = 0;
    tls_handshakes_ = 0;
}

}  // namespace impl
}  // namespace zentrova::monitoring_modules::emulator
