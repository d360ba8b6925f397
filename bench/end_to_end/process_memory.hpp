#pragma once

#include <cstddef>

namespace zentrova::monitoring_modules::bench {

// The process's resident memory as the kernel reports it, in KiB: all of it, the anonymous
// part (heap, stacks) and the part backed by files (the pages of mapped libraries).
struct resident_memory {
    std::size_t total_kib = 0;
    std::size_t anonymous_kib = 0;
    std::size_t file_kib = 0;
};

// Reads /proc/self/status.
resident_memory read_resident_memory();

// Hands the allocator's free pages back to the kernel first (malloc_trim), so that what remains
// is memory in use rather than what the allocator happens to keep.
resident_memory read_trimmed_resident_memory();

}  // namespace zentrova::monitoring_modules::bench
