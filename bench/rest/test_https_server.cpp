#include "bench/rest/test_https_server.hpp"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <vector>

namespace zentrova::monitoring_modules::rest::testing {

temporary_directory::temporary_directory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "rest-test-XXXXXX").string();
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr) {
        throw std::runtime_error("cannot make a temporary directory from " + pattern);
    }
    path_ = buffer.data();
}

temporary_directory::~temporary_directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

test_https_server::test_https_server(const emulator::tls_identity& identity)
    : files_(emulator::write_tls_identity(identity, directory_.path())),
      server_(std::make_unique<httplib::SSLServer>(files_.certificate_file.c_str(),
                                                   files_.private_key_file.c_str())) {
    if (!server_->is_valid()) {
        throw std::runtime_error("the test HTTPS server cannot load its certificate");
    }
    // Accepted sockets inherit TCP_NODELAY from the listener; without it every response whose
    // header and body go out in two writes waits for the client's delayed acknowledgement.
    server_->set_socket_options([](socket_t socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
        setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
    });
    // Keep connections open for as many requests as a test sends, so that reuse shows.
    server_->set_keep_alive_max_count(100000);
    server_->set_pre_routing_handler([this](const httplib::Request& request, httplib::Response&) {
        const std::lock_guard<std::mutex> guard(mutex_);
        client_ports_.insert(request.remote_port);
        ++requests_;
        return httplib::Server::HandlerResponse::Unhandled;
    });
}

test_https_server::~test_https_server() {
    stop();
}

void test_https_server::start() {
    port_ = server_->bind_to_any_port("127.0.0.1");
    if (port_ <= 0) {
        throw std::runtime_error("the test HTTPS server cannot bind a port on 127.0.0.1");
    }
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    // The socket already listens; wait until the accept loop runs so that stop() finds it.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!server_->is_running()) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("the test HTTPS server did not start within 10 s");
        }
        std::this_thread::yield();
    }
}

void test_https_server::stop() {
    if (thread_.joinable()) {
        server_->stop();
        thread_.join();
    }
}

std::size_t test_https_server::connections() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return client_ports_.size();
}

std::size_t test_https_server::requests() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return requests_;
}

}  // namespace zentrova::monitoring_modules::rest::testing
