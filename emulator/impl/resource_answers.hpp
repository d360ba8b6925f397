#pragma once

// Answers the resource route families share: a resource that is not there, and one page of a
// list. For the responders' .cpp files only (it brings jsoncons with it).
#include <optional>
#include <string>

#include "emulator/impl/arm_request.hpp"
#include "emulator/impl/json_answer.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// A missing resource in an existing group is ResourceNotFound; a missing group says so.
http_answer resource_not_found(const arm_request& r, const std::string& type,
                               const std::string& name);

// The part of a list of `total` items one answer holds (`size` a page, 0: all), from the
// position $skiptoken carries; next_link repeats the request with the position of the rest, and
// is empty on the last page. A $skiptoken the emulator did not issue gives `rejection`.
struct list_page {
    std::size_t first = 0;
    std::size_t end = 0;
    std::string next_link;
    std::optional<http_answer> rejection;
};
list_page page_of(const arm_request& r, std::size_t total, std::size_t size);

// ARM lists answer one page of the scenario's page size (`size` when given) and a nextLink.
http_answer paged_answer(const arm_request& r, const jsoncons::ojson& items, std::size_t size);
http_answer paged_answer(const arm_request& r, const jsoncons::ojson& items);

}  // namespace zentrova::monitoring_modules::emulator::impl
