#include "emulator/impl/scenario_copies.hpp"

#include <set>
#include <utility>
#include <vector>

#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

std::string copy_name(const std::string& name, std::size_t copy) {
    return name + "-" + std::to_string(copy);
}

// Ids under the old server id move under the new one.
void move_under(std::string& id, const std::string& old_prefix, const std::string& new_prefix) {
    if (id.compare(0, old_prefix.size(), old_prefix) == 0) {
        id = new_prefix + id.substr(old_prefix.size());
    }
}

virtual_machine copy_of(const virtual_machine& original, std::size_t copy) {
    virtual_machine vm = original;
    vm.name = copy_name(original.name, copy);
    if (original.computer_name == original.name) {
        vm.computer_name = vm.name;
    }
    vm.id = original.id.substr(0, original.id.size() - original.name.size()) + vm.name;
    vm.vm_id = stable_guid("vm:" + to_lower(vm.id));
    return vm;
}

sql_server copy_of(const sql_server& original, std::size_t copy) {
    sql_server server = original;
    server.name = copy_name(original.name, copy);
    server.id = original.id.substr(0, original.id.size() - original.name.size()) + server.name;
    for (auto& pool : server.pools) {
        move_under(pool.id, original.id, server.id);
    }
    for (auto& db : server.databases) {
        move_under(db.id, original.id, server.id);
        move_under(db.elastic_pool_id, original.id, server.id);
        db.database_id = stable_guid("database:" + to_lower(db.id));
    }
    return server;
}

// Each original followed by its copies, so that a page of N items becomes the N originals'
// copies and what lay beyond the first page still does.
template <typename Resource>
std::vector<Resource> multiplied(const std::vector<Resource>& originals, std::size_t copies,
                                 const std::string& what, const std::string& origin) {
    std::set<std::string> taken;
    for (const auto& r : originals) {
        taken.insert(to_lower(r.id));
    }
    std::vector<Resource> all;
    all.reserve(originals.size() * copies);
    for (const auto& original : originals) {
        all.push_back(original);
        for (std::size_t copy = 2; copy <= copies; ++copy) {
            Resource r = copy_of(original, copy);
            if (!taken.insert(to_lower(r.id)).second) {
                std::string message = origin;
                message += ": copy " + std::to_string(copy) + " of " + what + " \"";
                message += original.name + "\" would be named \"" + r.name;
                message += "\", which the scenario already has; rename one of them";
                throw scenario_error(message);
            }
            all.push_back(std::move(r));
        }
    }
    return all;
}

}  // namespace

void scenario_copies::multiply(scenario& world, std::size_t copies, const std::string& origin) {
    world.copies = copies;
    if (copies <= 1) {
        return;
    }
    for (auto& sub : world.subscriptions) {
        sub.virtual_machines = multiplied(sub.virtual_machines, copies, "virtual machine", origin);
        sub.sql_servers = multiplied(sub.sql_servers, copies, "SQL server", origin);
    }
}

}  // namespace zentrova::monitoring_modules::emulator::impl
