#include "emulator/impl/emulator_server.hpp"

#include <httplib.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "emulator/impl/connection_pool.hpp"
#include "emulator/impl/response_coalescer.hpp"
#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Exposes the listening socket, which the base class keeps to itself, so that the listen
// backlog can be raised above the library's built-in 5: a benchmark opening hundreds of
// connections at once must not see its handshakes dropped and retried a second later.
class emulator_server::https_server : public httplib::SSLServer {
public:
    using httplib::SSLServer::SSLServer;
    int listening_socket() const { return svr_sock_; }
};

namespace {

bool is_pseudo_header(const std::string& name) {
    return name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" ||
           name == "LOCAL_PORT";
}

// Writes an answer past the server library, which knows only the standard reason phrases and
// always completes a body: the status line as given, `body_bytes` of the body, and
// "Connection: close", since nothing may follow on this connection.
void write_raw(SSL* ssl, const http_answer& answer, std::size_t body_bytes) {
    std::string text = "HTTP/1.1 " + std::to_string(answer.status) + " ";
    text += answer.reason.empty() ? reason_phrase(answer.status) : answer.reason;
    text += "\r\n";
    for (const auto& [name, value] : answer.headers) {
        text += name;
        text += ": ";
        text += value;
        text += "\r\n";
    }
    text += "Content-Type: " + answer.content_type + "\r\n";
    text += "Content-Length: " + std::to_string(answer.body.size()) + "\r\n";
    text += "Connection: close\r\n\r\n";
    text.append(answer.body, 0, body_bytes);
    std::size_t sent = 0;
    while (sent < text.size()) {
        std::size_t n = 0;
        if (SSL_write_ex(ssl, text.data() + sent, text.size() - sent, &n) != 1) {
            break;
        }
        sent += n;
    }
    response_coalescer::finish(ssl);
}

}  // namespace

