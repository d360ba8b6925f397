#include "module/module_instance.hpp"

#include <stdexcept>

#include "framework/messaging/message_service.hpp"

namespace zentrova::monitoring_modules::framework::module {
namespace {

thread_local int host_calls_on_this_thread = 0;

// Marks the thread as inside the host callback for as long as it lives.
class host_call {
public:
    host_call() { ++host_calls_on_this_thread; }
    host_call(const host_call&) = delete;
    host_call& operator=(const host_call&) = delete;
    ~host_call() { --host_calls_on_this_thread; }
};

}  // namespace

bool module_instance::calling_host() {
    return host_calls_on_this_thread > 0;
}

module_instance::module_instance(void* host_context, void* host_context_extra,
                                 host_message_callback callback)
    : container_(std::make_shared<service_container>()),
      dispatcher_(std::make_shared<sensor_dispatcher>(container_)) {
    if (callback == nullptr) {
        throw std::invalid_argument("module_instance: the host message callback must not be null");
    }
    // Every message leaves through the one host callback; the lock hands it one message at a
    // time whichever host thread the sending sensor runs on.
    auto callback_lock = std::make_shared<std::mutex>();
    void* context = host_context;
    void* context_extra = host_context_extra;
    container_->register_factory<messaging::message_service_interface>(
        std::function<std::unique_ptr<messaging::message_service_interface>()>(
            [callback, callback_lock, context, context_extra]() {
                return std::make_unique<messaging::message_service>(
                    [callback, callback_lock, context, context_extra](void* data, unsigned size) {
                        const std::lock_guard<std::mutex> lock(*callback_lock);
                        const host_call inside;
                        callback(context, context_extra, data, size);
                    });
            }));
}

module_instance::~module_instance() = default;

}  // namespace zentrova::monitoring_modules::framework::module
