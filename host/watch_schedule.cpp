#include "host/watch_schedule.hpp"

#include <algorithm>
#include <map>

namespace zentrova::monitoring_modules::host {
namespace {

watch_schedule::clock::duration seconds(double value) {
    return std::chrono::duration_cast<watch_schedule::clock::duration>(
        std::chrono::duration<double>(value));
}

}  // namespace

watch_schedule::watch_schedule(std::vector<double> intervals, std::size_t threads)
    : intervals_(std::move(intervals)),
      offsets_(intervals_.size(), 0.0),
      threads_(std::max<std::size_t>(1, std::min(threads, intervals_.size()))) {
    std::map<double, std::size_t> group_sizes;
    for (const double interval : intervals_) {
        ++group_sizes[interval];
    }
    std::map<double, std::size_t> placed;
    for (std::size_t sensor = 0; sensor < intervals_.size(); ++sensor) {
        const double interval = intervals_[sensor];
        offsets_[sensor] = interval * static_cast<double>(placed[interval]++) /
                           static_cast<double>(group_sizes[interval]);
    }
}

watch_schedule::clock::duration watch_schedule::interval(std::size_t sensor) const {
    return seconds(intervals_.at(sensor));
}

watch_schedule::clock::duration watch_schedule::first_offset(std::size_t sensor) const {
    return seconds(offsets_.at(sensor));
}

watch_schedule::clock::time_point watch_schedule::next_due(std::size_t sensor,
                                                           clock::time_point due,
                                                           clock::time_point started) const {
    const auto step = interval(sensor);
    if (started - due < step) {
        return due + step;
    }
    return due + step * ((started - due) / step);
}

}  // namespace zentrova::monitoring_modules::host
