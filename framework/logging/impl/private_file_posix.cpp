#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "framework/logging/impl/private_file.hpp"

namespace zentrova::monitoring_modules::framework::logging::impl {

std::FILE* open_private_file(const std::string& path) {
    const int fd =
        ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        return nullptr;
    }
    // A file made earlier under a wider umask is narrowed too.
    if (::fchmod(fd, 0600) != 0) {
        const int reason = errno;
        ::close(fd);
        errno = reason;
        return nullptr;
    }
    std::FILE* file = ::fdopen(fd, "ab");
    if (file == nullptr) {
        const int reason = errno;
        ::close(fd);
        errno = reason;
    }
    return file;
}

}  // namespace zentrova::monitoring_modules::framework::logging::impl
