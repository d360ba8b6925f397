#include "framework/settings/persistent_data_storage.hpp"

#include <stdexcept>

namespace zentrova::monitoring_modules::framework::settings {

const std::string& persistent_data_storage::at(const std::string& key) const {
    const auto found = data_.find(key);
    if (found == data_.end()) {
        throw std::out_of_range("The sensor's persistent data holds no value for '" + key + "'");
    }
    return found->second;
}

}  // namespace zentrova::monitoring_modules::framework::settings
