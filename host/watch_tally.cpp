#include "host/watch_tally.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace zentrova::monitoring_modules::host {
namespace {

// The value at rank q of sorted values (nearest rank).
double percentile(const std::vector<float>& sorted, double q) {
    if (sorted.empty()) {
        return 0;
    }
    const auto rank =
        static_cast<std::size_t>(std::lround(q * static_cast<double>(sorted.size() - 1)));
    return sorted[rank];
}

void set_latencies(kind_tally& tally, std::vector<float> values) {
    std::sort(values.begin(), values.end());
    tally.latency_p50_ms = percentile(values, 0.50);
    tally.latency_p95_ms = percentile(values, 0.95);
    tally.latency_max_ms = values.empty() ? 0 : values.back();
}

void merge(kind_tally& into, const kind_tally& from) {
    into.sensors += from.sensors;
    into.checks += from.checks;
    into.succeeded += from.succeeded;
    into.throttled += from.throttled;
    into.cpu_ms += from.cpu_ms;
    for (const auto& [key, count] : from.failures) {
        into.failures[key] += count;
    }
}

}  // namespace

bool check_record::throttled() const {
    return !succeeded() && message.find(": 429: ") != std::string::npos;
}

watch_tally::watch_tally(std::vector<watched_sensor> sensors)
    : sensors_(std::move(sensors)), tallies_(sensors_.size()) {
    for (const auto& sensor : sensors_) {
        auto found = std::find_if(kinds_.begin(), kinds_.end(),
                                  [&](const auto& entry) { return entry.first == sensor.kind; });
        if (found == kinds_.end()) {
            kinds_.emplace_back(sensor.kind, kind_tally{});
            found = std::prev(kinds_.end());
        }
        ++found->second.sensors;
    }
}

void watch_tally::add(check_record record) {
    const std::string& kind_name = sensors_.at(record.sensor).kind;
    const std::lock_guard<std::mutex> lock(mutex_);
    auto& kind = std::find_if(kinds_.begin(), kinds_.end(), [&](const auto& entry) {
                     return entry.first == kind_name;
                 })->second;
    ++kind.checks;
    kind.cpu_ms += record.cpu_ms;
    if (record.succeeded()) {
        ++kind.succeeded;
    } else {
        ++kind.failures[record.message];
        kind.throttled += record.throttled() ? 1 : 0;
    }
    latencies_[kind_name].push_back(static_cast<float>(record.latency_ms));
    ++checks_;
    auto& tally = tallies_[record.sensor];
    ++tally.checks;
    tally.failures += record.succeeded() ? 0 : 1;
    tally.last = std::move(record);
}

std::vector<sensor_tally> watch_tally::sensor_tallies() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return tallies_;
}

std::uint64_t watch_tally::checks() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return checks_;
}

std::vector<std::pair<std::string, kind_tally>> watch_tally::kinds(bool latencies) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    auto kinds = kinds_;
    kind_tally all;
    std::vector<float> every_latency;
    for (auto& [name, tally] : kinds) {
        merge(all, tally);
        const auto found = latencies_.find(name);
        if (latencies && found != latencies_.end()) {
            set_latencies(tally, found->second);
            every_latency.insert(every_latency.end(), found->second.begin(), found->second.end());
        }
    }
    if (latencies) {
        set_latencies(all, std::move(every_latency));
    }
    kinds.emplace_back("", std::move(all));
    return kinds;
}

}  // namespace zentrova::monitoring_modules::host
