#include "bench/end_to_end/peer_job.hpp"

#include <jsoncons/json.hpp>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace zentrova::monitoring_modules::bench {

void peer_job::save(const std::string& path) const {
    jsoncons::ojson requests_json(jsoncons::json_array_arg);
    for (const auto& request : requests) {
        jsoncons::ojson headers(jsoncons::json_array_arg);
        for (const auto& [name, value] : request.headers) {
            jsoncons::ojson header(jsoncons::json_array_arg);
            header.push_back(name);
            header.push_back(value);
            headers.push_back(std::move(header));
        }
        jsoncons::ojson one(jsoncons::json_object_arg);
        one["method"] = request.method;
        one["url"] = request.url;
        one["headers"] = std::move(headers);
        one["body"] = request.body;
        requests_json.push_back(std::move(one));
    }
    jsoncons::ojson job(jsoncons::json_object_arg);
    job["create_buffer"] = create_buffer;
    job["check_buffer"] = check_buffer;
    job["ca_file"] = ca_file;
    job["requests"] = std::move(requests_json);
    std::ofstream file(path);
    file << job;
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

peer_job peer_job::load(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    const auto job_json = jsoncons::ojson::parse(text.str());
    peer_job job;
    job.create_buffer = job_json["create_buffer"].as<std::string>();
    job.check_buffer = job_json["check_buffer"].as<std::string>();
    job.ca_file = job_json["ca_file"].as<std::string>();
    for (const auto& one : job_json["requests"].array_range()) {
        captured_request request;
        request.method = one["method"].as<std::string>();
        request.url = one["url"].as<std::string>();
        for (const auto& header : one["headers"].array_range()) {
            request.headers.emplace_back(header[0].as<std::string>(), header[1].as<std::string>());
        }
        request.body = one["body"].as<std::string>();
        job.requests.push_back(std::move(request));
    }
    return job;
}

}  // namespace zentrova::monitoring_modules::bench
