#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "framework/logging/impl/private_file.hpp"

namespace zentrova::monitoring_modules::framework::logging::impl {
namespace {

int descriptor(std::intptr_t handle) {
    return static_cast<int>(handle);
}

// What a file that is not a regular one is, for the line that refuses it.
std::string kind_of(mode_t mode) {
    if (S_ISLNK(mode)) {
        return "a symbolic link, which a log file never follows";
    }
    if (S_ISDIR(mode)) {
        return "a directory";
    }
    if (S_ISFIFO(mode)) {
        return "a named pipe (FIFO)";
    }
    if (S_ISCHR(mode) || S_ISBLK(mode)) {
        return "a device";
    }
    return "a socket or another special file";
}

// Why a file with these attributes is no log of ours, or "" when it is one.
std::string refusal(const struct stat& file) {
    if (!S_ISREG(file.st_mode)) {
        return "it is " + kind_of(file.st_mode);
    }
    if (file.st_uid != ::geteuid()) {
        return "it belongs to another user (uid " + std::to_string(file.st_uid) +
               ", while the module runs as uid " + std::to_string(::geteuid()) + ")";
    }
    // Another name of the same file (a hard link) would carry the lines elsewhere too.
    if (file.st_nlink > 1) {
        return "it has " + std::to_string(file.st_nlink) + " names (hard links)";
    }
    return "";
}

[[noreturn]] void cannot_open(const std::string& path, int reason) {
    throw utils::exceptions::exception("Cannot open log file " + path + ": " +
                                       std::strerror(reason) +
                                       ". Check MICROSOFTAZURE_LOG_DIR and its permissions.");
}

}  // namespace

private_file::private_file(const std::string& path) : handle_(-1) {
    // O_NONBLOCK: a FIFO gives ENXIO at once rather than waiting for a reader; no other file
    // waits either, and a regular file's writes are the same with it.
    const int fd = ::open(
        path.c_str(),
        O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600);
    if (fd < 0) {
        const int reason = errno;
        // A link, a FIFO, a folder or another user's file keeps it from opening: said as such.
        struct stat named {};
        if (::lstat(path.c_str(), &named) == 0) {
            if (std::string refused = refusal(named); !refused.empty()) {
                throw log_file_refused(path, refused);
            }
        }
        cannot_open(path, reason);
    }
    // What was opened decides, not what the name held a moment before.
    struct stat opened {};
    if (::fstat(fd, &opened) != 0) {
        const int reason = errno;
        ::close(fd);
        cannot_open(path, reason);
    }
    if (std::string refused = refusal(opened); !refused.empty()) {
        ::close(fd);
        throw log_file_refused(path, refused);
    }
    // A file made earlier under a wider umask is narrowed too.
    if (::fchmod(fd, 0600) != 0) {
        const int reason = errno;
        ::close(fd);
        cannot_open(path, reason);
    }
    handle_ = fd;
    volume_ = opened.st_dev;
    index_ = opened.st_ino;
}

private_file::~private_file() {
    ::close(descriptor(handle_));
}

bool private_file::append(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor(handle_), text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

std::uintmax_t private_file::size() const {
    struct stat file {};
    return ::fstat(descriptor(handle_), &file) == 0 ? static_cast<std::uintmax_t>(file.st_size) : 0;
}

bool private_file::is_named_by(const std::string& path) const {
    struct stat named {};
    return ::lstat(path.c_str(), &named) == 0 && named.st_dev == volume_ && named.st_ino == index_;
}

void private_file::lock() {
    while (::flock(descriptor(handle_), LOCK_EX) != 0 && errno == EINTR) {
    }
}

void private_file::unlock() {
    ::flock(descriptor(handle_), LOCK_UN);
}

}  // namespace zentrova::monitoring_modules::framework::logging::impl
