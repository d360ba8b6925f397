#pragma once

#include <string>
#include <vector>

#include "module/module_instance.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

// This module: its two documents, its five kinds and the services its sensors share.
class ModuleMicrosoftAzure final : public framework::module::module_instance {
public:
    ModuleMicrosoftAzure(void* host_context, void* host_context_extra,
                         host_message_callback callback);

    std::string module_definition() const override;
    std::vector<std::string> languages() const override;
};

}  // namespace zentrova::monitoring_modules::microsoftazure
