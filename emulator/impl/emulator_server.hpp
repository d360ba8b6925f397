#pragma once

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "emulator/impl/azure_service.hpp"
#include "emulator/impl/connection_registry.hpp"
#include "emulator/impl/request_recorder.hpp"

namespace httplib {
struct Request;
struct Response;
}  // namespace httplib

namespace zentrova::monitoring_modules::emulator::impl {

struct server_options {
    int port = 0;
    std::string certificate_file;
    std::string private_key_file;
    std::size_t max_threads = 1024;
    int keep_alive_timeout_seconds = 15;
};

// The HTTPS transport on 127.0.0.1: turns each request into an incoming_request for the
// service and delivers the reply as told (answer, delay, cut or closed connection). Binding
// happens in the constructor, so the port is known before the service is built; start()
// accepts connections, stop() closes every connection and joins every thread.
class emulator_server {
public:
    emulator_server(const server_options& options, request_recorder& recorder);
    ~emulator_server();
    emulator_server(const emulator_server&) = delete;
    emulator_server& operator=(const emulator_server&) = delete;

    int port() const { return port_; }
    void start(azure_service& service);
    void stop();

private:
    class https_server;

    void handle(const httplib::Request& request, httplib::Response& response);
    void pause(int milliseconds);

    std::unique_ptr<https_server> server_;
    connection_registry connections_;
    azure_service* service_ = nullptr;
    int port_ = 0;
    std::thread listener_;
    std::mutex stop_mutex_;
    std::condition_variable stop_signal_;
    bool stopping_ = false;
};

}  // namespace zentrova::monitoring_modules::emulator::impl
