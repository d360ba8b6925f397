#include "host/credentials_file.hpp"

#include <fstream>
#include <jsoncons/json.hpp>
#include <sstream>

#include "host/host_error.hpp"

namespace zentrova::monitoring_modules::host {

credentials_file credentials_file::load(const std::string& path) {
    std::ifstream in(path);
    if (!in) {
        throw host_error("Cannot open the credentials file " + path +
                         ": it should be a JSON file with tenant_id, client_id, client_secret and "
                         "subscription_id");
    }
    std::stringstream text;
    text << in.rdbuf();
    jsoncons::json root;
    try {
        root = jsoncons::json::parse(text.str());
    } catch (const std::exception& e) {
        throw host_error("The credentials file " + path + " is not JSON: " + e.what());
    }
    if (!root.is_object()) {
        throw host_error("The credentials file " + path + " must hold one JSON object");
    }
    auto member = [&](const char* name) {
        if (!root.contains(name) || !root[name].is_string() ||
            root[name].as<std::string>().empty()) {
            throw host_error("The credentials file " + path + " needs a non-empty text \"" + name +
                             "\"");
        }
        return root[name].as<std::string>();
    };
    return {member("tenant_id"), member("client_id"), member("client_secret"),
            member("subscription_id")};
}

}  // namespace zentrova::monitoring_modules::host
