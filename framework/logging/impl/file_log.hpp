#pragma once

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "framework/logging/log_interface.hpp"

namespace zentrova::monitoring_modules::framework::logging::impl {

// Appends timestamped lines to one file; each line is flushed so that a crash loses nothing.
class file_log final : public log_interface {
public:
    // Opens (creates) the file for appending; throws utils::exceptions::exception naming the
    // path and the system's reason when it cannot.
    explicit file_log(const std::string& path);

    void write(int level, const std::string& line) override;

private:
    struct file_closer {
        void operator()(std::FILE* f) const { std::fclose(f); }
    };
    std::mutex mutex_;
    std::unique_ptr<std::FILE, file_closer> file_;
};

}  // namespace zentrova::monitoring_modules::framework::logging::impl
