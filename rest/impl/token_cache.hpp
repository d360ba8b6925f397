#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>

#include "rest/request_deadline.hpp"

namespace zentrova::monitoring_modules::rest::impl {

// Bearer tokens, one per token endpoint, client credentials and resource. The module's
// rest_factory keeps one cache for the whole process and hands it to every Azure AD provider, so
// that many sensors of one subscription cause one token request per token lifetime. Thread-safe:
// callers that want the same token wait for a single fetch and take its outcome, token or
// failure; callers that want different tokens do not wait for each other. Token age is measured
// on a steady clock, never the wall clock.
//
// Each caller brings its own time-out. The fetch runs under a deadline that each caller waiting
// for it moves to its own, so it ends by the latest of theirs and never fails one of them sooner
// than its time-out; a waiter gives up at its own deadline. The caller that runs the fetch stays
// with it to its end, which those waiting may put past its own deadline.
class token_cache {
public:
    using clock_function = std::function<std::chrono::steady_clock::time_point()>;

    // A token is fetched again once fewer than this many seconds of it are left.
    static constexpr std::chrono::seconds refresh_margin{30};

    // Identifies a token. The secret takes part only as its digest (secret_digest()), which is
    // all the cache keeps: a wrong secret must not borrow the token of the right one.
    struct token_request {
        std::string token_endpoint;
        std::string client_id;
        std::string secret_digest;
        std::string resource;
    };

    // The digest of a client secret that token_request::secret_digest holds. Callers compute it
    // once per secret: it is the dearest part of a lookup. Throws std::runtime_error when the
    // platform's cryptography cannot compute it.
    static std::string secret_digest(const std::string& secret);

    // What a fetch brings back: the token and how long it is valid from the fetch's start.
    struct fetched_token {
        std::string access_token;
        std::chrono::seconds lifetime{0};
    };

    // Fetches a token; its request must end by the deadline, which may move later meanwhile.
    using fetch_function =
        std::function<fetched_token(const std::shared_ptr<const request_deadline>& deadline)>;

    explicit token_cache(clock_function now = std::chrono::steady_clock::now);

    // Returns the cached token when at least refresh_margin of it is left, otherwise calls
    // `fetch` (one caller per token at a time) and keeps what it returns. A failing fetch keeps no
    // token and its exception passes through to this caller and to those that waited for it; the
    // next call after that tries again. A caller that finds a fetch under way moves its deadline
    // to `timeout` from now, when that is later, and waits until then at most; then it fails
    // with exceptions::authentication_failed naming its time-out.
    std::string get(const token_request& request, std::chrono::milliseconds timeout,
                    const fetch_function& fetch);

    // Number of tokens held (expired ones are dropped as new ones arrive).
    std::size_t size() const;

private:
    // One token. Its lock is never held during a fetch: the fetching caller marks the entry,
    // and callers that find the mark wait on fetch_ended.
    struct entry {
        std::mutex mutex;  // guards everything below
        std::condition_variable fetch_ended;
        bool fetching = false;
        std::shared_ptr<request_deadline> fetch_deadline;  // of the fetch under way
        std::uint64_t fetches_ended = 0;  // tells a waiter that its fetch ended, not a later one
        std::string access_token;
        std::chrono::steady_clock::time_point expires_at{};
        std::exception_ptr last_failure;  // of the last fetch, if it failed
    };
    // token endpoint, client id, secret digest, resource
    using key = std::tuple<std::string, std::string, std::string, std::string>;

    std::shared_ptr<entry> find_or_add(const token_request& request);

    clock_function now_;
    mutable std::mutex entries_mutex_;
    // Transparent: a lookup compares the request's texts where they are, without copying them.
    std::map<key, std::shared_ptr<entry>, std::less<>> entries_;
};

}  // namespace zentrova::monitoring_modules::rest::impl