emulator_server::emulator_server(const server_options& options, request_recorder& recorder)
    : server_(std::make_unique<https_server>(options.certificate_file.c_str(),
                                             options.private_key_file.c_str())),
      connections_(recorder) {
    if (!server_->is_valid()) {
        throw std::runtime_error("emulator: cannot load the TLS certificate '" +
                                 options.certificate_file + "' with the key '" +
                                 options.private_key_file +
                                 "': check that both are readable PEM files that belong together");
    }
    connections_.attach(server_->ssl_context());
    const std::size_t max_threads = options.max_threads;
    // The server library takes ownership of the queue it is handed.
    server_->new_task_queue = [max_threads, &recorder]() -> httplib::TaskQueue* {
        return std::make_unique<connection_pool>(max_threads, recorder).release();
    };
    server_->set_tcp_nodelay(true);
    // Only SO_REUSEADDR: the library's default SO_REUSEPORT would let a second emulator bind
    // a fixed port that is in use and silently share its connections.
    server_->set_socket_options([](int sock) {
        int yes = 1;
        ::setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    server_->set_keep_alive_max_count(std::numeric_limits<int>::max());
    server_->set_keep_alive_timeout(options.keep_alive_timeout_seconds);
    server_->set_read_timeout(10, 0);
    server_->set_write_timeout(30, 0);
    server_->set_payload_max_length(std::size_t{64} * 1024 * 1024);
    server_->set_pre_routing_handler([](const httplib::Request& request, httplib::Response&) {
        if (request.ssl != nullptr) {
            response_coalescer::begin(const_cast<SSL*>(request.ssl));
        }
        return httplib::Server::HandlerResponse::Unhandled;
    });
    // The logger runs once the response is written: the moment to send it.
    server_->set_logger([](const httplib::Request& request, const httplib::Response&) {
        if (request.ssl != nullptr) {
            response_coalescer::finish(const_cast<SSL*>(request.ssl));
        }
    });
    auto handler = [this](const httplib::Request& request, httplib::Response& response) {
        handle(request, response);
    };
    server_->Get(".*", handler);
    server_->Post(".*", handler);
    server_->Put(".*", handler);
    server_->Patch(".*", handler);
    server_->Delete(".*", handler);
    server_->Options(".*", handler);
    server_->set_exception_handler(
        [](const httplib::Request&, httplib::Response& response, const std::exception_ptr& error) {
            std::string what = "unknown failure";
            try {
                std::rethrow_exception(error);
            } catch (const std::exception& e) {
                what = e.what();
            } catch (...) {
            }
            const http_answer answer = arm_error(500, "InternalServerError", "emulator: " + what);
            response.status = 500;
            response.set_content(answer.body, answer.content_type);
        });

    port_ = options.port == 0 ? server_->bind_to_any_port("127.0.0.1")
            : server_->bind_to_port("127.0.0.1", options.port) ? options.port
                                                               : -1;
    if (port_ <= 0) {
        const std::string reason = std::strerror(errno);
        throw std::runtime_error(
            "emulator: cannot listen on 127.0.0.1:" + std::to_string(options.port) + ": " + reason +
            " (is another process using the port?)");
    }
    ::listen(server_->listening_socket(), SOMAXCONN);
}

emulator_server::~emulator_server() {
    stop();
}

void emulator_server::start(azure_service& service) {
    service_ = &service;
    listener_ = std::thread([this] { server_->listen_after_bind(); });
    // stop() can only end an accept loop that has begun; the library offers no signal for
    // that, so watch its flag, for a bounded time.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!server_->is_running() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
}

void emulator_server::stop() {
    {
        std::lock_guard<std::mutex> lock(stop_mutex_);
        stopping_ = true;
    }
    stop_signal_.notify_all();
    if (!listener_.joinable()) {
        const int sock = server_->listening_socket();
        if (sock >= 0) {
            ::close(sock);
        }
        return;
    }
    server_->stop();
    connections_.shut_down_all();
    listener_.join();
}

void emulator_server::pause(int milliseconds) {
    std::unique_lock<std::mutex> lock(stop_mutex_);
    stop_signal_.wait_for(lock, std::chrono::milliseconds(milliseconds),
                          [this] { return stopping_; });
}

void emulator_server::handle(const httplib::Request& request, httplib::Response& response) {
    incoming_request in;
    in.method = request.method;
    in.target = request.target;
    in.path = normalize_path(request.path);
    const std::size_t query = request.target.find('?');
    if (query != std::string::npos) {
        in.params = parse_form(std::string_view(request.target).substr(query + 1));
    }
    for (const auto& [name, value] : request.headers) {
        if (!is_pseudo_header(name)) {
            in.headers.emplace_back(name, value);
        }
    }
    in.body = request.body;

    const service_reply reply = service_->handle(in);
    if (reply.delay_ms > 0) {
        pause(reply.delay_ms);
    }
    SSL* ssl = const_cast<SSL*>(request.ssl);
    const http_answer& answer = reply.answer;
    switch (reply.how) {
        case service_reply::delivery::close_connection:
            // The library's own write then fails, and it closes the connection.
            ::shutdown(SSL_get_fd(ssl), SHUT_RDWR);
            return;
        case service_reply::delivery::close_mid_body:
            write_raw(ssl, answer, answer.body.size() / 2);
            ::shutdown(SSL_get_fd(ssl), SHUT_RDWR);
            return;
        case service_reply::delivery::respond:
            break;
    }
    if (!answer.reason.empty() && answer.reason != reason_phrase(answer.status)) {
        write_raw(ssl, answer, answer.body.size());
        SSL_shutdown(ssl);
        return;
    }
    response.status = answer.status;
    for (const auto& [name, value] : answer.headers) {
        response.set_header(name, value);
    }
    response.set_content(answer.body, answer.content_type);
}

}  // namespace zentrova::monitoring_modules::emulator::impl
