#pragma once

#include <string>
#include <vector>

namespace zentrova::monitoring_modules::host {

// The candidate a mistyped name most likely meant: the one fewest single-character edits away
// (ties go to the first), or "" when there is no candidate. Names are compared as given, so a
// kind is only ever matched against names of its own family.
std::string closest_name(const std::string& name, const std::vector<std::string>& candidates);

}  // namespace zentrova::monitoring_modules::host
