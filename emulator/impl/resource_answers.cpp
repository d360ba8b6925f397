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

list_page page_of(const arm_request& r, std::size_t total, std::size_t size) {
    list_page page;
    if (r.request.has_param("$skiptoken")) {
        const std::string token = r.request.param("$skiptoken");
        if (token.empty() ||
            !std::all_of(token.begin(), token.end(),
                         [](char c) { return std::isdigit(static_cast<unsigned char>(c)); }) ||
            token.size() > 9) {
            page.rejection =
                arm_error(400, "InvalidSkipToken",
                          "The $skiptoken '" + token + "' was not issued by this emulator.");
            return page;
        }
        page.first = std::min<std::size_t>(std::stoul(token), total);
    }
    page.end = size == 0 ? total : std::min(total, page.first + size);
    if (page.end < total) {
        // The request again, with every parameter but the old position as it was sent.
        std::string query;
        const std::size_t mark = r.request.target.find('?');
        for (const auto& part :
             split(mark == std::string::npos ? "" : r.request.target.substr(mark + 1), '&')) {
            if (!part.empty() && !istarts_with(part, "$skiptoken=") &&
                !istarts_with(part, "%24skiptoken=")) {
                query += part + "&";
            }
        }
        page.next_link = r.base_url + r.request.path.substr(1) + "?" + query +
                         "$skiptoken=" + std::to_string(page.end);
    }
    return page;
}

http_answer paged_answer(const arm_request& r, const jsoncons::ojson& items, std::size_t size) {
    const list_page page = page_of(r, items.size(), size);
    if (page.rejection) {
        return *page.rejection;
    }
    jsoncons::ojson value = json_array();
    for (std::size_t i = page.first; i < page.end; ++i) {
        value.push_back(items[i]);
    }
    jsoncons::ojson body = json_object();
    body["value"] = std::move(value);
    if (!page.next_link.empty()) {
        body["nextLink"] = page.next_link;
    }
    return json_answer(body);
}

http_answer paged_answer(const arm_request& r, const jsoncons::ojson& items) {
    return paged_answer(r, items, r.world.page_size);
}

}  // namespace zentrova::monitoring_modules::emulator::impl
