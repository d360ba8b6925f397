#pragma once

// Answers the resource route families share: a resource that is not there, and one page of a
// list. For the responders' .cpp files only (it brings jsoncons with it).
#include <string>

#include "emulator/impl/arm_request.hpp"
#include "emulator/impl/json_answer.hpp"

namespace zentrova::monitoring_modules::emulator::impl {

// A missing resource in an existing group is ResourceNotFound; a missing group says so.
http_answer resource_not_found(const arm_request& r, const std::string& type,
                               const std::string& name);

// ARM lists answer one page and a nextLink that carries the position in $skiptoken.
http_answer paged_answer(const arm_request& r, const jsoncons::ojson& items);

}  // namespace zentrova::monitoring_modules::emulator::impl
