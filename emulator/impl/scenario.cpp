#include "emulator/impl/scenario.hpp"

#include <algorithm>

#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// Azure compares names and ids without regard to case; so does every lookup here.

const std::vector<cost_entry>* billing_period::costs_by(std::string_view dimension) const {
    for (const auto& [name, entries] : costs) {
        if (iequals(name, dimension)) {
            return &entries;
        }
    }
    return nullptr;
}

bool subscription::has_resource_group(std::string_view name) const {
    return std::any_of(resource_groups.begin(), resource_groups.end(),
                       [&](const std::string& g) { return iequals(g, name); });
}

const virtual_machine* subscription::find_vm(std::string_view group, std::string_view name) const {
    for (const auto& vm : virtual_machines) {
        if (iequals(vm.resource_group, group) && iequals(vm.name, name)) {
            return &vm;
        }
    }
    return nullptr;
}

const sql_server* subscription::find_server(std::string_view group, std::string_view name) const {
    for (const auto& server : sql_servers) {
        if (iequals(server.resource_group, group) && iequals(server.name, name)) {
            return &server;
        }
    }
    return nullptr;
}

const application* tenant::find_application(std::string_view client_id) const {
    for (const auto& app : applications) {
        if (iequals(app.client_id, client_id)) {
            return &app;
        }
    }
    return nullptr;
}

const tenant* scenario::find_tenant(std::string_view id_or_domain) const {
    for (const auto& t : tenants) {
        if (iequals(t.id, id_or_domain) ||
            std::any_of(t.domains.begin(), t.domains.end(),
                        [&](const std::string& d) { return iequals(d, id_or_domain); })) {
            return &t;
        }
    }
    return nullptr;
}

const subscription* scenario::find_subscription(std::string_view id) const {
    for (const auto& s : subscriptions) {
        if (iequals(s.id, id)) {
            return &s;
        }
    }
    return nullptr;
}

const region* scenario::find_region(std::string_view name) const {
    for (const auto& r : regions) {
        if (iequals(r.name, name)) {
            return &r;
        }
    }
    return nullptr;
}

bool scenario::may_access(const application& app, std::string_view subscription_id) const {
    if (find_subscription(subscription_id) == nullptr) {
        return false;
    }
    return app.subscriptions.empty() ||
           std::any_of(app.subscriptions.begin(), app.subscriptions.end(),
                       [&](const std::string& s) { return iequals(s, subscription_id); });
}

}  // namespace zentrova::monitoring_modules::emulator::impl
