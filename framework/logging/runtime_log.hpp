#pragma once

#include <memory>
#include <string>

#include "framework/logging/log_interface.hpp"

namespace zentrova::monitoring_modules::framework::logging {

// The module-wide log (begin/end lines, settings as received, failures of the exports).
// Its key in the service container; it forwards to a target, which is nothing by default.
class TIKO_API runtime_log final : public log_interface {
public:
    explicit runtime_log(std::shared_ptr<log_interface> target);

    // MicrosoftAzure.log in MICROSOFTAZURE_LOG_DIR when that is set, nothing otherwise or when
    // the name holds anything but the module's own file (said on standard error). Throws when
    // the folder cannot be used.
    static std::shared_ptr<runtime_log> from_environment();

    void write(int level, const std::string& line) override { target_->write(level, line); }
    bool enabled() const override { return target_->enabled(); }

private:
    std::shared_ptr<log_interface> target_;
};

}  // namespace zentrova::monitoring_modules::framework::logging
