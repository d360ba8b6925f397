#pragma once

#include <map>
#include <string>

#include "framework/tiko_export.hpp"

namespace zentrova::monitoring_modules::framework::settings {

// The channels the host already knows for one sensor, id to name.
class TIKO_API channel_map {
public:
    channel_map() = default;
    explicit channel_map(std::map<int, std::string> channels) : channels_(std::move(channels)) {}

    bool exists(const int& channel_id) const { return channels_.count(channel_id) != 0; }
    void add(int channel_id, const std::string& name) { channels_[channel_id] = name; }
    const std::map<int, std::string>& channels() const { return channels_; }

private:
    std::map<int, std::string> channels_;
};

}  // namespace zentrova::monitoring_modules::framework::settings
