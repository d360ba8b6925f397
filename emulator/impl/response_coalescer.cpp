#include "emulator/impl/response_coalescer.hpp"

#include <openssl/bio.h>
#include <openssl/ssl.h>

#include <memory>
#include <string>

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

// Beyond this much, collected data goes out anyway: a large body still streams.
constexpr std::size_t collect_limit = std::size_t{256} * 1024;

struct coalescer_state {
    std::string pending;
    bool collecting = false;
};

coalescer_state* state_of(BIO* b) {
    return static_cast<coalescer_state*>(BIO_get_data(b));
}

bool drain(BIO* b, coalescer_state& s) {
    BIO* next = BIO_next(b);
    std::size_t sent = 0;
    while (sent < s.pending.size()) {
        std::size_t n = 0;
        // The socket is blocking with a send time-out; a failure here means the peer is gone
        // or stalled, and the connection ends either way.
        if (next == nullptr ||
            BIO_write_ex(next, s.pending.data() + sent, s.pending.size() - sent, &n) != 1) {
            s.pending.clear();
            return false;
        }
        sent += n;
    }
    s.pending.clear();
    return true;
}

int coalescer_write(BIO* b, const char* data, std::size_t length, std::size_t* written) {
    coalescer_state* s = state_of(b);
    BIO_clear_retry_flags(b);
    if (s->collecting) {
        s->pending.append(data, length);
        *written = length;
        return s->pending.size() < collect_limit || drain(b, *s) ? 1 : 0;
    }
    const int ok = BIO_write_ex(BIO_next(b), data, length, written);
    BIO_copy_next_retry(b);
    return ok;
}

int coalescer_read(BIO* b, char* data, std::size_t length, std::size_t* read) {
    BIO_clear_retry_flags(b);
    const int ok = BIO_read_ex(BIO_next(b), data, length, read);
    BIO_copy_next_retry(b);
    return ok;
}

long coalescer_ctrl(BIO* b, int command, long number, void* pointer) {
    coalescer_state* s = state_of(b);
    BIO* next = BIO_next(b);
    switch (command) {
        case BIO_CTRL_FLUSH:
            if (!s->pending.empty() && !drain(b, *s)) {
                return 0;
            }
            return next != nullptr ? BIO_ctrl(next, command, number, pointer) : 1;
        case BIO_CTRL_WPENDING:
            return static_cast<long>(s->pending.size()) +
                   (next != nullptr ? BIO_ctrl(next, command, number, pointer) : 0);
        default:
            return next != nullptr ? BIO_ctrl(next, command, number, pointer) : 0;
    }
}

long coalescer_callback_ctrl(BIO* b, int command, BIO_info_cb* callback) {
    BIO* next = BIO_next(b);
    return next != nullptr ? BIO_callback_ctrl(next, command, callback) : 0;
}

int coalescer_create(BIO* b) {
    BIO_set_data(b, std::make_unique<coalescer_state>().release());
    BIO_set_init(b, 1);
    return 1;
}

int coalescer_destroy(BIO* b) {
    std::unique_ptr<coalescer_state> owned(state_of(b));
    BIO_set_data(b, nullptr);
    return 1;
}

int coalescer_type() {
    static const int type = BIO_get_new_index() | BIO_TYPE_FILTER;
    return type;
}

// One method table for the process; OpenSSL keeps pointers to it in every filter made.
const BIO_METHOD* coalescer_method() {
    static BIO_METHOD* const method = [] {
        BIO_METHOD* m = BIO_meth_new(coalescer_type(), "response coalescer");
        if (m != nullptr) {
            BIO_meth_set_write_ex(m, coalescer_write);
            BIO_meth_set_read_ex(m, coalescer_read);
            BIO_meth_set_ctrl(m, coalescer_ctrl);
            BIO_meth_set_callback_ctrl(m, coalescer_callback_ctrl);
            BIO_meth_set_create(m, coalescer_create);
            BIO_meth_set_destroy(m, coalescer_destroy);
        }
        return m;
    }();
    return method;
}

}  // namespace

void response_coalescer::begin(SSL* ssl) {
    BIO* socket_bio = SSL_get_wbio(ssl);
    if (socket_bio == nullptr || coalescer_method() == nullptr) {
        return;
    }
    if (BIO_method_type(socket_bio) == coalescer_type()) {
        state_of(socket_bio)->collecting = true;
        return;
    }
    BIO* filter = BIO_new(coalescer_method());
    if (filter == nullptr) {
        return;
    }
    // SSL_set0_wbio gives up the connection's reference to the socket BIO; the filter chain
    // keeps this one.
    BIO_up_ref(socket_bio);
    BIO_push(filter, socket_bio);
    SSL_set0_wbio(ssl, filter);
    state_of(filter)->collecting = true;
}

bool response_coalescer::finish(SSL* ssl) {
    BIO* filter = SSL_get_wbio(ssl);
    if (filter == nullptr || BIO_method_type(filter) != coalescer_type()) {
        return true;
    }
    state_of(filter)->collecting = false;
    return BIO_flush(filter) == 1;
}

}  // namespace zentrova::monitoring_modules::emulator::impl
