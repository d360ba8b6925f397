#pragma once

#include <string>

#include "bench/end_to_end/bare_client.hpp"

namespace zentrova::monitoring_modules::bench {

// What the module's and bare libcurl's client processes need to repeat one sensor's check,
// handed over in a file: the module's settings buffers, and the requests its check sends.
struct peer_job {
    std::string create_buffer;  // CreateSensorInstance's
    std::string check_buffer;   // ExecuteCheck's, with what the probe keeps after a first check
    std::string ca_file;        // the CA that signed the emulator's certificate
    captured_check requests;

    // Throw std::runtime_error naming the file when it cannot be written or read.
    void save(const std::string& path) const;
    static peer_job load(const std::string& path);
};

}  // namespace zentrova::monitoring_modules::bench
