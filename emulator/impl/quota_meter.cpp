#include "emulator/impl/quota_meter.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

constexpr const char* cost_prefix = "x-ms-ratelimit-microsoft.costmanagement-";

std::string seconds_text(double seconds) {
    return std::to_string(std::max<std::int64_t>(1, static_cast<std::int64_t>(std::ceil(seconds))));
}

// Appends "name:value" to a header's comma list.
void add_item(std::map<std::string, std::string>& lists, const std::string& header,
              const std::string& item) {
    std::string& list = lists[header];
    list += (list.empty() ? "" : ",") + item;
}

}  // namespace

quota_meter::quota_meter() : start_(std::chrono::steady_clock::now()) {}

void quota_meter::reset() {
    std::lock_guard<std::mutex> lock(mutex_);
    start_ = std::chrono::steady_clock::now();
    held_.reset();
    buckets_.clear();
    windows_.clear();
}

void quota_meter::hold_clock_at(double seconds) {
    std::lock_guard<std::mutex> lock(mutex_);
    held_ = seconds;
}

std::optional<http_answer> quota_meter::charge(const quota_rules& rules, const usage& what,
                                               header_list& headers) {
    std::lock_guard<std::mutex> lock(mutex_);
    const double now =
        held_ ? *held_
              : std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    if (what.read && rules.read_bucket > 0) {
        return charge_read(rules, what, now, headers);
    }
    if (what.cost_management && !rules.cost_management.empty()) {
        return charge_cost(rules, what, now, headers);
    }
    return std::nullopt;
}

std::optional<http_answer> quota_meter::charge_read(const quota_rules& rules, const usage& what,
                                                    double now, header_list& headers) {
    const auto size = static_cast<double>(rules.read_bucket);
    bucket& b = buckets_.try_emplace(what.subscription, bucket{size, now}).first->second;
    b.tokens = std::min(size, b.tokens + (now - b.at) * rules.read_refill_per_second);
    b.at = now;
    if (b.tokens < 1) {
        const std::string wait = seconds_text((1 - b.tokens) / rules.read_refill_per_second);
        http_answer answer =
            arm_error(429, "SubscriptionRequestsThrottled",
                      "Number of 'read' requests for subscription '" + what.subscription +
                          "' exceeded. Please try again after '" + wait +
                          "' seconds after additional tokens are available.");
        answer.set_header("Retry-After", wait);
        headers.emplace_back("x-ms-ratelimit-remaining-subscription-reads", "0");
        return answer;
    }
    b.tokens -= 1;
    headers.emplace_back("x-ms-ratelimit-remaining-subscription-reads",
                         std::to_string(static_cast<std::int64_t>(b.tokens)));
    return std::nullopt;
}

std::optional<http_answer> quota_meter::charge_cost(const quota_rules& rules, const usage& what,
                                                    double now, header_list& headers) {
    // A query costs its units in the QPU windows; every request costs one in the request ones.
    std::vector<window_use*> uses;
    std::map<std::string, std::string> retry;  // header to seconds, of the spent windows
    double longest = 0;
    for (std::size_t i = 0; i < rules.cost_management.size(); ++i) {
        const quota_window& w = rules.cost_management[i];
        const std::string scope = w.per_tenant ? "tenant" : "entity";
        window_use& use =
            windows_[std::to_string(i) + "|" + (w.per_tenant ? what.tenant : what.subscription)];
        const auto index = static_cast<std::int64_t>(std::floor(now / w.seconds));
        if (use.index != index) {
            use = {index, 0};
        }
        uses.push_back(&use);
        const std::int64_t cost = w.qpu ? what.qpu : 1;
        if (cost > 0 && use.used + cost > w.limit) {
            const double wait = static_cast<double>(index + 1) * w.seconds - now;
            longest = std::max(longest, wait);
            retry[cost_prefix + (w.qpu ? std::string("qpu") : scope) + "-retry-after"] =
                seconds_text(wait);
        }
    }
    if (!retry.empty()) {
        http_answer answer = arm_error(429, "429", "Too many requests. Please retry.");
        answer.set_header("Retry-After", seconds_text(longest));
        for (const auto& [name, seconds] : retry) {
            answer.set_header(name, seconds);
        }
        return answer;
    }
    std::map<std::string, std::string> lists;
    for (std::size_t i = 0; i < rules.cost_management.size(); ++i) {
        const quota_window& w = rules.cost_management[i];
        if (w.qpu && what.qpu == 0) {
            continue;
        }
        uses[i]->used += w.qpu ? what.qpu : 1;
        const std::string item = w.name + ":" + std::to_string(w.limit - uses[i]->used);
        if (w.qpu) {
            add_item(lists, cost_prefix + std::string("qpu-remaining"), item);
        } else {
            add_item(lists,
                     "x-ms-ratelimit-remaining-microsoft.costmanagement-" +
                         std::string(w.per_tenant ? "tenant" : "entity") + "-requests",
                     item);
        }
    }
    if (what.qpu > 0) {
        headers.emplace_back(cost_prefix + std::string("qpu-consumed"), std::to_string(what.qpu));
    }
    headers.insert(headers.end(), lists.begin(), lists.end());
    return std::nullopt;
}

}  // namespace zentrova::monitoring_modules::emulator::impl
