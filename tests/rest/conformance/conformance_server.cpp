#include "tests/rest/conformance/conformance_server.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <csignal>
#include <map>
#include <stdexcept>
#include <thread>

#include "emulator/tls_identity.hpp"

namespace zentrova::monitoring_modules::rest::testing {

namespace {

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

std::string reason_phrase(int status) {
    static const std::map<int, std::string> reasons = {{200, "OK"},
                                                       {204, "No Content"},
                                                       {302, "Found"},
                                                       {418, "I'm a teapot"},
                                                       {503, "Service Unavailable"}};
    const auto found = reasons.find(status);
    return found == reasons.end() ? "Status" : found->second;
}

std::string reply(int status, const std::vector<std::string>& headers, const std::string& body,
                  bool head) {
    std::string bytes = "HTTP/1.1 " + std::to_string(status) + " " + reason_phrase(status) + "\r\n";
    for (const auto& header : headers) {
        bytes += header + "\r\n";
    }
    if (status != 204) {
        bytes += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    }
    bytes += "\r\n";
    if (!head && status != 204) {
        bytes += body;
    }
    return bytes;
}

std::string openssl_reason() {
    std::array<char, 256> text{};
    ERR_error_string_n(ERR_get_error(), text.data(), text.size());
    return text.data();
}

}  // namespace

struct conformance_server::listener {
    int socket = -1;
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> tls{nullptr, &SSL_CTX_free};  // null: HTTP
    std::atomic<std::size_t> next_connection{1};
};

namespace {

// One accepted connection, with or without TLS.
class connection {
public:
    connection(int socket, SSL_CTX* tls) : socket_(socket) {
        if (tls != nullptr) {
            ssl_.reset(SSL_new(tls));
            SSL_set_fd(ssl_.get(), socket_);
        }
    }

    bool handshake() { return !ssl_ || SSL_accept(ssl_.get()) == 1; }

    // Reads what is there; 0 when the peer closed or the connection failed.
    std::size_t read(char* buffer, std::size_t size) {
        if (ssl_) {
            const int got = SSL_read(ssl_.get(), buffer, static_cast<int>(size));
            return got > 0 ? static_cast<std::size_t>(got) : 0;
        }
        const auto got = ::recv(socket_, buffer, size, 0);
        return got > 0 ? static_cast<std::size_t>(got) : 0;
    }

    // False when the peer is gone.
    bool write(const std::string& bytes) {
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            long result = 0;
            if (ssl_) {
                result = SSL_write(ssl_.get(), bytes.data() + sent,
                                   static_cast<int>(bytes.size() - sent));
            } else {
                result = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            }
            if (result <= 0) {
                return false;
            }
            sent += static_cast<std::size_t>(result);
        }
        return true;
    }

    void close_quietly() {
        if (ssl_) {
            SSL_shutdown(ssl_.get());
        }
    }

private:
    int socket_;
    std::unique_ptr<SSL, decltype(&SSL_free)> ssl_{nullptr, &SSL_free};
};

}  // namespace

