#include "framework/logging/impl/file_log.hpp"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "framework/logging/impl/private_file.hpp"
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
    std::array<char, 40> text{};
    const size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &utc);
    std::snprintf(text.data() + length, text.size() - length, ".%03dZ", static_cast<int>(millis));
    return text.data();
}

// The log directory is made when missing, so a fresh deployment logs from the first call.
std::FILE* open_for_append(const std::string& path) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    std::FILE* file = open_private_file(path);
    if (file == nullptr) {
        const std::string hint =
            errno == ELOOP ? " (it is a symbolic link, which a log file never follows)" : "";
        throw utils::exceptions::exception("Cannot open log file " + path + ": " +
                                           std::strerror(errno) + hint +
                                           ". Check MICROSOFTAZURE_LOG_DIR and its permissions.");
    }
    return file;
}

std::uintmax_t size_of(const std::string& path) {
    std::error_code failed;
    const std::uintmax_t size = std::filesystem::file_size(path, failed);
    return failed ? 0 : size;
}

}  // namespace

file_log::file_log(std::string path, std::uintmax_t limit)
    : path_(std::move(path)), limit_(limit), file_(open_for_append(path_)), size_(size_of(path_)) {}

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
    if (size_ > 0 && size_ + text.size() > limit_) {
        rotate();
    }
    std::fwrite(text.data(), 1, text.size(), file_.get());
    std::fflush(file_.get());
    size_ += text.size();
}

// Should the rename or the new file fail (a full disk, a file planted under the new name), the
// lines go on into the file already open rather than nowhere.
void file_log::rotate() {
    const std::string predecessor = path_ + ".1";
    std::error_code failed;
    std::filesystem::rename(path_, predecessor, failed);
    if (failed) {
        return;
    }
    std::FILE* fresh = open_private_file(path_);
    if (fresh == nullptr) {
        return;
    }
    file_.reset(fresh);
    size_ = 0;
}

}  // namespace zentrova::monitoring_modules::framework::logging::impl
