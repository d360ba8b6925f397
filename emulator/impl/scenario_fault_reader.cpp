#include "emulator/impl/scenario_fault_reader.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

constexpr std::int64_t int_max = std::numeric_limits<int>::max();

// Each kind by the name a fault document gives it, in the order error messages list them.
const std::vector<std::pair<const char*, fault_kind>>& fault_kinds() {
    static const std::vector<std::pair<const char*, fault_kind>> kinds{
        {"status", fault_kind::status},
        {"delay", fault_kind::delay},
        {"close", fault_kind::close_connection},
        {"close_mid_body", fault_kind::close_mid_body},
        {"wrong_content_type", fault_kind::wrong_content_type},
        {"truncated_body", fault_kind::truncated_body},
        {"invalid_json", fault_kind::invalid_json},
        {"empty_body", fault_kind::empty_body},
        {"large_body", fault_kind::large_body},
        {"body", fault_kind::custom_body}};
    return kinds;
}

fault_kind parse_kind(const scenario_node& n) {
    const std::string name = n.text();
    std::string known;
    for (const auto& [k, kind] : fault_kinds()) {
        if (name == k) {
            return kind;
        }
        known += known.empty() ? k : std::string(", ") + k;
    }
    n.fail("unknown fault kind \"" + name + "\" (known: " + known + ")");
}

fault read_fault(const scenario_node& n) {
    scenario_object o(
        n, {"route", "kind", "status", "reason", "error_code", "error_message", "retry_after",
            "delay_ms", "content_type", "body", "size", "count", "path_contains"});
    fault f;
    f.route = o.text("route", "*");
    const auto& names = route_names();
    if (f.route == "unknown" ||
        (f.route != "*" && std::find(names.begin(), names.end(), f.route) == names.end())) {
        std::string known;
        for (const auto& r : names) {
            if (r != "unknown") {
                known += ", " + r;
            }
        }
        o.child("route").fail("unknown route \"" + f.route + "\" (known: *" + known + ")");
    }
    if (o.has("kind")) {
        f.kind = parse_kind(o.child("kind"));
    } else if (o.has("body")) {
        f.kind = fault_kind::custom_body;
    } else if (o.has("status")) {
        f.kind = fault_kind::status;
    } else if (o.has("delay_ms")) {
        f.kind = fault_kind::delay;
    } else {
        n.fail("a fault needs a \"kind\" (or a status, body or delay_ms to imply one)");
    }
    f.status = static_cast<int>(o.integer("status", 0, 100, 599));
    f.reason = o.text("reason", "");
    if (f.reason.find_first_of("\r\n") != std::string::npos) {
        o.child("reason").fail("a reason phrase cannot hold a line break");
    }
    f.error_code = o.text("error_code", "");
    f.error_message = o.text("error_message", "");
    f.retry_after_seconds = static_cast<int>(o.integer("retry_after", -1, 0, 86400));
    f.delay_ms = static_cast<int>(o.integer("delay_ms", 0, 0, 60000));
    f.content_type = o.text("content_type", "");
    f.body = o.text("body", "");
    f.size = static_cast<std::size_t>(
        o.integer("size", static_cast<std::int64_t>(f.size), 1, 1LL << 30));
    if (o.has("count")) {
        f.count = static_cast<int>(o.child("count").integer(1, int_max));
    }
    f.path_contains = o.text("path_contains", "");
    return f;
}

}  // namespace

std::vector<fault> scenario_fault_reader::read_faults(const scenario_node& n) {
    std::vector<fault> faults;
    if (n.value().is_array()) {
        n.each([&](const scenario_node& f) { faults.push_back(read_fault(f)); });
    } else if (n.value().is_object()) {
        faults.push_back(read_fault(n));
    } else {
        n.expected("a fault object or an array of them");
    }
    return faults;
}

std::string scenario_fault_reader::kind_name(fault_kind kind) {
    for (const auto& [name, k] : fault_kinds()) {
        if (k == kind) {
            return name;
        }
    }
    return "status";
}

jsoncons::ojson scenario_fault_reader::write_fault(const fault& f) {
    jsoncons::ojson j(jsoncons::json_object_arg);
    j["route"] = f.route;
    j["kind"] = kind_name(f.kind);
    if (f.status != 0) {
        j["status"] = f.status;
    }
    if (!f.reason.empty()) {
        j["reason"] = f.reason;
    }
    if (!f.error_code.empty()) {
        j["error_code"] = f.error_code;
    }
    if (!f.error_message.empty()) {
        j["error_message"] = f.error_message;
    }
    if (f.retry_after_seconds >= 0) {
        j["retry_after"] = f.retry_after_seconds;
    }
    if (f.delay_ms != 0) {
        j["delay_ms"] = f.delay_ms;
    }
    if (!f.content_type.empty()) {
        j["content_type"] = f.content_type;
    }
    if (f.kind == fault_kind::custom_body) {
        j["body"] = f.body;
    }
    if (f.kind == fault_kind::large_body) {
        j["size"] = f.size;
    }
    if (f.count >= 0) {
        j["count"] = f.count;
    }
    if (!f.path_contains.empty()) {
        j["path_contains"] = f.path_contains;
    }
    return j;
}

}  // namespace zentrova::monitoring_modules::emulator::impl