conformance_server::conformance_server(const std::string& directory) {
    const auto add_tls_listener = [&](const emulator::tls_identity& identity,
                                      const std::string& folder, std::uint16_t& port,
                                      std::string& ca_file) {
        const auto files = emulator::write_tls_identity(identity, directory + "/" + folder);
        auto source = std::make_unique<listener>();
        source->tls.reset(SSL_CTX_new(TLS_server_method()));
        if (!source->tls ||
            SSL_CTX_use_certificate_chain_file(source->tls.get(), files.certificate_file.c_str()) !=
                1 ||
            SSL_CTX_use_PrivateKey_file(source->tls.get(), files.private_key_file.c_str(),
                                        SSL_FILETYPE_PEM) != 1) {
            throw std::runtime_error("the conformance server cannot load its certificate: " +
                                     openssl_reason());
        }
        source->socket = monitoring_modules::testing::bind_loopback(port);
        ca_file = files.ca_file;
        listeners_.push_back(std::move(source));
    };

    auto plain = std::make_unique<listener>();
    plain->socket = monitoring_modules::testing::bind_loopback(description_.plain_port);
    listeners_.push_back(std::move(plain));
    add_tls_listener(emulator::tls_identity::for_loopback(), "tls", description_.tls_port,
                     description_.tls_ca_file);
    add_tls_listener(emulator::tls_identity::generate({"elsewhere.invalid"}, {}), "other-host",
                     description_.other_host_port, description_.other_host_ca_file);
    description_.refusing_port = refusing_.port();

    for (const auto& source : listeners_) {
        if (::listen(source->socket, 64) != 0) {
            stop();
            throw std::runtime_error("the conformance server cannot listen on 127.0.0.1");
        }
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    for (const auto& source : listeners_) {
        listener* accepting = source.get();
        threads_.emplace_back([this, accepting] { accept_loop(*accepting); });
    }
}

conformance_server::~conformance_server() {
    stop();
}

void conformance_server::stop() {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (stopping_.exchange(true)) {
            return;
        }
        for (const auto& source : listeners_) {
            ::shutdown(source->socket, SHUT_RDWR);
        }
        for (const int socket : open_sockets_) {
            ::shutdown(socket, SHUT_RDWR);
        }
    }
    // Handlers still starting register under the lock, see stopping_ and leave at once.
    for (;;) {
        std::vector<std::thread> joining;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            joining.swap(threads_);
        }
        if (joining.empty()) {
            break;
        }
        for (auto& thread : joining) {
            thread.join();
        }
    }
    for (const auto& source : listeners_) {
        ::close(source->socket);
    }
}

void conformance_server::accept_loop(listener& source) {
    while (!stopping_) {
        const int socket = ::accept4(source.socket, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) {
            if (stopping_ || (errno != EINTR && errno != ECONNABORTED)) {
                return;
            }
            continue;
        }
        const int yes = 1;
        ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
        const std::size_t id = source.next_connection++;
        const std::lock_guard<std::mutex> guard(mutex_);
        if (stopping_) {
            ::close(socket);
            return;
        }
        open_sockets_.insert(socket);
        threads_.emplace_back([this, &source, socket, id] { serve(source, socket, id); });
    }
}

void conformance_server::forget(int socket) {
    const std::lock_guard<std::mutex> guard(mutex_);
    open_sockets_.erase(socket);
    ::close(socket);
}

void conformance_server::serve(listener& source, int socket, std::size_t connection_id) {
    // A client that hangs up mid-write (one refusing the certificate during the handshake, say)
    // must cost this connection an error code, not the test process a SIGPIPE.
    sigset_t pipe_signal;
    sigemptyset(&pipe_signal);
    sigaddset(&pipe_signal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_signal, nullptr);
    connection peer(socket, source.tls.get());
    if (!peer.handshake()) {
        forget(socket);
        return;
    }
    std::string received;
    std::array<char, 16384> buffer{};
    bool open = true;
    while (open && !stopping_) {
        const std::size_t got = peer.read(buffer.data(), buffer.size());
        if (got == 0) {
            break;
        }
        received.append(buffer.data(), got);
        // A TLS handshake on the plain port: a TLS client learns at once that there is no TLS.
        if (!source.tls && received.front() == '\x16') {
            break;
        }
        while (const std::size_t length = complete_request(received)) {
            const std::string request = received.substr(0, length);
            received.erase(0, length);
            bool close_after = false;
            bool hold = false;
            std::string trickle;
            const std::string bytes = answer(request, connection_id, close_after, hold, trickle);
            peer.write(bytes);
            // One byte every 100 ms: every read gets something, none gets the answer.
            for (std::size_t sent = 0; sent < trickle.size() && !stopping_; ++sent) {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                if (!peer.write(trickle.substr(sent, 1))) {
                    open = false;
                    break;
                }
            }
            if (close_after && bytes.find("chunked") != std::string::npos) {
                // /endless: chunks until the client hangs up, 4 GiB at most.
                const std::string chunk = "10000\r\n" + std::string(0x10000, ' ') + "\r\n";
                for (int sent = 0; sent < 0x10000 && !stopping_ && peer.write(chunk); ++sent) {
                }
            }
            if (hold) {
                // Silent until the client gives up (or the server stops).
                while (peer.read(buffer.data(), buffer.size()) > 0) {
                }
                open = false;
                break;
            }
            if (close_after) {
                open = false;
                break;
            }
        }
    }
    peer.close_quietly();
    forget(socket);
}

