#include "microsoftazure/ModuleMicrosoftAzure.hpp"

#include "definition/display_texts.hpp"
#include "definition/module_definition.hpp"

namespace zentrova::monitoring_modules::microsoftazure {

ModuleMicrosoftAzure::ModuleMicrosoftAzure(void* host_context, void* host_context_extra,
                                           host_message_callback callback)
    : module_instance(host_context, host_context_extra, callback) {}

std::string ModuleMicrosoftAzure::module_definition() const {
    return definition::module_definition();
}

std::vector<std::string> ModuleMicrosoftAzure::languages() const {
    return {definition::display_texts()};
}

}  // namespace zentrova::monitoring_modules::microsoftazure
