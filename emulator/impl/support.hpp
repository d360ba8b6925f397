#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zentrova::monitoring_modules::emulator::impl {

// Small text, identifier and time helpers shared by the emulator's responders.

bool iequals(std::string_view a, std::string_view b);
bool icontains(std::string_view text, std::string_view part);
bool istarts_with(std::string_view text, std::string_view prefix);
bool iends_with(std::string_view text, std::string_view suffix);
std::string to_lower(std::string_view text);

std::vector<std::string> split(std::string_view text, char separator);

// Collapses runs of "/" into one and drops a trailing one, so that "//a//b/" is "/a/b".
std::string normalize_path(std::string_view path);

// A random version-4 GUID, and a stable one derived from a text (same text, same GUID).
std::string random_guid();
std::string stable_guid(std::string_view seed);

std::string base64url_encode(std::string_view bytes);
bool base64url_decode(std::string_view text, std::string& bytes);

using system_time = std::chrono::system_clock::time_point;

std::int64_t unix_seconds(system_time t);
std::string iso8601(system_time t);        // 2024-11-22T10:15:00Z
std::string http_date(system_time t);      // Fri, 22 Nov 2024 10:15:00 GMT
std::string aad_timestamp(system_time t);  // 2024-11-22 10:15:00Z

// True for "YYYY-MM-DD", alone or followed by a time.
bool looks_like_date(std::string_view text);

}  // namespace zentrova::monitoring_modules::emulator::impl
