#pragma once

// The checked reading of scenario documents, for the scenario readers' .cpp files only (it
// brings jsoncons with it).
#include <cstdint>
#include <initializer_list>
#include <jsoncons/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace zentrova::monitoring_modules::emulator::impl {

// One JSON value of a scenario and where it sits ("$.subscriptions[0].budgets[1]"), so that
// every scenario_error leads straight to the problem.
class scenario_node {
public:
    scenario_node(const jsoncons::ojson& value, std::string path, const std::string& origin)
        : value_(value), path_(std::move(path)), origin_(origin) {}

    const jsoncons::ojson& value() const { return value_; }
    const std::string& path() const { return path_; }
    const std::string& origin() const { return origin_; }

    [[noreturn]] void fail(const std::string& what) const;
    [[noreturn]] void expected(const std::string& what) const;

    std::string text() const;
    double number() const;
    std::int64_t integer(std::int64_t min, std::int64_t max) const;
    bool flag() const;
    std::string date() const;  // YYYY-MM-DD, alone or with a time

    template <typename F>
    void each(F&& f) const {
        if (!value_.is_array()) {
            expected("an array");
        }
        std::size_t i = 0;
        for (const auto& item : value_.array_range()) {
            f(scenario_node(item, path_ + "[" + std::to_string(i++) + "]", origin_));
        }
    }

    // Calls f(name, node) for each member of this object; `what` names the object the format
    // wants here ("an object of tag name to text") when this is not one.
    template <typename F>
    void each_member(const std::string& what, F&& f) const {
        if (!value_.is_object()) {
            expected(what);
        }
        for (const auto& member : value_.object_range()) {
            f(member.key(), scenario_node(member.value(), path_ + "." + member.key(), origin_));
        }
    }

private:
    const jsoncons::ojson& value_;
    std::string path_;
    const std::string& origin_;
};

// A JSON object of a scenario whose member names are checked against the names the format
// knows; the getters with a fallback take a missing member as that fallback.
class scenario_object {
public:
    scenario_object(const scenario_node& n, std::initializer_list<const char*> known);

    const scenario_node& self() const { return node_; }
    bool has(const std::string& key) const { return node_.value().contains(key); }
    scenario_node child(const std::string& key) const;

    std::string text(const std::string& key) const { return child(key).text(); }
    std::string text(const std::string& key, const std::string& fallback) const {
        return has(key) ? text(key) : fallback;
    }
    double number(const std::string& key) const { return child(key).number(); }
    std::int64_t integer(const std::string& key, std::int64_t fallback, std::int64_t min,
                         std::int64_t max) const {
        return has(key) ? child(key).integer(min, max) : fallback;
    }
    bool flag(const std::string& key, bool fallback) const {
        return has(key) ? child(key).flag() : fallback;
    }
    std::vector<std::string> texts(const std::string& key) const;
    template <typename F>
    void each(const std::string& key, F&& f) const {
        if (has(key)) {
            child(key).each(std::forward<F>(f));
        }
    }

private:
    scenario_node node_;
};

}  // namespace zentrova::monitoring_modules::emulator::impl
