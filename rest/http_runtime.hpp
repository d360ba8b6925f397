#pragma once

namespace zentrova::monitoring_modules::rest {

// Keeps the HTTP engine's process-wide state started while it lives. A connection pool holds one
// while it has work for the engine, so the engine stops when the last pool is gone; nothing is
// started by static constructors. Instances nest. Throws std::runtime_error when the engine
// cannot start.
class http_runtime {
public:
    http_runtime();
    ~http_runtime();
    http_runtime(const http_runtime&) = delete;
    http_runtime& operator=(const http_runtime&) = delete;
    http_runtime(http_runtime&&) = delete;
    http_runtime& operator=(http_runtime&&) = delete;
};

}  // namespace zentrova::monitoring_modules::rest
