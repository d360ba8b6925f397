#pragma once

#include <cstdio>
#include <string>

namespace zentrova::monitoring_modules::framework::logging::impl {

// Opens a log file for appending, readable and writable by its owner only, never through a
// symbolic link (or, on Windows, any reparse point) planted under its name: log lines carry
// resource ids and failure texts that other local users have no business reading or redirecting.
// Returns null with errno set when it cannot; the platform's file picks how (CMake chooses it).
std::FILE* open_private_file(const std::string& path);

}  // namespace zentrova::monitoring_modules::framework::logging::impl
