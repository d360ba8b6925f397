#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "framework/logging/impl/private_file.hpp"
#include "framework/logging/log_interface.hpp"

namespace zentrova::monitoring_modules::framework::logging::impl {

// Appends timestamped lines to one owner-only file, each written whole at once so that a crash
// loses nothing. A file that would grow past its limit is renamed to "<path>.1" (replacing the
// one before) and started anew. One object writes a path in a process; processes that share a
// folder follow the file under its name and take turns at moving it aside.
class TIKO_API file_log final : public log_interface {
    // Only open() makes one: a path has one object in the process.
    class passkey {
        explicit passkey() = default;
        friend class file_log;
    };
    struct open_logs;

public:
    static constexpr std::uintmax_t default_limit = 10u * 1024u * 1024u;

    // The log of `path` in this process: the one already open under that path, or a new one
    // that opens (creates) the file. Throws log_file_refused when the name holds anything but a
    // regular file of the process's user, utils::exceptions::exception naming the path and the
    // system's reason when the file cannot be opened.
    static std::shared_ptr<file_log> open(const std::string& path,
                                          std::uintmax_t limit = default_limit);

    file_log(passkey, std::string path, std::uintmax_t limit, std::shared_ptr<open_logs> registry);
    ~file_log() override;

    void write(int level, const std::string& line) override;

private:
    bool has_room_for(std::uintmax_t length);
    void follow_the_name();

    std::string path_;
    std::string key_;  // path_ as open_logs knows it
    std::uintmax_t limit_;
    std::shared_ptr<open_logs> registry_;
    std::mutex mutex_;
    std::unique_ptr<private_file> file_;
    bool dropping_ = false;
};

}  // namespace zentrova::monitoring_modules::framework::logging::impl
