#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/module_library.hpp"

namespace zentrova::monitoring_modules::bench {

// The module loaded with dlopen and driven through its exports, from many host threads at once,
// as a probe drives it. The module answers on the calling thread, so each host thread sees the
// messages of its own calls: they are counted there and dropped, as a probe that forwards them
// would, unless the thread asks to keep them.
class module_driver {
public:
    explicit module_driver(const std::string& module_path);
    ~module_driver();
    module_driver(const module_driver&) = delete;
    module_driver& operator=(const module_driver&) = delete;
    module_driver(module_driver&&) = delete;
    module_driver& operator=(module_driver&&) = delete;

    // InitializeModule with this driver's callback; throws when the module refuses.
    void initialize();
    // CleanupModule; the module forgets every sensor.
    void cleanup();

    // The exports' answers (0: done).
    int create(int sensor_id, const std::string& settings);
    int destroy(int sensor_id);
    int check(int sensor_id, const std::string& settings);
    int meta_scan(int sensor_id, unsigned scan_id, const std::string& settings);

    // For the calling thread: keep the messages of the following calls (or stop keeping them),
    // and take what was kept.
    static void keep_messages(bool keep);
    static std::vector<std::string> take_kept_messages();
    // Scan results with a response code other than 0 that the calling thread received so far.
    static std::uint64_t failed_results();

private:
    static void receive(void* host_context, void* host_context_extra, void* data, unsigned size);

    host::module_library library_;
    bool initialized_ = false;
};

}  // namespace zentrova::monitoring_modules::bench
