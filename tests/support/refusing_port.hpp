#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>

namespace zentrova::monitoring_modules::testing {

// A TCP socket bound to a free port of 127.0.0.1, whose number goes to `port`.
inline int bind_loopback(std::uint16_t& port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    // NOLINTBEGIN(cppcoreguidelines-pro-type-reinterpret-cast): the sockets API
    if (socket < 0 || ::bind(socket, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        if (socket >= 0) {
            ::close(socket);
        }
        throw std::runtime_error("cannot bind a port on 127.0.0.1");
    }
    // NOLINTEND(cppcoreguidelines-pro-type-reinterpret-cast)
    port = ntohs(address.sin_port);
    return socket;
}

// A port on 127.0.0.1 that is bound but never listens: nobody else gets it, and connections to it
// are refused at once.
class refusing_port {
public:
    refusing_port() : socket_(bind_loopback(port_)) {}
    ~refusing_port() { ::close(socket_); }
    refusing_port(const refusing_port&) = delete;
    refusing_port& operator=(const refusing_port&) = delete;
    refusing_port(refusing_port&&) = delete;
    refusing_port& operator=(refusing_port&&) = delete;

    std::uint16_t port() const { return port_; }

private:
    std::uint16_t port_ = 0;
    int socket_;
};

}  // namespace zentrova::monitoring_modules::testing
