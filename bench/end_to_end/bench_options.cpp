#include "bench/end_to_end/bench_options.hpp"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace zentrova::monitoring_modules::bench {
namespace {

std::vector<std::string> split(const std::string& list) {
    std::vector<std::string> items;
    std::stringstream stream(list);
    for (std::string item; std::getline(stream, item, ',');) {
        if (!item.empty()) {
            items.push_back(item);
        }
    }
    return items;
}

std::vector<std::size_t> numbers(const std::string& list, const std::string& option) {
    std::vector<std::size_t> values;
    for (const auto& item : split(list)) {
        const long value = std::strtol(item.c_str(), nullptr, 10);
        if (value <= 0) {
            throw std::invalid_argument(option + " takes positive numbers separated by commas");
        }
        values.push_back(static_cast<std::size_t>(value));
    }
    if (values.empty()) {
        throw std::invalid_argument(option + " needs at least one number");
    }
    return values;
}

}  // namespace

bench_options bench_options::parse(int argc, char** argv) {
    bench_options options;
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        const auto equals = argument.find('=');
        const std::string name = argument.substr(0, equals);
        const std::string value = equals == std::string::npos ? "" : argument.substr(equals + 1);
        if (name == "--sensors") {
            options.sensor_counts = numbers(value, name);
        } else if (name == "--threads") {
            options.thread_counts = numbers(value, name);
        } else if (name == "--repeats") {
            options.repeats = numbers(value, name).front();
        } else if (name == "--min-checks") {
            options.min_checks = numbers(value, name).front();
        } else if (name == "--kinds") {
            options.kinds = split(value);
        } else if (name == "--sdk-peer") {
            options.sdk_peer = value;
        } else if (name == "--no-sdk-peer") {
            options.no_sdk_peer = value;
        } else if (name == "--skip-peers") {
            options.skip_peers = true;
        } else {
            throw std::invalid_argument(
                "unknown option '" + argument +
                "'; known: --sensors=1,100,1000 --threads=1,2,4,8 --repeats=5 --min-checks=1000 "
                "--kinds=virtual_machine_sensor,sql_database_sensor,subscription_cost_sensor "
                "--sdk-peer=path/vm_check.js --no-sdk-peer=reason --skip-peers");
        }
    }
    return options;
}

}  // namespace zentrova::monitoring_modules::bench
