#include "rest/impl/token_cache.hpp"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <utility>

#include "rest/exceptions.hpp"
#include "rest/impl/sha256_digest.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

// Longer lifetimes than this would only overflow the clock arithmetic; tokens live about an hour.
constexpr std::chrono::seconds longest_lifetime = std::chrono::hours(24);

// What tells two tokens apart, where the request holds it.
auto identity_of(const token_cache::token_request& request) {
    return std::make_tuple(
        std::string_view(request.token_endpoint), std::string_view(request.client_id),
        std::string_view(request.secret_digest), std::string_view(request.resource));
}

// "1 s", "1500 ms": a time-out as a user set it (in seconds), or as given.
std::string duration_text(std::chrono::milliseconds duration) {
    if (duration.count() % 1000 == 0) {
        return std::to_string(duration.count() / 1000) + " s";
    }
    return std::to_string(duration.count()) + " ms";
}

}  // namespace

token_cache::token_cache(clock_function now) : now_(std::move(now)) {}

std::string token_cache::secret_digest(const std::string& secret) {
    return sha256_digest(secret);
}

std::shared_ptr<token_cache::entry> token_cache::find_or_add(const token_request& request) {
    const auto identity = identity_of(request);
    const std::lock_guard<std::mutex> guard(entries_mutex_);
    const auto found = entries_.find(identity);
    if (found != entries_.end()) {
        return found->second;
    }
    // Drop the expired tokens that nobody is fetching, so the cache does not grow without end.
    const auto now = now_();
    for (auto current = entries_.begin(); current != entries_.end();) {
        bool expired = false;
        if (current->second.use_count() == 1) {
            // Nobody else holds the entry and nobody can reach it without entries_mutex_; the
            // entry's own lock orders this read after the last fetch's writes.
            const std::lock_guard<std::mutex> entry_lock(current->second->mutex);
            expired = !current->second->fetching && current->second->expires_at <= now;
        }
        current = expired ? entries_.erase(current) : std::next(current);
    }
    auto added = std::make_shared<entry>();
    entries_.emplace(key(identity), added);
    return added;
}

std::string token_cache::get(const token_request& request, std::chrono::milliseconds timeout,
                             const fetch_function& fetch) {
    const auto deadline = request_deadline::clock::now() + timeout;
    const auto token_entry = find_or_add(request);
    entry& held = *token_entry;
    std::unique_lock<std::mutex> lock(held.mutex);
    if (held.fetching) {
        held.fetch_deadline->extend_to(deadline);
        const std::uint64_t waited_for = held.fetches_ended;
        if (!held.fetch_ended.wait_until(lock, deadline,
                                         [&] { return held.fetches_ended != waited_for; })) {
            throw exceptions::authentication_failed(
                "the token request to " + request.token_endpoint +
                " timed out for this check: it did not end within the check's time-out of " +
                duration_text(timeout) +
                " (another check of the same application sent it); check that " +
                request.token_endpoint + " answers");
        }
        if (held.last_failure) {
            // This call waited for a fetch that failed. Trying again in turn would make each
            // waiter wait for a fetch of its own, one after another.
            std::rethrow_exception(held.last_failure);
        }
    }
    if (!held.access_token.empty() && held.expires_at - now_() >= refresh_margin) {
        return held.access_token;
    }
    held.fetching = true;
    auto fetch_deadline = std::make_shared<request_deadline>(deadline);
    held.fetch_deadline = fetch_deadline;
    lock.unlock();
    const auto fetch_started = now_();
    fetched_token fetched;
    std::exception_ptr failure;
    try {
        fetched = fetch(fetch_deadline);
    } catch (...) {
        failure = std::current_exception();
    }
    lock.lock();
    held.fetching = false;
    held.fetch_deadline.reset();
    ++held.fetches_ended;
    held.last_failure = failure;
    if (!failure) {
        held.expires_at =
            fetch_started + std::clamp(fetched.lifetime, std::chrono::seconds(0), longest_lifetime);
        held.access_token = std::move(fetched.access_token);
    }
    held.fetch_ended.notify_all();
    if (failure) {
        std::rethrow_exception(failure);
    }
    return held.access_token;
}

std::size_t token_cache::size() const {
    const std::lock_guard<std::mutex> guard(entries_mutex_);
    return entries_.size();
}

}  // namespace zentrova::monitoring_modules::rest::impl