std::string conformance_server::answer(const std::string& request, std::size_t connection_id,
                                       bool& close_after, bool& hold, std::string& trickle) {
    const std::string line = request.substr(0, request.find("\r\n"));
    const auto method_end = line.find(' ');
    const auto target_end = line.find(' ', method_end + 1);
    const std::string method = line.substr(0, method_end);
    const std::string target = line.substr(method_end + 1, target_end - method_end - 1);
    const std::string path = target.substr(0, target.find('?'));
    const bool head = method == "HEAD";
    const std::string connection_header = "X-Connection: " + std::to_string(connection_id);

    if (path == "/seen") {
        const auto query = target.find('?');
        const std::string marker = query == std::string::npos ? "" : target.substr(query + 1);
        return reply(200, {connection_header, "Content-Type: text/plain"},
                     std::to_string(seen(marker)), head);
    }
    record(target);
    if (path.rfind("/status/", 0) == 0) {
        const int status = std::stoi(path.substr(8));
        return reply(status, {connection_header, "Content-Type: text/plain"},
                     "status " + std::to_string(status), head);
    }
    if (path == "/teapot") {
        return reply(
            418,
            {connection_header, "X-Custom-Header:  spaced value ",
             "Set-Cookie: sid=abc; Path=/; HttpOnly", "Set-Cookie: theme=dark", "Vary: Accept",
             "Vary: Origin", "Content-Type: application/json; charset=utf-8"},
            R"({"error":{"code":"Teapot"}})", head);
    }
    if (path == "/redirect") {
        return reply(302, {connection_header, "Location: /echo/redirected"}, "moved", head);
    }
    if (path == "/set-cookie") {
        return reply(200, {connection_header, "Set-Cookie: session=s3cr3t; Path=/"}, "cookie set",
                     head);
    }
    if (path == "/close-mid-body") {
        close_after = true;
        return "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"partial";
    }
    if (path == "/close-silently") {
        close_after = true;
        return {};
    }
    if (path == "/hold") {
        hold = true;
        return {};
    }
    if (path == "/endless") {
        close_after = true;
        return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n"
               "Transfer-Encoding: chunked\r\n\r\n";
    }
    if (path.rfind("/trickle/", 0) == 0) {
        trickle.assign(std::stoul(path.substr(9)), 'x');
        return "HTTP/1.1 200 OK\r\n" + connection_header +
               "\r\nContent-Type: text/plain\r\nContent-Length: " + std::to_string(trickle.size()) +
               "\r\n\r\n";
    }
    if (path == "/trickle-headers") {
        close_after = true;
        trickle = "X-Trickle: " + std::string(580, 'x') + "\r\nContent-Length: 0\r\n\r\n";
        return "HTTP/1.1 200 OK\r\n";
    }
    if (path == "/not-http") {
        close_after = true;
        return "SSH-2.0-OpenSSH_9.2\r\n\r\n";
    }
    return reply(200, {connection_header, "Content-Type: text/plain"}, request, head);
}

void conformance_server::record(const std::string& target) {
    const std::lock_guard<std::mutex> guard(mutex_);
    targets_.push_back(target);
}

std::size_t conformance_server::seen(const std::string& marker) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (marker.empty()) {
        return targets_.size();
    }
    return static_cast<std::size_t>(std::count_if(
        targets_.begin(), targets_.end(),
        [&](const std::string& target) { return target.find(marker) != std::string::npos; }));
}

}  // namespace zentrova::monitoring_modules::rest::testing
