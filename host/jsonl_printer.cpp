#include "host/jsonl_printer.hpp"

#include <chrono>
#include <cmath>
#include <iomanip>
#include <jsoncons/json.hpp>
#include <sstream>
#include <string>

namespace zentrova::monitoring_modules::host {
namespace {

// "2025-04-18T09:30:05.123Z", from the days since 1970 by the proleptic Gregorian calendar
// (no gmtime: it is not thread-safe everywhere, and the module's threads use the C library too).
std::string iso_8601(std::chrono::system_clock::time_point time) {
    using std::chrono::duration_cast;
    const auto milliseconds =
        duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const long long days = (milliseconds >= 0 ? milliseconds : milliseconds - 86399999) / 86400000;
    const long long of_day = milliseconds - days * 86400000;
    const long long shifted = days + 719468;  // days since 0000-03-01
    const long long era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
    const long long day_of_era = shifted - era * 146097;
    const long long year_of_era =
        (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
    const long long day_of_year =
        day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    const long long month_index = (5 * day_of_year + 2) / 153;  // March is 0
    const long long day = day_of_year - (153 * month_index + 2) / 5 + 1;
    const long long month = month_index < 10 ? month_index + 3 : month_index - 9;
    const long long year = year_of_era + era * 400 + (month <= 2 ? 1 : 0);
    std::ostringstream text;
    text << std::setfill('0') << std::setw(4) << year << '-' << std::setw(2) << month << '-'
         << std::setw(2) << day << 'T' << std::setw(2) << of_day / 3600000 << ':' << std::setw(2)
         << of_day / 60000 % 60 << ':' << std::setw(2) << of_day / 1000 % 60 << '.' << std::setw(3)
         << of_day % 1000 << 'Z';
    return text.str();
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
    if (!out_) {
        closed_ = true;  // the reader has gone
    }
}

}  // namespace zentrova::monitoring_modules::host
