#include "bench/end_to_end/prepared_kind.hpp"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <stdexcept>

#include "host/host_state.hpp"

namespace zentrova::monitoring_modules::bench {
namespace {

bool same_name(const std::string& left, const std::string& right) {
    return left.size() == right.size() &&
           std::equal(left.begin(), left.end(), right.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) ==
                      std::tolower(static_cast<unsigned char>(b));
           });
}

}  // namespace

prepared_kind prepared_kind::capture(bench_kind kind, module_driver& module,
                                     emulator::azure_emulator& server,
                                     const azure_account& account) {
    prepared_kind prepared;
    std::vector<std::map<std::string, std::string>> passing;
    int sensor_id = 1;
    for (const auto& variant : kind.variants) {
        const std::string created = settings_buffer(kind.name, account, variant);
        host::sensor_state kept;
        module_driver::keep_messages(true);
        const std::uint64_t failed_before = module_driver::failed_results();
        const bool made =
            module.create(sensor_id, created) == 0 && module.check(sensor_id, created) == 0;
        for (const auto& message : module_driver::take_kept_messages()) {
            kept.remember(message);
        }
        const std::string checked = settings_buffer(kind.name, account, variant, kept);
        server.reset();
        const bool checked_again = made && module.check(sensor_id, checked) == 0;
        module_driver::keep_messages(false);
        module_driver::take_kept_messages();
        module.destroy(sensor_id++);
        if (!checked_again || module_driver::failed_results() != failed_before) {
            std::fprintf(stderr, "note: a %s variant fails its check and is left out\n",
                         kind.name.c_str());
            continue;
        }
        captured_check requests;
        for (const auto& received : server.requests()) {
            if (received.route == "token" || received.route == "token_v2") {
                continue;
            }
            captured_request request;
            request.method = received.method;
            request.url = server.login_url() + received.target;
            for (const auto& [name, value] : received.headers) {
                if (!same_name(name, "Host") && !same_name(name, "Content-Length")) {
                    request.headers.emplace_back(name, value);
                }
            }
            request.body = received.body;
            requests.push_back(std::move(request));
        }
        prepared.requests_per_check += requests.size();
        prepared.create_buffers.push_back(created);
        prepared.check_buffers.push_back(checked);
        prepared.requests.push_back(std::move(requests));
        passing.push_back(variant);
    }
    if (prepared.requests.empty()) {
        throw std::runtime_error("no " + kind.name + " passes its check against the emulator");
    }
    prepared.kind = std::move(kind);
    prepared.kind.variants = std::move(passing);
    return prepared;
}

}  // namespace zentrova::monitoring_modules::bench
