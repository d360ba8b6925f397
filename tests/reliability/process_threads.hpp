#pragma once

#include <cstddef>

namespace zentrova::monitoring_modules::testing {

// The threads of this process right now (Linux: the entries of /proc/self/task).
std::size_t process_threads();

// This process's resident set size in kibibytes (VmRSS of /proc/self/status).
std::size_t resident_kib();

}  // namespace zentrova::monitoring_modules::testing
