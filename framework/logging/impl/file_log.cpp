#include "framework/logging/impl/file_log.hpp"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <map>

#include "framework/logging/log_directory.hpp"

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
std::unique_ptr<private_file> open_in_folder(const std::string& path) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    return std::make_unique<private_file>(path);
}

// "dir//sensor_1.log" and "dir/./sensor_1.log" are one log.
std::string key_of(const std::string& path) {
    return std::filesystem::path(path).lexically_normal().string();
}

}  // namespace

log_file_refused::log_file_refused(const std::string& path, const std::string& reason)
    : exception("Log file " + path + " is not used: " + reason +
                "; a log is only ever a regular file of the user the module runs as") {}
log_file_refused::~log_file_refused() = default;

// Every log open in the process by path, so that a sensor and a meta scan of one id share one
// file, its lock and its rotation. Each log holds it, so it outlives them all.
struct file_log::open_logs {
    std::mutex mutex;
    std::map<std::string, std::weak_ptr<file_log>> by_path;
};

std::shared_ptr<file_log> file_log::open(const std::string& path, std::uintmax_t limit) {
    static const auto registry = std::make_shared<open_logs>();
    const std::string key = key_of(path);
    const std::lock_guard<std::mutex> lock(registry->mutex);
    const auto found = registry->by_path.find(key);
    if (found != registry->by_path.end()) {
        if (auto open = found->second.lock()) {
            return open;
        }
    }
    auto log = std::make_shared<file_log>(passkey{}, path, limit, registry);
    registry->by_path[key] = log;
    return log;
}

file_log::file_log(passkey /*only open()*/, std::string path, std::uintmax_t limit,
                   std::shared_ptr<open_logs> registry)
    : path_(std::move(path)),
      key_(key_of(path_)),
      limit_(limit),
      registry_(std::move(registry)),
      file_(open_in_folder(path_)) {}

// The last user has gone; the entry goes too unless the path has been opened anew meanwhile.
file_log::~file_log() {
    const std::lock_guard<std::mutex> lock(registry_->mutex);
    const auto found = registry_->by_path.find(key_);
    if (found != registry_->by_path.end() && found->second.expired()) {
        registry_->by_path.erase(found);
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
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (!has_room_for(text.size())) {
            if (!dropping_) {
                dropping_ = true;
                write_to_standard_error(
                    "Log file " + path_ + " has reached twice its limit of " +
                    std::to_string(limit_) + " bytes and cannot be moved aside to " + path_ +
                    ".1; its lines are dropped until it can. Check the free space and what else is "
                    "in MICROSOFTAZURE_LOG_DIR.");
            }
            return;
        }
        dropping_ = false;
        if (!file_->append(text) || file_->is_named_by(path_) || file_->is_named_by(path_ + ".1")) {
            return;
        }
        // Another process moved the file aside twice while the line went in, and it is gone
        // with it: the line goes again into the file the name holds now.
    }
}

// The file under the log's name is measured as it is on disk, other processes' lines included,
// and moved aside when the line would take it past the limit. When it cannot be (the disk is
// full, a folder stands under "<path>.1", a fresh file cannot be made), lines go on into it up to
// twice the limit and no further.
bool file_log::has_room_for(std::uintmax_t length) {
    for (int round = 0; round < 3; ++round) {
        follow_the_name();
        const std::uintmax_t size = file_->size();
        if (size == 0 || size + length <= limit_) {
            return true;
        }
        file_->lock();
        // Asked again under the lock: a process that has just moved it aside has let go of it,
        // and moving the next file too would throw away the lines it kept.
        const bool still_named = file_->is_named_by(path_);
        std::error_code failed;
        if (still_named) {
            std::filesystem::rename(path_, path_ + ".1", failed);
        }
        file_->unlock();
        if (still_named && failed) {
            break;
        }
        // The next round follows the name to the file that takes its place.
    }
    return file_->size() + length <= 2 * limit_;
}

// Another process sharing the folder may have moved the file aside, or someone removed it: lines
// go to the file the name holds now, made anew when it holds nothing.
void file_log::follow_the_name() {
    if (file_->is_named_by(path_)) {
        return;
    }
    try {
        file_ = std::make_unique<private_file>(path_);
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch)
        // Lines go on into the file already open, within has_room_for's bound.
    }
}

}  // namespace zentrova::monitoring_modules::framework::logging::impl
