#include "host/jsonl_printer.hpp"

#include <array>
#include <chrono>
#include <cmath>
#include <ctime>
#include <jsoncons/json.hpp>
#include <string>

namespace zentrova::monitoring_modules::host {
namespace {

// "2025-04-18T09:30:05.123Z"
std::string iso_8601(std::chrono::system_clock::time_point time) {
    const auto since_epoch = time.time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(since_epoch);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(since_epoch - seconds).count();
    const std::time_t whole = seconds.count();
    std::tm utc{};
    ::gmtime_r(&whole, &utc);
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    const std::string fraction = std::to_string(1000 + milliseconds);  // "1042" for 42 ms
    return std::string(text.data(), length) + "." + fraction.substr(1) + "Z";
}

}  // namespace

jsonl_printer::jsonl_printer(std::ostream& out) : out_(out) {}

void jsonl_printer::print(const watched_sensor& sensor, const check_record& record) {
    jsoncons::ojson line(jsoncons::json_object_arg);
    line.insert_or_assign("time", iso_8601(record.time));
    line.insert_or_assign("sensor_id", sensor.id);
    line.insert_or_assign("kind", sensor.kind);
    line.insert_or_assign("resource", sensor.resource);
    jsoncons::ojson channels(jsoncons::json_object_arg);
    if (record.has_result) {
        line.insert_or_assign("response_code", record.response_code);
        const auto result = jsoncons::ojson::parse(record.result);
        for (const auto& channel : result["channels"].array_range()) {
            // A channel sent twice in one result (budgets of the same name) keeps its last value.
            channels.insert_or_assign(std::to_string(channel["id"].as<int>()), channel["value"]);
        }
    } else {
        line.insert_or_assign("response_code", jsoncons::null_type());
    }
    line.insert_or_assign("message", record.message);
    line.insert_or_assign("channels", std::move(channels));
    line.insert_or_assign("latency_ms", std::round(record.latency_ms * 1000.0) / 1000.0);
    std::string text;
    line.dump(text);
    const std::lock_guard<std::mutex> lock(mutex_);
    out_ << text << '\n' << std::flush;
}

}  // namespace zentrova::monitoring_modules::host
