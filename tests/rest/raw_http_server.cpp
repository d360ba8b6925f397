#include "tests/rest/raw_http_server.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <stdexcept>

namespace zentrova::monitoring_modules::rest::testing {

namespace {

struct client {
    int socket = -1;
    std::string received;
    bool held = false;
};

// The length of the first complete request in `data`, or 0 while it is incomplete.
std::size_t complete_request(const std::string& data) {
    const auto header_end = data.find("\r\n\r\n");
    if (header_end == std::string::npos) {
        return 0;
    }
    std::string lower = data.substr(0, header_end);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char character) { return std::tolower(character); });
    std::size_t body_length = 0;
    if (const auto field = lower.find("\r\ncontent-length:"); field != std::string::npos) {
        body_length = std::stoul(lower.substr(field + 17));
    }
    const std::size_t total = header_end + 4 + body_length;
    return data.size() >= total ? total : 0;
}

void send_all(int socket, const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const auto result = ::send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (result <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(result);
    }
}

// Binds `socket` to a free port of 127.0.0.1 and returns the port.
std::uint16_t bind_to_loopback(int socket) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (socket < 0 || ::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        if (socket >= 0) {
            ::close(socket);
        }
        throw std::runtime_error("cannot bind a port on 127.0.0.1");
    }
    return ntohs(address.sin_port);
}

}  // namespace

refusing_port::refusing_port()
    : socket_(::socket(AF_INET, SOCK_STREAM, 0)), port_(bind_to_loopback(socket_)) {}

refusing_port::~refusing_port() {
    ::close(socket_);
}

raw_http_server::raw_http_server(script respond)
    : respond_(std::move(respond)), listener_(::socket(AF_INET, SOCK_STREAM, 0)) {
    std::array<int, 2> wake{};
    port_ = bind_to_loopback(listener_);
    if (::listen(listener_, 16) != 0 || ::pipe(wake.data()) != 0) {
        ::close(listener_);
        throw std::runtime_error("the scripted server cannot listen on 127.0.0.1");
    }
    wake_read_ = wake[0];
    wake_write_ = wake[1];
    thread_ = std::thread([this] { run(); });
}

raw_http_server::~raw_http_server() {
    const char stop = 's';
    static_cast<void>(::write(wake_write_, &stop, 1));
    thread_.join();
    ::close(listener_);
    ::close(wake_read_);
    ::close(wake_write_);
}

void raw_http_server::run() {
    std::vector<client> clients;
    std::array<char, 16384> buffer{};
    for (;;) {
        std::vector<pollfd> watched{{wake_read_, POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const auto& connected : clients) {
            watched.push_back(
                {connected.socket, static_cast<short>(connected.held ? 0 : POLLIN), 0});
        }
        if (::poll(watched.data(), watched.size(), -1) < 0) {
            break;
        }
        if (watched[0].revents != 0) {
            break;
        }
        if ((watched[1].revents & POLLIN) != 0) {
            const int accepted = ::accept(listener_, nullptr, nullptr);
            if (accepted >= 0) {
                clients.push_back({accepted, {}, false});
                const std::lock_guard<std::mutex> guard(mutex_);
                ++connections_;
            }
        }
        for (std::size_t index = 2; index < watched.size(); ++index) {
            client& connected = clients[index - 2];
            if ((watched[index].revents & (POLLIN | POLLHUP | POLLERR)) == 0) {
                continue;
            }
            const auto received = ::recv(connected.socket, buffer.data(), buffer.size(), 0);
            if (received <= 0) {
                ::close(connected.socket);
                connected.socket = -1;
                continue;
            }
            connected.received.append(buffer.data(), static_cast<std::size_t>(received));
            // A TLS handshake record: a TLS client learns at once that there is no TLS here.
            if (connected.received.front() == '\x16') {
                ::close(connected.socket);
                connected.socket = -1;
                continue;
            }
            while (const std::size_t length = complete_request(connected.received)) {
                std::string request = connected.received.substr(0, length);
                connected.received.erase(0, length);
                {
                    const std::lock_guard<std::mutex> guard(mutex_);
                    requests_.push_back(request);
                }
                const scripted_reply answer = respond_(request);
                send_all(connected.socket, answer.bytes);
                if (answer.close_after) {
                    ::close(connected.socket);
                    connected.socket = -1;
                    break;
                }
                if (answer.hold) {
                    connected.held = true;
                    break;
                }
            }
        }
        clients.erase(std::remove_if(clients.begin(), clients.end(),
                                     [](const client& connected) { return connected.socket < 0; }),
                      clients.end());
    }
    for (const auto& connected : clients) {
        ::close(connected.socket);
    }
}

std::vector<std::string> raw_http_server::requests() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return requests_;
}

std::size_t raw_http_server::connections() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return connections_;
}

scripted_reply raw_http_server::reply(const std::string& status_line,
                                      const std::vector<std::string>& headers,
                                      const std::string& body) {
    std::string bytes = status_line + "\r\n";
    for (const auto& header : headers) {
        bytes += header + "\r\n";
    }
    bytes += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    return {bytes, false, false};
}

}  // namespace zentrova::monitoring_modules::rest::testing
