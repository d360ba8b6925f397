#include "emulator/impl/fault_table.hpp"

#include <algorithm>

#include "emulator/impl/support.hpp"

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

bool same_target(const fault& a, const fault& b) {
    return a.route == b.route && iequals(a.path_contains, b.path_contains);
}

// Valid JSON of exactly `size` bytes that still holds everything of `body`: a padding member
// in front of an object's own members, or trailing blanks after any other JSON text.
std::string padded(const std::string& body, std::size_t size) {
    const bool object = body.size() >= 2 && body.front() == '{' && body.back() == '}';
    const std::string open = R"({"_padding":")";
    const std::string close = body == "{}" ? "\"}" : "\",";
    const std::size_t overhead = open.size() + close.size() + (body == "{}" ? 0 : body.size() - 1);
    if (object && size >= overhead) {
        return open + std::string(size - overhead, 'x') + close +
               (body == "{}" ? std::string() : body.substr(1));
    }
    return size > body.size() ? body + std::string(size - body.size(), ' ') : body;
}

}  // namespace

void fault_table::apply_status(const fault& f, http_answer& answer) {
    if (f.status != 0) {
        answer.status = f.status;
    }
    answer.reason = f.reason;
    if (f.retry_after_seconds >= 0) {
        answer.set_header("Retry-After", std::to_string(f.retry_after_seconds));
    } else if (answer.status == 429) {
        answer.set_header("Retry-After", "1");
    }
}

std::string fault_table::problem(const fault& f) {
    const auto& names = route_names();
    if (f.route == "unknown" ||
        (f.route != "*" && std::find(names.begin(), names.end(), f.route) == names.end())) {
        return "unknown route \"" + f.route + "\"";
    }
    if (f.status != 0 && (f.status < 100 || f.status > 599)) {
        return "status " + std::to_string(f.status) + " is not between 100 and 599";
    }
    if (f.delay_ms < 0 || f.delay_ms > 60000) {
        return "delay_ms must be between 0 and 60000";
    }
    if (f.count == 0 || f.count < -1) {
        return "count must be at least 1 (or -1 for a fault that stays)";
    }
    if (f.kind == fault_kind::large_body && f.size == 0) {
        return "a large body needs a size";
    }
    if (f.reason.find_first_of("\r\n") != std::string::npos) {
        return "a reason phrase cannot hold a line break";
    }
    return {};
}

void fault_table::set(const fault& f) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = std::find_if(faults_.begin(), faults_.end(),
                           [&](const fault& other) { return same_target(other, f); });
    if (it != faults_.end()) {
        *it = f;
    } else {
        faults_.push_back(f);
    }
}

void fault_table::replace_all(std::vector<fault> faults) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_ = std::move(faults);
}

void fault_table::clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.clear();
}

void fault_table::clear(const std::string& route) {
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.erase(std::remove_if(faults_.begin(), faults_.end(),
                                 [&](const fault& f) { return f.route == route; }),
                  faults_.end());
}

std::vector<fault> fault_table::list() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return faults_;
}

std::optional<fault> fault_table::take(const std::string& route, const std::string& path) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = faults_.begin(); it != faults_.end(); ++it) {
        if ((it->route != "*" && it->route != route) || !icontains(path, it->path_contains)) {
            continue;
        }
        fault taken = *it;
        if (it->count > 0 && --it->count == 0) {
            faults_.erase(it);
        }
        return taken;
    }
    return std::nullopt;
}

http_answer fault_table::status_answer(const fault& f) {
    const int status = f.status != 0 ? f.status : 503;
    http_answer answer = arm_error(
        status, f.error_code.empty() ? default_error_code(status) : f.error_code,
        f.error_message.empty() ? "The emulator answers this request with status " +
                                      std::to_string(status) + " because a fault is set for it."
                                : f.error_message);
    apply_status(f, answer);
    return answer;
}

http_answer fault_table::custom_answer(const fault& f) {
    http_answer answer;
    answer.body = f.body;
    if (!f.content_type.empty()) {
        answer.content_type = f.content_type;
    }
    apply_status(f, answer);
    return answer;
}

void fault_table::reshape(const fault& f, http_answer& answer) {
    switch (f.kind) {
        case fault_kind::wrong_content_type:
            answer.content_type =
                f.content_type.empty() ? "text/html; charset=utf-8" : f.content_type;
            break;
        case fault_kind::truncated_body:
            answer.body.resize(answer.body.size() / 2);
            break;
        case fault_kind::invalid_json:
            answer.body = R"({"value": [ {"name": "emulator" "id": 1} ]})";
            break;
        case fault_kind::empty_body:
            answer.body.clear();
            break;
        case fault_kind::large_body:
            answer.body = padded(answer.body, f.size);
            break;
        default:
            break;
    }
    apply_status(f, answer);
}

}  // namespace zentrova::monitoring_modules::emulator::impl
