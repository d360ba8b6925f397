#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "framework/logging/log_interface.hpp"
#include "framework/logging/runtime_log.hpp"
#include "framework/logging/sensor_log.hpp"
#include "framework/messaging/message_service.hpp"
#include "framework/module/service_container.hpp"

namespace zentrova::monitoring_modules::framework::test_support {

// Keeps every line written to it.
class capture_log final : public logging::log_interface {
public:
    void write(int /*level*/, const std::string& line) override {
        const std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(line);
    }
    std::vector<std::string> lines() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return lines_;
    }
    std::string all() const {
        std::string text;
        for (const auto& line : lines()) {
            text += line + "\n";
        }
        return text;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

// A service container wired the way the module wires it, with the messages and log lines
// kept for inspection.
struct capture_container {
    std::shared_ptr<module::service_container> container =
        std::make_shared<module::service_container>();
    std::shared_ptr<capture_log> runtime = std::make_shared<capture_log>();
    std::shared_ptr<capture_log> sensors = std::make_shared<capture_log>();
    std::shared_ptr<std::mutex> messages_mutex = std::make_shared<std::mutex>();
    std::shared_ptr<std::vector<std::string>> messages =
        std::make_shared<std::vector<std::string>>();

    capture_container() {
        auto lock = messages_mutex;
        auto sink = messages;
        container->register_factory<messaging::message_service_interface>(
            std::function<std::unique_ptr<messaging::message_service_interface>()>([lock, sink] {
                return std::make_unique<messaging::message_service>(
                    [lock, sink](void* data, unsigned size) {
                        const std::lock_guard<std::mutex> guard(*lock);
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

    std::vector<std::string> take_messages() {
        const std::lock_guard<std::mutex> guard(*messages_mutex);
        return std::exchange(*messages, {});
    }
};

}  // namespace zentrova::monitoring_modules::framework::test_support
