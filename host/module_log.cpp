#include "host/module_log.hpp"

#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "host/host_platform.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

// "2025-04-18 09:30:05.123Z [3] text": the level's digits between the first brackets.
bool is_reason(const std::string& line, std::string& text) {
    const auto open = line.find(" [");
    const auto close = line.find("] ", open == std::string::npos ? 0 : open);
    if (open == std::string::npos || close == std::string::npos || close != open + 3) {
        return false;
    }
    const char level = line[open + 2];
    if (level != '3' && level != '4') {  // error and warning
        return false;
    }
    text = line.substr(close + 2);
    return true;
}

}  // namespace

module_log::module_log(std::string chosen_folder) : folder_(std::move(chosen_folder)) {
    if (folder_.empty()) {
        folder_ = make_private_folder("sensor-host-log-");
        temporary_ = true;
    }
}

module_log::~module_log() {
    if (temporary_) {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
}

std::string module_log::path() const {
    return (std::filesystem::path(folder_) / "MicrosoftAzure.log").string();
}

void module_log::mark() {
    std::error_code missing;
    const auto size = std::filesystem::file_size(path(), missing);
    mark_ = missing ? 0 : size;
}

std::vector<std::string> module_log::reasons() const {
    std::ifstream log(path(), std::ios::binary);
    std::error_code missing;
    const auto size = std::filesystem::file_size(path(), missing);
    // A log that shrank was rotated since the mark: what it holds now is all new.
    log.seekg(static_cast<std::streamoff>(!missing && size >= mark_ ? mark_ : 0));
    std::vector<std::string> found;
    std::string text;
    for (std::string line; std::getline(log, line);) {
        if (is_reason(line, text)) {
            found.push_back(text);
        }
    }
    return found;
}

std::string module_log::explanation() const {
    const auto found = reasons();
    if (found.empty()) {
        // Without a usable log the module tells standard error instead.
        return kept() ? " See " + path() + "." : " Any reason the module gave is above.";
    }
    std::string said = " The module's log says: " + found.front();
    for (std::size_t i = 1; i < found.size(); ++i) {
        said += "\n  " + found[i];
    }
    return said;
}

}  // namespace zentrova::monitoring_modules::host
