#include "emulator/impl/scenario_identity_reader.hpp"

#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

tenant read_tenant(const scenario_node& n) {
    scenario_object o(n, {"id", "domains", "applications"});
    tenant t;
    t.id = o.text("id");
    t.domains = o.texts("domains");
    o.each("applications", [&](const scenario_node& a) {
        scenario_object app_node(
            a, {"client_id", "client_secret", "display_name", "object_id", "subscriptions"});
        application app;
        app.client_id = app_node.text("client_id");
        app.client_secret = app_node.text("client_secret");
        app.display_name = app_node.text("display_name", "emulated-application");
        app.object_id = app_node.text("object_id", stable_guid("object:" + app.client_id));
        app.subscriptions = app_node.texts("subscriptions");
        if (t.find_application(app.client_id) != nullptr) {
            app_node.child("client_id")
                .fail("an application \"" + app.client_id + "\" already exists in this tenant");
        }
        t.applications.push_back(std::move(app));
    });
    return t;
}

}  // namespace

void scenario_identity_reader::read_tenants(const scenario_object& root, scenario& world) {
    root.each("tenants", [&](const scenario_node& t) {
        tenant ten = read_tenant(t);
        if (world.find_tenant(ten.id) != nullptr) {
            t.fail("a tenant \"" + ten.id + "\" already exists");
        }
        for (const auto& app : ten.applications) {
            for (const auto& sub : app.subscriptions) {
                if (world.find_subscription(sub) == nullptr) {
                    t.fail("application \"" + app.client_id + "\" names subscription \"" + sub +
                           "\", which the scenario does not define");
                }
            }
        }
        world.tenants.push_back(std::move(ten));
    });
}

}  // namespace zentrova::monitoring_modules::emulator::impl
