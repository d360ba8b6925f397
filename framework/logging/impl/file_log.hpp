#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "framework/logging/log_interface.hpp"

namespace zentrova::monitoring_modules::framework::logging::impl {

// Appends timestamped lines to one owner-only file; each line is flushed so that a crash loses
// nothing. A file that would grow past its limit is renamed to "<path>.1" (replacing the one
// before) and started anew, so a log never holds more than twice its limit on disk.
class TIKO_API file_log final : public log_interface {
public:
    static constexpr std::uintmax_t default_limit = 10u * 1024u * 1024u;

    // Opens (creates) the file for appending; throws utils::exceptions::exception naming the
    // path and the system's reason when it cannot.
    explicit file_log(std::string path, std::uintmax_t limit = default_limit);

    void write(int level, const std::string& line) override;

private:
    struct file_closer {
        void operator()(std::FILE* f) const { std::fclose(f); }
    };

    void rotate();

    std::string path_;
    std::uintmax_t limit_;
    std::mutex mutex_;
    std::unique_ptr<std::FILE, file_closer> file_;
    std::uintmax_t size_ = 0;
};

}  // namespace zentrova::monitoring_modules::framework::logging::impl
