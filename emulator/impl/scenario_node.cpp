#include "emulator/impl/scenario_node.hpp"

#include <algorithm>

#include "emulator/azure_emulator.hpp"
#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

using jsoncons::ojson;

std::string type_of(const ojson& v) {
    if (v.is_null()) {
        return "null";
    }
    if (v.is_bool()) {
        return "a boolean";
    }
    if (v.is_number()) {
        return "a number";
    }
    if (v.is_string()) {
        return "a string";
    }
    return v.is_array() ? "an array" : "an object";
}

}  // namespace

void scenario_node::fail(const std::string& what) const {
    throw scenario_error(origin_ + ": at " + path_ + ": " + what);
}

void scenario_node::expected(const std::string& what) const {
    fail("expected " + what + ", found " + type_of(value_));
}

std::string scenario_node::text() const {
    if (!value_.is_string()) {
        expected("a string");
    }
    return value_.as<std::string>();
}

double scenario_node::number() const {
    if (!value_.is_number()) {
        expected("a number");
    }
    return value_.as<double>();
}

std::int64_t scenario_node::integer(std::int64_t min, std::int64_t max) const {
    if (!value_.is_int64() && !value_.is_uint64()) {
        expected("an integer");
    }
    const bool too_big =
        value_.is_uint64() && value_.as<std::uint64_t>() > static_cast<std::uint64_t>(max);
    const std::int64_t v = too_big ? max : value_.as<std::int64_t>();
    if (too_big || v < min || v > max) {
        fail("must be between " + std::to_string(min) + " and " + std::to_string(max) + ", found " +
             value_.to_string());
    }
    return v;
}

bool scenario_node::flag() const {
    if (!value_.is_bool()) {
        expected("true or false");
    }
    return value_.as<bool>();
}

std::string scenario_node::date() const {
    std::string t = text();
    if (!looks_like_date(t)) {
        fail("expected a date written YYYY-MM-DD, found \"" + t + "\"");
    }
    return t;
}

scenario_object::scenario_object(const scenario_node& n, std::initializer_list<const char*> known)
    : node_(n) {
    if (!n.value().is_object()) {
        n.expected("an object");
    }
    for (const auto& member : n.value().object_range()) {
        const bool ok = std::any_of(known.begin(), known.end(),
                                    [&](const char* k) { return member.key() == k; });
        if (!ok) {
            std::string names;
            for (const char* k : known) {
                names += names.empty() ? k : std::string(", ") + k;
            }
            child(member.key())
                .fail("unknown member \"" + member.key() + "\" (known: " + names + ")");
        }
    }
}

scenario_node scenario_object::child(const std::string& key) const {
    const std::string path = node_.path() + "." + key;
    auto it = node_.value().find(key);
    if (it == node_.value().object_range().end()) {
        throw scenario_error(node_.origin() + ": at " + path + ": required member is missing");
    }
    return {it->value(), path, node_.origin()};
}

std::vector<std::string> scenario_object::texts(const std::string& key) const {
    std::vector<std::string> out;
    if (has(key)) {
        child(key).each([&](const scenario_node& n) { out.push_back(n.text()); });
    }
    return out;
}

}  // namespace zentrova::monitoring_modules::emulator::impl
