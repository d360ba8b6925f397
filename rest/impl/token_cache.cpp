#include "rest/impl/token_cache.hpp"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

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
            const std::unique_lock<std::mutex> entry_lock(current->second->fetch_mutex,
                                                          std::try_to_lock);
            expired = entry_lock.owns_lock() && current->second->expires_at <= now;
        }
        current = expired ? entries_.erase(current) : std::next(current);
    }
    auto added = std::make_shared<entry>();
    entries_.emplace(std::move(token_key), added);
    return added;
}

std::string token_cache::get(const token_request& request,
                             const std::function<fetched_token()>& fetch) {
    const auto token_entry = find_or_add(
        key(request.token_endpoint, request.client_id, request.secret_digest, request.resource));
    // Held through the fetch: whoever wants the same token meanwhile waits and then reuses it.
    const std::lock_guard<std::mutex> guard(token_entry->fetch_mutex);
    if (!token_entry->access_token.empty() && token_entry->expires_at - now_() >= refresh_margin) {
        return token_entry->access_token;
    }
    const auto fetch_started = now_();
    fetched_token fetched = fetch();
    token_entry->expires_at =
        fetch_started + std::clamp(fetched.lifetime, std::chrono::seconds(0), longest_lifetime);
    token_entry->access_token = std::move(fetched.access_token);
    return token_entry->access_token;
}

std::size_t token_cache::size() const {
    const std::lock_guard<std::mutex> guard(entries_mutex_);
    return entries_.size();
}

}  // namespace zentrova::monitoring_modules::rest::impl
