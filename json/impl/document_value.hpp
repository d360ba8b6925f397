#pragma once

// The JSON library's type of a parsed document's values. Only the JSON layer's .cpp files include
// this header: the library stays out of the headers that other layers see.
#include <jsoncons/json.hpp>

#include <type_traits>

#include "json/impl/document_arena.hpp"

namespace zentrova::monitoring_modules::json::impl {

// Sorted members: lookups by name are binary searches, and objects list their members by name,
// which is the order string maps are handed out in. Memory comes from the document's arena.
using document_value = jsoncons::basic_json<char, jsoncons::sorted_policy, arena_allocator<char>>;

static_assert(std::is_same_v<document_value::policy_type, jsoncons::sorted_policy>);

// The document builder's stack of values not yet placed in their object or array.
template <>
struct kept_off_arena<jsoncons::index_key_value<document_value>> : std::true_type {};

}  // namespace zentrova::monitoring_modules::json::impl
