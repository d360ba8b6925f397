#pragma once

#include <memory>

#include "framework/logging/log_interface.hpp"

namespace zentrova::monitoring_modules::framework::logging {

// The log that drops everything; one shared instance serves every caller.
class TIKO_API dev_null_log final : public log_interface {
public:
    static std::shared_ptr<dev_null_log> get_singleton();

    void write(int level, const std::string& line) override;
    bool enabled() const override { return false; }
};

}  // namespace zentrova::monitoring_modules::framework::logging
