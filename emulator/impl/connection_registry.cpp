#include "emulator/impl/connection_registry.hpp"

#include <openssl/ssl.h>
#include <sys/socket.h>

#include <memory>

namespace zentrova::monitoring_modules::emulator::impl {

// Lives in the connection's ex_data from its first handshake step until SSL_free, which runs
// before the server closes the socket: while a record exists, its descriptor is this
// connection's and no other's.
struct connection_registry::connection_record {
    connection_registry* registry;
    int fd;
    bool handshake_done = false;
};

connection_registry::connection_registry(request_recorder& recorder) : recorder_(recorder) {}

connection_registry::~connection_registry() = default;

int connection_registry::connection_index() {
    static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, on_free);
    return index;
}

int connection_registry::context_index() {
    static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

void connection_registry::attach(SSL_CTX* context) {
    SSL_CTX_set_ex_data(context, context_index(), this);
    SSL_CTX_set_info_callback(context, on_info);
    connection_index();
}

void connection_registry::on_info(const SSL* ssl, int where, int /*ret*/) {
    auto* record = static_cast<connection_record*>(SSL_get_ex_data(ssl, connection_index()));
    if ((where & SSL_CB_HANDSHAKE_START) != 0 && record == nullptr) {
        auto* registry = static_cast<connection_registry*>(
            SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), context_index()));
        if (registry == nullptr) {
            return;
        }
        auto owned = std::make_unique<connection_record>(
            connection_record{registry, SSL_get_fd(ssl), false});
        // OpenSSL hands the callback a const connection; the record is ours to attach.
        if (SSL_set_ex_data(const_cast<SSL*>(ssl), connection_index(), owned.get()) == 1) {
            registry->opened(owned.release()->fd);
        }
        return;
    }
    // TLS 1.3 reports post-handshake messages as handshakes too; count each connection once.
    if ((where & SSL_CB_HANDSHAKE_DONE) != 0 && record != nullptr && !record->handshake_done) {
        record->handshake_done = true;
        record->registry->recorder_.handshake_completed();
    }
}

void connection_registry::on_free(void* /*parent*/, void* pointer, CRYPTO_EX_DATA* /*data*/,
                                  int /*index*/, long /*argl*/, void* /*argp*/) {
    std::unique_ptr<connection_record> record(static_cast<connection_record*>(pointer));
    if (record) {
        record->registry->closed(record->fd);
    }
}

void connection_registry::opened(int fd) {
    std::lock_guard<std::mutex> lock(mutex_);
    open_.insert(fd);
    recorder_.connection_opened();
    if (shutting_down_) {
        ::shutdown(fd, SHUT_RDWR);
    }
}

void connection_registry::closed(int fd) {
    std::lock_guard<std::mutex> lock(mutex_);
    open_.erase(fd);
    recorder_.connection_closed();
}

void connection_registry::shut_down_all() {
    std::lock_guard<std::mutex> lock(mutex_);
    shutting_down_ = true;
    for (int fd : open_) {
        ::shutdown(fd, SHUT_RDWR);
    }
}

}  // namespace zentrova::monitoring_modules::emulator::impl
