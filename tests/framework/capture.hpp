#pragma once

#include <memory>
#include <string>
#include <vector>

#include "framework/logging/log_interface.hpp"
#include "framework/logging/runtime_log.hpp"
#include "framework/logging/sensor_log.hpp"
#include "framework/messaging/message_service.hpp"
#include "framework/module/service_container.hpp"

namespace zentrova::monitoring_modules::framework::test_support {

// Keeps every line written to it, a line each.
class capture_log final : public logging::log_interface {
public:
    void write(int /*level*/, const std::string& line) override { text_ += line + "\n"; }
    const std::string& all() const { return text_; }

private:
    std::string text_;
};

// A service container wired the way the module wires it, with the messages and log lines
// kept for inspection. For one thread.
struct capture_container {
    std::shared_ptr<module::service_container> container =
        std::make_shared<module::service_container>();
    std::shared_ptr<capture_log> runtime = std::make_shared<capture_log>();
    std::shared_ptr<capture_log> sensors = std::make_shared<capture_log>();
    std::shared_ptr<std::vector<std::string>> messages =
        std::make_shared<std::vector<std::string>>();

    capture_container() {
        auto sink = messages;
        container->register_factory<messaging::message_service_interface>(
            std::function<std::unique_ptr<messaging::message_service_interface>()>([sink] {
                return std::make_unique<messaging::message_service>(
                    [sink](void* data, unsigned size) {
                        sink->emplace_back(static_cast<const char*>(data), size);
                    });
            }));
        container->add_instance(std::make_shared<logging::runtime_log>(runtime));
        auto sensor_lines = sensors;
        container->add_instance(std::make_shared<logging::sensor_log>(
            [sensor_lines](int, bool enabled) -> std::shared_ptr<logging::log_interface> {
                return enabled ? sensor_lines : nullptr;
            }));
    }
};

}  // namespace zentrova::monitoring_modules::framework::test_support
