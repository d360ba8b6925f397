#include "rest/impl/curl/curl_connection_pool.hpp"

#include <curl/curl.h>

#include <stdexcept>

#include "rest/impl/curl/curl_engine.hpp"
#include "rest/impl/curl/curl_library.hpp"
#include "rest/impl/curl/openssl_library.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

static_assert(CURL_LOCK_DATA_LAST <= 16, "one lock per kind of shared data");

void lock_shared(CURL* /*handle*/, curl_lock_data kind, curl_lock_access /*access*/, void* pool) {
    static_cast<curl_connection_pool*>(pool)->share_lock(kind).lock();
}

void unlock_shared(CURL* /*handle*/, curl_lock_data kind, void* pool) {
    static_cast<curl_connection_pool*>(pool)->share_lock(kind).unlock();
}

void check(const curl_library& curl, CURLSHcode code) {
    if (code != CURLSHE_OK) {
        throw std::runtime_error(std::string("the HTTP engine (libcurl) cannot share data: ") +
                                 curl.share_strerror(code));
    }
}

}  // namespace

std::shared_ptr<connection_pool_interface> make_connection_pool(
    const connection_pool_options& options) {
    return std::make_shared<curl_connection_pool>(options);
}

// The first start loads libcurl, so that only a module that connects pays for it.
curl_connection_pool::global_start::global_start() {
    const auto& curl = curl_library::get();
    const CURLcode code = curl.global_init(CURL_GLOBAL_DEFAULT);
    if (code != CURLE_OK) {
        throw std::runtime_error(std::string("the HTTP engine (libcurl) cannot start: ") +
                                 curl.easy_strerror(code));
    }
}

curl_connection_pool::global_start::~global_start() {
    // Loaded: this start's constructor got it.
    curl_library::get().global_cleanup();
}

void curl_connection_pool::share_deleter::operator()(void* share) const noexcept {
    // A share exists only once libcurl is loaded.
    curl_library::get().share_cleanup(share);
}

curl_connection_pool::curl_connection_pool(const connection_pool_options& options)
    : trust_(std::make_unique<openssl_trust_store>(options.ca_bundle)),
      max_idle_(options.max_idle_connections) {}

curl_connection_pool::~curl_connection_pool() {
    // Close the idle connections while the share they use still exists.
    const std::lock_guard<std::mutex> guard(idle_mutex_);
    idle_.clear();
}

std::unique_ptr<http_engine_interface> curl_connection_pool::make_engine() {
    return std::make_unique<curl_engine>(shared_from_this());
}

void curl_connection_pool::start() {
    global_.emplace();  // loads libcurl
    try {
        const auto& curl = curl_library::get();
        // OpenSSL now, from libcurl's side, so that a libcurl that does not use it fails here
        // with the reason rather than in the middle of a TLS handshake.
        static_cast<void>(openssl_library::get());
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
        global_.reset();  // the next connection starts afresh
        throw;
    }
}

std::unique_ptr<curl_connection> curl_connection_pool::acquire(const std::string& origin) {
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
    return std::make_unique<curl_connection>(share_.get(), trust_.get(), origin);
}

void curl_connection_pool::release(std::unique_ptr<curl_connection> connection) {
    std::list<std::unique_ptr<curl_connection>> evicted;
    {
        const std::lock_guard<std::mutex> guard(idle_mutex_);
        idle_.push_front(std::move(connection));
        while (idle_.size() > max_idle_) {
            evicted.splice(evicted.end(), idle_, std::prev(idle_.end()));
        }
    }
    // Closing connections can take a moment (TLS close notify); not while others wait.
}

}  // namespace zentrova::monitoring_modules::rest::impl
