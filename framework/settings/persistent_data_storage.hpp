#pragma once

#include <map>
#include <string>

#include "framework/tiko_export.hpp"

namespace zentrova::monitoring_modules::framework::settings {

// The values a sensor asked the host to keep for it, key to value.
class TIKO_API persistent_data_storage {
public:
    persistent_data_storage() = default;
    explicit persistent_data_storage(std::map<std::string, std::string> data)
        : data_(std::move(data)) {}

    bool exists(const std::string& key) const { return data_.count(key) != 0; }
    // Throws std::out_of_range naming the key when it is missing.
    const std::string& at(const std::string& key) const;
    std::string& operator[](const std::string& key) { return data_[key]; }
    const std::map<std::string, std::string>& values() const { return data_; }

private:
    std::map<std::string, std::string> data_;
};

}  // namespace zentrova::monitoring_modules::framework::settings
