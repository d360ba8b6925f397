#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>

namespace zentrova::monitoring_modules::testing {

// A port on 127.0.0.1 that is bound but never listens: nobody else gets it, and connections to it
// are refused at once.
class refusing_port {
public:
    refusing_port() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        // NOLINTBEGIN(cppcoreguidelines-pro-type-reinterpret-cast): the sockets API
        if (socket_ < 0 || ::bind(socket_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
            ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            if (socket_ >= 0) {
                ::close(socket_);
            }
            throw std::runtime_error("cannot bind a port on 127.0.0.1");
        }
        // NOLINTEND(cppcoreguidelines-pro-type-reinterpret-cast)
        port_ = ntohs(address.sin_port);
    }
    ~refusing_port() { ::close(socket_); }
    refusing_port(const refusing_port&) = delete;
    refusing_port& operator=(const refusing_port&) = delete;
    refusing_port(refusing_port&&) = delete;
    refusing_port& operator=(refusing_port&&) = delete;

    std::uint16_t port() const { return port_; }

private:
    int socket_;
    std::uint16_t port_ = 0;
};

}  // namespace zentrova::monitoring_modules::testing
