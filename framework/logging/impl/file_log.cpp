#include "framework/logging/impl/file_log.hpp"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "framework/utils/exceptions.hpp"

namespace zentrova::monitoring_modules::framework::logging::impl {
namespace {

std::string timestamp() {
    using clock = std::chrono::system_clock;
    const auto now = clock::now();
    const std::time_t seconds = clock::to_time_t(now);
    const auto millis =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() %
        1000;
    std::tm utc{};
#if defined(_WIN32)
    gmtime_s(&utc, &seconds);
#else
    gmtime_r(&seconds, &utc);
#endif
    char text[40];
    const size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &utc);
    std::snprintf(text + length, sizeof text - length, ".%03dZ", static_cast<int>(millis));
    return text;
}

}  // namespace

namespace {

// The log directory is made when missing, so a fresh deployment logs from the first call.
std::FILE* open_for_append(const std::string& path) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    return std::fopen(path.c_str(), "ab");
}

}  // namespace

file_log::file_log(const std::string& path) : file_(open_for_append(path)) {
    if (!file_) {
        throw utils::exceptions::exception("Cannot open log file " + path + ": " +
                                           std::strerror(errno) +
                                           ". Check MICROSOFTAZURE_LOG_DIR and its permissions.");
    }
}

void file_log::write(int level, const std::string& line) {
    std::string text = timestamp();
    text += " [";
    text += std::to_string(level);
    text += "] ";
    text += line;
    if (text.empty() || text.back() != '\n') {
        text += '\n';
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    std::fwrite(text.data(), 1, text.size(), file_.get());
    std::fflush(file_.get());
}

}  // namespace zentrova::monitoring_modules::framework::logging::impl
