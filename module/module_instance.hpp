#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "framework/module/sensor_dispatcher.hpp"
#include "framework/module/service_container.hpp"
#include "module/exports.h"

namespace zentrova::monitoring_modules::framework::module {

// The root of a running module: it owns the service container and the dispatcher, and wires
// the message service to the host callback. A module derives from it to supply its documents
// and register its kinds.
class module_instance {
public:
    module_instance(void* host_context, void* host_context_extra, host_message_callback callback);
    module_instance(const module_instance&) = delete;
    module_instance& operator=(const module_instance&) = delete;
    virtual ~module_instance();

    virtual std::string module_definition() const = 0;
    virtual std::vector<std::string> languages() const = 0;

    // True on a thread that is inside the host's message callback. The exports refuse such calls:
    // the callback runs under the lock that serialises messages, so a call made from it would
    // wait for itself.
    static bool calling_host();

    const std::shared_ptr<service_container>& container() const { return container_; }
    const std::shared_ptr<sensor_dispatcher>& dispatcher() const { return dispatcher_; }

private:
    std::shared_ptr<service_container> container_;
    std::shared_ptr<sensor_dispatcher> dispatcher_;
};

}  // namespace zentrova::monitoring_modules::framework::module
