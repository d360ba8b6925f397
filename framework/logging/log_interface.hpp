#pragma once

#include <string>

#include "framework/tiko_export.hpp"

namespace zentrova::monitoring_modules::framework::logging {

// Levels in the usual syslog numbering; module-level lines go out at `debug`.
enum log_level : int { error = 3, warning = 4, info = 6, debug = 7 };

// A destination for log lines. Implementations are safe to call from several threads at
// once; a line is written whole or not at all.
class TIKO_API log_interface {
public:
    log_interface() = default;
    log_interface(const log_interface&) = delete;
    log_interface& operator=(const log_interface&) = delete;
    virtual ~log_interface();

    virtual void write(int level, const std::string& line) = 0;

    // False when lines go nowhere, so callers can skip building expensive ones.
    virtual bool enabled() const { return true; }
};

}  // namespace zentrova::monitoring_modules::framework::logging
