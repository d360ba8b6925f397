#pragma once

#include <atomic>
#include <mutex>
#include <ostream>

#include "host/watch_tally.hpp"

namespace zentrova::monitoring_modules::host {

// A watch for scripts: one JSON object a line per check, with exactly the members time (ISO
// 8601, UTC), sensor_id, kind, resource, response_code, message (as the module sent it),
// channels (id to value) and latency_ms. A check without a result has response_code null and
// the host's text as message. Thread-safe; each line is flushed as it is written.
class jsonl_printer {
public:
    explicit jsonl_printer(std::ostream& out);

    void print(const watched_sensor& sensor, const check_record& record);
    // A line could not be written: whoever read them has gone (`| head`), or the disk is full.
    bool closed() const { return closed_; }

private:
    std::ostream& out_;
    std::mutex mutex_;
    std::atomic<bool> closed_{false};
};

}  // namespace zentrova::monitoring_modules::host
