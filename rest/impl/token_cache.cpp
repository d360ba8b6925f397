#include "rest/impl/token_cache.hpp"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "rest/exceptions.hpp"
#include "rest/impl/sha256_digest.hpp"

namespace zentrova::monitoring_modules::rest::impl {

namespace {

// Longer lifetimes than this would only overflow the clock arithmetic; tokens live about an hour.
constexpr std::chrono::seconds longest_lifetime = std::chrono::hours(24);

}  // namespace

token_cache::token_cache(clock_function now) : now_(std::move(now)) {}

std::string token_cache::secret_digest(const std::string& secret) {
    return sha256_digest(secret);
}

std::shared_ptr<token_cache::entry> token_cache::find_or_add(key token_key) {
    const std::lock_guard<std::mutex> guard(entries_mutex_);
    if (const auto found = entries_.find(token_key); found != entries_.end()) {
        return found->second;
    }
    // Drop the expired tokens that nobody is fetching, so the cache does not grow without end.
    const auto now = now_();
    for (auto current = entries_.begin(); current != entries_.end();) {
        bool expired = false;
        if (current->second.use_count() == 1) {
            // Nobody else holds the entry and nobody can reach it without entries_mutex_; the
            // entry's own lock orders this read after the last fetch's writes.
            const std::unique_lock<std::timed_mutex> entry_lock(current->second->fetch_mutex,
                                                                std::try_to_lock);
            expired = entry_lock.owns_lock() && current->second->expires_at <= now;
        }
        current = expired ? entries_.erase(current) : std::next(current);
    }
    auto added = std::make_shared<entry>();
    entries_.emplace(std::move(token_key), added);
    return added;
}

std::string token_cache::get(const token_request& request, std::chrono::milliseconds wait_limit,
                             const std::function<fetched_token()>& fetch) {
    const auto token_entry = find_or_add(
        key(request.token_endpoint, request.client_id, request.secret_digest, request.resource));
    const std::uint64_t ended_before = token_entry->fetches_ended.load();
    // Held through the fetch: whoever wants the same token meanwhile waits and then reuses it.
    std::unique_lock<std::timed_mutex> lock(token_entry->fetch_mutex, std::defer_lock);
    if (!lock.try_lock_for(wait_limit)) {
        throw exceptions::authentication_failed(
            "the token request already under way for this application did not end within " +
            std::to_string(wait_limit.count() / 1000) + " s; check that " + request.token_endpoint +
            " answers");
    }
    if (token_entry->fetches_ended.load() != ended_before && token_entry->last_failure) {
        // This call waited for a fetch that failed. Trying again in turn would make each waiter
        // wait for a fetch of its own, one after another.
        std::rethrow_exception(token_entry->last_failure);
    }
    if (!token_entry->access_token.empty() && token_entry->expires_at - now_() >= refresh_margin) {
        return token_entry->access_token;
    }
    const auto fetch_started = now_();
    fetched_token fetched;
    try {
        fetched = fetch();
    } catch (...) {
        token_entry->last_failure = std::current_exception();
        ++token_entry->fetches_ended;
        throw;
    }
    token_entry->expires_at =
        fetch_started + std::clamp(fetched.lifetime, std::chrono::seconds(0), longest_lifetime);
    token_entry->access_token = std::move(fetched.access_token);
    token_entry->last_failure = nullptr;
    ++token_entry->fetches_ended;
    return token_entry->access_token;
}

std::size_t token_cache::size() const {
    const std::lock_guard<std::mutex> guard(entries_mutex_);
    return entries_.size();
}

}  // namespace zentrova::monitoring_modules::rest::impl
