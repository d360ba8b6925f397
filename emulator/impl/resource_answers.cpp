#include "emulator/impl/resource_answers.hpp"

#include <algorithm>
#include <cctype>

namespace zentrova::monitoring_modules::emulator::impl {

http_answer resource_not_found(const arm_request& r, const std::string& type,
                               const std::string& name) {
    const std::string& group = r.route.capture("group");
    if (!r.sub.has_resource_group(group)) {
        return arm_error(404, "ResourceGroupNotFound",
                         "Resource group '" + group + "' could not be found.");
    }
    return arm_error(404, "ResourceNotFound",
                     "The Resource '" + type + "/" + name + "' under resource group '" + group +
                         "' was not found.");
}

http_answer paged_answer(const arm_request& r, const jsoncons::ojson& items) {
    std::size_t skip = 0;
    if (r.request.has_param("$skiptoken")) {
        const std::string token = r.request.param("$skiptoken");
        if (token.empty() ||
            !std::all_of(token.begin(), token.end(),
                         [](char c) { return std::isdigit(static_cast<unsigned char>(c)); }) ||
            token.size() > 9) {
            return arm_error(400, "InvalidSkipToken",
                             "The $skiptoken '" + token + "' was not issued by this emulator.");
        }
        skip = std::stoul(token);
    }
    const std::size_t total = items.size();
    const std::size_t page = r.world.page_size == 0 ? total : r.world.page_size;
    jsoncons::ojson value = json_array();
    for (std::size_t i = skip; i < total && i < skip + page; ++i) {
        value.push_back(items[i]);
    }
    jsoncons::ojson body = json_object();
    body["value"] = std::move(value);
    if (skip + page < total) {
        body["nextLink"] = r.base_url + r.request.path.substr(1) +
                           "?api-version=" + r.request.param("api-version") +
                           "&$skiptoken=" + std::to_string(skip + page);
    }
    return json_answer(body);
}

}  // namespace zentrova::monitoring_modules::emulator::impl
