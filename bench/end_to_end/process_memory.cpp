#include "bench/end_to_end/process_memory.hpp"

#include <malloc.h>

#include <fstream>
#include <sstream>
#include <string>

namespace zentrova::monitoring_modules::bench {

resident_memory read_resident_memory() {
    resident_memory memory;
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        std::istringstream fields(line);
        std::string name;
        std::size_t kib = 0;
        fields >> name >> kib;
        if (name == "VmRSS:") {
            memory.total_kib = kib;
        } else if (name == "RssAnon:") {
            memory.anonymous_kib = kib;
        } else if (name == "RssFile:") {
            memory.file_kib = kib;
        }
    }
    return memory;
}

resident_memory read_trimmed_resident_memory() {
    malloc_trim(0);
    return read_resident_memory();
}

}  // namespace zentrova::monitoring_modules::bench
