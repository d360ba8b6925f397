#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "framework/utils/exceptions.hpp"

namespace zentrova::monitoring_modules::framework::logging::impl {

// A log's name holds something the module never writes to: a link, a pipe, a device, a folder,
// another user's file. The log goes without its file rather than failing or waiting on it.
class log_file_refused : public utils::exceptions::exception {
public:
    log_file_refused(const std::string& path, const std::string& reason);
    ~log_file_refused() override;
};

// One log file open for appending, readable and writable by its owner only: log lines carry
// resource ids and failure texts that other local users have no business reading or
// redirecting. Only a regular file of the user the process runs as is ever used, never through a
// symbolic link (or, on Windows, any reparse point), and opening it never waits. The platform's
// file implements it (CMake chooses).
class private_file {
public:
    // Opens or creates `path`. Throws log_file_refused when the name holds anything but a regular
    // file of the process's user, utils::exceptions::exception naming the path and the system's
    // reason when the file cannot be opened at all.
    explicit private_file(const std::string& path);
    ~private_file();
    private_file(const private_file&) = delete;
    private_file& operator=(const private_file&) = delete;

    // Appends `text` at the end of the file, whoever else appends to it; false when not all of
    // it was written (a full disk).
    bool append(std::string_view text);

    // Bytes in the file now, other writers' lines included; 0 when it cannot be told.
    std::uintmax_t size() const;

    // Whether `path` still names this very file, and not another one or nothing: another
    // process sharing the folder may have moved it aside.
    bool is_named_by(const std::string& path) const;

    // An advisory lock that every process opening the file takes to move it aside. It waits
    // while another holds it, which is only ever for a rename.
    void lock();
    void unlock();

private:
    std::intptr_t handle_;
    // Which file it is (device and inode, or volume and file index), fixed once open.
    std::uint64_t volume_ = 0;
    std::uint64_t index_ = 0;
};

}  // namespace zentrova::monitoring_modules::framework::logging::impl
