#include "rest/impl/curl_connection_pool.hpp"

#include <curl/curl.h>

#include <stdexcept>

#include "rest/impl/curl_library.hpp"
#include "rest/impl/openssl_library.hpp"

namespace zentrova::monitoring_modules::rest {

namespace {

static_assert(CURL_LOCK_DATA_LAST <= 16, "one lock per kind of shared data");

void lock_shared(CURL* /*handle*/, curl_lock_data kind, curl_lock_access /*access*/, void* state) {
    static_cast<connection_pool::engine_state*>(state)->share_lock(kind).lock();
}

void unlock_shared(CURL* /*handle*/, curl_lock_data kind, void* state) {
    static_cast<connection_pool::engine_state*>(state)->share_lock(kind).unlock();
}

void check(const impl::curl_library& curl, CURLSHcode code) {
    if (code != CURLSHE_OK) {
        throw std::runtime_error(std::string("the HTTP engine (libcurl) cannot share data: ") +
                                 curl.share_strerror(code));
    }
}

}  // namespace

void connection_pool::engine_state::share_deleter::operator()(void* share) const noexcept {
    // A share exists only once libcurl is loaded.
    impl::curl_library::get().share_cleanup(share);
}

connection_pool::engine_state::engine_state(const connection_pool_options& options)
    : trust_(std::make_unique<impl::openssl_trust_store>(options.ca_bundle)),
      max_idle_(options.max_idle_connections) {}

void connection_pool::engine_state::start() {
    runtime_.emplace();  // loads libcurl
    try {
        const auto& curl = impl::curl_library::get();
        // OpenSSL now, from libcurl's side, so that a libcurl that does not use it fails here
        // with the reason rather than in the middle of a TLS handshake.
        static_cast<void>(impl::openssl_library::get());
        std::unique_ptr<void, share_deleter> share(curl.share_init());
        if (!share) {
            throw std::runtime_error("the HTTP engine (libcurl) cannot make a share object");
        }
        check(curl, curl.share_setopt(share.get(), CURLSHOPT_LOCKFUNC, &lock_shared));
        check(curl, curl.share_setopt(share.get(), CURLSHOPT_UNLOCKFUNC, &unlock_shared));
        check(curl, curl.share_setopt(share.get(), CURLSHOPT_USERDATA, static_cast<void*>(this)));
        check(curl, curl.share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS));
        check(curl, curl.share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION));

        // The CA bundle and directory a plain handle would use, so that the shared store
        // trusts exactly what libcurl would, beside the configured extra CAs.
        const std::unique_ptr<CURL, decltype(curl.easy_cleanup)> probe(curl.easy_init(),
                                                                       curl.easy_cleanup);
        if (!probe) {
            throw std::runtime_error("the HTTP engine (libcurl) cannot make a new handle");
        }
        char* ca_file = nullptr;
        char* ca_path = nullptr;
        curl.easy_getinfo(probe.get(), CURLINFO_CAINFO, &ca_file);
        curl.easy_getinfo(probe.get(), CURLINFO_CAPATH, &ca_path);
        trust_->use_system_cas(ca_file != nullptr ? ca_file : "",
                               ca_path != nullptr ? ca_path : "");
        share_ = std::move(share);
    } catch (...) {
        runtime_.reset();  // the next connection starts afresh
        throw;
    }
}

connection_pool::engine_state::~engine_state() {
    // Close the idle connections while the share they use still exists.
    const std::lock_guard<std::mutex> guard(idle_mutex_);
    idle_.clear();
}

std::unique_ptr<impl::curl_connection> connection_pool::engine_state::acquire(
    const std::string& origin) {
    {
        const std::lock_guard<std::mutex> guard(idle_mutex_);
        for (auto idle = idle_.begin(); idle != idle_.end(); ++idle) {
            if ((*idle)->origin() == origin) {
                auto connection = std::move(*idle);
                idle_.erase(idle);
                return connection;
            }
        }
    }
    std::call_once(started_, [this] { start(); });
    return std::make_unique<impl::curl_connection>(share_.get(), trust_.get(), origin);
}

void connection_pool::engine_state::release(std::unique_ptr<impl::curl_connection> connection) {
    std::list<std::unique_ptr<impl::curl_connection>> evicted;
    {
        const std::lock_guard<std::mutex> guard(idle_mutex_);
        idle_.push_front(std::move(connection));
        while (idle_.size() > max_idle_) {
            evicted.splice(evicted.end(), idle_, std::prev(idle_.end()));
        }
    }
    // Closing connections can take a moment (TLS close notify); not while others wait.
}

std::size_t connection_pool::engine_state::idle_count() const {
    const std::lock_guard<std::mutex> guard(idle_mutex_);
    return idle_.size();
}

connection_pool::connection_pool(const connection_pool_options& options)
    : state_(std::make_unique<engine_state>(options)) {}

connection_pool::~connection_pool() = default;

std::size_t connection_pool::idle_connections() const {
    return state_->idle_count();
}

}  // namespace zentrova::monitoring_modules::rest
