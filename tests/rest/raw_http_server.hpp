#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zentrova::monitoring_modules::rest::testing {

// What the scripted server does with one request.
struct scripted_reply {
    std::string bytes;         // sent as they are
    bool close_after = false;  // close the connection once the bytes are out
    bool hold = false;         // send the bytes, then say nothing more until the server stops
};

// A plain-TCP HTTP server on 127.0.0.1 that keeps the bytes of every request exactly as they
// arrived and answers each with the bytes its script returns, so tests can look at what went
// on the wire and answer with status lines and headers that a library server would not send.
class raw_http_server {
public:
    using script = std::function<scripted_reply(const std::string& request)>;

    explicit raw_http_server(script respond);
    ~raw_http_server();
    raw_http_server(const raw_http_server&) = delete;
    raw_http_server& operator=(const raw_http_server&) = delete;
    raw_http_server(raw_http_server&&) = delete;
    raw_http_server& operator=(raw_http_server&&) = delete;

    std::uint16_t port() const { return port_; }
    std::string url() const { return "http://127.0.0.1:" + std::to_string(port_); }

    std::vector<std::string> requests() const;
    std::size_t connections() const;

    // A reply with the given status line, headers and body (Content-Length added).
    static scripted_reply reply(const std::string& status_line,
                                const std::vector<std::string>& headers = {},
                                const std::string& body = {});

private:
    void run();

    script respond_;
    int listener_ = -1;
    int wake_read_ = -1;
    int wake_write_ = -1;
    std::uint16_t port_ = 0;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::size_t connections_ = 0;
    std::thread thread_;
};

// A port on 127.0.0.1 that refuses connections: its socket is bound, so nobody else gets the
// port, but never listens.
class refusing_port {
public:
    refusing_port();
    ~refusing_port();
    refusing_port(const refusing_port&) = delete;
    refusing_port& operator=(const refusing_port&) = delete;
    refusing_port(refusing_port&&) = delete;
    refusing_port& operator=(refusing_port&&) = delete;

    std::uint16_t port() const { return port_; }

private:
    int socket_ = -1;
    std::uint16_t port_ = 0;
};

}  // namespace zentrova::monitoring_modules::rest::testing
