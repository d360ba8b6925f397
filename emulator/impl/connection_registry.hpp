#pragma once

#include <openssl/types.h>

#include <mutex>
#include <set>

#include "emulator/impl/request_recorder.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Knows every TLS connection the server has open, from the start of its handshake until the
// connection is freed, and counts completed handshakes. stop() needs it: an idle keep-alive
// connection would otherwise hold its thread until the keep-alive time-out. Thread-safe.
class connection_registry {
public:
    explicit connection_registry(request_recorder& recorder);
    ~connection_registry();
    connection_registry(const connection_registry&) = delete;
    connection_registry& operator=(const connection_registry&) = delete;

    // Watches the connections made from `context`; the registry must outlive them.
    void attach(SSL_CTX* context);

    // Shuts down every open connection, and from now on each new one as soon as it appears.
    void shut_down_all();

private:
    struct connection_record;
    static void on_info(const SSL* ssl, int where, int ret);
    static void on_free(void* parent, void* pointer, CRYPTO_EX_DATA* data, int index, long argl,
                        void* argp);
    static int connection_index();
    static int context_index();

    void opened(int fd);
    void closed(int fd);

    request_recorder& recorder_;
    std::mutex mutex_;
    std::set<int> open_;
    bool shutting_down_ = false;
};

}  // namespace zentrova::monitoring_modules::emulator::impl
