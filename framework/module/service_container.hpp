#pragma once

#include <any>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <typeindex>
#include <typeinfo>
#include <unordered_map>

#include "framework/tiko_export.hpp"
#include "framework/utils/exceptions.hpp"

namespace zentrova::monitoring_modules::framework::module {

// A readable name for a type, for the container's messages.
TIKO_API std::string type_name(const std::type_info& type);

// Where sensors find their shared services: at most one shared instance and one factory per
// type. Written while the module starts, read afterwards; every lookup holds one mutex for its
// whole duration, a factory call included, so it is safe from any thread.
class service_container {
public:
    service_container() = default;
    service_container(const service_container&) = delete;
    service_container& operator=(const service_container&) = delete;

    // A factory of new T objects, optionally from arguments. The first registration stays;
    // a second one throws.
    template <typename T, typename... Args>
    void register_factory(std::function<std::unique_ptr<T>(Args...)> factory) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!factories_.emplace(std::type_index(typeid(T)), std::any(std::move(factory))).second) {
            throw utils::exceptions::exception("Already contains instance of: " +
                                               type_name(typeid(T)));
        }
    }

    // The one shared T; the first registration stays, a second one throws.
    template <typename T>
    void add_instance(std::shared_ptr<T> instance) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!instances_
                 .emplace(std::type_index(typeid(T)), std::shared_ptr<void>(std::move(instance)))
                 .second) {
            throw utils::exceptions::exception("Already contains instance of: " +
                                               type_name(typeid(T)));
        }
    }

    // A new T from the registered factory, built from the given arguments.
    template <typename T, typename... Args>
    std::unique_ptr<T> create(Args&&... args) {
        const std::lock_guard<std::mutex> lock(mutex_);
        auto* factory = find_factory<T, std::decay_t<Args>...>();
        if (factory == nullptr) {
            throw utils::exceptions::exception("No instance available for: " +
                                               type_name(typeid(T)));
        }
        return (*factory)(std::forward<Args>(args)...);
    }

    // The stored instance of T; failing that, a new T from its argument-less factory (a new
    // object on every call); failing both, throws "No instance available for: ".
    template <typename T>
    std::shared_ptr<T> get() {
        std::shared_ptr<T> found = find<T>();
        if (!found) {
            throw utils::exceptions::exception("No instance available for: " +
                                               type_name(typeid(T)));
        }
        return found;
    }

    // As get(), but empty instead of throwing when T has neither an instance nor a factory.
    template <typename T>
    std::shared_ptr<T> find() {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto instance = instances_.find(std::type_index(typeid(T)));
        if (instance != instances_.end()) {
            return std::static_pointer_cast<T>(instance->second);
        }
        if (auto* factory = find_factory<T>()) {
            return std::shared_ptr<T>((*factory)());
        }
        return nullptr;
    }

private:
    template <typename T, typename... Args>
    std::function<std::unique_ptr<T>(Args...)>* find_factory() {
        const auto entry = factories_.find(std::type_index(typeid(T)));
        if (entry == factories_.end()) {
            return nullptr;
        }
        auto* factory = std::any_cast<std::function<std::unique_ptr<T>(Args...)>>(&entry->second);
        if (factory == nullptr) {
            throw utils::exceptions::exception("The factory for " + type_name(typeid(T)) +
                                               " takes other arguments than the caller gave");
        }
        return factory;
    }

    std::mutex mutex_;
    std::unordered_map<std::type_index, std::any> factories_;
    std::unordered_map<std::type_index, std::shared_ptr<void>> instances_;
};

}  // namespace zentrova::monitoring_modules::framework::module
